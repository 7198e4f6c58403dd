// Progress of a running transfer: the fields the host reads while bytes move, the per-block
// (download) and per-send (upload) computations, the upload chunk-size rule and the derived
// reads (SpeedAvg, LeftTime, elapsed times). Time comes from an injectable clock.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace quorvi::detail {

/// The clocks progress reads and the pause the throttle makes. Defaults: the steady tick
/// count, the system clock and a pause that does not pump events.
struct ProgressClock {
  std::function<std::uint64_t()> tick;  ///< milliseconds
  std::function<double()> now;          ///< seconds since the epoch
  std::function<void(std::uint32_t)> pause;
  static ProgressClock System();
};

/// The host-visible per-file counters that live with the component's other properties.
struct FileCounters {
  std::int16_t& percent;
  double& transfer_size;
};

/// Settings the computations read.
struct ProgressSettings {
  bool show_total_percent = false;
  std::int64_t throttle_limit = 0;  ///< bytes per second, 0 = none
};

constexpr std::int32_t kSegmentSize = 1460;
constexpr std::uint64_t kTransferEventInterval = 200;  ///< ms between OnTransfer from data
constexpr double kLeftTimeCap = 2000000000.0;

class Progress {
 public:
  explicit Progress(ProgressClock clock = ProgressClock::System()) : clock_(std::move(clock)) {}

  // ---- Fields (host reads go through the derived reads below where there is one) ----
  double file_size = 0;
  std::int16_t total_percent = 0;
  double total_transfer_size = 0;
  double total_file_size = 0;
  std::int32_t speed = 0;
  // SpeedAvg: bytes and milliseconds of the files done in this job, and of the current one.
  double average_bytes_done = 0, average_ms_done = 0;
  double average_bytes_now = 0, average_ms_now = 0;
  double remaining_time = 0;
  std::optional<double> job_start, job_end, file_start, file_end;  ///< empty = the unset date
  double last_data_time = 0;
  std::uint64_t speed_start_tick = 0;  ///< 0 while the speed clock is stopped
  std::uint64_t last_data_tick = 0;
  std::uint64_t last_event_tick = 0;
  std::int64_t interval = 0;
  double start_offset = 0;  ///< bytes already at the destination when this attempt began
  double job_bytes_moved = 0;  ///< bytes that crossed the data connections of the job
  // Upload chunk rule state.
  std::int32_t chunk_size = kSegmentSize;
  std::int32_t chunk_event_count = 0;
  std::int32_t chunk_time_sum = 0;

  // ---- Derived reads ----
  std::int32_t SpeedAvg() const;
  /// Caps (and stores) the remaining time at 2,000,000,000 s, then rounds.
  std::int32_t LeftTime();
  std::int32_t ElapsedTime() const;
  std::int32_t ElapsedTimeCurFile() const;

  // ---- Computations ----
  /// A download wrote n bytes. bytes is the bytes-on-disk counter, remote_size the file's
  /// size (both updated here). raise_event is the transfer event (status file + OnTransfer).
  void DownloadBlock(double n, double& bytes, double& remote_size, bool without_list,
                     FileCounters counters, const ProgressSettings& settings,
                     const std::function<void()>& raise_event);
  /// A send completed during an upload: speed, chunk rule, throttle and transfer event.
  void UploadStep(double bytes_sent, double local_size, std::int32_t max_chunk_size,
                  FileCounters counters, const ProgressSettings& settings,
                  const std::function<void()>& raise_event);
  /// One chunk of n bytes handed to the socket.
  void UploadChunk(double n, double& bytes_sent, double local_size, FileCounters counters,
                   const ProgressSettings& settings);
  /// Holds the job's data to limit bytes per second (0: no limit): after each block it waits
  /// until the bytes moved so far are due; time more than a quarter second behind (a stall) is
  /// not made up later. Waits at most a second per call; the next block waits for the rest.
  void Throttle(std::int64_t limit);
  /// Largest block to read or send at once under limit (0: no cap): a tenth of a second's
  /// worth, so that no burst spans much of the measuring window.
  static std::int32_t ThrottledBlock(std::int64_t limit);
  /// One speed sample: moved bytes of the current file in elapsed ms since its speed clock
  /// started. A smaller elapsed than the last sample's starts the next file.
  void RecordSpeedSample(double moved_bytes, double elapsed_ms);
  /// Raises the transfer event when more than 200 ms passed since the last one.
  void MaybeRaiseEvent(const std::function<void()>& raise_event);

  // ---- Lifetimes ----
  /// Job start; an upload queue pass keeps the speed averages.
  void StartJob(bool keep_averages);
  void EndJob() { job_end = clock_.now(); }
  /// One-file start: percent and file size 0, file start now, end unset.
  void StartFile(FileCounters counters);
  void EndFile() { file_end = clock_.now(); }
  /// CloseConnection's reset (the job totals stay).
  void ResetForClose(FileCounters counters);

  const ProgressClock& clock() const { return clock_; }

 private:
  void SampleSpeed(double moved_bytes, double left_bytes, std::uint64_t elapsed);

  ProgressClock clock_;
  // Throttle: the tick and job byte count the pacing counts from, and the limit it was set for.
  std::uint64_t pace_tick_ = 0;
  double pace_bytes_ = 0;
  std::int64_t pace_limit_ = 0;
};

/// Percent of done/total rounded, 99 at most.
std::int16_t CappedPercent(double done, double total);
/// The upload chunk-size rule, applied on every send-complete event before the next chunk.
std::int32_t NextChunkSize(std::int32_t chunk_size, double bytes_sent, std::int64_t elapsed_ms,
                           std::int32_t& event_count, std::int32_t& time_sum,
                           std::int32_t max_chunk_size, std::int32_t segment = kSegmentSize);

}  // namespace quorvi::detail

#include "transfer/progress.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "platform/event_pump.h"

namespace quorvi::detail {
namespace {

constexpr double kInt32Max = std::numeric_limits<std::int32_t>::max();

// "Nearest integer" of the progress rules: halves go to the even neighbour.
std::int32_t RoundInt32(double v) {
  if (!std::isfinite(v)) return 0;
  const double r = std::nearbyint(v);
  if (r > kInt32Max) return std::numeric_limits<std::int32_t>::max();
  if (r < -kInt32Max) return -std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(r);
}

// Whole seconds between two times, counted as second boundaries crossed.
std::int32_t SecondBoundaries(double from, double to) {
  return RoundInt32(std::floor(to) - std::floor(from));
}

}  // namespace

ProgressClock ProgressClock::System() {
  return {[] { return platform::TickCount(); },
          [] {
            using namespace std::chrono;
            return duration<double>(system_clock::now().time_since_epoch()).count();
          },
          [](std::uint32_t ms) { platform::SleepNoPump(ms); }};
}

std::int16_t CappedPercent(double done, double total) {
  const std::int32_t p = RoundInt32(done / total * 100.0);
  return static_cast<std::int16_t>(p >= 100 ? 99 : p);
}

std::int32_t Progress::SpeedAvg() const {
  // The true average: every byte moved over the time it took, not a mean of samples (early
  // samples over a few milliseconds read many times the real rate).
  const double ms = average_ms_done + average_ms_now;
  if (ms <= 0) return 0;
  const double avg = (average_bytes_done + average_bytes_now) * 1000.0 / ms;
  return std::isfinite(avg) && std::fabs(avg) <= kInt32Max ? RoundInt32(avg) : speed;
}

void Progress::RecordSpeedSample(double moved_bytes, double elapsed_ms) {
  if (elapsed_ms < average_ms_now) {
    average_bytes_done += average_bytes_now;
    average_ms_done += average_ms_now;
  }
  average_bytes_now = moved_bytes;
  average_ms_now = elapsed_ms;
}

std::int32_t Progress::LeftTime() {
  if (!(remaining_time <= kLeftTimeCap)) remaining_time = kLeftTimeCap;
  return RoundInt32(remaining_time);
}

std::int32_t Progress::ElapsedTime() const {
  if (!job_start) return 0;
  const std::int32_t s = SecondBoundaries(*job_start, job_end.value_or(clock_.now()));
  return s > 1 ? s - 1 : s;
}

std::int32_t Progress::ElapsedTimeCurFile() const {
  if (!file_start) return 0;
  return SecondBoundaries(*file_start, file_end.value_or(clock_.now()));
}

void Progress::SampleSpeed(double moved_bytes, double left_bytes, std::uint64_t elapsed) {
  speed = RoundInt32(moved_bytes / static_cast<double>(elapsed) * 1000.0);
  if (speed <= 0) speed = 1;
  remaining_time = std::trunc(left_bytes / speed);
  if (remaining_time <= 0) remaining_time = 1;
  RecordSpeedSample(moved_bytes, static_cast<double>(elapsed));
}

void Progress::DownloadBlock(double n, double& bytes, double& remote_size, bool without_list,
                             FileCounters counters, const ProgressSettings& settings,
                             const std::function<void()>& raise_event) {
  bytes += n;
  job_bytes_moved += n;
  if (without_list && remote_size < bytes) {
    remote_size = bytes;
    file_size = remote_size;
  }
  if (remote_size < 1) remote_size = bytes + 1;
  if (remote_size < 1) remote_size = 1;
  if (bytes > remote_size) bytes = remote_size;
  counters.percent = CappedPercent(bytes, remote_size);
  if (settings.show_total_percent) {
    total_transfer_size += n;
    if (total_transfer_size <= total_file_size) {
      total_percent = CappedPercent(total_transfer_size, total_file_size);
    }
  }
  const std::uint64_t now_tick = clock_.tick();
  if (speed_start_tick == 0) speed_start_tick = now_tick;
  interval = static_cast<std::int64_t>(now_tick - speed_start_tick);
  if (interval > 0) {
    SampleSpeed(bytes - start_offset, remote_size - bytes, static_cast<std::uint64_t>(interval));
  }
  last_data_time = clock_.now();
  last_data_tick = now_tick;
  counters.transfer_size = bytes;
  MaybeRaiseEvent(raise_event);
  Throttle(settings.throttle_limit);
}

void Progress::UploadStep(double bytes_sent, double local_size, std::int32_t max_chunk_size,
                          FileCounters counters, const ProgressSettings& settings,
                          const std::function<void()>& raise_event) {
  counters.transfer_size = bytes_sent;
  const std::uint64_t now_tick = clock_.tick();
  interval = static_cast<std::int64_t>(now_tick - last_data_tick);
  if (speed_start_tick == 0) speed_start_tick = now_tick;
  chunk_size = NextChunkSize(chunk_size, bytes_sent, interval, chunk_event_count, chunk_time_sum,
                             max_chunk_size);
  if (const std::int32_t cap = ThrottledBlock(settings.throttle_limit); cap > 0)
    chunk_size = std::min(chunk_size, cap);
  if (interval > 0) {
    interval = static_cast<std::int64_t>(now_tick - speed_start_tick);
    if (interval > 0) {
      SampleSpeed(bytes_sent - start_offset, local_size - bytes_sent,
                  static_cast<std::uint64_t>(interval));
    }
  }
  last_data_time = clock_.now();
  last_data_tick = now_tick;
  Throttle(settings.throttle_limit);
  MaybeRaiseEvent(raise_event);
}

void Progress::UploadChunk(double n, double& bytes_sent, double local_size, FileCounters counters,
                           const ProgressSettings& settings) {
  bytes_sent += n;
  job_bytes_moved += n;
  counters.percent = CappedPercent(bytes_sent, local_size);
  if (settings.show_total_percent) {
    total_transfer_size += n;
    total_percent = CappedPercent(total_transfer_size, total_file_size);
  }
}

void Progress::Throttle(std::int64_t limit) {
  constexpr double kBurstMs = 250;
  constexpr double kLongestWaitMs = 1000;
  if (limit <= 0) {
    pace_tick_ = 0;
    return;
  }
  const std::uint64_t now = clock_.tick();
  if (pace_tick_ == 0 || pace_limit_ != limit || job_bytes_moved < pace_bytes_) {
    pace_tick_ = now;
    pace_bytes_ = job_bytes_moved;
    pace_limit_ = limit;
    return;
  }
  const double due_ms = (job_bytes_moved - pace_bytes_) * 1000.0 / static_cast<double>(limit);
  const double elapsed_ms = static_cast<double>(now - pace_tick_);
  if (due_ms > elapsed_ms) {
    clock_.pause(static_cast<std::uint32_t>(std::ceil(std::min(due_ms - elapsed_ms, kLongestWaitMs))));
  } else if (elapsed_ms - due_ms > kBurstMs) {
    // Behind by more than a quarter second (a slow server, a pause between files): the time
    // not used is not made up later, or the next seconds would run far over the limit.
    pace_tick_ = now;
    pace_bytes_ = job_bytes_moved;
  }
}

std::int32_t Progress::ThrottledBlock(std::int64_t limit) {
  if (limit <= 0) return 0;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(limit / 10, 4096, 1 << 20));
}

void Progress::MaybeRaiseEvent(const std::function<void()>& raise_event) {
  const std::uint64_t now_tick = clock_.tick();
  if (now_tick - last_event_tick <= kTransferEventInterval) return;
  if (raise_event) raise_event();
  last_event_tick = now_tick;
}

void Progress::StartJob(bool keep_averages) {
  job_start = clock_.now();
  job_end.reset();
  if (!keep_averages) {
    job_bytes_moved = 0;
    average_bytes_done = average_ms_done = average_bytes_now = average_ms_now = 0;
  }
}

void Progress::StartFile(FileCounters counters) {
  counters.percent = 0;
  file_size = 0;
  file_start = clock_.now();
  file_end.reset();
}

void Progress::ResetForClose(FileCounters counters) {
  counters.percent = 0;
  counters.transfer_size = 0;
  speed = 0;
  average_bytes_done = average_ms_done = average_bytes_now = average_ms_now = 0;
  remaining_time = 0;
  file_size = 0;
  job_start.reset();
  file_start.reset();
  if (!job_end) job_end = clock_.now();
  if (!file_end) file_end = clock_.now();
}

std::int32_t NextChunkSize(std::int32_t chunk_size, double bytes_sent, std::int64_t elapsed_ms,
                           std::int32_t& event_count, std::int32_t& time_sum,
                           std::int32_t max_chunk_size, std::int32_t segment) {
  std::int64_t chunk = chunk_size;
  if (bytes_sent > 0) {
    if (event_count == 10) {
      if (time_sum < 1000) {
        chunk *= 2;
      } else if (time_sum > 4000) {
        chunk = std::max<std::int64_t>(chunk / 2, 2000);
      }
      event_count = 0;
      time_sum = 0;
    } else {
      event_count += 1;
      time_sum = static_cast<std::int32_t>(
          std::min<std::int64_t>(time_sum + elapsed_ms, std::numeric_limits<std::int32_t>::max()));
    }
  }
  const std::int64_t cap = static_cast<std::int64_t>(max_chunk_size) + 2LL * segment;
  if (chunk > cap) chunk = cap;
  if (chunk < segment) {
    chunk = segment;
  } else if (chunk > segment) {
    chunk = (chunk / segment + 1) * segment;
    if (chunk < 5120) chunk += segment;
  }
  if (chunk > max_chunk_size) chunk = max_chunk_size;
  return static_cast<std::int32_t>(chunk);
}

}  // namespace quorvi::detail

#include "transfer/progress.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "transfer/status_files.h"

using namespace quorvi::detail;
namespace fs = std::filesystem;

namespace {

// Progress on a clock the test moves by hand; pauses advance the tick and are recorded.
struct Fixture {
  std::uint64_t tick = 1000;
  double now = 1'700'000'000.0;
  std::vector<std::uint32_t> pauses;
  Progress p{{[this] { return tick; }, [this] { return now; },
              [this](std::uint32_t ms) {
                pauses.push_back(ms);
                tick += ms;
              }}};
  std::int16_t percent = 0;
  double transfer_size = 0;
  int events = 0;
  void Block(double n, double& bytes, double& remote, bool without_list = false,
             ProgressSettings s = {}) {
    p.DownloadBlock(n, bytes, remote, without_list, {percent, transfer_size}, s,
                    [this] { ++events; });
  }
};

TEST(Progress, ResumedDownloadPercentAndSpeed) {
  Fixture f;
  double bytes = 600, remote = 1000;  // 600 of 1000 bytes were there already
  f.p.start_offset = 600;
  f.p.speed_start_tick = f.tick;
  f.tick += 100;
  f.Block(200, bytes, remote);
  EXPECT_EQ(f.percent, 80);
  EXPECT_EQ(f.transfer_size, 800);
  EXPECT_EQ(f.p.speed, 2000);    // only the 200 new bytes count
  EXPECT_EQ(f.p.LeftTime(), 1);  // 200 left at 2000 B/s truncates to 0, shown as 1
  f.tick += 100;
  f.Block(200, bytes, remote);
  EXPECT_EQ(f.percent, 99);  // complete, but 100 only when the file is done
  EXPECT_EQ(f.p.SpeedAvg(), 2000);
  f.Block(50, bytes, remote);
  EXPECT_EQ(bytes, 1000);
}

TEST(Progress, UnknownSizeAndJobTotals) {
  {
    Fixture u;
    double bytes = 0, remote = 0;
    u.Block(300, bytes, remote, true);  // without a listing the size follows the data
    EXPECT_EQ(remote, 300);
    EXPECT_EQ(u.p.file_size, 300);
  }
  Fixture f;
  f.p.total_file_size = 1000;
  double bytes = 0, remote = 2000;
  f.Block(500, bytes, remote, false, {true, 0});
  EXPECT_EQ(f.p.total_percent, 50);
  f.Block(600, bytes, remote, false, {true, 0});
  EXPECT_EQ(f.p.total_transfer_size, 1100);
  EXPECT_EQ(f.p.total_percent, 50);  // past the expected total: a download keeps the value
  double sent = 0;
  f.p.UploadChunk(100, sent, 100, {f.percent, f.transfer_size}, {true, 0});
  EXPECT_EQ(f.percent, 99);
  EXPECT_EQ(f.p.total_percent, 99);  // an upload does not compare first
}

TEST(Progress, TransferEventAtMostEvery200Ms) {
  Fixture f;
  f.p.last_event_tick = f.tick;
  double bytes = 0, remote = 1e9;
  for (std::uint64_t step : {50, 100, 60, 1, 200, 199}) {
    f.tick += step;
    f.Block(10, bytes, remote);
  }
  EXPECT_EQ(f.events, 2);  // at +210 and +411; +199 after that is too soon
}

// The throttle paces the job's bytes: after each block it waits until they are due at the
// limit; a stall earns at most a quarter second of burst, and one wait is a second at most.
TEST(Progress, ThrottlePacesTheBytesMoved) {
  struct Step {
    std::uint64_t gap_ms;    // time passing before the block
    double bytes;            // bytes the block moved
    std::uint32_t pause_ms;  // the wait it gets (0: none)
  };
  struct Case {
    const char* name;
    std::int64_t limit;
    std::vector<Step> steps;
  };
  const Case cases[] = {
      {"paced", 10000, {{0, 0, 0}, {0, 1000, 100}, {0, 500, 50}, {150, 1000, 0}}},
      {"long wait capped", 1000, {{0, 0, 0}, {0, 5000, 1000}, {0, 0, 1000}, {0, 0, 1000}}},
      {"stall gives a short burst only",
       10000, {{0, 0, 0}, {5000, 2500, 0}, {0, 2500, 250}, {0, 1000, 100}}},
      {"no limit", 0, {{0, 1e9, 0}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Fixture f;
    for (const Step& step : c.steps) {
      f.tick += step.gap_ms;
      f.p.job_bytes_moved += step.bytes;
      f.pauses.clear();
      f.p.Throttle(c.limit);
      EXPECT_EQ(f.pauses.empty() ? 0u : f.pauses.front(), step.pause_ms) << step.bytes;
    }
  }
  EXPECT_EQ(Progress::ThrottledBlock(0), 0);
  EXPECT_EQ(Progress::ThrottledBlock(100 * 1024), 10240);
  EXPECT_EQ(Progress::ThrottledBlock(1000), 4096);
}

TEST(Progress, DerivedReads) {
  Fixture f;
  // The average is every byte over all the time, across files: 3000 B in 2 s, then 1000 B in
  // 2 s more (the second file starts its own clock). A mean of the samples would read higher.
  f.p.RecordSpeedSample(1000, 10);  // an early sample: 100000 B/s
  f.p.RecordSpeedSample(3000, 2000);
  f.p.RecordSpeedSample(1000, 2000 - 1);
  f.p.RecordSpeedSample(1000, 2000);
  EXPECT_EQ(f.p.SpeedAvg(), 1000);
  f.p.average_bytes_done = f.p.average_ms_done = f.p.average_bytes_now = 0;
  f.p.average_ms_now = 2;
  f.p.average_bytes_now = 0.005;
  EXPECT_EQ(f.p.SpeedAvg(), 2);  // 2.5 rounds to even
  f.p.remaining_time = 5e12;
  EXPECT_EQ(f.p.LeftTime(), 2000000000);
  f.now = 100.9;
  f.p.StartJob(false);
  f.p.StartFile({f.percent, f.transfer_size});
  f.now = 105.1;  // five second boundaries
  EXPECT_EQ(f.p.ElapsedTime(), 4);
  EXPECT_EQ(f.p.ElapsedTimeCurFile(), 5);
  f.now = 101.0;  // one boundary is not reduced
  EXPECT_EQ(f.p.ElapsedTime(), 1);
  f.p.ResetForClose({f.percent, f.transfer_size});
  EXPECT_EQ(f.p.SpeedAvg() + f.p.ElapsedTime() + f.p.ElapsedTimeCurFile(), 0);
}

TEST(ChunkSize, FastLinkGrowsByTheDocumentedSteps) {
  std::int32_t chunk = kSegmentSize, count = 0, sum = 0;
  std::vector<std::int32_t> sizes;
  for (int event = 1; event <= 14; ++event)
    sizes.push_back(chunk = NextChunkSize(chunk, 1460.0 * event, 5, count, sum, 2097152));
  const std::vector<std::int32_t> expected{1460, 1460, 1460, 1460, 1460, 1460, 1460,
                                           1460, 1460, 1460, 5840, 7300, 8760, 10220};
  EXPECT_EQ(sizes, expected);
}

TEST(ChunkSize, SlowLinkHalvesCapAndFloor) {
  struct Case { std::int32_t chunk, count, sum, max_chunk, expected; } cases[] = {
      {14600, 10, 5000, 2097152, 8760},    // halved to 7300, aligned up one segment
      {2920, 10, 5000, 2097152, 4380},     // halving stops at 2000, then aligned
      {14600, 10, 2000, 2097152, 16060},   // between 1 s and 4 s: kept, aligned
      {2097152, 3, 10, 2097152, 2097152},  // capped at MaxChunkSize
      {1460, 3, 10, 32, 32},               // a cap below one segment wins
      {0, 0, 0, 2097152, 1460},            // never below one segment
  };
  for (Case c : cases) {
    EXPECT_EQ(NextChunkSize(c.chunk, 1, 5, c.count, c.sum, c.max_chunk), c.expected) << c.chunk;
  }
}

TEST(StatusFiles, TransStaLineAndCancelSta) {
  const fs::path dir = fs::temp_directory_path() / ("quorvi_status_" + std::to_string(::getpid()));
  fs::create_directories(dir);
  std::ofstream(dir / "cancel.sta");  // stale: removed when the folder is set
  StatusFiles s;
  s.SetPath(dir.string() + "//");
  EXPECT_EQ(s.Folder(), dir.string() + "/");
  EXPECT_FALSE(fs::exists(dir / "cancel.sta"));
  int aborts = 0, raises = 0;
  const auto run = [&](const StatusLine& line) {
    s.RaiseTransferEvent(
        line, [&] { ++aborts; }, [&] { ++raises; });
    std::ifstream in(dir / "trans.sta", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  EXPECT_EQ(run({1, 3, 45, 3600, 8000, 900, 850, 4, 12}), "1#3#45#3600#8000#900#850#4#12\r\n");
  EXPECT_EQ(aborts, 0);
  std::ofstream(dir / "cancel.sta");
  EXPECT_EQ(run({2, 3, 99, 7999.5, 8000, 1, 1, 1, 13}), "2#3#99#7999.5#8000#1#1#1#13\r\n");
  EXPECT_FALSE(fs::exists(dir / "cancel.sta"));
  EXPECT_EQ(aborts, 1);
  s.SetPath((dir / "nope").string());  // a missing folder switches the files off
  EXPECT_EQ(s.Folder(), "");
  run({});
  EXPECT_FALSE(fs::exists(dir / "nope"));
  EXPECT_EQ(raises, 3);
  fs::remove_all(dir);
}

}  // namespace

// A folder of 200,000 entries lists completely, in bounded time and memory. The figures go to
// the test's output (and its XML properties) so a slowdown shows between runs.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "test_helpers.h"

namespace quorvi::test {
namespace {

namespace fs = std::filesystem;

constexpr int kEntries = 200000;

QUORVI_SERVER_SUITE(LargeListing, ServerKind::Vsftpd);

long PeakRssKib() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST_F(LargeListing, TwoHundredThousandEntries) {
  const fs::path folder = server().root() / "pub" / "many";
  fs::create_directories(folder);
  for (int i = 0; i < kEntries; ++i) {
    const std::string path = folder / ("entry-" + std::to_string(i) + ".dat");
    const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(fd, 0) << path;
    ::close(fd);
  }
  auto ftp = UserClient(server());
  ASSERT_TRUE(ftp->Connect()) << ftp->ErrorInfo();
  const long rss_before = PeakRssKib();
  const auto start = std::chrono::steady_clock::now();
  const auto files = ftp->GetFtpDirectoryInfo("/pub/many");
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const long grown_kib = PeakRssKib() - rss_before;
  ASSERT_TRUE(files.has_value()) << ftp->ErrorNumber() << " " << ftp->ErrorInfo();
  EXPECT_EQ(files->Count(), kEntries);
  EXPECT_NE(files->Item("entry-199999.dat"), nullptr);
  RecordProperty("seconds", std::to_string(seconds));
  RecordProperty("peak_rss_growth_kib", std::to_string(grown_kib));
  std::printf("200000-entry listing: %.2f s, peak RSS grew %ld KiB\n", seconds, grown_kib);
  EXPECT_LT(seconds, 60);
  EXPECT_LT(grown_kib, 512 * 1024);
  fs::remove_all(folder);
}

}  // namespace
}  // namespace quorvi::test

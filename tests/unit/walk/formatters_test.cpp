#include "local/formatters.h"

#include <gtest/gtest.h>

#include "local/drives.h"

using namespace quorvi::detail;

TEST(Formatters, FileSizeAndNumberGroups) {
  const std::pair<double, const char*> sizes[] = {
      {0, "0 Bytes"},       {1023, "1023 Bytes"}, {1024, "1 KB"},     {1536, "2 KB"},
      {1048575, "1024 KB"}, {1048576, "1 MB"},    {1572864, "1.5 MB"}, {1101004.8, "1.1 MB"},
      {5.0e9, "4768.4 MB"}};
  for (const auto& [size, text] : sizes) EXPECT_EQ(FormatFileSize(size), text) << size;
  const std::pair<double, const char*> numbers[] = {
      {0, "0"}, {999, "999"}, {1000, "1,000"}, {1234567, "1,234,567"},
      {12345678901.0, "12,345,678,901"}};
  for (const auto& [value, text] : numbers) EXPECT_EQ(FormatNumber(value), text) << value;
}

TEST(Formatters, ClockAndLongTimes) {
  struct Case { std::int32_t seconds; std::int16_t type; const char* text; } cases[] = {
      {3725, 0, "01:02:05"}, {65, 0, "01:05"}, {0, 0, "00:00"}, {-7, 0, "00:00"},
      {360000, 0, "100:00:00"}, {3725, 1, "1 Hrs 2 Mins 5 Secs"}, {65, 1, "1 Mins 5 Secs"},
      {5, 1, "5 Secs"}, {0, 1, "0 Secs"}, {3600, 1, "1 Hrs 0 Mins 0 Secs"}, {65, 2, "01:05"}};
  for (const Case& c : cases) EXPECT_EQ(FormatTime(c.seconds, c.type), c.text) << c.seconds;
  EXPECT_EQ(SecondsToTimeText(3725), "01:02:05");
  EXPECT_EQ(FormatTime(65, 1, {"h ", "m ", "s"}), "1m 5s");
}

// Known file system types by name; any other by its device: a /dev one is fixed or removable.
TEST(Drives, MountClassification) {
  struct Case { const char* type; const char* device; bool removable; std::int16_t drive_type; };
  const Case cases[] = {{"ext4", "/dev/sda1", false, 3}, {"vfat", "/dev/sdb1", true, 2},
                        {"nfs4", "srv:/export", false, 4}, {"proc", "proc", false, 0}};
  for (const Case& c : cases)
    EXPECT_EQ(ClassifyMount(c.type, c.device, c.removable), c.drive_type) << c.type;
}

#include "local/formatters.h"

#include <gtest/gtest.h>

#include "local/drives.h"

using namespace quorvi::detail;

TEST(Formatters, FileSize) {
  const std::pair<double, const char*> cases[] = {
      {0, "0 Bytes"},      {512, "512 Bytes"},    {1023, "1023 Bytes"}, {1024, "1 KB"},
      {1536, "2 KB"},      {2047, "2 KB"},        {1048575, "1024 KB"}, {1048576, "1 MB"},
      {1572864, "1.5 MB"}, {1101004.8, "1.1 MB"}, {2097152, "2 MB"},    {5.0e9, "4768.4 MB"}};
  for (const auto& [size, text] : cases) EXPECT_EQ(FormatFileSize(size), text) << size;
}

TEST(Formatters, NumberGroups) {
  const std::pair<double, const char*> cases[] = {
      {0, "0"},
      {999, "999"},
      {1000, "1,000"},
      {123456, "123,456"},
      {1234567, "1,234,567"},
      {12345678901.0, "12,345,678,901"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(FormatNumber(value), text) << value;
}

TEST(Formatters, ClockAndLongTimes) {
  struct Case {
    std::int32_t seconds;
    std::int16_t type;
    const char* text;
  } cases[] = {
      {3725, 0, "01:02:05"},
      {65, 0, "01:05"},
      {5, 0, "00:05"},
      {0, 0, "00:00"},
      {-7, 0, "00:00"},
      {360000, 0, "100:00:00"},
      {3725, 1, "1 Hrs 2 Mins 5 Secs"},
      {65, 1, "1 Mins 5 Secs"},
      {5, 1, "5 Secs"},
      {0, 1, "0 Secs"},
      {3600, 1, "1 Hrs 0 Mins 0 Secs"},
      {65, 2, "01:05"},
  };
  for (const Case& c : cases) EXPECT_EQ(FormatTime(c.seconds, c.type), c.text) << c.seconds;
  EXPECT_EQ(SecondsToTimeText(3725), "01:02:05");
  EXPECT_EQ(FormatTime(65, 1, {"h ", "m ", "s"}), "1m 5s");
}

TEST(Drives, MountClassification) {
  struct Case {
    const char* type;
    const char* device;
    bool removable;
    std::int16_t drive_type;
  } cases[] = {
      {"ext4", "/dev/sda1", false, 3},     {"vfat", "/dev/sdb1", true, 2},
      {"xfs", "/dev/nvme0n1p2", false, 3}, {"overlay", "overlay", false, 3},
      {"nfs4", "srv:/export", false, 4},   {"cifs", "//srv/share", false, 4},
      {"iso9660", "/dev/sr0", true, 5},    {"tmpfs", "tmpfs", false, 6},
      {"proc", "proc", false, 0},          {"sysfs", "sysfs", false, 0},
      {"cgroup2", "cgroup2", false, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ClassifyMount(c.type, c.device, c.removable), c.drive_type) << c.type;
  }
}

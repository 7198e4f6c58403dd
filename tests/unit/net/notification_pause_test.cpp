#include <quorvi/ftp_library.h>

#include <gtest/gtest.h>

#include "net/socket_support.h"

namespace quorvi {
namespace {

TEST(NotificationPause, DefaultsToTenClampsAndIsSharedByTheThreadsComponents) {
  FtpLibrary first;
  EXPECT_EQ(first.NotificationPause(), 10);
  struct Case { std::int32_t written, read; };
  for (const Case c : {Case{0, 0}, Case{25, 25}, Case{-5, 0}, Case{5000, 1000}}) {
    first.NotificationPause(c.written);
    EXPECT_EQ(first.NotificationPause(), c.read) << c.written;
  }
  first.NotificationPause(3);
  FtpLibrary second;
  EXPECT_EQ(second.NotificationPause(), 3);
  EXPECT_EQ(detail::SocketSupport::Current()->NotificationPauseMs(), 3u);
}

}  // namespace
}  // namespace quorvi

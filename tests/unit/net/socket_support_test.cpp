// Socket support: the shared readiness source, stale notifications, the notification pause,
// lookups, port and value conversions.
#include <gtest/gtest.h>
#include <quorvi/ftp_library.h>

#include <cmath>

#include "component/component_error.h"
#include "net/socket_value.h"
#include "net_fixture.h"

namespace quorvi::detail::test {
namespace {

using SocketSupportTest = NetTest;

TEST_F(SocketSupportTest, ReadinessSourceLivesFromFirstToLastRegistration) {
  CSocket a, b;
  a.Rcvbuf(4096);
  b.Rcvbuf(4096);
  EXPECT_FALSE(support_->HasNotifySource());
  a.Listen();
  EXPECT_TRUE(support_->HasNotifySource());
  b.Listen();
  a.CloseSocket();
  EXPECT_EQ(a.State(), sckClosed);
  EXPECT_TRUE(support_->HasNotifySource());
  b.CloseSocket();
  EXPECT_FALSE(support_->HasNotifySource());
  EXPECT_EQ(support_->Pump().WatchedCount(), 0u);
  EXPECT_TRUE(support_->WinsockStarted());
}

TEST_F(SocketSupportTest, QueuedNotificationsOfAClosedHandleDoNotReachItsSuccessor) {
  CSocket old_socket, next_socket;
  old_socket.Rcvbuf(4096);
  next_socket.Rcvbuf(4096);
  old_socket.Listen();
  const int handle = old_socket.SocketHandle();
  support_->PostNotification(handle, kFdClose);
  support_->PostNotification(handle, kFdConnect);
  old_socket.CloseSocket();
  next_socket.Listen();  // usually gets the same descriptor number
  int events = 0;
  next_socket.OnClose = next_socket.OnConnect = [&] { ++events; };
  Settle();
  EXPECT_EQ(events, 0);
  EXPECT_EQ(next_socket.State(), sckListening);
}

TEST_F(SocketSupportTest, HostLookupAndPortConversions) {
  EXPECT_EQ(GetIPFromHostName("localhost"), "127.0.0.1");
  EXPECT_EQ(GetIPFromHostName("no such host"), "");

  const std::pair<std::int32_t, std::int16_t> ports[] = {{32767, 32767}, {32768, -32768}, {65535, -1}};
  for (auto [port, wire] : ports) {
    EXPECT_EQ(UnsignedToInteger(port), wire) << port;
    EXPECT_EQ(IntegerToUnsigned(wire), port) << port;
  }
  for (std::int32_t bad : {-1, 65536}) {
    try {
      UnsignedToInteger(bad);
      ADD_FAILURE() << bad;
    } catch (const ComponentError& e) {
      EXPECT_EQ(e.number(), 6);
    }
  }
}

TEST_F(SocketSupportTest, NotificationPauseIsClampedAndSharedByTheThreadsComponents) {
  FtpLibrary first;
  for (auto [written, read] : {std::pair{25, 25}, {-5, 0}, {5000, 1000}}) {
    first.NotificationPause(written);
    EXPECT_EQ(first.NotificationPause(), read) << written;
  }
  first.NotificationPause(3);
  EXPECT_EQ(FtpLibrary().NotificationPause(), 3);
  EXPECT_EQ(support_->NotificationPauseMs(), 3u);
  support_->NotificationPauseMs(kNotificationPauseMs);
}

TEST(SocketValueTest, ValuesHaveTheirWireLayout) {
  struct Case {
    SocketValue value;
    std::string bytes;
    std::int32_t type;
  };
  const Case cases[] = {
      {std::int32_t{-2}, "\xFE\xFF\xFF\xFF", vbLong},
      {true, "\xFF\xFF", vbBoolean},
      {ByteArray{std::string("a\0b", 3)}, std::string("a\0b", 3), vbByteArray},
      {std::string("abc"), "abc", vbString},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.type);
    EXPECT_EQ(ValueToBytes(c.value, false), c.bytes);
    EXPECT_EQ(BytesToValue(c.bytes, c.type), c.value);
  }
  EXPECT_EQ(ValueToBytes(SocketValue{}, false), std::nullopt);  // the buffer keeps its content
  EXPECT_EQ(ValueToBytes(std::string("\xC3\xA9"), true), "\xC3\xA9");
  EXPECT_EQ(BytesToValue("ab", 9999), std::nullopt);
  EXPECT_EQ(BytesToValue("\x01", vbLong), SocketValue(std::int32_t{1}));  // short input is padded
}

}  // namespace
}  // namespace quorvi::detail::test

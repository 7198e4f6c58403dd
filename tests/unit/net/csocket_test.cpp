// CSocket over loopback: event order, sends, receives, close, failures and reuse.
#include <sys/socket.h>

#include <chrono>

#include <gtest/gtest.h>

#include "net_fixture.h"

namespace quorvi::detail::test {
namespace {

using Strings = std::vector<std::string>;

class CSocketTest : public NetTest {
 protected:
  static void StartConnect(CSocket& client, std::int32_t port, std::int32_t rcvbuf = 65536) {
    client.Rcvbuf(rcvbuf);
    client.RemoteHost("127.0.0.1");
    client.RemotePort(port);
    client.Connect();
  }
  // Connects client to a fresh listener and waits until both ends are connected.
  void ConnectTo(Listener& server, CSocket& client, std::int32_t rcvbuf = 65536) {
    StartConnect(client, server.Port(), rcvbuf);
    ASSERT_TRUE(WaitFor([&] { return client.State() == sckConnected && server.peer.State() == sckConnected; }));
    Settle();  // the first write notification of each end
  }
  std::int32_t ErrorNumber() const { return shared_->Error().Number(); }
};

TEST_F(CSocketTest, ConnectSendReceiveCloseCycleRaisesEventsInOrder) {
  Listener server;
  CSocket client;
  Recorder at_client, at_server;
  at_client.Attach(client);
  at_server.Attach(server.peer);
  ConnectTo(server, client);

  double length = 0;  // UTF-8 text sends all its bytes and reports their count
  client.SendData(std::string("h\xC3\xA9llo"), length, false, true);
  EXPECT_EQ(length, 6);
  ASSERT_TRUE(WaitFor([&] { return at_server.received.size() == 6; }));
  EXPECT_EQ(at_server.received, "h\xC3\xA9llo");

  length = 3;
  server.peer.SendData(ByteArray{"bye"}, length);
  server.peer.CloseSocket();  // half-close: no event at once
  EXPECT_EQ(server.peer.State(), sckClosing);
  ASSERT_TRUE(WaitFor([&] { return client.State() == sckClosed; }));
  client.CloseSocket();
  ASSERT_TRUE(WaitFor([&] { return server.peer.State() == sckClosed; }));

  EXPECT_EQ(at_client.events,
            (Strings{"connect", "complete", "progress:6/0", "complete", "data:3", "close"}));
  EXPECT_EQ(at_client.received, "bye");
  EXPECT_EQ(at_server.events, (Strings{"complete", "data:6", "progress:3/0", "complete", "close"}));
  EXPECT_EQ(client.SocketHandle(), -1);
}

TEST_F(CSocketTest, LargeTransferWithSmallBuffersArrivesCompleteAndInOrder) {
  support_->NotificationPauseMs(0);
  constexpr std::size_t kTotal = 64u << 20, kChunk = 1u << 20;
  Listener server;
  server.peer.Rcvbuf(65536);
  CSocket client;
  client.Sndbuf(16384);
  ConnectTo(server, client);

  std::size_t queued = 0, verified = 0, short_sends = 0, reused = 0;
  bool mismatch = false;
  auto pattern = [](std::size_t i) { return static_cast<char>((i * 31 + (i >> 13)) & 0xFF); };
  // Every other chunk refills the storage of the last one (the upload path); a buffer handed
  // back while bytes were still pending would corrupt the stream.
  auto send_next = [&] {
    if (queued == kTotal) return;
    const bool refill = (queued / kChunk) % 2 == 1;
    std::string chunk = refill ? client.TakeSentBuffer() : std::string();
    reused += chunk.size() == kChunk;
    chunk.resize(kChunk);
    for (std::size_t i = 0; i < kChunk; ++i) chunk[i] = pattern(queued + i);
    queued += kChunk;
    double length = kChunk;
    if (refill) {
      client.SendBytes(std::move(chunk), length);
    } else {
      client.SendData(ByteArray{std::move(chunk)}, length);
    }
  };
  client.OnSendComplete = send_next;
  client.OnSendProgress = [&](double, double left) { short_sends += left > 0; };
  server.peer.OnDataArrival = [&](double) {
    SocketValue v;
    server.peer.GetData(v, vbByteArray);
    for (char c : std::get<ByteArray>(v).bytes) mismatch |= c != pattern(verified++);
  };
  send_next();
  ASSERT_TRUE(WaitFor([&] { return verified >= kTotal || mismatch; }, 60000));
  EXPECT_FALSE(mismatch);
  EXPECT_EQ(verified, kTotal);
  EXPECT_GT(short_sends, 0u);
  EXPECT_EQ(reused, kTotal / kChunk / 2);
  support_->NotificationPauseMs(kNotificationPauseMs);
}

TEST_F(CSocketTest, HandlingTimeCountsTowardsTheNotificationPause) {
  // One notification per pause: a handler that takes most of the pause is followed by the
  // rest of it, not by a whole pause more.
  Listener server;
  CSocket client;
  ConnectTo(server, client);
  support_->NotificationPauseMs(200);
  bool handled = false;
  server.peer.OnDataArrival = [&](double) {
    platform::SleepNoPump(150);
    handled = true;
  };
  // Written past the CSocket, so the sender's own write notification does not come first.
  ASSERT_EQ(::send(client.SocketHandle(), "x", 1, 0), 1);
  const auto start = platform::EventPump::Clock::now();
  ASSERT_TRUE(WaitFor([&] { return handled; }));
  const auto ms = std::chrono::duration<double, std::milli>(platform::EventPump::Clock::now() - start).count();
  support_->NotificationPauseMs(kNotificationPauseMs);
  EXPECT_GE(ms, 195);
  EXPECT_LT(ms, 320);  // 350 when the pause came on top of the handler
}

TEST_F(CSocketTest, PeerCloseDeliversRemainingDataBeforeOnClose) {
  Listener server;
  CSocket client;
  Recorder at_client;
  at_client.Attach(client);
  ConnectTo(server, client, 4096);

  std::string payload(100000, 'x');
  for (std::size_t i = 0; i < payload.size(); i += 97) payload[i] = static_cast<char>('a' + i % 26);
  double length = static_cast<double>(payload.size());
  server.peer.SendData(ByteArray{payload}, length);
  ASSERT_TRUE(WaitFor([&] { return server.peer.m_lngBufferLen == 0; }));
  server.peer.CloseSocket();

  ASSERT_TRUE(WaitFor([&] { return at_client.Has("close"); }));
  EXPECT_EQ(at_client.received, payload);
  EXPECT_EQ(at_client.events.back(), "close");
  EXPECT_EQ(client.State(), sckClosed);
}

TEST_F(CSocketTest, RefusedConnectReportsErrorAndSocketIsReusable) {
  CSocket client;
  Recorder at_client;
  at_client.Attach(client);
  std::int32_t port = 0;
  const auto not_listening = BoundSocket(port);
  StartConnect(client, port);
  ASSERT_TRUE(WaitFor([&] { return client.State() == sckError; }));
  Settle();
  EXPECT_EQ(client.m_lngEventErrorNumber, 10061);
  EXPECT_EQ(ErrorNumber(), 10061);
  EXPECT_EQ(at_client.events, (Strings{"error:10061"}));
  EXPECT_EQ(client.SocketHandle(), -1);

  Listener server;
  client.RemotePort(server.Port());
  client.Connect();
  ASSERT_TRUE(WaitFor([&] { return client.State() == sckConnected; }));
  EXPECT_TRUE(at_client.Has("connect"));
}

TEST_F(CSocketTest, ConnectWhileConnectedClosesAndStartsOnANewHandle) {
  Listener server;
  CSocket client;
  ConnectTo(server, client);
  client.Connect();  // 10056: half-close, 10056 again, close, connect anew
  EXPECT_EQ(client.State(), sckConnecting);
  ASSERT_TRUE(WaitFor([&] { return client.State() == sckConnected && server.requests == 2; }));
  client.LocalPort(0);  // still the port of the connection
  client.Listen();      // a connected socket can be turned into a listener
  EXPECT_EQ(client.State(), sckListening);
}

TEST_F(CSocketTest, ConnectPhaseRuleTurnsSilentCloseIntoError) {
  struct Case {
    const char* greeting;  // what the server says before it closes; nullptr: nothing
    Strings expected;
  };
  const Case cases[] = {
      {nullptr, {"connect", "complete", "error:16006"}},
      {"220 ready", {"connect", "complete", "data:9", "close"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.greeting ? c.greeting : "silent");
    // A bare server without notifications, so the client's events are the only ones.
    std::int32_t port = 0;
    const auto listener = BoundSocket(port);
    ASSERT_EQ(platform::ListenSocket(listener.get(), 1), 0);

    CSocket client;
    Recorder at_client;
    at_client.Attach(client);
    support_->Connecting(true);
    StartConnect(client, port);
    platform::SocketFd accepted;
    ASSERT_TRUE(WaitFor([&] {
      auto r = platform::AcceptSocket(listener.get());
      if (r.ok()) accepted = platform::SocketFd(static_cast<int>(r.value));
      return accepted.get() >= 0;
    }));
    ASSERT_TRUE(WaitFor([&] { return support_->LastEventCode() == kFdWrite; }));
    if (c.greeting) platform::SendBytes(accepted.get(), c.greeting, std::string(c.greeting).size());
    accepted.Close();
    WaitFor([&] { return at_client.events.size() == c.expected.size(); });
    Settle();
    EXPECT_EQ(at_client.events, c.expected);
    EXPECT_FALSE(support_->Connecting());
  }
}

TEST_F(CSocketTest, FailuresAreReportedWithTheirNumbersAndLeaveTheSocketUsable) {
  Listener taken;
  struct Case {
    const char* name;
    std::function<void(CSocket&)> act;
    std::int32_t number;
  };
  const Case cases[] = {
      {"send unconnected", [](CSocket& s) { double n = 3; s.SendData(ByteArray{"abc"}, n); }, 40006},
      {"bind port too large", [](CSocket& s) { s.Bind(70000, "127.0.0.1"); }, 6},
      {"connect without host", [](CSocket& s) { s.Connect(); }, 20001},
      {"connect unresolved name",
       [](CSocket& s) {
         s.RemoteHost("no such host");
         s.Connect();
       },
       20002},
      {"listen on a taken port",
       [&](CSocket& s) {
         s.LocalPort(taken.Port());
         s.Listen();
         EXPECT_EQ(s.State(), sckError);
       },
       10048},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    shared_->Error().Clear();
    CSocket s;
    s.Rcvbuf(4096);
    int errors = 0;
    s.OnError = [&] { ++errors; };
    c.act(s);
    EXPECT_EQ(errors, 1);
    EXPECT_EQ(ErrorNumber(), c.number);
    EXPECT_NE(s.State(), sckConnected);
    s.LocalPort(0);
    s.Listen();
    EXPECT_EQ(s.State(), sckListening);
    EXPECT_NE(s.LocalPort(), 0);
  }
}

TEST_F(CSocketTest, RemoteHostAndPortRules) {
  CSocket s;
  for (auto [written, stored] : {std::pair{65535, 65535}, {0, 21}, {1, 1}, {70000, 21}}) {
    s.RemotePort(written);  // out of range: back to 21
    EXPECT_EQ(s.RemotePort(), stored) << written;
  }
  s.RemoteHost("  localhost ");
  EXPECT_EQ(s.RemoteHost(), "127.0.0.1");
  s.RemoteHost("   ");  // blank: kept
  EXPECT_EQ(s.RemoteHost(), "127.0.0.1");
  s.RemoteHost("no such host");
  EXPECT_EQ(s.RemoteHost(), "no such host");
  EXPECT_EQ(ErrorNumber(), 11001);
}

}  // namespace
}  // namespace quorvi::detail::test

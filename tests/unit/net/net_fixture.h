// Shared pieces of the socket tests: the thread's shared objects, bounded waits on the event
// pump, a listener that accepts into a second socket, and an event recorder.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "component/thread_shared.h"
#include "net/csocket.h"
#include "net/socket_support.h"
#include "platform/socket_api.h"

namespace quorvi::detail::test {

class NetTest : public ::testing::Test {
 protected:
  void SetUp() override { shared_->Error().Clear(); }
  void TearDown() override { support_->Connecting(false); }

  /// Pumps in 5 ms steps until done() or limit_ms passed; returns done().
  bool WaitFor(const std::function<bool()>& done, int limit_ms = 3000) {
    for (int waited = 0; waited < limit_ms && !done(); waited += 5) support_->Pump().Sleep(5);
    return done();
  }
  /// Pumps for a fixed time (lets late events show up).
  void Settle(int ms = 60) { support_->Pump().Sleep(ms); }

  std::shared_ptr<ThreadShared> shared_ = ThreadShared::Acquire();
  std::shared_ptr<SocketSupport> support_ = SocketSupport::Acquire();
};

/// A listening socket on 127.0.0.1 that accepts the first connection into `peer`.
struct Listener {
  CSocket listen;
  CSocket peer;
  int requests = 0;
  Listener() {
    listen.Rcvbuf(65536);
    peer.Rcvbuf(65536);
    listen.OnConnectionRequest = [this](std::int32_t id) {
      ++requests;
      peer.CloseSocket();
      peer.Accept(id);
    };
    listen.Bind(0, "127.0.0.1");
    listen.Listen();
  }
  std::int32_t Port() const { return listen.LocalPort(); }
};

/// Records a socket's events as short words ("connect", "data:5", "progress:5/0", ...).
struct Recorder {
  std::vector<std::string> events;
  std::string received;
  void Attach(CSocket& s) {
    s.OnConnect = [this] { events.push_back("connect"); };
    s.OnClose = [this] { events.push_back("close"); };
    s.OnError = [this, &s] { events.push_back("error:" + std::to_string(s.m_lngEventErrorNumber)); };
    s.OnSendComplete = [this] { events.push_back("complete"); };
    s.OnSendProgress = [this](double sent, double left) {
      events.push_back("progress:" + std::to_string(static_cast<long>(sent)) + "/" +
                       std::to_string(static_cast<long>(left)));
    };
    s.OnDataArrival = [this, &s](double n) {
      events.push_back("data:" + std::to_string(static_cast<long>(n)));
      SocketValue v;
      s.GetData(v, vbByteArray);
      received += std::get<ByteArray>(v).bytes;
    };
  }
  bool Has(const std::string& e) const { return std::find(events.begin(), events.end(), e) != events.end(); }
};

/// A bound, not listening socket on 127.0.0.1 (connects to its port are refused).
inline platform::SocketFd BoundSocket(std::int32_t& port) {
  platform::SocketFd fd(static_cast<int>(platform::CreateSocket(false).value));
  platform::BindSocket(fd.get(), platform::Endpoint{*platform::ParseIpAddress("127.0.0.1"), 0});
  int error = 0;
  port = platform::LocalEndpoint(fd.get(), error)->port;
  return fd;
}

}  // namespace quorvi::detail::test

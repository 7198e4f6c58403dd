// The readiness source: turns poll readiness of the registered handles into posted
// notifications with the re-enabling rules of asynchronous select, so that notifications
// neither flood nor get lost. poll() readiness is level-triggered: whatever has been reported
// stops being watched until the socket code re-arms it, or the pump would spin.
#include "net/socket_support.h"

#include "platform/socket_api.h"

namespace quorvi::detail {

namespace rd = platform::readiness;

void SocketSupport::Post(int handle, Registration& reg, int event, int error) {
  ++reg.outstanding;
  pump_->Post(platform::Notification{handle, event, error});
}

void SocketSupport::PostNotification(int handle, int event, int error) {
  if (Registration* reg = Find(handle)) Post(handle, *reg, event, error);
}

void SocketSupport::UpdateWatch(int handle, Registration& reg) {
  short events = 0;
  if (!reg.suspended) {
    switch (reg.mode) {
      case Mode::Idle: break;
      case Mode::Connecting: events = rd::kOut; break;
      case Mode::Listening: events = reg.accept_armed ? rd::kIn : 0; break;
      case Mode::Connected:
        if (reg.read_armed) events |= rd::kIn;
        if (reg.close_armed) events |= rd::kPeerClosed;
        if (reg.write_armed) events |= rd::kOut;
        break;
      case Mode::Datagram:
        if (reg.read_armed) events |= rd::kIn;
        if (reg.write_armed) events |= rd::kOut;
        break;
    }
  }
  // A descriptor with nothing to report is not polled at all: poll() reports hang-ups and
  // errors even for an empty event mask (a fresh stream socket reads as hung up).
  if (events == 0) {
    if (reg.watched) pump_->UnwatchFd(handle);
    reg.watched = false;
  } else if (reg.watched) {
    pump_->UpdateFd(handle, events);
  } else {
    std::weak_ptr<SocketSupport> weak = weak_from_this();
    pump_->WatchFd(handle, events, [weak, handle](short revents) {
      if (auto support = weak.lock()) support->OnReadiness(handle, revents);
    });
    reg.watched = true;
  }
}

void SocketSupport::WatchConnect(int handle, int immediate_error) {
  Registration* reg = Find(handle);
  if (reg == nullptr) return;
  reg->suspended = false;
  if (immediate_error != 0) {
    reg->mode = Mode::Idle;
    Post(handle, *reg, kFdConnect, immediate_error);
  } else {
    reg->mode = Mode::Connecting;
  }
  UpdateWatch(handle, *reg);
}

void SocketSupport::WatchAccept(int handle) {
  Registration* reg = Find(handle);
  if (reg == nullptr) return;
  reg->mode = Mode::Listening;
  reg->accept_armed = true;
  reg->suspended = false;
  UpdateWatch(handle, *reg);
}

void SocketSupport::RearmRead(int handle) {
  Registration* reg = Find(handle);
  if (reg == nullptr || (reg->mode != Mode::Connected && reg->mode != Mode::Datagram)) return;
  reg->read_armed = true;
  reg->suspended = false;
  UpdateWatch(handle, *reg);
}

void SocketSupport::RearmAccept(int handle) {
  Registration* reg = Find(handle);
  if (reg == nullptr || reg->mode != Mode::Listening) return;
  reg->accept_armed = true;
  UpdateWatch(handle, *reg);
}

void SocketSupport::ArmWrite(int handle) {
  Registration* reg = Find(handle);
  if (reg == nullptr || (reg->mode != Mode::Connected && reg->mode != Mode::Datagram)) return;
  reg->write_armed = true;
  reg->suspended = false;
  UpdateWatch(handle, *reg);
}

void SocketSupport::OnReadiness(int handle, short revents) {
  Registration* reg = Find(handle);
  if (reg == nullptr) {
    pump_->UnwatchFd(handle);
    return;
  }
  switch (reg->mode) {
    case Mode::Idle: break;
    case Mode::Connecting: {
      // Writable, hung up or in error: the connect has finished one way or the other.
      const auto outcome = platform::GetSocketOption(handle, platform::SocketOption::Error);
      const int error = outcome.ok() ? static_cast<int>(outcome.value) : outcome.error;
      Post(handle, *reg, kFdConnect, error);
      if (error == 0) {
        reg->mode = Mode::Connected;
        reg->read_armed = reg->write_armed = reg->close_armed = true;
      } else {
        reg->mode = Mode::Idle;
      }
      break;
    }
    case Mode::Listening:
      if (revents & rd::kIn) {
        Post(handle, *reg, kFdAccept, 0);
        reg->accept_armed = false;
      } else {
        reg->suspended = true;  // an error on a listener: nothing to accept
      }
      break;
    case Mode::Connected: OnConnectedReadiness(handle, *reg, revents); break;
    case Mode::Datagram:
      if ((revents & rd::kIn) && reg->read_armed) {
        Post(handle, *reg, kFdRead, 0);
        reg->read_armed = false;
      }
      if ((revents & rd::kOut) && reg->write_armed) {
        Post(handle, *reg, kFdWrite, 0);
        reg->write_armed = false;
      }
      // Reading the pending error clears it (an ICMP report on a datagram socket).
      if (revents & rd::kError) platform::GetSocketOption(handle, platform::SocketOption::Error);
      break;
  }
  UpdateWatch(handle, *reg);
}

void SocketSupport::OnConnectedReadiness(int handle, Registration& reg, short revents) {
  if ((revents & rd::kOut) && reg.write_armed) {
    Post(handle, reg, kFdWrite, 0);
    reg.write_armed = false;
  }
  const short input = rd::kIn | rd::kPeerClosed | rd::kHangup | rd::kError;
  if ((revents & input) == 0) return;
  // One peeked byte tells data from end of stream from a reset.
  char probe = 0;
  const auto peek = platform::ReceiveBytes(handle, &probe, 1, true);
  const bool hung_up = (revents & (rd::kPeerClosed | rd::kHangup)) != 0;
  const bool closed = peek.ok() && peek.value == 0;
  const bool failed = !peek.ok() && peek.error != platform::kWsaWouldBlock;
  if (peek.ok() && peek.value > 0 && reg.read_armed) {
    Post(handle, reg, kFdRead, 0);
    reg.read_armed = false;
    return;  // a close that is due is seen on the next pass, after this read
  }
  if (closed || failed || (hung_up && peek.ok())) {
    // End of stream, a reset, or the peer gone while a read is still outstanding: the close
    // handler reads whatever is left before it reports the close.
    if (reg.close_armed) Post(handle, reg, kFdClose, failed ? peek.error : 0);
    reg.mode = Mode::Idle;
    reg.read_armed = reg.write_armed = reg.close_armed = false;
    return;
  }
  // Readiness nobody can act on until the socket code re-arms (a hang-up or error report
  // while a read is outstanding): stay silent until then.
  if (revents & (rd::kHangup | rd::kError)) reg.suspended = true;
}

}  // namespace quorvi::detail

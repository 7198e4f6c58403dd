#include "net/socket_support.h"

#include <chrono>
#include <exception>

#include "component/component_error.h"
#include "component/error_object.h"
#include "component/thread_shared.h"
#include "net/csocket.h"
#include "platform/socket_api.h"

namespace quorvi::detail {

namespace {
thread_local std::weak_ptr<SocketSupport> this_thread_support;
}

std::shared_ptr<SocketSupport> SocketSupport::Acquire() {
  auto support = this_thread_support.lock();
  if (!support) {
    support = std::make_shared<SocketSupport>();
    this_thread_support = support;
  }
  return support;
}

SocketSupport* SocketSupport::Current() { return this_thread_support.lock().get(); }

SocketSupport::SocketSupport() : pump_(platform::EventPump::ForThisThread()) {}

SocketSupport::~SocketSupport() {
  for (const auto& [handle, reg] : registry_) {
    if (reg.watched) pump_->UnwatchFd(handle);
  }
  if (source_installed_) pump_->SetNotificationSink(nullptr);
}

std::int32_t SocketSupport::InitWinsockService() {
  // Nothing to start on this platform; the accounting is kept so the cycle stays observable.
  if (!started_) {
    started_ = true;
    max_datagram_ = kMaxDatagramSize;
  }
  return max_datagram_;
}

void SocketSupport::TermWinsockService() {
  if (registry_.empty() && started_) started_ = false;
}

bool SocketSupport::RegisterSocket(int handle, CSocket* owner) {
  if (handle < 0 || owner == nullptr) return false;
  if (registry_.empty()) InstallSource();
  Registration reg;
  reg.owner = owner;
  const auto type = platform::GetSocketOption(handle, platform::SocketOption::Type);
  int error = 0;
  if (type.ok() && type.value != 1) {
    reg.mode = Mode::Datagram;
    reg.read_armed = true;
  } else if (platform::PeerEndpoint(handle, error)) {
    // An accepted connection: reads, the first write and the peer's close are all due.
    reg.mode = Mode::Connected;
    reg.read_armed = reg.write_armed = reg.close_armed = true;
  }
  auto& stored = registry_[handle];
  stored = reg;
  UpdateWatch(handle, stored);
  return true;
}

bool SocketSupport::UnregisterSocket(int handle) {
  auto it = registry_.find(handle);
  if (handle < 0 || it == registry_.end()) return true;
  if (it->second.watched) pump_->UnwatchFd(handle);
  // Notifications still queued for this handle must not reach a later socket that gets the
  // same descriptor number.
  if (it->second.outstanding > 0) stale_[handle] += it->second.outstanding;
  registry_.erase(it);
  if (registry_.empty()) DropSource();
  return true;
}

void SocketSupport::InstallSource() {
  // Stale counts only matter while their notifications are still in the pump's queue.
  if (pump_->PendingCount() == 0) stale_.clear();
  std::weak_ptr<SocketSupport> weak = weak_from_this();
  pump_->SetNotificationSink([weak](const platform::Notification& n) {
    if (auto support = weak.lock()) support->HandleNotification(n);
  });
  source_installed_ = true;
}

void SocketSupport::DropSource() {
  pump_->SetNotificationSink(nullptr);
  source_installed_ = false;
}

void SocketSupport::HandleNotification(const platform::Notification& n) {
  auto keep_alive = shared_from_this();  // an event handler may release the last socket
  try {
    Dispatch(n);
  } catch (const ComponentError& e) {
    RecordError("WindowProc", e.number(), e.text());
  } catch (const std::exception& e) {
    RecordError("WindowProc", 0, e.what());
  } catch (...) {
  }
}

void SocketSupport::Dispatch(const platform::Notification& n) {
  if (auto stale = stale_.find(n.handle); stale != stale_.end()) {
    if (--stale->second <= 0) stale_.erase(stale);
    return;
  }
  Registration* reg = Find(n.handle);
  if (reg == nullptr) return;
  --reg->outstanding;
  // The pause paces notifications to one per pause: the time spent handling this one (a 1 MB
  // receive written to disk takes about a millisecond) counts towards it. A pass the host's
  // own loop asked for never pauses: between two host calls nothing may block that loop.
  const auto pause = std::chrono::milliseconds(pump_->InHostPass() ? 0 : pause_ms_);
  const auto pause_ends = platform::EventPump::Clock::now() + pause;
  int error = n.error;
  // Connect-phase rule: a connection that closes (or fails) right after it became writable,
  // before the server said anything, counts as "no response from server". It is applied
  // before the pump below, so that it sees notifications in the order they were posted even
  // when the pump delivers a later one nested.
  if (connecting_ && last_event_ == kFdWrite && error == 0) {
    if (n.event != kFdRead) error = kConnectNoResponse;
    connecting_ = false;
  }
  last_event_ = n.event;
  if (n.event == kFdRead) {
    pump_->DoEvents();
    reg = Find(n.handle);  // the pass may have closed the handle
    if (reg == nullptr) return;
  }
  reg->owner->PostSocketEvent(n.event, error);
  platform::SleepNoPumpUntil(pause_ends);
}

SocketSupport::Registration* SocketSupport::Find(int handle) {
  auto it = registry_.find(handle);
  return it == registry_.end() ? nullptr : &it->second;
}

std::vector<platform::IpAddress> ResolveHostName(const std::string& host) {
  const ThreadShared* shared = ThreadShared::Current();
  return shared != nullptr && shared->resolve_host ? shared->resolve_host(host)
                                                   : platform::ResolveHost(host);
}

std::string GetIPFromHostName(const std::string& host) {
  const auto addresses = ResolveHostName(host);
  return addresses.empty() ? std::string() : platform::FormatIpAddress(addresses.front());
}

std::int16_t UnsignedToInteger(std::int32_t value) {
  if (value < 0 || value > 65535) Fail(6, "Overflow");
  return static_cast<std::int16_t>(value > 32767 ? value - 65536 : value);
}

std::int32_t IntegerToUnsigned(std::int16_t value) { return value < 0 ? value + 65536 : value; }

}  // namespace quorvi::detail

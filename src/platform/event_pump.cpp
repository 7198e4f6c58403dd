#include "platform/event_pump.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

namespace quorvi::platform {

namespace {
thread_local std::weak_ptr<EventPump> this_thread_pump;
}

std::shared_ptr<EventPump> EventPump::ForThisThread() {
  auto pump = this_thread_pump.lock();
  if (!pump) {
    pump = std::make_shared<EventPump>();
    this_thread_pump = pump;
  }
  return pump;
}

EventPump* EventPump::Current() { return this_thread_pump.lock().get(); }

EventPump::EventPump() : wake_fd_(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

EventPump::~EventPump() {
  for (int fd : {wake_fd_, host_fd_, host_timer_fd_}) {
    if (fd >= 0) ::close(fd);
  }
}

void EventPump::Post(const Notification& n) {
  const bool was_empty = queue_.empty();
  queue_.push_back(n);
  if (was_empty && host_fd_ >= 0) SignalQueued();
}

// ---- The host's descriptor ----

int EventPump::HostFd() {
  if (host_fd_ >= 0) return host_fd_;
  host_fd_ = ::epoll_create1(EPOLL_CLOEXEC);
  host_timer_fd_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  if (host_fd_ < 0 || host_timer_fd_ < 0 || wake_fd_ < 0) {
    // Out of descriptors: no half-made set; a later call tries again.
    for (int* fd : {&host_fd_, &host_timer_fd_}) {
      if (*fd >= 0) ::close(*fd);
      *fd = -1;
    }
    return -1;
  }
  for (int fd : {wake_fd_, host_timer_fd_}) {
    epoll_event ev{};
    ev.events = EPOLLIN;
    ev.data.fd = fd;
    ::epoll_ctl(host_fd_, EPOLL_CTL_ADD, fd, &ev);
  }
  for (const auto& w : watches_) SyncHostWatch(w.fd, w.events);
  ArmHostTimer();
  if (!queue_.empty()) SignalQueued();
  return host_fd_;
}

int EventPump::HostTimeout() const {
  // Asked from the host hook: a component wait is pumping already, and a zero here would have
  // the host's loop call ProcessPending (which does nothing there) again and again.
  if (hook_depth_ > 0) return -1;
  if (!queue_.empty()) return 0;
  return MillisecondsToNextTimer(Clock::now());
}

void EventPump::ProcessPending() {
  // From the host hook a component wait is already pumping: its own pass does the work, and a
  // nested pass here would call the hook again, without end while the descriptor stays ready.
  if (hook_depth_ > 0) return;
  const bool outer = host_pass_;
  host_pass_ = true;
  RunPass(0);
  host_pass_ = outer;
  if (host_fd_ >= 0) {
    std::uint64_t expirations = 0;
    [[maybe_unused]] auto r = ::read(host_timer_fd_, &expirations, sizeof expirations);
    ArmHostTimer();
    if (!queue_.empty()) SignalQueued();
  }
}

void EventPump::SyncHostWatch(int fd, short events) {
  if (host_fd_ < 0) return;
  // A silent descriptor leaves the set: epoll would still report its hang-up, and the host
  // would call us again and again for an event the socket layer has not asked for yet.
  if (events == 0) {
    ::epoll_ctl(host_fd_, EPOLL_CTL_DEL, fd, nullptr);
    return;
  }
  epoll_event ev{};
  ev.events = static_cast<std::uint32_t>(events);  // POLLIN, POLLOUT, POLLRDHUP match EPOLL*
  ev.data.fd = fd;
  if (::epoll_ctl(host_fd_, EPOLL_CTL_MOD, fd, &ev) != 0 && errno == ENOENT)
    ::epoll_ctl(host_fd_, EPOLL_CTL_ADD, fd, &ev);
}

void EventPump::ArmHostTimer() {
  if (host_timer_fd_ < 0) return;
  itimerspec next{};
  bool any = false;
  Clock::time_point first{};
  for (const auto& t : timers_) {
    if (!t.enabled || t.running) continue;
    if (!any || t.due < first) first = t.due;
    any = true;
  }
  if (any) {
    // A zero value would disarm the timer: a timer already due fires after a nanosecond.
    auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(first - Clock::now()).count();
    if (ns < 1) ns = 1;
    next.it_value.tv_sec = static_cast<time_t>(ns / 1000000000);
    next.it_value.tv_nsec = static_cast<long>(ns % 1000000000);
  }
  ::timerfd_settime(host_timer_fd_, 0, &next, nullptr);
}

void EventPump::SignalQueued() {
  const std::uint64_t one = 1;
  [[maybe_unused]] auto r = ::write(wake_fd_, &one, sizeof one);
}

// ---- Wake-ups ----

EventPump::WakeHandlerId EventPump::AddWakeHandler(std::function<void()> handler) {
  wake_handlers_.emplace_back(++last_wake_id_,
                              std::make_shared<std::function<void()>>(std::move(handler)));
  return last_wake_id_;
}

void EventPump::RemoveWakeHandler(WakeHandlerId id) {
  std::erase_if(wake_handlers_, [id](const auto& h) { return h.first == id; });
}

void EventPump::Wake() noexcept { SignalQueued(); }

void EventPump::RunWakeHandlers() {
  std::uint64_t count = 0;
  [[maybe_unused]] auto r = ::read(wake_fd_, &count, sizeof count);
  // Handlers may add or remove handlers: work on a copy that keeps each one alive.
  const auto handlers = wake_handlers_;
  for (const auto& [id, handler] : handlers) (*handler)();
}

void EventPump::WatchFd(int fd, short events, ReadinessHandler handler) {
  auto shared = std::make_shared<ReadinessHandler>(std::move(handler));
  for (auto& w : watches_) {
    if (w.fd == fd) {
      w.events = events;
      w.handler = std::move(shared);
      SyncHostWatch(fd, events);
      return;
    }
  }
  watches_.push_back(Watch{fd, events, std::move(shared)});
  SyncHostWatch(fd, events);
}

void EventPump::UpdateFd(int fd, short events) {
  for (auto& w : watches_) {
    if (w.fd == fd && w.events != events) {
      w.events = events;
      SyncHostWatch(fd, events);
    }
  }
}

void EventPump::UnwatchFd(int fd) {
  if (std::erase_if(watches_, [fd](const Watch& w) { return w.fd == fd; }) > 0)
    SyncHostWatch(fd, 0);
}

EventPump::TimerId EventPump::AddTimer(std::uint32_t interval_ms, std::function<void()> tick,
                                       bool enabled) {
  const auto interval = std::chrono::milliseconds(interval_ms);
  timers_.push_back(Timer{++last_timer_id_, interval, Clock::now() + interval, enabled, false,
                          std::make_shared<std::function<void()>>(std::move(tick))});
  ArmHostTimer();
  return last_timer_id_;
}

EventPump::Timer* EventPump::FindTimer(TimerId id) {
  auto it = std::find_if(timers_.begin(), timers_.end(), [id](const Timer& t) { return t.id == id; });
  return it == timers_.end() ? nullptr : &*it;
}

const EventPump::Timer* EventPump::FindTimer(TimerId id) const {
  auto it = std::find_if(timers_.begin(), timers_.end(), [id](const Timer& t) { return t.id == id; });
  return it == timers_.end() ? nullptr : &*it;
}

void EventPump::SetTimerEnabled(TimerId id, bool enabled) {
  if (Timer* t = FindTimer(id)) {
    // Enabling restarts the interval, as a window timer does when it is set again.
    if (enabled && !t->enabled) t->due = Clock::now() + t->interval;
    t->enabled = enabled;
    ArmHostTimer();
  }
}

void EventPump::SetTimerInterval(TimerId id, std::uint32_t interval_ms) {
  if (Timer* t = FindTimer(id)) {
    t->interval = std::chrono::milliseconds(interval_ms);
    t->due = Clock::now() + t->interval;
    ArmHostTimer();
  }
}

bool EventPump::TimerEnabled(TimerId id) const {
  const Timer* t = FindTimer(id);
  return t != nullptr && t->enabled;
}

void EventPump::RemoveTimer(TimerId id) {
  std::erase_if(timers_, [id](const Timer& t) { return t.id == id; });
}

void EventPump::CollectReadiness(int timeout_ms) {
  std::vector<pollfd> fds;
  fds.reserve(watches_.size() + 1);
  for (const auto& w : watches_) fds.push_back(pollfd{w.fd, w.events, 0});
  // The wake-up descriptor ends a wait early (another thread's request, a queued notification).
  fds.push_back(pollfd{wake_fd_, POLLIN, 0});
  int ready = ::poll(fds.data(), fds.size(), timeout_ms);
  if (ready <= 0) return;
  if (fds.back().revents != 0) RunWakeHandlers();
  fds.pop_back();
  // Handlers may watch or unwatch descriptors: look each one up again before calling it.
  for (const auto& p : fds) {
    if (p.revents == 0) continue;
    auto it = std::find_if(watches_.begin(), watches_.end(), [&](const Watch& w) { return w.fd == p.fd; });
    if (it == watches_.end()) continue;
    auto handler = it->handler;  // keeps the handler alive while it runs
    (*handler)(p.revents);
  }
}

void EventPump::DeliverNotifications() {
  // Only what was queued before this pass: a handler that posts again is served next pass.
  std::size_t count = queue_.size();
  while (count-- > 0 && !queue_.empty()) {
    Notification n = queue_.front();
    queue_.pop_front();
    // A copy: the sink may replace itself while it runs (the last socket unregisters).
    if (auto sink = sink_) sink(n);
  }
}

void EventPump::FireTimers() {
  const auto now = Clock::now();
  std::vector<TimerId> due;
  for (const auto& t : timers_) {
    if (t.enabled && !t.running && t.due <= now) due.push_back(t.id);
  }
  std::sort(due.begin(), due.end(), [this](TimerId a, TimerId b) {
    return FindTimer(a)->due < FindTimer(b)->due;
  });
  for (TimerId id : due) {
    Timer* t = FindTimer(id);  // an earlier tick may have removed or disabled it
    if (t == nullptr || !t->enabled || t->running) continue;
    t->due = now + t->interval;
    t->running = true;  // a tick never re-enters itself through a nested pump
    auto tick = t->tick;
    (*tick)();
    if (Timer* after = FindTimer(id)) after->running = false;
  }
  if (!due.empty()) ArmHostTimer();
}

int EventPump::MillisecondsToNextTimer(Clock::time_point now) const {
  int best = -1;
  for (const auto& t : timers_) {
    if (!t.enabled || t.running) continue;
    // Rounded up: a timer due in 0.4 ms must not make the caller poll with a zero timeout.
    auto ms = std::chrono::ceil<std::chrono::milliseconds>(t.due - now).count();
    int v = ms < 0 ? 0 : static_cast<int>(std::min<long long>(ms, 1 << 30));
    if (best < 0 || v < best) best = v;
  }
  return best;
}

void EventPump::RunPass(int readiness_timeout_ms) {
  CollectReadiness(readiness_timeout_ms);
  DeliverNotifications();
  FireTimers();
  // A pass the host's loop asked for does not run that loop again from inside itself.
  if (host_hook_ && !host_pass_) {
    auto hook = host_hook_;  // the hook may replace itself
    struct Depth {
      int& depth;
      ~Depth() { --depth; }
    } in_hook{++hook_depth_};
    hook();
  }
}

void EventPump::DoEvents() { RunPass(0); }

void EventPump::Sleep(std::uint32_t ms) { SleepUntil(ms, nullptr); }

bool EventPump::SleepUntil(std::uint32_t ms, const std::function<bool()>& done) {
  // A component wait paces its notifications again, even inside a pass the host asked for.
  struct HostPassOff {
    bool& flag;
    bool saved;
    ~HostPassOff() { flag = saved; }
  } off{host_pass_, host_pass_};
  host_pass_ = false;
  const auto deadline = Clock::now() + std::chrono::milliseconds(ms);
  // Every turn blocks on the descriptors until something is ready, a timer is due or the time
  // is up, then runs a full pass. A readiness handler must stop watching what it has already
  // reported (the socket layer re-arms on recv/accept), otherwise poll() returns at once.
  do {
    if (done && done()) return true;
    const auto now = Clock::now();
    // Rounded up, so the last fraction of a millisecond is slept in poll(), not spun.
    auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
    int wait = left > 0 ? static_cast<int>(left) : 0;
    if (!queue_.empty()) wait = 0;
    const int to_timer = MillisecondsToNextTimer(now);
    if (to_timer >= 0 && to_timer < wait) wait = to_timer;
    RunPass(wait);
  } while (Clock::now() < deadline);
  return done && done();
}

void SleepNoPump(std::uint32_t ms) {
  if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

void SleepNoPumpUntil(EventPump::Clock::time_point until) {
  if (EventPump::Clock::now() < until) std::this_thread::sleep_until(until);
}

std::uint64_t TickCount() {
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        std::chrono::steady_clock::now().time_since_epoch())
                                        .count());
}

}  // namespace quorvi::platform

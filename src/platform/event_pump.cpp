#include "platform/event_pump.h"

#include <algorithm>
#include <cerrno>
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

void EventPump::WatchFd(int fd, short events, ReadinessHandler handler) {
  auto shared = std::make_shared<ReadinessHandler>(std::move(handler));
  for (auto& w : watches_) {
    if (w.fd == fd) {
      w.events = events;
      w.handler = std::move(shared);
      return;
    }
  }
  watches_.push_back(Watch{fd, events, std::move(shared)});
}

void EventPump::UpdateFd(int fd, short events) {
  for (auto& w : watches_) {
    if (w.fd == fd) w.events = events;
  }
}

void EventPump::UnwatchFd(int fd) {
  std::erase_if(watches_, [fd](const Watch& w) { return w.fd == fd; });
}

EventPump::TimerId EventPump::AddTimer(std::uint32_t interval_ms, std::function<void()> tick,
                                       bool enabled) {
  const auto interval = std::chrono::milliseconds(interval_ms);
  timers_.push_back(Timer{++last_timer_id_, interval, Clock::now() + interval, enabled, false,
                          std::make_shared<std::function<void()>>(std::move(tick))});
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
  }
}

void EventPump::SetTimerInterval(TimerId id, std::uint32_t interval_ms) {
  if (Timer* t = FindTimer(id)) {
    t->interval = std::chrono::milliseconds(interval_ms);
    t->due = Clock::now() + t->interval;
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
  if (watches_.empty()) {
    if (timeout_ms > 0) SleepNoPump(static_cast<std::uint32_t>(timeout_ms));
    return;
  }
  std::vector<pollfd> fds;
  fds.reserve(watches_.size());
  for (const auto& w : watches_) fds.push_back(pollfd{w.fd, w.events, 0});
  int ready = ::poll(fds.data(), fds.size(), timeout_ms);
  if (ready <= 0) return;
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
  if (host_hook_) {
    auto hook = host_hook_;  // the hook may replace itself
    hook();
  }
}

void EventPump::DoEvents() { RunPass(0); }

void EventPump::Sleep(std::uint32_t ms) { SleepUntil(ms, nullptr); }

bool EventPump::SleepUntil(std::uint32_t ms, const std::function<bool()>& done) {
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

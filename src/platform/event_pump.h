// The per-thread event pump: it stands in for the Windows message loop that the component was
// built around. Socket readiness, posted socket notifications, component timers and the host's
// own loop all run from DoEvents(), which every wait loop of the component calls.
#pragma once

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace quorvi::platform {

/// One socket notification: which handle, which network event (1 read, 2 write, 8 accept,
/// 16 connect, 32 close) and the error code that goes with it.
struct Notification {
  int handle = -1;
  int event = 0;
  int error = 0;
};

class EventPump {
 public:
  using Clock = std::chrono::steady_clock;
  using TimerId = std::uint64_t;
  using ReadinessHandler = std::function<void(short revents)>;
  using NotificationSink = std::function<void(const Notification&)>;

  EventPump();
  ~EventPump();
  EventPump(const EventPump&) = delete;
  EventPump& operator=(const EventPump&) = delete;

  /// The pump of the calling thread, created on first use and destroyed with the last owner.
  static std::shared_ptr<EventPump> ForThisThread();
  /// The calling thread's pump if one exists, else null.
  static EventPump* Current();

  // ---- Readiness source: file descriptors polled on every pass ----
  /// Watches fd for the given poll events; the handler runs inside DoEvents with revents.
  void WatchFd(int fd, short events, ReadinessHandler handler);
  /// Changes the events watched on fd (0 keeps the fd registered but silent).
  void UpdateFd(int fd, short events);
  /// Stops watching fd. Safe to call from inside its own handler.
  void UnwatchFd(int fd);
  /// Number of watched descriptors.
  std::size_t WatchedCount() const { return watches_.size(); }

  // ---- Posted notifications, delivered in order ----
  /// Where posted notifications go (the socket layer's notification procedure).
  void SetNotificationSink(NotificationSink sink) { sink_ = std::move(sink); }
  /// Queues a notification for delivery on a later pass.
  void Post(const Notification& n);
  /// Number of notifications waiting.
  std::size_t PendingCount() const { return queue_.size(); }

  // ---- Timers: tick only while some wait pumps ----
  /// Adds a timer that calls tick every interval_ms while pumping.
  TimerId AddTimer(std::uint32_t interval_ms, std::function<void()> tick, bool enabled = true);
  void SetTimerEnabled(TimerId id, bool enabled);
  void SetTimerInterval(TimerId id, std::uint32_t interval_ms);
  bool TimerEnabled(TimerId id) const;
  void RemoveTimer(TimerId id);

  // ---- Host hook ----
  /// A function called once per pass, so a GUI host's own loop keeps running.
  void SetHostHook(std::function<void()> hook) { host_hook_ = std::move(hook); }

  // ---- Driven by the host's own loop ----
  /// A descriptor that is readable while the pump has work: a watched socket is ready, a
  /// notification is queued, a timer is due or a wake-up was requested. Made on first use;
  /// from then on the pump keeps it current. Owned by the pump.
  int HostFd();
  /// Milliseconds until the pump needs a pass although its descriptor stays quiet: 0 when work
  /// is queued, -1 when no timer runs or when asked from the host hook (a wait is pumping).
  int HostTimeout() const;
  /// One pass that never waits, never pauses after a notification and does not call the host
  /// hook, for the host's loop to call when HostFd is readable or HostTimeout has passed. Does
  /// nothing when called from the host hook, i.e. while a component method already pumps.
  void ProcessPending();
  /// True while a pass made by ProcessPending runs and no component wait has started inside it.
  bool InHostPass() const { return host_pass_; }

  // ---- Wake-ups from other threads ----
  using WakeHandlerId = std::uint64_t;
  /// Adds a function that runs on the pump's thread, in the next pass, after Wake.
  WakeHandlerId AddWakeHandler(std::function<void()> handler);
  void RemoveWakeHandler(WakeHandlerId id);
  /// Thread-safe: makes a waiting pass return at once and run the wake handlers.
  void Wake() noexcept;

  // ---- Pumping ----
  /// One pass: collect readiness, deliver the queued notifications, fire due timers, call the
  /// host hook. Re-entrant: a handler may call DoEvents or Sleep again.
  void DoEvents();
  /// Pumps events for ms milliseconds: waits on the descriptors (and the next timer) and runs
  /// a pass whenever something is ready, returning after at least ms have passed.
  void Sleep(std::uint32_t ms);
  /// Like Sleep, but returns as soon as done() holds, before the first pass or after any. A wait
  /// loop whose condition is met has nothing left to do in the rest of its step, so it need not
  /// sit it out. Returns done() as it stands at the end.
  bool SleepUntil(std::uint32_t ms, const std::function<bool()>& done);

 private:
  struct Watch {
    int fd;
    short events;
    std::shared_ptr<ReadinessHandler> handler;
  };
  struct Timer {
    TimerId id;
    std::chrono::milliseconds interval;
    Clock::time_point due;
    bool enabled;
    bool running;
    std::shared_ptr<std::function<void()>> tick;
  };

  void RunPass(int readiness_timeout_ms);
  void RunWakeHandlers();
  void SyncHostWatch(int fd, short events);
  void ArmHostTimer();
  void SignalQueued();
  void CollectReadiness(int timeout_ms);
  void DeliverNotifications();
  void FireTimers();
  int MillisecondsToNextTimer(Clock::time_point now) const;
  Timer* FindTimer(TimerId id);
  const Timer* FindTimer(TimerId id) const;

  std::vector<Watch> watches_;
  std::deque<Notification> queue_;
  NotificationSink sink_;
  std::vector<Timer> timers_;
  TimerId last_timer_id_ = 0;
  std::function<void()> host_hook_;

  int wake_fd_ = -1;        ///< eventfd: Wake() and queued notifications in host mode
  int host_fd_ = -1;        ///< epoll set handed to the host (-1 until HostFd)
  int host_timer_fd_ = -1;  ///< timerfd in that set, armed for the next timer
  bool host_pass_ = false;
  int hook_depth_ = 0;
  std::vector<std::pair<WakeHandlerId, std::shared_ptr<std::function<void()>>>> wake_handlers_;
  WakeHandlerId last_wake_id_ = 0;
};

/// Pauses the thread without pumping (the brief pauses the component makes on purpose).
void SleepNoPump(std::uint32_t ms);
/// Blocks the thread until the given time without pumping; returns at once when it has passed.
void SleepNoPumpUntil(EventPump::Clock::time_point until);
/// Milliseconds of a steady clock (stands in for the platform tick count).
std::uint64_t TickCount();

}  // namespace quorvi::platform

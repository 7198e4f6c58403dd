// Socket support shared by every socket object of one thread: start/stop accounting of the
// socket service, the handle registry, the readiness source that stands in for asynchronous
// select (it posts (handle, event, error) notifications to the event pump), the handling of
// each delivered notification, the connecting flag, host name lookup and port conversions.
// See docs/notification-model.md for how a notification travels.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "component/error_numbers.h"
#include "platform/event_pump.h"
#include "platform/socket_api.h"

namespace quorvi::detail {

class CSocket;

// Network event codes carried by notifications.
inline constexpr int kFdRead = 1;
inline constexpr int kFdWrite = 2;
inline constexpr int kFdAccept = 8;
inline constexpr int kFdConnect = 16;
inline constexpr int kFdClose = 32;
/// The event set registered for every handle (out-of-band data is not requested).
inline constexpr int kFdAllEvents = kFdRead | kFdWrite | kFdAccept | kFdConnect | kFdClose;

/// Default pause after each handled notification (bounds the notification rate).
inline constexpr std::uint32_t kNotificationPauseMs = 10;
/// Largest UDP datagram the service reports.
inline constexpr std::int32_t kMaxDatagramSize = 65507;
/// Error that the connect-phase rule substitutes (no response from the server).
inline constexpr std::int32_t kConnectNoResponse = errors::kNoResponse;

class SocketSupport : public std::enable_shared_from_this<SocketSupport> {
 public:
  /// This thread's support object, created when none exists.
  static std::shared_ptr<SocketSupport> Acquire();
  /// This thread's support object, or null.
  static SocketSupport* Current();

  SocketSupport();
  ~SocketSupport();
  SocketSupport(const SocketSupport&) = delete;
  SocketSupport& operator=(const SocketSupport&) = delete;

  // ---- Service start/stop accounting ----
  /// Starts the service once; returns the maximum datagram size.
  std::int32_t InitWinsockService();
  /// Stops the service when no handle is registered any more.
  void TermWinsockService();
  bool WinsockStarted() const { return started_; }

  // ---- Handle registry ----
  /// Registers a handle for owner; what is watched follows the handle's kind (a connected
  /// stream watches read, write and close; a datagram socket read; a fresh stream nothing
  /// until it connects or listens). The readiness source is set up with the first handle.
  bool RegisterSocket(int handle, CSocket* owner);
  /// Stops notifications for the handle and forgets it; the readiness source goes with the
  /// last handle. Notifications already queued for it are dropped.
  bool UnregisterSocket(int handle);
  bool IsRegistered(int handle) const { return registry_.count(handle) != 0; }
  std::size_t RegisteredCount() const { return registry_.size(); }
  /// True while the readiness source exists (first registration to last unregistration).
  bool HasNotifySource() const { return source_installed_; }

  // ---- Asynchronous select: what the socket code tells the readiness source ----
  /// A connect was started: post connect (16) with its outcome. A non-zero immediate_error
  /// is the outcome already known.
  void WatchConnect(int handle, int immediate_error = 0);
  /// The handle listens: post accept (8) for a pending connection.
  void WatchAccept(int handle);
  /// recv was called: read (1) may be posted again.
  void RearmRead(int handle);
  /// accept was called: accept (8) may be posted again.
  void RearmAccept(int handle);
  /// A send would block: post write (2) once the handle is writable.
  void ArmWrite(int handle);
  /// Queues a notification for a registered handle (the socket code's own write posts).
  void PostNotification(int handle, int event, int error = 0);

  /// Handles one delivered notification: pump before a read, the connect-phase rule,
  /// dispatch to the owner, then the pause. Never throws.
  void HandleNotification(const platform::Notification& n);

  // ---- Per-thread settings and flags ----
  /// The session's connecting flag, shared by all components of the thread.
  bool Connecting() const { return connecting_; }
  void Connecting(bool value) { connecting_ = value; }
  /// Pause after each handled notification, in milliseconds (default kNotificationPauseMs),
  /// counted from the start of its handling: at most one notification per pause.
  std::uint32_t NotificationPauseMs() const { return pause_ms_; }
  void NotificationPauseMs(std::uint32_t value) { pause_ms_ = value; }
  /// Event code of the previous notification handled.
  int LastEventCode() const { return last_event_; }

  platform::EventPump& Pump() { return *pump_; }

 private:
  enum class Mode { Idle, Connecting, Listening, Connected, Datagram };
  struct Registration {
    CSocket* owner = nullptr;  // not owned: the socket unregisters before it goes away
    Mode mode = Mode::Idle;
    bool read_armed = false;
    bool write_armed = false;
    bool accept_armed = false;
    bool close_armed = false;
    bool suspended = false;  // a hang-up nobody can act on yet: silent until re-armed
    bool watched = false;
    int outstanding = 0;  // posted, not yet delivered
  };

  Registration* Find(int handle);
  void Post(int handle, Registration& reg, int event, int error);
  void UpdateWatch(int handle, Registration& reg);
  void OnReadiness(int handle, short revents);
  void OnConnectedReadiness(int handle, Registration& reg, short revents);
  void InstallSource();
  void DropSource();
  void Dispatch(const platform::Notification& n);

  std::shared_ptr<platform::EventPump> pump_;
  std::map<int, Registration> registry_;
  std::map<int, int> stale_;  // handle → notifications of a previous registration still queued
  bool started_ = false;
  std::int32_t max_datagram_ = 0;
  bool source_installed_ = false;
  int last_event_ = 0;
  bool connecting_ = false;
  std::uint32_t pause_ms_ = kNotificationPauseMs;
};

/// Blocking lookup of a host name: every address (both families) in the resolver's order,
/// through the thread's resolver (ThreadShared::resolve_host).
std::vector<platform::IpAddress> ResolveHostName(const std::string& host);
/// The first address of a host name as text ("127.0.0.1", "::1"), "" when none.
std::string GetIPFromHostName(const std::string& host);
/// A port as the 16-bit value the network takes (bit pattern of the unsigned port); values
/// outside 0..65535 fail with error 6 (overflow).
std::int16_t UnsignedToInteger(std::int32_t value);
/// A 16-bit port value back to the unsigned port.
std::int32_t IntegerToUnsigned(std::int16_t value);

}  // namespace quorvi::detail

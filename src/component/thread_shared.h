// Objects shared by every component on one thread: the event pump, the log settings, the
// message table and the DisableSkip switch, and which component's error object is active.
// Created with the first component of the thread, destroyed with the last.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "component/error_object.h"
#include "component/message_table.h"
#include "net/socket_support.h"
#include "platform/event_pump.h"
#include "platform/socket_api.h"

namespace quorvi::detail {

struct ThreadShared {
  std::shared_ptr<platform::EventPump> pump = platform::EventPump::ForThisThread();
  std::shared_ptr<LogSettings> log = std::make_shared<LogSettings>();
  MessageTable messages;
  /// Kept alive with the components so settings such as the notification pause persist
  /// between connections.
  std::shared_ptr<SocketSupport> sockets = SocketSupport::Acquire();
  bool disable_skip = false;  ///< DisableSkip, read by the replace dialog
  /// Name lookup (getaddrinfo by default). Tests put a stub here to give a name addresses that
  /// the machine's resolver does not know.
  std::function<std::vector<platform::IpAddress>(const std::string&)> resolve_host;

  /// The error object of the component whose code runs now (a public member, one of its
  /// sockets' events or timers): code that records an error without knowing its component
  /// records it there. Outside any component, the thread's own.
  CError& Error() const { return *active_error_; }
  /// The active error object, for what is made now to hand back to its component later.
  std::weak_ptr<CError> ActiveErrorHandle() const { return active_error_; }

  /// This thread's shared objects, created when none exist.
  static std::shared_ptr<ThreadShared> Acquire();
  /// This thread's shared objects, or null when no component holds them.
  static ThreadShared* Current();

 private:
  friend class ActiveError;
  std::shared_ptr<CError> idle_error_ = std::make_shared<CError>(log);
  std::shared_ptr<CError> active_error_ = idle_error_;
};

/// Makes a component's error object the active one for its lifetime (a public member's body,
/// an event or timer of one of its sockets), then restores the one active before: a component
/// called from another's event handler records its errors in its own object.
class ActiveError {
 public:
  ActiveError(ThreadShared& shared, std::shared_ptr<CError> error) noexcept
      : shared_(shared), saved_(std::exchange(shared.active_error_, std::move(error))) {
    if (!shared_.active_error_) shared_.active_error_ = shared_.idle_error_;
  }
  ~ActiveError() { shared_.active_error_ = std::move(saved_); }
  ActiveError(const ActiveError&) = delete;
  ActiveError& operator=(const ActiveError&) = delete;

 private:
  ThreadShared& shared_;
  std::shared_ptr<CError> saved_;
};

}  // namespace quorvi::detail

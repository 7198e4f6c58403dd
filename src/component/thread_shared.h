// Objects shared by every component on one thread: the event pump, the error object, the
// message table and the DisableSkip switch. Created with the first component of the thread,
// destroyed with the last.
#pragma once

#include <memory>

#include "component/error_object.h"
#include "component/message_table.h"
#include "net/socket_support.h"
#include "platform/event_pump.h"

namespace quorvi::detail {

struct ThreadShared {
  std::shared_ptr<platform::EventPump> pump = platform::EventPump::ForThisThread();
  CError error;
  MessageTable messages;
  /// Kept alive with the components so settings such as the notification pause persist
  /// between connections.
  std::shared_ptr<SocketSupport> sockets = SocketSupport::Acquire();
  bool disable_skip = false;  ///< DisableSkip, read by the replace dialog

  /// This thread's shared objects, created when none exist.
  static std::shared_ptr<ThreadShared> Acquire();
  /// This thread's shared objects, or null when no component holds them.
  static ThreadShared* Current();
};

}  // namespace quorvi::detail

// FtpLibrary's socket-layer settings.
#include <quorvi/ftp_library.h>

#include <algorithm>

#include "component/core.h"
#include "net/socket_support.h"

namespace quorvi {

namespace {
constexpr std::int32_t kMaxNotificationPauseMs = 1000;
}

std::int32_t FtpLibrary::NotificationPause() const {
  return static_cast<std::int32_t>(core_->shared->sockets->NotificationPauseMs());
}

void FtpLibrary::NotificationPause(std::int32_t ms) {
  core_->shared->sockets->NotificationPauseMs(
      static_cast<std::uint32_t>(std::clamp(ms, 0, kMaxNotificationPauseMs)));
}

}  // namespace quorvi

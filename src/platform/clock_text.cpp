#include "platform/clock_text.h"

#include <time.h>

#include <array>

namespace quorvi::platform {

std::string NowGeneralDate() {
  const time_t now = time(nullptr);
  struct tm local {};
  localtime_r(&now, &local);
  std::array<char, 32> buf{};
  const auto n = strftime(buf.data(), buf.size(), "%Y-%m-%d %H:%M:%S", &local);
  return std::string(buf.data(), n);
}

}  // namespace quorvi::platform

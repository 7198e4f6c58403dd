// 227 replies: a port comes out only when it is a real port.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "ftp/data_connection.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto port = quorvi::detail::ParsePassivePort(text);
  if (port && (*port < 1 || *port > 65535)) std::abort();
  return 0;
}

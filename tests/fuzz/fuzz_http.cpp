// HTTP proxy answers: status line, headers and error pages from any bytes.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "http/http_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvi::detail::MHttpSupport;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)GetHeaderValue(text, "Content-Length");
  (void)GetHeaderValue(text, "proxy-authenticate");
  (void)GetContentLength(text);
  (void)GetStatusLine(text);
  (void)GetErrorPageTitle(text);
  (void)GetHostAndPort(text);
  return 0;
}

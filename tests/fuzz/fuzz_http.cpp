// HTTP answers from any bytes: status line, headers, error pages, and chunked bodies, which
// must decode the same whether they arrive whole or byte by byte.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "http/chunked_decoder.h"
#include "http/http_support.h"

namespace {

void CheckChunked(std::string_view text) {
  using quorvi::detail::ChunkedDecoder;
  ChunkedDecoder whole, bytewise;
  std::string a, b;
  whole.Feed(text, a);
  for (std::size_t i = 0; i < text.size() && bytewise.status() == ChunkedDecoder::Status::kMore; ++i)
    bytewise.Feed(text.substr(i, 1), b);
  if (whole.status() != bytewise.status() || a != b || a.size() > text.size()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvi::detail::MHttpSupport;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)GetHeaderValue(text, "Content-Length");
  (void)GetHeaderValue(text, "proxy-authenticate");
  (void)GetContentLength(text);
  (void)GetStatusLine(text);
  (void)GetErrorPageTitle(text);
  (void)GetHostAndPort(text);
  CheckChunked(text);
  return 0;
}

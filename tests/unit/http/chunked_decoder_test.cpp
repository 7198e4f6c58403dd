// Chunked bodies decode the same whatever pieces they arrive in; framing errors are errors.
#include "http/chunked_decoder.h"

#include <gtest/gtest.h>

#include <string>

using quorvi::detail::ChunkedDecoder;

namespace {

struct Decoded {
  ChunkedDecoder::Status status;
  std::string body;
};

// Feeds text in pieces of `step` bytes.
Decoded Decode(const std::string& text, std::size_t step) {
  ChunkedDecoder decoder;
  std::string body;
  for (std::size_t at = 0; at < text.size(); at += step) {
    if (decoder.Feed(std::string_view(text).substr(at, step), body) != ChunkedDecoder::Status::kMore)
      break;
  }
  return {decoder.status(), body};
}

TEST(ChunkedDecoder, EverySplitGivesTheSameBody) {
  using S = ChunkedDecoder::Status;
  struct Case {
    const char* name;
    std::string text;
    S status;
    std::string body;
  };
  const Case cases[] = {
      {"two chunks", "5\r\nhello\r\n6\r\n world\r\n0\r\n\r\n", S::kDone, "hello world"},
      {"hex, extension, trailer", "A;name=x\r\n0123456789\r\n0\r\nX-Sum: 1\r\n\r\n", S::kDone,
       "0123456789"},
      {"bare LF", "3\nabc\n0\n\n", S::kDone, "abc"},
      {"bytes after the end are ignored", "1\r\nz\r\n0\r\n\r\nGARBAGE", S::kDone, "z"},
      {"cut short", "5\r\nhel", S::kMore, "hel"},
      {"no last chunk", "5\r\nhello\r\n", S::kMore, "hello"},
      {"not hex", "xyz\r\nhello\r\n", S::kError, ""},
      {"empty size", "\r\nhello\r\n", S::kError, ""},
      {"data longer than announced", "2\r\nhello\r\n0\r\n\r\n", S::kError, "he"},
      {"size beyond any body", "FFFFFFFFFFFFFFFF\r\n", S::kError, ""},
      {"endless size line", std::string(5000, '1'), S::kError, ""},
  };
  for (const Case& c : cases) {
    for (const std::size_t step : {std::size_t{1}, std::size_t{2}, std::size_t{7}, c.text.size()}) {
      const Decoded d = Decode(c.text, step);
      EXPECT_EQ(d.status, c.status) << c.name << " step " << step;
      EXPECT_EQ(d.body, c.body) << c.name << " step " << step;
    }
  }
}

}  // namespace

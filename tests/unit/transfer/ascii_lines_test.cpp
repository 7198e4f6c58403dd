// ASCII-mode line ends, with the data split at every position (a CR LF may arrive in two reads).
#include <gtest/gtest.h>

#include "transfer/ascii_lines.h"

namespace quorvi::detail {
namespace {

TEST(AsciiLines, EverySplitGivesTheSameResult) {
  struct Case {
    bool download;
    std::string in, out;
  };
  for (const Case& c : {Case{true, "a\r\nb\rc\r\n\r\n\r", "a\nb\rc\n\n\r"},
                        Case{true, "\r\r\n", "\r\n"},
                        Case{false, "a\nb\r\nc\r\n\n", "a\r\nb\r\nc\r\n\r\n"},
                        Case{false, "\r\rx\n", "\r\rx\r\n"}}) {
    for (std::size_t split = 0; split <= c.in.size(); ++split) {
      SCOPED_TRACE(std::to_string(split) + (c.download ? " download" : " upload"));
      std::string out;
      if (c.download) {
        AsciiToLocal to_local;
        to_local.Feed(std::string_view(c.in).substr(0, split), out);
        to_local.Feed(std::string_view(c.in).substr(split), out);
        out += to_local.Finish();
      } else {
        AsciiToWire to_wire;
        to_wire.Feed(std::string_view(c.in).substr(0, split), out);
        to_wire.Feed(std::string_view(c.in).substr(split), out);
      }
      EXPECT_EQ(out, c.out);
    }
  }
}

}  // namespace
}  // namespace quorvi::detail

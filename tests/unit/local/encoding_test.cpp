// Wire encodings: UTF-8 decoding with replacement characters, the carry-over helper, and the
// ANSI code page through iconv.
#include <gtest/gtest.h>

#include <cstdlib>

#include "local/encoding.h"

namespace quorvi::detail {
namespace {

using namespace std::string_literals;
const std::string kFFFD = "\xEF\xBF\xBD";

TEST(Encoding, Utf8StopsAtZeroAndMarksMalformedBytes) {
  EXPECT_EQ(EncodeUTF8("ab\0cd"s), "ab");
  const std::string text = "Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80";
  struct Case {
    std::string in, out;
  };
  const Case cases[] = {
      {text, text},
      {"\0abc"s, ""},
      {"ab\0cd"s, "ab"},
      {"a\xFFz", "a" + kFFFD + "z"},
      {"\xC3", kFFFD},                        // truncated at the end
      {"\xE2\x82z", kFFFD + "z"},             // one replacement per truncated sequence
      {"\xC0\xAF", kFFFD + kFFFD},            // overlong form
      {"\xED\xA0\x80", kFFFD + kFFFD + kFFFD},  // surrogate
      {"\xF4\x90\x80\x80", kFFFD + kFFFD + kFFFD + kFFFD},  // above U+10FFFF
      {"\x80\x80", kFFFD + kFFFD},            // stray continuation bytes
  };
  for (const auto& c : cases) EXPECT_EQ(DecodeUTF8(c.in), c.out) << c.in;
}

TEST(Encoding, CompleteLengthHoldsBackAnUnfinishedTail) {
  struct Case {
    std::string in;
    std::size_t complete;
  };
  const Case cases[] = {
      {"a\xE2\x82\xAC", 4}, {"\xF0\x9F\x98", 0}, {"a\xFF", 2}, {"a\xE0\x80", 3},
  };
  for (const auto& c : cases) EXPECT_EQ(CompleteUTF8Length(c.in), c.complete) << c.in;
}

// Runs with QUORVI_CODEPAGE set, restoring the previous value.
class AnsiCodePage : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const char* old = std::getenv("QUORVI_CODEPAGE")) saved_ = old;
  }
  void TearDown() override {
    if (saved_) {
      setenv("QUORVI_CODEPAGE", saved_->c_str(), 1);
    } else {
      unsetenv("QUORVI_CODEPAGE");
    }
  }
  std::optional<std::string> saved_;
};

TEST_F(AnsiCodePage, Latin1RoundTripAndReplacement) {
  setenv("QUORVI_CODEPAGE", "ISO-8859-1", 1);
  EXPECT_EQ(AnsiCodePageName(), "ISO-8859-1");
  EXPECT_EQ(ToAnsi("caf\xC3\xA9 \xC3\xBF"), "caf\xE9 \xFF");
  EXPECT_EQ(FromAnsi("caf\xE9 \xFF"), "caf\xC3\xA9 \xC3\xBF");
  std::string all_bytes;
  for (int b = 1; b < 256; ++b) all_bytes += static_cast<char>(b);
  EXPECT_EQ(ToAnsi(FromAnsi(all_bytes)), all_bytes);
  // Characters outside the code page, and malformed input, become '?'.
  EXPECT_EQ(ToAnsi("a\xE2\x82\xAC" "b\xF0\x9F\x98\x80" "c\xFF"), "a?b?c?");
}

TEST_F(AnsiCodePage, OverrideSwitchesConverters) {
  setenv("QUORVI_CODEPAGE", "CP1252", 1);
  EXPECT_EQ(ToAnsi("\xE2\x82\xAC"), "\x80");
  EXPECT_EQ(FromAnsi("\x80\x81"), "\xE2\x82\xAC" + kFFFD);  // 0x81 is unassigned in CP1252
  setenv("QUORVI_CODEPAGE", "no-such-code-page", 1);
  EXPECT_EQ(FromAnsi("\xE9"), "\xC3\xA9");  // unknown names fall back to ISO-8859-1
}

}  // namespace
}  // namespace quorvi::detail

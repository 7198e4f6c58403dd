#include "ftp/reply_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quorvi::detail {
namespace {

using namespace std::string_literals;

struct ScanCase {
  const char* name;
  std::string buffer;
  int code;
  bool open;
};

TEST(ReplyParser, ScanFindsTheCodeOfTheCompleteReply) {
  const std::vector<ScanCase> cases = {
      {"too short", "22", 0, false},
      {"bare code", "200\r\n", 200, false},
      {"final line without its line end", "200 OK", 0, false},
      {"reply split after the code", "220 ", 0, false},
      {"multi-line still open", "230-Welcome to the server\r\n", 0, true},
      {"short continuation is not open", "230-\r\n", 0, false},
      {"feature lines between", "211-Features:\r\n UTF8\r\n MDTM\r\n211 End\r\n", 211, false},
      {"257 does not mask a later reply", "200 Type set\r\n257 \"/\" created\r\n", 200, false},
      {"257 does not mask an earlier reply", "257 \"/\"\r\n226 Done\r\n", 226, false},
      {"last final line wins", "200 NOOP ok\r\n150 Opening\r\n226 Done\r\n", 226, false},
      {"zero bytes and blanks removed", "  2\x00" "26 Done  \r\n"s, 226, false},
      {"fourth character neither blank nor dash", "2001 odd\r\n", 0, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ReplyScan scan = ScanReply(c.buffer);
    EXPECT_EQ(scan.code, c.code);
    EXPECT_EQ(scan.multiline_open, c.open);
    EXPECT_EQ(GetResponseCode(c.buffer, {}), c.code);  // without hooks it never waits
  }
}

// A multi-line reply left open while GetResponseCode pumps; each pump appends the next arrival.
TEST(ReplyParser, OpenMultiLineReplyPumpsUntilCompleteGreetingCloseOrLimit) {
  struct Case {
    const char* name;
    std::string buffer;
    std::vector<std::string> arrivals;
    bool connected;
    int code, pumps;  // pumps -1: as many as fit in a 20 ms limit
  };
  const Case cases[] = {
      {"completes", "230-Welcome\r\n", {"230-More\r\n", "230 Logged in\r\n"}, true, 230, 2},
      {"a greeting ends early", "220-Welcome\r\n", {"220-still going\r\n"}, true, 220, 1},
      {"closed", "230-Welcome\r\n", {}, false, 0, 1},
      {"never completes", "230-Welcome\r\n", {}, true, 0, -1},
  };
  for (auto c : cases) {
    int pumps = 0;
    ReplyWaitHooks hooks;
    hooks.pump = [&] {
      if (pumps < static_cast<int>(c.arrivals.size())) c.buffer += c.arrivals[pumps];
      ++pumps;
    };
    hooks.buffer = [&] { return c.buffer; };
    hooks.connected = [&] { return c.connected; };
    hooks.limit = std::chrono::milliseconds(c.pumps < 0 ? 20 : 500);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(GetResponseCode(c.buffer, hooks), c.code) << c.name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(400)) << c.name;
    if (c.pumps < 0) {
      EXPECT_GT(pumps, 0);
    } else {
      EXPECT_EQ(pumps, c.pumps) << c.name;
    }
  }
}

TEST(ReplyParser, ResponseInfoIsTheLastCompleteLine) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"550 No such file\r\n", "550 No such file"},
      {"220-Hello\r\n220 Ready \r\n", "220 Ready"},
      {"226 Done\r\n150 Partial", "226 Done"},     // unterminated tail is not a line
      {"226 Done\r\n550\r\n", "226 Done"},          // 3 characters are not enough
      {"  421 Bye \x00garbage\r\n"s, "421 Bye"},     // cut at the zero, then trimmed
      {"no line end", ""},
  };
  for (const auto& [text, info] : cases) {
    EXPECT_EQ(GetResponseInfo(text), info) << text;
  }
}

TEST(ReplyParser, MessageTextDropsTheLineEndOfTheTrimmedText) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"  226 Done\r\n  ", "226 Done"},
      {"220-A\r\n220 B\r\n", "220-A\r\n220 B"},
      {"257 \"/\xE6\x96\x87\xE5\xAD\x97", "257 \"/"},  // two characters, not two bytes
      {"\r", ""},
  };
  for (const auto& [received, message] : cases) {
    EXPECT_EQ(ReplyMessageText(received), message) << received;
  }
  EXPECT_EQ(TrimReceived("  200 OK\r\n "), "200 OK\r\n");
}

}  // namespace
}  // namespace quorvi::detail

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
      {"one final line", "200 OK\r\n", 200, false},
      {"bare code", "200\r\n", 200, false},
      {"final line without its line end", "200 OK", 0, false},
      {"reply split after the code", "220 ", 0, false},
      {"multi-line complete", "220-Welcome\r\n220-Second\r\n220 Ready\r\n", 220, false},
      {"multi-line still open", "230-Welcome to the server\r\n", 0, true},
      {"short continuation is not open", "230-\r\n", 0, false},
      {"feature lines between", "211-Features:\r\n UTF8\r\n MDTM\r\n211 End\r\n", 211, false},
      {"257 alone", "257 \"/home\" is current\r\n", 257, false},
      {"257 does not mask a later reply", "200 Type set\r\n257 \"/\" created\r\n", 200, false},
      {"257 does not mask an earlier reply", "257 \"/\"\r\n226 Done\r\n", 226, false},
      {"last final line wins", "200 NOOP ok\r\n150 Opening\r\n226 Done\r\n", 226, false},
      {"stale keep-alive reply prefixed", "200 NOOP ok\r\n350 Ready for RNTO\r\n", 350, false},
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

// A multi-line reply that completes while GetResponseCode pumps events.
struct FakeChannel {
  std::vector<std::string> arrivals;  // appended to the buffer, one per pump
  std::string buffer;
  bool connected = true;
  int pumps = 0;

  ReplyWaitHooks Hooks(std::chrono::milliseconds limit = std::chrono::milliseconds(500)) {
    ReplyWaitHooks hooks;
    hooks.pump = [this] {
      if (pumps < static_cast<int>(arrivals.size())) buffer += arrivals[pumps];
      ++pumps;
    };
    hooks.buffer = [this] { return buffer; };
    hooks.connected = [this] { return connected; };
    hooks.limit = limit;
    return hooks;
  }
};

TEST(ReplyParser, OpenMultiLineReplyWaitsByPumping) {
  FakeChannel ch;
  ch.buffer = "230-Welcome\r\n";
  ch.arrivals = {"230-More\r\n", "230 Logged in\r\n"};
  EXPECT_EQ(GetResponseCode(ch.buffer, ch.Hooks()), 230);
  EXPECT_EQ(ch.pumps, 2);
}

TEST(ReplyParser, OpenMultiLineReplyEndsEarlyOnGreetingOrClose) {
  FakeChannel greeting;
  greeting.buffer = "220-Welcome\r\n";
  greeting.arrivals = {"220-still going\r\n"};
  EXPECT_EQ(GetResponseCode(greeting.buffer, greeting.Hooks()), 220);
  EXPECT_EQ(greeting.pumps, 1);

  FakeChannel closed;
  closed.buffer = "230-Welcome\r\n";
  closed.connected = false;
  EXPECT_EQ(GetResponseCode(closed.buffer, closed.Hooks()), 0);
  EXPECT_EQ(closed.pumps, 1);
}

TEST(ReplyParser, OpenMultiLineReplyGivesUpAfterTheLimit) {
  FakeChannel ch;
  ch.buffer = "230-Welcome\r\n";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(GetResponseCode(ch.buffer, ch.Hooks(std::chrono::milliseconds(20))), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
  EXPECT_GT(ch.pumps, 0);
}

TEST(ReplyParser, ResponseInfoIsTheLastCompleteLine) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"550 No such file\r\n", "550 No such file"},
      {"220-Hello\r\n220 Ready \r\n", "220 Ready"},
      {"226 Done\r\n150 Partial", "226 Done"},     // unterminated tail is not a line
      {"226 Done\r\n550\r\n", "226 Done"},          // 3 characters are not enough
      {"  421 Bye \x00garbage\r\n"s, "421 Bye"},     // cut at the zero, then trimmed
      {"257 \"/\xE6\x96\x87\"\r\n", "257 \"/\xE6\x96\x87\""},
      {"no line end", ""},
  };
  for (const auto& [text, info] : cases) {
    EXPECT_EQ(GetResponseInfo(text), info) << text;
  }
}

TEST(ReplyParser, MessageTextDropsTheLineEndOfTheTrimmedText) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"226 Done\r\n", "226 Done"},
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

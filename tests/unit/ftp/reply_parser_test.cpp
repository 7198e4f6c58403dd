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
  }
}

// Replies are taken whole, one at a time and in order, whatever pieces they came in.
TEST(ReplyParser, CompleteRepliesAreTakenOneAtATimeFromAnySplit) {
  struct Case {
    const char* name;
    std::string stream;
    std::vector<std::pair<int, std::string>> replies;  // code, text
    std::string left;                                   // what stays pending
  };
  const Case cases[] = {
      {"two replies in one piece", "226 Transfer complete.\r\n200 NOOP ok.\r\n",
       {{226, "226 Transfer complete.\r\n"}, {200, "200 NOOP ok.\r\n"}}, ""},
      {"multi-line then single", "230-Welcome\r\n 230 inside\r\n230 In\r\n200 x\r\n",
       {{230, "230-Welcome\r\n 230 inside\r\n230 In\r\n"}, {200, "200 x\r\n"}}, ""},
      {"other code inside a multi-line reply", "211-Features:\r\n200 fake\r\n211 End\r\n",
       {{211, "211-Features:\r\n200 fake\r\n211 End\r\n"}}, ""},
      {"noise before a reply", "garbage\r\n150 Opening\r\n", {{150, "150 Opening\r\n"}}, ""},
      {"bare code", "200\r\n", {{200, "200\r\n"}}, ""},
      {"open multi-line waits", "230-Welcome\r\n", {}, "230-Welcome\r\n"},
      {"noise before an open reply goes", "2\x14-Hi\r\n915-mne\r\n", {}, "915-mne\r\n"},
      {"final line without its end waits", "226 Done", {}, "226 Done"},
      {"reply then a part", "200 a\r\n22", {{200, "200 a\r\n"}}, "22"},
  };
  for (const auto& c : cases) {
    // Fed whole and fed byte by byte: the same replies, the same rest.
    for (const bool bytewise : {false, true}) {
      SCOPED_TRACE(std::string(c.name) + (bytewise ? " (byte by byte)" : ""));
      std::string pending;
      std::vector<std::pair<int, std::string>> got;
      const auto take_all = [&] {
        while (auto reply = TakeCompleteReply(pending)) got.emplace_back(reply->code, reply->text);
      };
      if (bytewise) {
        for (char ch : c.stream) {
          pending += ch;
          take_all();
        }
      } else {
        pending = c.stream;
        take_all();
      }
      EXPECT_EQ(got, c.replies);
      EXPECT_EQ(pending, c.left);
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

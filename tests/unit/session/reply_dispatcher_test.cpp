// The dispatcher carrying out actions against a recording target: sends with argument
// sources, handlers, and the effects of the error path.
#include "ftp/reply_dispatcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "component/component_error.h"

namespace quorvi::detail {
namespace {

class RecordingTarget : public DispatchTarget {
 public:
  FtpOperations op = opDeleteFile;
  std::string last = "DELE";
  std::vector<std::string> calls;

  FtpOperations CurrentOperation() const override { return op; }
  std::string LastCommand() const override { return last; }
  bool SendCommand(const std::string& c, const std::string& a) override {
    return Add("send " + c + " " + a), true;
  }
  void EndOperation() override { Add("end"); }
  void CloseSession() override { Add("close-session"); }
  void WriteLog(const std::string& line) override { Add("log " + line); }
  void SetErrorNumber(std::int32_t n) override { Add("number " + std::to_string(n)); }
  void SetErrorDescription(const std::string& t) override { Add("description " + t); }
  void RecordError(const std::string& p, std::int32_t n, const std::string& t) override {
    Add("record " + p + " " + std::to_string(n) + " " + t);
  }
  void ReportError(const std::string& p, std::int32_t n, const std::string& t) override {
    Add("report " + p + " " + std::to_string(n) + " " + t);
  }
  void CloseLocalFile() override { Add("close-file"); }
  void CloseData() override { Add("close-data"); }
  void KeepAliveCollision() override { Add("keep-alive-off"); }

 private:
  void Add(std::string call) { calls.push_back(std::move(call)); }
};

const std::string kSource = "ControlSocket_OnDataArrival";

TEST(ReplyDispatcher, SendRowUsesItsArgumentSource) {
  ReplyDispatcher dispatcher;
  dispatcher.RegisterArgument("RenameTarget", [] { return std::string("/new.txt"); });
  RecordingTarget target;
  target.op = opRenameFile;
  target.last = "RNFR";
  dispatcher.Dispatch(target, 350, "350 Ready for RNTO.\r\n");
  EXPECT_EQ(target.calls, std::vector<std::string>{"send RNTO /new.txt"});
}

struct ErrorPathCase {
  const char* title;
  FtpOperations op;
  std::string received;
  int code;
  std::vector<std::string> expected;
};

class ErrorPath : public ::testing::TestWithParam<ErrorPathCase> {};

TEST_P(ErrorPath, RecordsReportsAndEnds) {
  const ErrorPathCase& c = GetParam();
  ReplyDispatcher dispatcher({{c.op, kAnyCommand, {}, Fail()}});
  RecordingTarget target;
  target.op = c.op;
  target.last = "CMD";
  dispatcher.Dispatch(target, c.code, c.received);
  EXPECT_EQ(target.calls, c.expected) << c.title;
}

const std::string kOpDelete = std::to_string(opDeleteFile);
const std::string kOpUpload = std::to_string(opUpload);

INSTANTIATE_TEST_SUITE_P(
    Cases, ErrorPath,
    ::testing::Values(
        ErrorPathCase{
            "a refused command is described by the server's line",
            opDeleteFile,
            "550 No such file.\r\n",
            550,
            {"log " + kSource + kOpDelete + "|CMD=16550--550 No such file.  ", "number 16550",
             "description 550 No such file.", "report " + kSource + " 16550 550 No such file.",
             "end", "close-file", "close-data"}},
        ErrorPathCase{"transfers are not reported here: their engine retries",
                      opUpload,
                      "421 Timeout.\r\n",
                      421,
                      {"log " + kSource + kOpUpload + "|CMD=16421--421 Timeout.  ", "number 16421",
                       "description 421 Timeout.", "end", "close-file", "close-data"}},
        ErrorPathCase{"no text received: nothing described",
                      opDeleteFile,
                      "",
                      550,
                      {"log " + kSource + kOpDelete + "|CMD=16550--  ", "number 16550",
                       "report " + kSource + " 16550 ", "end", "close-file", "close-data"}},
        ErrorPathCase{
            "a colliding keep-alive switches keep-alive off",
            opUpload,
            "450 Another command is currently pending\r\n",
            450,
            {"log " + kSource + kOpUpload +
                 "|CMD=16450--450 Another command is currently pending  ",
             "number 16450", "description 450 Another command is currently pending", "end",
             "close-file", "close-data", "log DISKEEPCONN#450 Another command is currently pending",
             "keep-alive-off"}}));

TEST(ReplyDispatcher, CloseAndFailClosesTheSessionFirst) {
  ReplyDispatcher dispatcher;
  RecordingTarget target;
  target.op = opConnect;
  target.last = "PASS";
  dispatcher.Dispatch(target, 530, "530 Login incorrect.\r\n");
  ASSERT_GE(target.calls.size(), 3u);
  EXPECT_EQ(target.calls[0], "close-session");
  EXPECT_EQ(target.calls[2], "number 16530");
}

TEST(ReplyDispatcher, FailureInsideAHandlerTakesTheErrorPathWithItsNumber) {
  ReplyDispatcher dispatcher({{opGetCurrentDirectory, kAnyCommand, {257}, Handler("Parse")}});
  dispatcher.RegisterHandler("Parse", [](const DispatchContext&) { Fail(20004, "boom"); });
  RecordingTarget target;
  target.op = opGetCurrentDirectory;
  dispatcher.Dispatch(target, 257, "257 \"/\"\r\n");
  // Not a reply code: recorded with the failure's own text.
  EXPECT_NE(
      std::find(target.calls.begin(), target.calls.end(), "record " + kSource + " 20004 boom"),
      target.calls.end());
  EXPECT_NE(std::find(target.calls.begin(), target.calls.end(), "end"), target.calls.end());
}

TEST(ReplyDispatcher, UnregisteredHandlerFailsTheReplyInsteadOfHanging) {
  ReplyDispatcher dispatcher({{opRawCommand, kAnyCommand, {}, Handler("Missing")}});
  RecordingTarget target;
  target.op = opRawCommand;
  dispatcher.Dispatch(target, 200, "200 OK\r\n");
  EXPECT_NE(std::find(target.calls.begin(), target.calls.end(), "number 16200"),
            target.calls.end());
}

TEST(ReplyDispatcher, LoggedRowWritesPrefixAndReceivedText) {
  ReplyDispatcher dispatcher;
  RecordingTarget target;
  target.op = opConnect;
  target.last = "USER";
  dispatcher.Dispatch(target, 220, "220 again");
  EXPECT_EQ(target.calls, std::vector<std::string>{"log USER:220 again"});
}

}  // namespace
}  // namespace quorvi::detail

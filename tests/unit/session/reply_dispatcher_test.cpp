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
  RecordingTarget(FtpOperations o, std::string l) : op(o), last(std::move(l)) {}
  FtpOperations op;
  std::string last;
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

TEST(ReplyDispatcher, SessionRowsSendLogOrCloseTheSessionFirst) {
  struct Case {
    FtpOperations op;
    const char* last;
    int code;
    std::string received;
    std::vector<std::string> expected;
  };
  const std::string login = "530 Login incorrect.";
  const Case cases[] = {
      {opRenameFile, "RNFR", 350, "350 Ready for RNTO.\r\n", {"send RNTO /new.txt"}},
      {opConnect, "USER", 220, "220 again", {"log USER:220 again"}},  // prefix and received text
      {opConnect, "PASS", 530, login + "\r\n",  // then the error path
       {"close-session", "log " + kSource + std::to_string(opConnect) + "|PASS=16530--" + login + "  ",
        "number 16530", "description " + login, "report " + kSource + " 16530 " + login, "end",
        "close-file", "close-data"}},
  };
  ReplyDispatcher dispatcher;
  dispatcher.RegisterArgument("RenameTarget", [] { return std::string("/new.txt"); });
  for (const auto& c : cases) {
    RecordingTarget target(c.op, c.last);
    dispatcher.Dispatch(target, c.code, c.received);
    EXPECT_EQ(target.calls, c.expected) << c.last << " " << c.code;
  }
}

TEST(ReplyDispatcher, ErrorPathRecordsReportsAndEnds) {
  struct Case {
    const char* title;
    FtpOperations op;
    std::string received;
    int code;
    std::vector<std::string> expected;
  };
  const std::string del = kSource + std::to_string(opDeleteFile);
  const std::string up = kSource + std::to_string(opUpload);
  const std::string pending = "450 Another command is currently pending";
  const Case cases[] = {
      {"transfers are not reported here: their engine retries",
       opUpload,
       "421 Timeout.\r\n",
       421,
       {"log " + up + "|CMD=16421--421 Timeout.  ", "number 16421", "description 421 Timeout.",
        "end", "close-file", "close-data"}},
      {"no text received: nothing described",
       opDeleteFile,
       "",
       550,
       {"log " + del + "|CMD=16550--  ", "number 16550", "report " + kSource + " 16550 ", "end",
        "close-file", "close-data"}},
      {"a TLS data connection that did not resume has its own number",
       opUpload,
       "522 SSL connection failed: session reuse required\r\n",
       522,
       {"log " + up + "|CMD=19006--522 SSL connection failed: session reuse required  ",
        "number 19006",
        "record " + kSource + " 19006 The data connection did not resume the TLS session: 522 SSL "
        "connection failed: session reuse required",
        "end", "close-file", "close-data"}},
      {"a colliding keep-alive switches keep-alive off",
       opUpload,
       pending + "\r\n",
       450,
       {"log " + up + "|CMD=16450--" + pending + "  ", "number 16450", "description " + pending,
        "end", "close-file", "close-data", "log DISKEEPCONN#" + pending, "keep-alive-off"}},
  };
  for (const auto& c : cases) {
    ReplyDispatcher dispatcher({{c.op, kAnyCommand, {}, Fail()}});
    RecordingTarget target(c.op, "CMD");
    dispatcher.Dispatch(target, c.code, c.received);
    EXPECT_EQ(target.calls, c.expected) << c.title;
  }
}

TEST(ReplyDispatcher, HandlerFailuresTakeTheErrorPath) {
  auto called = [](const RecordingTarget& t, const std::string& call) {
    return std::find(t.calls.begin(), t.calls.end(), call) != t.calls.end();
  };
  ReplyDispatcher dispatcher({{opGetCurrentDirectory, kAnyCommand, {257}, Handler("Parse")},
                              {opRawCommand, kAnyCommand, {}, Handler("Missing")}});
  dispatcher.RegisterHandler("Parse", [](const DispatchContext&) { Fail(20004, "boom"); });
  RecordingTarget failing(opGetCurrentDirectory, "PWD");
  dispatcher.Dispatch(failing, 257, "257 \"/\"\r\n");
  // Not a reply code: recorded with the failure's own text.
  EXPECT_TRUE(called(failing, "record " + kSource + " 20004 boom"));
  EXPECT_TRUE(called(failing, "end"));
  // An unregistered handler fails the reply instead of hanging.
  RecordingTarget missing(opRawCommand, "DELE");
  dispatcher.Dispatch(missing, 200, "200 OK\r\n");
  EXPECT_TRUE(called(missing, "number 16200"));
}

}  // namespace
}  // namespace quorvi::detail

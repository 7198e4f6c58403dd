// Dispatcher rows of the session and of the simple remote operations (login, QUIT, ABOR,
// PWD/CWD/MKD/RMD, DELE, RNFR/RNTO, raw commands). The named handlers are registered by
// FtpSession (session_events.cpp).
#include "ftp/dispatch_table.h"

namespace quorvi::detail {

std::vector<DispatchRow> SessionDispatchRows() {
  return {
      // Login: greeting, USER, PASS (Connect waits).
      {opConnect, kGreeting, {220, 221}, Logged("FTPSVR:", Handler("Greeting"))},
      {opConnect, kGreeting, {226, 257}, Ignore()},
      {opConnect, kGreeting, {}, CloseAndFail()},
      {opConnect, "AUTH", {234}, Handler("AuthAccepted")},
      {opConnect, "AUTH", {}, Handler("AuthRefused")},
      {opConnect, "USER", {220}, Logged("USER:", Ignore())},
      {opConnect, "USER", {230}, Handler("LoggedInByUser")},
      {opConnect, "USER", {331}, Send("PASS", "PassWord")},
      {opConnect, "USER", {257}, Ignore()},
      {opConnect, "USER", {}, CloseAndFail()},
      {opConnect, "PASS", {202, 230}, Handler("LoggedInByPass")},
      {opConnect, "PASS", {257}, Ignore()},
      {opConnect, "PASS", {}, CloseAndFail()},
      {opConnect, "PWD", {257}, Handler("LoginDirectory")},
      {opConnect, "PWD", {}, CloseAndFail()},

      // Directories.
      {opGetCurrentDirectory, kAnyCommand, {226}, Ignore()},
      {opGetCurrentDirectory, kAnyCommand, {257}, Handler("CurrentDirectory")},
      {opGetCurrentDirectory, kAnyCommand, {}, Fail()},
      {opSetCurrentDirectory, kAnyCommand, {250}, End()},
      {opSetCurrentDirectory, kAnyCommand, {226, 257}, Ignore()},
      {opSetCurrentDirectory, kAnyCommand, {}, Fail()},
      {opRemoveDirectory, kAnyCommand, {250}, End()},
      {opRemoveDirectory, kAnyCommand, {226, 257}, Ignore()},
      {opRemoveDirectory, kAnyCommand, {}, Fail()},
      {opCreateDirectory, kAnyCommand, {226, 257}, End()},
      {opCreateDirectory, kAnyCommand, {521, 550}, Handler("DirectoryExists")},
      {opCreateDirectory, kAnyCommand, {}, Fail()},

      // Files.
      {opRenameFile, "RNFR", {350}, Send("RNTO", "RenameTarget")},
      {opRenameFile, "RNFR", {226, 257}, Ignore()},
      {opRenameFile, "RNFR", {}, Fail()},
      {opRenameFile, "RNTO", {250}, End()},
      {opRenameFile, "RNTO", {}, Fail()},
      {opDeleteFile, kAnyCommand, {250}, End()},
      {opDeleteFile, kAnyCommand, {226, 257}, Ignore()},
      {opDeleteFile, kAnyCommand, {}, Handler("DeleteRefused")},

      // Raw commands and feature probes: the first complete reply is the result.
      {opRawCommand, kAnyCommand, {}, Handler("RawReply")},
      {opCommandTest, kAnyCommand, {}, Handler("RawReply")},

      // Session end and abort.
      {opQuit, "QUIT", {221, 225, 226}, Handler("QuitDone")},
      {opQuit, "QUIT", {200, 257}, Ignore()},
      {opQuit, "QUIT", {}, Fail()},
      {opAbort, "ABOR", {150, 220, 225, 226, 426}, Handler("AbortDone")},
      {opAbort, "ABOR", {257}, Ignore()},
      {opAbort, "ABOR", {}, Fail()},

      // A reply that arrives after its operation ended.
      {opNone, kAnyCommand, {421}, Handler("IdleTimeout")},
  };
}

}  // namespace quorvi::detail

// The reply dispatcher's state table: rows of (operation, last command, reply codes) -> action.
// The table is data. Each subsystem contributes its rows through one function listed in
// AllDispatchRows(); actions outside the small built-in set are named handlers that the
// owning subsystem registers with the ReplyDispatcher.
#pragma once

#include <quorvi/enums.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace quorvi::detail {

/// What a row does with a reply.
enum class Act {
  Ignore,        ///< keep waiting for the next reply
  End,           ///< EndAsyncMethod: the operation succeeded
  Fail,          ///< error 16000 + code through the error path
  CloseAndFail,  ///< CloseConnection, then Fail
  Send,          ///< send `command` with the argument source named `name` ("" = no argument)
  Handler,       ///< run the handler registered under `name`
};

struct DispatchAction {
  Act act = Act::Ignore;
  std::string command;  ///< Send: the command word
  std::string name;     ///< Send: argument source; Handler: handler name
  std::string log;      ///< when set, this prefix followed by the received text is logged first
};

/// Last-command keys with a special meaning in a row.
inline constexpr const char* kGreeting = "";     ///< no command sent yet (the greeting)
inline constexpr const char* kAnyCommand = "*";  ///< whatever the last command was

struct DispatchRow {
  FtpOperations operation = opNone;
  std::string command;     ///< upper-case command word, kGreeting or kAnyCommand
  std::vector<int> codes;  ///< empty: the row's "other" action
  DispatchAction action;
};

// Row builders, so the row files read like the tables they come from.
DispatchAction Ignore();
DispatchAction End();
DispatchAction Fail();
DispatchAction CloseAndFail();
DispatchAction Send(std::string command, std::string argument_source = {});
DispatchAction Handler(std::string name);
/// The same action, logging `prefix` + received text before it runs.
DispatchAction Logged(std::string prefix, DispatchAction action);

/// Finds the action for a reply. Rows whose command equals last_command are consulted first,
/// then rows for kAnyCommand; within them a row listing the code wins over the "other" row.
/// No matching row means Ignore.
DispatchAction FindAction(const std::vector<DispatchRow>& rows, FtpOperations operation,
                          const std::string& last_command, int code);

// Row sets contributed by the subsystems; AllDispatchRows() concatenates them.
std::vector<DispatchRow> SessionDispatchRows();
std::vector<DispatchRow> BrowseDispatchRows();  ///< listings and SIZE (dispatch_rows_browse.cpp)
std::vector<DispatchRow> TransferDispatchRows();
std::vector<DispatchRow> AllDispatchRows();

}  // namespace quorvi::detail

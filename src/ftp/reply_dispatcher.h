// The reply dispatcher: every complete reply on the control connection is looked up in the
// state table (dispatch_table.h) by (current operation, last command, code) and its action is
// carried out against a DispatchTarget. Failures of any action take the one error path.
#pragma once

#include <quorvi/enums.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ftp/dispatch_table.h"

namespace quorvi::detail {

/// What the dispatcher acts on: the session in the component, a recording fake in tests.
class DispatchTarget {
 public:
  virtual ~DispatchTarget() = default;
  virtual FtpOperations CurrentOperation() const = 0;
  virtual std::string LastCommand() const = 0;
  /// SendFtpCommand; false when the line could not be sent.
  virtual bool SendCommand(const std::string& command, const std::string& argument) = 0;
  /// EndAsyncMethod.
  virtual void EndOperation() = 0;
  /// CloseConnection.
  virtual void CloseSession() = 0;
  virtual void WriteLog(const std::string& line) = 0;
  // The error path's effects.
  virtual void SetErrorNumber(std::int32_t number) = 0;
  virtual void SetErrorDescription(const std::string& text) = 0;
  virtual void RecordError(const std::string& procedure, std::int32_t number,
                           const std::string& text) = 0;
  virtual void ReportError(const std::string& procedure, std::int32_t number,
                           const std::string& text) = 0;
  virtual void CloseLocalFile() = 0;
  virtual void CloseData() = 0;
  /// The keep-alive command collided with an exchange: keep-alive off, engine retry settings.
  virtual void KeepAliveCollision() = 0;
};

/// One reply as a handler sees it.
struct DispatchContext {
  DispatchTarget& target;
  FtpOperations operation;
  std::string last_command;
  int code;
  std::string received;    ///< text of the notification that completed the reply, trimmed
  std::string reply_line;  ///< GetResponseInfo of the received text
};

class ReplyDispatcher {
 public:
  using HandlerFn = std::function<void(const DispatchContext&)>;
  using ArgumentSource = std::function<std::string()>;

  explicit ReplyDispatcher(std::vector<DispatchRow> rows = AllDispatchRows());

  /// Registers the handler that rows naming it run (replacing an earlier one of that name).
  void RegisterHandler(const std::string& name, HandlerFn handler);
  /// Registers an argument source for Send rows.
  void RegisterArgument(const std::string& name, ArgumentSource source);
  /// Adds rows (a subsystem that is not built into AllDispatchRows, or a test).
  void AddRows(const std::vector<DispatchRow>& rows);

  /// Handles one complete reply. Never throws: failures take the error path.
  void Dispatch(DispatchTarget& target, int code, const std::string& received) const;
  /// The error path (also used by handlers' callers for run-time failures).
  void FailReply(const DispatchContext& ctx, std::int32_t number, const std::string& text) const;

  const std::vector<DispatchRow>& rows() const { return rows_; }

 private:
  void Run(const DispatchContext& ctx, const DispatchAction& action) const;

  std::vector<DispatchRow> rows_;
  std::map<std::string, HandlerFn> handlers_;
  std::map<std::string, ArgumentSource> arguments_;
};

/// The directory between the first two double quotes of a 257 reply ("\" becomes "/"); "" when
/// there are no two quotes; nullopt when the buffer is shorter than 7 characters.
std::optional<std::string> ParseCurrentDirectory(const std::string& reply_buffer);

/// The MKD "already exists" test: a phrase of the list (the defaults plus mkd_info, or only
/// mkd_info after a leading "#") occurs in the received text, compared in lower case.
bool MkdAlreadyExists(const std::string& received, const std::string& mkd_info);

/// A refused DELE that still means "done": the text holds "cannot find" or "successful".
bool DeleteRefusalMeansDone(const std::string& received);

}  // namespace quorvi::detail

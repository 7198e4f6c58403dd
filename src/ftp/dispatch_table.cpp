#include "ftp/dispatch_table.h"

#include <algorithm>
#include <utility>

namespace quorvi::detail {

DispatchAction Ignore() { return {Act::Ignore, {}, {}, {}}; }
DispatchAction End() { return {Act::End, {}, {}, {}}; }
DispatchAction Fail() { return {Act::Fail, {}, {}, {}}; }
DispatchAction CloseAndFail() { return {Act::CloseAndFail, {}, {}, {}}; }
DispatchAction Send(std::string command, std::string argument_source) {
  return {Act::Send, std::move(command), std::move(argument_source), {}};
}
DispatchAction Handler(std::string name) { return {Act::Handler, {}, std::move(name), {}}; }
DispatchAction Logged(std::string prefix, DispatchAction action) {
  action.log = std::move(prefix);
  return action;
}

namespace {

// Looks among the rows of one (operation, command) pair; false when there are none.
bool MatchCommand(const std::vector<DispatchRow>& rows, FtpOperations operation,
                  const std::string& command, int code, DispatchAction& out) {
  const DispatchRow* other = nullptr;
  bool any = false;
  for (const auto& row : rows) {
    if (row.operation != operation || row.command != command) continue;
    any = true;
    if (row.codes.empty()) {
      if (!other) other = &row;
    } else if (std::find(row.codes.begin(), row.codes.end(), code) != row.codes.end()) {
      out = row.action;
      return true;
    }
  }
  out = other ? other->action : Ignore();
  return any;
}

}  // namespace

DispatchAction FindAction(const std::vector<DispatchRow>& rows, FtpOperations operation,
                          const std::string& last_command, int code) {
  DispatchAction action;
  if (MatchCommand(rows, operation, last_command, code, action)) return action;
  if (last_command != kAnyCommand && MatchCommand(rows, operation, kAnyCommand, code, action))
    return action;
  return Ignore();
}

std::vector<DispatchRow> AllDispatchRows() {
  // One line per subsystem that contributes rows.
  std::vector<DispatchRow> rows = SessionDispatchRows();
  for (auto& row : BrowseDispatchRows()) rows.push_back(std::move(row));
  for (auto& row : TransferDispatchRows()) rows.push_back(std::move(row));
  return rows;
}

}  // namespace quorvi::detail

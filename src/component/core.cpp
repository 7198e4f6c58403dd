#include "component/core.h"

#include "component/error_numbers.h"
#include "local/path_rules.h"

namespace quorvi::detail {

namespace {

constexpr int kUnknownErrorMessage = 21;
constexpr int kCanceledMessage = 7;

// Subsystem hooks run at the end of an operation or during error handling; a failing hook
// must not stop the others nor the operation's end.
template <typename Hooks, typename... Args>
void RunHooks(const Hooks& hooks, Args... args) {
  for (const auto& hook : hooks) {
    try {
      if (hook) hook(args...);
    } catch (const std::exception& e) {
      WriteLog(std::string("Hook failed: ") + e.what());
    } catch (...) {
    }
  }
}

}  // namespace

Core::Core() : ui(MakeHeadlessUserInterface()) {
  const std::pair<Event*, const char*> events[] = {{&on_transfer, "OnTransfer"},
                                                   {&on_server_message, "OnServerMessage"},
                                                   {&on_state_change, "OnStateChange"},
                                                   {&on_error, "OnError"}};
  for (const auto& entry : events) {
    const char* name = entry.second;
    entry.first->SetFailureReporter(
        [this, name](const std::string& what) { ReportHandlerFailure(name, what); });
  }
}

void Core::ReportHandlerFailure(const char* event, const std::string& what) {
  rt.handler_failure = std::string(event) + ": " + what;
  WriteLog("FtpLibrary." + std::string(event) + "|" + GetErrorText(errors::kHandlerFailed) + " " +
           rt.handler_failure + "(16012)");
}

Core::~Core() { RunHooks(shutdown_hooks); }

void Core::SetState(FtpStates state, bool raise) {
  rt.state = state;
  if (raise) on_state_change.Raise();
}

void Core::ReportMessage(const std::string& text, MessageTypes kind) {
  rt.message_text = text;
  rt.message_kind = kind;
  on_server_message.Raise();
}

void Core::BeginAsyncMethod(FtpOperations op) {
  error().Clear();
  rt.operation = op;
  rt.nested_refusal = false;
}

void Core::EndAsyncMethod() {
  RunHooks(end_operation_hooks);
  rt.operation = opNone;
  rt.nested_refusal = false;
  SetState(ftpFreeState);
}

void Core::ReportError(const std::string& procedure, std::int32_t number, const std::string& text,
                       bool show) {
  ActiveError active(*shared, error_object);
  const std::string name = procedure.empty() ? procedure : "FtpLibrary." + procedure;
  // Without a text, a number of its own takes its text from the tables: the description left
  // by an earlier, different error would misstate this one.
  const bool own_number = number != 0 && number != ErrorNumber();
  if (number == 0) {
    number = ErrorNumber();
  } else if (ErrorNumber() == 0) {
    error().Number(number);
  }
  const std::string message = !text.empty() ? text : own_number ? GetErrorText(number) : ErrorInfo();
  RecordError(name, number, message, show);
  if (settings.raise_error_event && number != errors::kCanceled && !rt.aborting_current) {
    on_error.Raise();
  }
  RunHooks(error_cleanup_hooks, rt.operation);
  EndAsyncMethod();
}

bool Core::RefuseWhileBusy(const std::string& procedure) noexcept {
  rt.nested_refusal = true;
  try {
    WriteLog("FtpLibrary." + procedure + "|" + GetErrorText(errors::kUnfinished) + "(16009)");
  } catch (...) {
    // The refusal stands without its log line.
  }
  if (settings.raise_error_event && !rt.aborting_current) on_error.Raise();
  return true;
}

void Core::RefuseForeignThread(const char* procedure) noexcept {
  try {
    const std::lock_guard lock(foreign_mutex_);
    foreign_refusal_ = GetErrorText(errors::kWrongThread) + ": FtpLibrary." + procedure +
                       " (only RequestAbort may be called from another thread)";
  } catch (...) {
    // The refusal stands without its text.
  }
}

std::int32_t Core::HostErrorNumber() const {
  // Another thread reads nothing of the component's state: it only learns that it may not.
  if (!OnOwnerThread()) return errors::kWrongThread;
  if (rt.nested_refusal && rt.host_calls > 0) return errors::kUnfinished;
  const std::int32_t own = ErrorNumber();
  return own == 0 && !rt.handler_failure.empty() ? errors::kHandlerFailed : own;
}

std::string Core::HostErrorInfo() const {
  if (!OnOwnerThread()) {
    const std::lock_guard lock(foreign_mutex_);
    return foreign_refusal_.empty() ? GetErrorText(errors::kWrongThread) : foreign_refusal_;
  }
  if (rt.nested_refusal && rt.host_calls > 0) return GetErrorText(errors::kUnfinished);
  if (ErrorNumber() == 0 && !rt.handler_failure.empty())
    return GetErrorText(errors::kHandlerFailed) + " " + rt.handler_failure;
  return ErrorInfo();
}

void Core::ClearLastError() {
  rt.last_error_number = 0;
  rt.last_error_text.clear();
}

std::int32_t Core::ErrorNumber() const {
  std::int32_t number = error().Number();
  if (number == 0) number = rt.last_error_number;
  // The data connection's failure is reported under the socket code the host knows.
  return number == 20061 ? 10061 : number;
}

std::string Core::ErrorInfo() const {
  const std::int32_t number = ErrorNumber();
  if (number == errors::kCanceled) return GetMessage(kCanceledMessage);
  std::string text = error().Description();
  if (TrimBlanks(text).empty()) text = rt.last_error_text;
  // No error at all reads as empty text, not as the unknown-error message.
  if (text.empty() && number != 0) text = GetErrorText(number);
  return text;
}

void Core::ShowMessage(const std::string& text) {
  if (ui) ui->MessageBox(text, settings.title);
}

void ReportCurrentException(Core& core, const char* procedure) noexcept {
  try {
    try {
      throw;
    } catch (const ComponentError& e) {
      RuntimeErrorScope scope(e.number(), e.text());
      core.ReportError(procedure, e.number(), e.text());
    } catch (const std::exception& e) {
      // Never a silent success: an unexpected failure gets a number even when none was set.
      WriteLog(std::string(procedure) + ":" + e.what());
      const std::int32_t number =
          core.ErrorNumber() != 0 ? core.ErrorNumber() : errors::ReplyError(451);
      core.ReportError(procedure, number,
                       "Unexpected error in " + std::string(procedure) + ": " + e.what());
    } catch (...) {
      core.rt.last_error_text = GetMessage(kUnknownErrorMessage);
      core.ReportError(procedure, 0, core.rt.last_error_text);
    }
  } catch (...) {
    // The error procedure itself failed; the boundary still holds.
  }
}

}  // namespace quorvi::detail

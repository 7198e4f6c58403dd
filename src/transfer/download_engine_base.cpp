#include "transfer/download_engine_base.h"

#include <algorithm>
#include <string_view>

#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/data_connection.h"
#include "ftp/ftp_text.h"
#include "ftp/remote_queries.h"
#include "ftp/session.h"
#include "local/formatters.h"
#include "local/mfile.h"
#include "local/path_rules.h"
#include "platform/event_pump.h"
#include "transfer/replace_policy.h"

namespace quorvi::detail {

namespace {
constexpr int kRetryNoticeMessage = 41, kRetryWaitMessage = 42;

}  // namespace

std::string ErrorTextWith(std::int32_t number, const std::string& argument) {
  std::string text = GetErrorText(number);
  ReplaceAll(text, "{0}", argument);
  return text;
}

std::string RetryNotice(const std::string& message, std::int32_t attempt, std::int32_t seconds) {
  std::string text = message;
  if (attempt >= 1 && attempt <= 3 && ftp_text::Contains(text, "{0}th")) {
    static constexpr const char* kOrdinals[] = {"st", "nd", "rd"};
    ReplaceAll(text, "{0}th", "{0}" + std::string(kOrdinals[attempt - 1]));
  }
  ReplaceAll(text, "{0}", std::to_string(attempt));
  ReplaceAll(text, "{1}", std::to_string(seconds));
  return text;
}

std::vector<std::string> SplitList(const std::string& text, char separator) {
  std::vector<std::string> items;
  std::size_t start = 0;
  for (;;) {
    const auto bar = text.find(separator, start);
    items.push_back(text.substr(start, bar == std::string::npos ? bar : bar - start));
    if (bar == std::string::npos) return items;
    start = bar + 1;
  }
}

bool HasPattern(const std::string& item) {
  return item.find_first_of("*?") != std::string::npos;
}

bool IsFolderItem(const std::string& item) {
  return (!item.empty() && item.back() == '/') || HasPattern(item);
}

std::string JoinPath(const std::string& folder, const std::string& name) {
  if (!folder.empty() && folder.back() == '/') return folder + name;
  return folder + "/" + name;
}

void EngineBase::NoteTreeFailure(const std::string& path, std::int32_t number,
                                 const std::string& text) {
  std::string info = text;
  if (number == 0) {
    number = core_.ErrorNumber();
    info = core_.ErrorInfo();
    if (number == errors::kCanceled) RaiseRecorded("DownLoadAll");
    core_.error().Clear();
    core_.ClearLastError();
  }
  WriteLog("Tree.Failed:" + path + "#" + std::to_string(number) + "#" + info);
  core_.transfer.lists.RecordFailed(path);
  if (!tree_failure_) tree_failure_.emplace(number, info);
}

bool EngineBase::NoteRefusedFile(const std::string& path) {
  const std::int32_t number = core_.ErrorNumber();
  if (number != errors::ReplyError(550) && number != errors::ReplyError(553) &&
      number != errors::ReplyError(501))
    return false;
  NoteTreeFailure(path);
  return true;
}

void EngineBase::RaiseTreeFailure() {
  if (tree_failure_) throw *tree_failure_;
}

bool OnlySeparators(const std::string& list) {
  return list.find_first_not_of("| ") == std::string::npos;
}

std::string CorrespondName(const std::string& item) {
  return MFile::GetFileName(HasPattern(item) ? GetParentFolderPath(item) : item);
}

void DropTrailingBar(std::string& list) {
  if (!list.empty() && list.back() == '|') list.pop_back();
}

EngineBase::EngineBase(Core& core)
    : core_(core), session_(FtpSession::Of(core)), engine_(TransferEngine::Of(core)) {}

void EngineBase::RaiseRecorded(const std::string& source) const {
  Fail(core_.error().Number(), core_.ErrorInfo(), source);
}

bool EngineBase::IsNoSuchFile() const {
  return engine_.remote_size == -1 || detail::IsNoSuchFile(core_);
}

void EngineBase::CreatedDirectories(bool on) {
  DirectoryLists& lists = DataConnection::Of(core_).directories;
  lists.created_switch = on;
  if (!on) lists.ForgetCreated();
}

void EngineBase::NoteAbortRequest() {
  if (!session_.abort_request) return;
  session_.abort_request = false;
  engine_.abort_noted = true;
  if (!ErrorRecorded()) {
    core_.error().Number(errors::kCanceled);
    core_.error().Description(GetErrorText(errors::kCanceled));
  }
}

bool EngineBase::Aborted(const std::string& procedure) {
  if (session_.abort_serial == job_abort_serial_) return false;
  session_.ReportCanceled(procedure);
  return true;
}

void EngineBase::RecordCanceled() {
  core_.error().Clear();
  core_.error().Number(errors::kCanceled);
  core_.error().Description(GetErrorText(errors::kCanceled));
}

void EngineBase::AbandonCurrentFile(const std::string& path, const std::string& procedure) {
  if (core_.error().Number() != errors::kCanceled || !core_.rt.aborting_current) return;
  core_.transfer.lists.RecordAborted(path);
  RecordError(procedure + "[" + path + "]", core_.error().Number(), core_.ErrorInfo());
  core_.rt.aborting_current = false;
  core_.error().Clear();
}

bool EngineBase::WaitWhileMoving(FtpOperations op, const std::function<bool()>& moved) {
  // The time-out timer records 20004 for a stalled transfer; this bound only backs it up in
  // case the timer cannot run.
  const auto& progress = core_.transfer.progress;
  const double stall_limit = std::max<double>(settings().time_out, 1) * 2 + 10;
  for (;;) {
    if (ErrorRecorded()) return false;
    if (core_.rt.operation != op && !session_.reconnecting) return false;
    if (moved()) return true;
    core_.pump().SleepUntil(1, moved);
    if (progress.clock().now() - progress.last_data_time > stall_limit) {
      RecordError("WaitWhileMoving", errors::kTimedOut, GetErrorText(errors::kTimedOut));
      return false;
    }
  }
}

bool EngineBase::WaitForCompletion(FtpOperations op, int steps, const std::string& prefix) {
  bool running = core_.rt.operation == op;
  for (int step = 0; step < steps && running; ++step) {
    running = !core_.pump().SleepUntil(100, [&] { return core_.rt.operation != op; });
  }
  WriteLog(prefix + (running ? "True" : "False"));
  if (!running) return true;
  // The server did not confirm: start over on a clean control connection.
  core_.EndAsyncMethod();
  session_.CloseConnection();
  session_.Connect();
  return false;
}

void EngineBase::PauseAfterFile() const {
  platform::SleepNoPump(core_.PacingPause(10));
}

bool EngineBase::RestartWithoutRest(double destination_bytes, const std::string& procedure) {
  if (destination_bytes <= 0 || session_.rest_refusal.empty()) return false;
  if (engine_.destination_ours) {
    WriteLog("REST refused: the whole file again#" + settings().remote_path);
    return true;
  }
  engine_.attempt = settings().redo_limit;  // no retry can make the server resume
  Fail(engine_.rest_refusal_number,
       "Resuming is not possible: the server refused REST (" + session_.rest_refusal +
           "); only overwriting would transfer [ " + settings().remote_path + " ]",
       procedure);
}

bool EngineBase::RestartInAscii(double destination_bytes, const std::string& procedure) {
  if (!engine_.ascii || destination_bytes <= 0) return false;
  if (engine_.destination_ours) {
    WriteLog("ASCII mode: the whole file again#" + settings().remote_path);
    return true;
  }
  engine_.attempt = settings().redo_limit;
  Fail(errors::kAsciiResume,
       GetErrorText(errors::kAsciiResume) +
           ": line ends are converted, so the bytes on both sides differ; only overwriting "
           "would transfer [ " + settings().remote_path + " ]",
       procedure);
}

bool EngineBase::HandleFailure(const ComponentError& e, const std::string& procedure,
                               const RetryRule& rule, const std::function<bool()>& again) {
  if (session_.last_command == "REST" && e.number() > 16000 && e.number() < 17000 &&
      session_.rest_refusal.empty()) {
    // The same REST would be refused again: the next pass (now, without a countdown) sends
    // the whole file or fails (RestartWithoutRest).
    session_.rest_refusal = e.text().empty() ? core_.ErrorInfo() : e.text();
    engine_.rest_refusal_number = e.number();
    CloseLocalFile(core_);
    if (core_.rt.operation != opNone) core_.EndAsyncMethod();
    const std::int16_t saved_setting = settings().replace_setting;
    settings().replace_setting = kReplaceResumeAll;  // decided already: no second question
    try {
      const bool ok = again();
      settings().replace_setting = saved_setting;
      return ok;
    } catch (...) {
      settings().replace_setting = saved_setting;
      throw;
    }
  }
  core_.error().Number(e.number());
  if (!e.text().empty()) core_.error().Description(e.text());
  const std::int32_t number = core_.error().Number();
  const std::string text = core_.ErrorInfo();
  const std::string lower = ftp_text::Lower(text);
  // A stream's bytes are gone once read: it cannot be sent again.
  bool retry = !engine_.streaming && engine_.attempt < settings().redo_limit &&
               e.number() != errors::kCanceled &&
               std::find(rule.refused_numbers.begin(), rule.refused_numbers.end(), number) ==
                   rule.refused_numbers.end();
  for (const char* phrase : rule.refused_phrases)
    if (ftp_text::Contains(lower, phrase)) retry = false;

  auto& progress = core_.transfer.progress;
  if (!retry) {
    ResetDialogAnswer(settings().replace_setting);
    engine_.attempt = 1;
    RecordError(procedure, number, text);
    CloseLocalFile(core_);
    progress.EndFile();
    RaiseEvent();
    return false;
  }

  if (number == errors::ReplyError(530)) session_.CloseConnection();
  CloseLocalFile(core_);
  RecordError(procedure, number, text);
  core_.EndAsyncMethod();
  if (!RetryCountdown(text)) return false;

  engine_.attempt = static_cast<std::int16_t>(engine_.attempt + 1);
  const std::int16_t saved_setting = settings().replace_setting;
  const bool saved_raise = settings().raise_error_event;
  settings().replace_setting = kReplaceResumeAll;
  settings().raise_error_event = false;
  bool ok = false;
  try {
    ok = again();
  } catch (...) {
    settings().replace_setting = saved_setting;
    settings().raise_error_event = saved_raise;
    throw;
  }
  settings().replace_setting = saved_setting;
  settings().raise_error_event = saved_raise;
  progress.EndFile();
  RaiseEvent();
  return ok;
}

bool EngineBase::RetryCountdown(const std::string& text) {
  const std::string notice = GetMessage(kRetryNoticeMessage);
  for (std::int32_t n = 0; n < engine_.retry_pause; ++n) {
    core_.rt.transfer_state =
        text + " [" + RetryNotice(notice, engine_.attempt, engine_.retry_pause - n) + "]";
    core_.error().Description(core_.rt.transfer_state);
    core_.ReportMessage(core_.ErrorInfo(), FTP_SERVER_BAD_RESPONSE);
    RaiseEvent();
    for (int i = 0; i < 10; ++i) {
      core_.pump().Sleep(100);
      // Abort sets the attempt counter to the limit: the pending retry stops here.
      if (engine_.attempt >= settings().redo_limit) return false;
    }
  }
  core_.rt.transfer_state = GetMessage(kRetryWaitMessage);
  core_.ReportMessage(core_.rt.transfer_state, FTP_SERVER_BAD_RESPONSE);
  RaiseEvent();
  return true;
}

}  // namespace quorvi::detail

#include "ftp/reply_dispatcher.h"

#include <exception>
#include <sstream>
#include <utility>

#include "component/component_error.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/ftp_text.h"
#include "ftp/reply_parser.h"

namespace quorvi::detail {

namespace {
constexpr const char* kSource = "ControlSocket_OnDataArrival";
}

ReplyDispatcher::ReplyDispatcher(std::vector<DispatchRow> rows) : rows_(std::move(rows)) {}

void ReplyDispatcher::RegisterHandler(const std::string& name, HandlerFn handler) {
  handlers_[name] = std::move(handler);
}

void ReplyDispatcher::RegisterArgument(const std::string& name, ArgumentSource source) {
  arguments_[name] = std::move(source);
}

void ReplyDispatcher::AddRows(const std::vector<DispatchRow>& rows) {
  rows_.insert(rows_.end(), rows.begin(), rows.end());
}

void ReplyDispatcher::Dispatch(DispatchTarget& target, int code,
                               const std::string& received) const {
  DispatchContext ctx{target,   target.CurrentOperation(), target.LastCommand(), code,
                      received, GetResponseInfo(received)};
  try {
    Run(ctx, FindAction(rows_, ctx.operation, ctx.last_command, code));
  } catch (const ComponentError& e) {
    FailReply(ctx, e.number(), e.text());
  } catch (const std::exception& e) {
    FailReply(ctx, 0, e.what());
  } catch (...) {
    FailReply(ctx, 0, "Unknown Error");
  }
}

void ReplyDispatcher::Run(const DispatchContext& ctx, const DispatchAction& action) const {
  DispatchTarget& t = ctx.target;
  if (!action.log.empty()) t.WriteLog(action.log + ctx.received);
  switch (action.act) {
    case Act::Ignore:
      return;
    case Act::End:
      t.EndOperation();
      return;
    case Act::CloseAndFail:
      t.CloseSession();
      [[fallthrough]];
    case Act::Fail:
      FailReply(ctx, 16000 + ctx.code, {});
      return;
    case Act::Send: {
      std::string argument;
      if (!action.name.empty()) {
        const auto source = arguments_.find(action.name);
        if (source == arguments_.end()) Fail(16000 + ctx.code, "No argument source " + action.name);
        argument = source->second();
      }
      // A failed send has recorded its error; the waiting method sees it.
      t.SendCommand(action.command, argument);
      return;
    }
    case Act::Handler: {
      const auto handler = handlers_.find(action.name);
      if (handler == handlers_.end()) Fail(16000 + ctx.code, "No reply handler " + action.name);
      handler->second(ctx);
      return;
    }
  }
}

// A TLS data connection refused for not resuming the control connection's session (vsftpd:
// "522 SSL connection failed: session reuse required") has an error of its own.
bool NotResumed(int code, const std::string& reply_line) {
  const std::string lower = ftp_text::Lower(reply_line);
  return (code == 522 || code == 425) &&
         (ftp_text::Contains(lower, "reuse") || ftp_text::Contains(lower, "resum"));
}

void ReplyDispatcher::FailReply(const DispatchContext& ctx, std::int32_t number,
                                const std::string& given_text) const {
  DispatchTarget& t = ctx.target;
  std::string text = given_text;
  if (NotResumed(ctx.code, ctx.reply_line)) {
    number = errors::kTlsNotResumed;
    text = GetErrorText(errors::kTlsNotResumed) + ": " + ctx.reply_line;
  }
  try {
    std::ostringstream line;
    line << kSource << static_cast<int>(ctx.operation) << "|" << ctx.last_command << "=" << number
         << "--" << ctx.reply_line << "  ";
    t.WriteLog(line.str());
    t.SetErrorNumber(number);

    // A negative reply is described by the server's own line whenever one came.
    std::string error_text = text;
    if (number > 16000 && number < 17000) {
      if (!ctx.received.empty()) {
        if (number != 16010) error_text = ctx.reply_line;
        t.SetErrorDescription(error_text);
      }
    } else {
      t.RecordError(kSource, number, error_text);
    }

    // Transfers and listings decide about retrying in their own wait; they report themselves.
    const FtpOperations op = t.CurrentOperation();
    if (op != opDownload && op != opUpload && op != opListDirectory)
      t.ReportError(kSource, number, error_text);

    t.EndOperation();
    t.CloseLocalFile();
    t.CloseData();

    if (ftp_text::Contains(ftp_text::Lower(error_text), "another command is currently pending")) {
      t.WriteLog("DISKEEPCONN#" + error_text);
      t.KeepAliveCollision();
    }
  } catch (...) {
    // The error path is the last resort inside a socket notification: nothing may escape it.
  }
}

std::optional<std::string> ParseCurrentDirectory(const std::string& reply_buffer) {
  if (reply_buffer.size() < 7) return std::nullopt;
  const auto open = reply_buffer.find('"');
  if (open == std::string::npos) return std::string();
  const auto close = reply_buffer.find('"', open + 1);
  if (close == std::string::npos) return std::string();
  std::string directory = reply_buffer.substr(open + 1, close - open - 1);
  for (char& c : directory)
    if (c == '\\') c = '/';
  return directory;
}

bool MkdAlreadyExists(const std::string& received, const std::string& mkd_info) {
  static constexpr const char* kDefaults = "exists|can't|cannot|Failed|create|不能|创建";
  const std::string phrases = ftp_text::Lower(ftp_text::StartsWith(mkd_info, "#")
                                                  ? mkd_info.substr(1)
                                                  : std::string(kDefaults) + "|" + mkd_info);
  const std::string text = ftp_text::Lower(received);
  std::size_t start = 0;
  while (start <= phrases.size()) {
    const auto bar = phrases.find('|', start);
    const auto end = bar == std::string::npos ? phrases.size() : bar;
    const std::string phrase = ftp_text::Trim(std::string_view(phrases).substr(start, end - start));
    if (!phrase.empty() && ftp_text::Contains(text, phrase)) return true;
    if (bar == std::string::npos) break;
    start = bar + 1;
  }
  return false;
}

bool DeleteRefusalMeansDone(const std::string& received) {
  return ftp_text::Contains(received, "cannot find") || ftp_text::Contains(received, "successful");
}

}  // namespace quorvi::detail

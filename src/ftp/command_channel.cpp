// The command channel: sending a command line (reconnecting first when the control connection
// dropped), assembling replies from the control socket's data notifications, and the wait loop.
#include "ftp/command_channel.h"

#include <algorithm>
#include <vector>

#include "component/component_error.h"
#include "component/credential_cipher.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/data_connection.h"
#include "ftp/reply_parser.h"
#include "ftp/session.h"
#include "local/encoding.h"

namespace quorvi::detail {

namespace {
constexpr int kReconnectPauseMs = 1000;
// A reply that has not ended after this much text is no reply: the server is broken or hostile.
constexpr std::size_t kMaxReplyBytes = 1 << 20;
// Replies handled per data notification; the rest wait for the next one.
constexpr int kMaxRepliesPerArrival = 64;

bool IsDataConnectionCommand(const std::string& command) {
  return command == "EPSV" || command == "PASV" || command == "PORT" || command == "EPRT";
}

}  // namespace

bool WaitWhile(Core& core, const std::function<bool()>& running, int limit_seconds,
               const std::function<void()>& each_turn, const std::function<bool()>& ready) {
  const auto step_over = [&] {
    return core.error().Number() != 0 || !running() || (ready && ready());
  };
  long counter = 0;
  while (core.error().Number() == 0 && running()) {
    ++counter;
    core.pump().SleepUntil(kWaitStepMs, step_over);
    if (each_turn) each_turn();
    if (counter > 100L * limit_seconds) return false;  // counter / 100 > limit, unrounded
  }
  return true;
}

bool FtpSession::WaitForOperation(std::initializer_list<FtpOperations> ops, int limit_seconds,
                                  bool fail_on_timeout, const std::function<void()>& each_turn,
                                  const std::function<bool()>& ready) {
  const std::vector<FtpOperations> awaited(ops);
  const int limit = limit_seconds > 0 ? limit_seconds : TimeOutSeconds();
  const bool done = WaitWhile(
      core_,
      [&] {
        return std::find(awaited.begin(), awaited.end(), core_.rt.operation) != awaited.end();
      },
      limit, each_turn, ready);
  if (!done && fail_on_timeout) Fail(errors::kTimedOut);
  return done;
}

bool FtpSession::RequireFree(const std::string& procedure) {
  if (core_.rt.operation == opNone) return true;
  core_.rt.last_error_number = errors::kUnfinished;
  core_.rt.last_error_text = GetErrorText(errors::kUnfinished);
  WriteLog("FtpLibrary." + procedure + "|" + core_.rt.last_error_text + "(16009)");
  if (core_.settings.raise_error_event && !core_.rt.aborting_current) core_.on_error.Raise();
  return false;
}

bool FtpSession::Succeeded() {
  if (core_.error().Number() != 0) return false;
  core_.ClearLastError();
  return true;
}

bool FtpSession::SendFtpCommand(const std::string& command, const std::string& argument) {
  const FtpOperations saved = core_.rt.operation;
  try {
    if (m_objControlSocket.State() != sckConnected) {
      // A command of the new login itself (a feature probe the server drops the connection
      // on) does not log in again: that would never end.
      if (reconnecting) Fail(errors::kInterrupted);
      WriteLog("ReConnect SendFtpCommand=" + command);
      reconnecting = true;
      // Another try helps against a network fault; a server that answered and then closed
      // (16011) would only close again.
      const auto worth_retrying = [this] { return core_.ErrorNumber() != errors::kInterrupted; };
      bool ok = ReConnect();
      if (!ok && worth_retrying()) {
        core_.pump().Sleep(kReconnectPauseMs);
        ok = ReConnect();
      }
      if (!ok && worth_retrying()) {
        WriteLog("ReConnect1 SendFtpCommand=" + command);
        core_.pump().Sleep(kReconnectPauseMs);
        ok = ReConnect();
      }
      reconnecting = false;
      core_.rt.operation = saved;
      if (!ok) Fail(core_.ErrorNumber() != 0 ? core_.ErrorNumber() : errors::kReconnectFailed);
      // The new login is in the server's default type: a data connection opened now would
      // move a binary file as text. TYPE goes first; its 200 opens the data connection.
      if (IsDataConnectionCommand(command) && !type_sent.empty()) return SendFtpCommand("TYPE", type_sent);
    }

    reply_buffer.clear();
    // Replies still held belong to earlier commands (a keep-alive, an aborted transfer): they
    // must not answer this one.
    DrainLateReplies();
    core_.SetState(ftpFreeState, false);

    CommandLineSettings line_settings{
        path_prefix, core_.rt.list_command, core_.settings.list_all, {}};
    if (core_.settings.cipher_on)
      line_settings.decipher = [](const std::string& text) { return Decipher(text); };
    const CommandLine line = BuildCommandLine(command, argument, line_settings);
    // The one place every command line passes: a CR, LF or NUL inside it would end the line
    // early and make the rest a command of its own (or, NUL, another name on the server).
    RequireOneLine(std::string_view(line.line).substr(0, line.line.size() - 2),
                   line.command == "PASS" ? "password" : "command line", line.command != "PASS");
    if (!WireCanCarry(line.line))
      Fail(errors::ReplyError(501), NotCarriedText(line.command == "PASS" ? "password" : argument));

    // The component's own changes make any cached listing stale.
    if (ChangesServerFiles(line.command)) DataConnection::Of(core_).listing.cached.reset();
    if (line.command == "TYPE") {
      transfer_type.clear();
      type_sent = argument;
    }
    core_.SetState(StateForCommand(line.command, core_.rt.operation));
    if (line.sets_last_command) last_command = line.command;
    if (line.command == "LIST") WriteLog("CMD:" + line.line);

    double length = static_cast<double>(ToAnsi(line.line).size());
    awaiting_final_ = true;
    m_objControlSocket.SendData(SocketValue(line.line), length,
                                !core_.settings.passive_mode && line.command == "LIST",
                                core_.settings.utf8);
    if (core_.rt.operation != opCommandTest) core_.ReportMessage(line.message, FTP_USER_COMMAND);
    return true;
  } catch (const ComponentError& e) {
    reconnecting = false;
    core_.rt.operation = saved;
    detail::RecordError("SendFtpCommand", e.number(), e.text());
  } catch (const std::exception& e) {
    reconnecting = false;
    core_.rt.operation = saved;
    detail::RecordError("SendFtpCommand", core_.ErrorNumber(), e.what());
  }
  return false;
}

void FtpSession::OnControlDataArrival() {
  core_.rt.last_command_time = static_cast<double>(platform::TickCount()) / 1000.0;
  // Read while idle too: what comes then (a keep-alive's reply, a reply that came after an
  // abort or a time-out) is held and dropped before the next command, never taken as its reply.
  SocketValue data;
  std::string text;
  if (core_.settings.utf8) {
    m_objControlSocket.GetData(data, vbByteArray);
    if (const auto* bytes = std::get_if<ByteArray>(&data)) text = DecodeUTF8(bytes->bytes);
  } else {
    m_objControlSocket.GetData(data, vbString);
    if (const auto* s = std::get_if<std::string>(&data)) text = *s;
  }
  if (core_.rt.operation != opNone) last_received = TrimReceived(text);
  pending_reply_ += text;
  if (pending_reply_.size() > kMaxReplyBytes) {
    pending_reply_.clear();
    RecordError("OnDataArrival", errors::ReplyError(500),
                "Reply too long: more than " + std::to_string(kMaxReplyBytes) + " bytes without an end");
    core_.EndAsyncMethod();
    return;
  }
  // Replies are handled one at a time, in the order they came, even when several arrived in
  // one piece. A handler may pump and so take further replies itself; the loop then finds them
  // gone.
  for (int turn = 0; turn < kMaxRepliesPerArrival && core_.rt.operation != opNone; ++turn) {
    auto reply = TakeCompleteReply(pending_reply_);
    if (!reply) return;
    HandleReply(*reply);
  }
  // Idle, replies are taken as they come: a host whose own loop runs the component between
  // calls sees a keep-alive's reply, or the server's notice that it ends the session, at once.
  if (core_.rt.operation == opNone) TakeIdleReplies();
}

bool FtpSession::TakeKeepAliveReply(const CompleteReply& reply) {
  // The reply to a keep-alive comes before that of any later command, but a server that handles
  // one command at a time answers it only after a running transfer's completion reply.
  const bool completion = reply.code == 226 || reply.code == 250;
  if (keep_alive_pending_ == 0 || reply.code < 200 || reply.code >= 300 || completion) return false;
  --keep_alive_pending_;
  core_.ReportMessage(ReplyMessageText(TrimReceived(reply.text)), ReplyMessageType(reply.code));
  return true;
}

// Replies of a command whose operation we ended early (its data connection closed by us) are
// skipped whenever they come, before or after the next command, so they never answer it.
bool FtpSession::TakeOwedReply(const CompleteReply& reply) {
  if (owed_final_replies_ == 0 || reply.code == 421) return false;
  if (reply.code >= 200) --owed_final_replies_;
  WriteLog("Late reply dropped: " + TrimReceived(reply.text));
  return true;
}

void FtpSession::OweFinalReply() {
  if (awaiting_final_) ++owed_final_replies_;
  awaiting_final_ = false;
}

void FtpSession::HandleReply(const CompleteReply& reply) {
  if (TakeOwedReply(reply) || TakeKeepAliveReply(reply)) return;
  if (reply.code >= 200) awaiting_final_ = false;
  ++dispatch_count_;
  reply_buffer = reply.text;
  const std::string received = TrimReceived(reply.text);
  if (core_.rt.operation != opCommandTest)
    core_.ReportMessage(ReplyMessageText(received), ReplyMessageType(reply.code));
  dispatcher.Dispatch(*this, reply.code, received);
}

void FtpSession::TakeIdleReplies() {
  while (auto reply = TakeCompleteReply(pending_reply_)) {
    if (TakeOwedReply(*reply) || TakeKeepAliveReply(*reply)) continue;
    if (reply->code >= 200) awaiting_final_ = false;
    const std::string text = TrimReceived(reply->text);
    // A server that ends an idle session says why before it closes; the host should see that.
    if (reply->code == 421) core_.ReportMessage(ReplyMessageText(text), ReplyMessageType(reply->code));
    WriteLog("Late reply dropped: " + text);
  }
}

void FtpSession::DrainLateReplies() {
  TakeIdleReplies();
  pending_reply_.clear();
}

bool FtpSession::SendCommand(const std::string& command, const std::string& argument) {
  return SendFtpCommand(command, argument);
}

}  // namespace quorvi::detail

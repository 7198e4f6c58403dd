// The session's wiring: construction, the control socket's notifications, the dispatcher's
// named handlers and argument sources of the session rows, and the DispatchTarget side.
#include <optional>

#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/ftp_text.h"
#include "ftp/session.h"

namespace quorvi::detail {

void Contained(const char* where, const std::function<void()>& body) noexcept {
  try {
    body();
  } catch (const std::exception& e) {
    try {
      detail::WriteLog(std::string(where) + ":" + e.what());
    } catch (...) {
    }
  } catch (...) {
  }
}

FtpSession::FtpSession(Core& core) : core_(core), support_(SocketSupport::Acquire()) {
  m_objControlSocket.m_strType = "[Ctrl]";
  m_objControlSocket.BelongsTo(core_.error_object);
  BindSocketEvents();
  RegisterHandlers();
  CreateTimers();
  core_.control_socket_connected = [this] { return m_objControlSocket.State() == sckConnected; };
  core_.error_cleanup_hooks.push_back([this](FtpOperations op) {
    if (op != opConnect) return;
    support_->Connecting(false);
    CloseControlSocket();
  });
  core_.shutdown_hooks.push_back([this] { Shutdown(); });
}

FtpSession::~FtpSession() {
  // The session goes with its Core (the hooks above die with it); the socket must not call
  // back into a session that is being destroyed.
  m_objControlSocket.OnConnect = nullptr;
  m_objControlSocket.OnClose = nullptr;
  m_objControlSocket.OnError = nullptr;
  m_objControlSocket.OnDataArrival = nullptr;
  auto& pump = core_.pump();
  for (auto id : {keep_alive_timer_, timeout_timer_, on_top_timer_})
    if (id != 0) pump.RemoveTimer(id);
}

void FtpSession::BindSocketEvents() {
  m_objControlSocket.OnConnect = [this] { Contained("OnConnect", [&] { OnControlConnect(); }); };
  m_objControlSocket.OnSecured = [this] { Contained("OnSecured", [&] { OnControlSecured(); }); };
  m_objControlSocket.OnClose = [this] { Contained("OnClose", [&] { OnControlClose(); }); };
  m_objControlSocket.OnError = [this] { Contained("OnError", [&] { OnControlError(); }); };
  m_objControlSocket.OnDataArrival = [this](double) {
    Contained("OnDataArrival", [&] { OnControlDataArrival(); });
  };
}

void FtpSession::OnControlConnect() {
  core_.SetState(ftpConnected);
  // Implicit FTPS: TLS from the first byte; the greeting comes after the handshake.
  if (core_.settings.security == 2) StartControlTls();
}

void FtpSession::StartControlTls() {
  tls_sessions = std::make_shared<TlsSessionPool>();
  m_objControlSocket.StartTls(core_.settings.server_name, core_.settings.tls, nullptr, tls_sessions);
}

void FtpSession::OnControlSecured() {
  // Explicit FTPS: the login goes over the now encrypted connection, never before it.
  if (core_.settings.security == 1 && core_.rt.operation == opConnect)
    SendFtpCommand("USER", core_.settings.user_name);
}

void FtpSession::OnControlClose() {
  // Our own close (after QUIT) completes silently: the host saw no ftpClosed for it.
  if (closed_by_us_) return;
  // A command that was waiting for its reply did not happen as far as anyone can tell: the
  // close must not read as its success. (Transfers judge a close by their own byte counts.)
  const FtpOperations op = core_.rt.operation;
  const bool awaiting_reply = op != opNone && op != opQuit && op != opDownload && op != opUpload;
  if (awaiting_reply && core_.error().Number() == 0)
    detail::RecordError("OnClose", errors::kInterrupted, GetErrorText(errors::kInterrupted));
  if (op != opNone) core_.EndAsyncMethod();
  core_.SetState(ftpClosed);
}

void FtpSession::OnControlError() {
  WriteLog("m_objControlSocket_OnError" + std::to_string(core_.ErrorNumber()) + "|" +
           core_.ErrorInfo());
  core_.EndAsyncMethod();
  CloseConnection();
}

void FtpSession::RegisterHandlers() {
  Settings& s = core_.settings;
  dispatcher.RegisterArgument("UserName", [&s] { return s.user_name; });
  dispatcher.RegisterArgument("PassWord", [&s] { return s.password; });
  dispatcher.RegisterArgument("RemotePath", [&s] { return s.remote_path; });
  dispatcher.RegisterArgument(
      "TypeCode", [&s] { return std::string(s.transfer_mode == FTP_IMAGE_MODE ? "I" : "A"); });
  dispatcher.RegisterArgument("RenameTarget", [this] { return rename_target; });

  dispatcher.RegisterHandler("Greeting", [this, &s](const DispatchContext& ctx) {
    const std::string text = ftp_text::Lower(ctx.received);
    server_pure_ftpd = ftp_text::Contains(text, "pure-ftpd");
    server_typsoft = ftp_text::Contains(text, "typsoft");
    server_proftpd = ftp_text::Contains(text, "proftpd");
    if (s.security == 1) {
      SendFtpCommand("AUTH", "TLS");  // USER follows the handshake (OnControlSecured)
    } else {
      SendFtpCommand("USER", s.user_name);
    }
  });
  dispatcher.RegisterHandler("AuthAccepted", [this](const DispatchContext&) { StartControlTls(); });
  dispatcher.RegisterHandler("AuthRefused", [this](const DispatchContext& ctx) {
    // Never on in clear text: without TLS there is no login.
    detail::RecordError("Connect", errors::kTlsRefused,
                        GetErrorText(errors::kTlsRefused) + ": " + ctx.received);
    CloseConnection();
    core_.EndAsyncMethod();
  });
  dispatcher.RegisterHandler("LoggedInByUser", [this](const DispatchContext&) {
    core_.SetState(ftpUserLoggedIn);
    core_.EndAsyncMethod();
  });
  dispatcher.RegisterHandler("LoggedInByPass", [this](const DispatchContext&) {
    core_.SetState(ftpUserLoggedIn, false);
    core_.EndAsyncMethod();
  });
  dispatcher.RegisterHandler("LoginDirectory", [this](const DispatchContext&) {
    const auto directory = ParseCurrentDirectory(reply_buffer);
    core_.rt.current_directory = FromServerPath(directory.value_or(std::string()), path_prefix);
    if (!directory) {
      core_.error().Number(errors::kBadDirectoryReply);
      core_.error().Description(
          "Cannot retrieve the current directory path. Unexpected server response.");
      CloseConnection();
    } else {
      core_.EndAsyncMethod();
    }
  });
  dispatcher.RegisterHandler("CurrentDirectory", [this](const DispatchContext&) {
    const auto directory = ParseCurrentDirectory(reply_buffer);
    // Held as the component's paths are given: the login folder is "/".
    core_.rt.current_directory = FromServerPath(directory.value_or(std::string()), path_prefix);
    if (!directory) Fail(errors::kBadDirectoryReply);
    core_.EndAsyncMethod();
  });
  dispatcher.RegisterHandler("DirectoryExists", [this, &s](const DispatchContext& ctx) {
    if (MkdAlreadyExists(ctx.received, s.mkd_info)) {
      mkd_existing_reply = ctx.reply_line;
    } else {
      detail::RecordError("istCreateDirectory", 16000 + ctx.code, ctx.reply_line);
    }
    core_.EndAsyncMethod();
  });
  dispatcher.RegisterHandler("DeleteRefused", [this](const DispatchContext& ctx) {
    if (!DeleteRefusalMeansDone(ctx.received)) Fail(16000 + ctx.code);
    core_.EndAsyncMethod();
  });
  dispatcher.RegisterHandler("RawReply", [this](const DispatchContext& ctx) {
    raw_reply = ctx.received;
    core_.EndAsyncMethod();
  });
  dispatcher.RegisterHandler("QuitDone", [this](const DispatchContext&) {
    core_.EndAsyncMethod();
    CloseControlSocket();
  });
  dispatcher.RegisterHandler("AbortDone", [this](const DispatchContext&) {
    CloseData();
    core_.EndAsyncMethod();
  });
  dispatcher.RegisterHandler("IdleTimeout", [this, &s](const DispatchContext&) {
    WriteLog("CloseConnection 421 Timeout (no new data for 900 seconds)--" + s.remote_path + "--" +
             s.local_path);
    CloseConnection();
  });
}

// ---- DispatchTarget ----

void FtpSession::WriteLog(const std::string& line) { detail::WriteLog(line); }

void FtpSession::SetErrorNumber(std::int32_t number) { core_.error().Number(number); }

void FtpSession::SetErrorDescription(const std::string& text) { core_.error().Description(text); }

void FtpSession::RecordError(const std::string& procedure, std::int32_t number,
                             const std::string& text) {
  detail::RecordError(procedure, number, text);
}

void FtpSession::ReportError(const std::string& procedure, std::int32_t number,
                             const std::string& text) {
  core_.ReportError(procedure, number, text);
}

void FtpSession::CloseLocalFile() {
  if (hooks.close_local_file) hooks.close_local_file();
}

void FtpSession::CloseData() {
  if (hooks.close_data) hooks.close_data();
}

void FtpSession::KeepAliveCollision() {
  core_.settings.keep_alive_second = 0;
  if (core_.settings.redo_limit < 1) core_.settings.redo_limit = 2;
  if (hooks.retry_after_collision) hooks.retry_after_collision();
}

}  // namespace quorvi::detail

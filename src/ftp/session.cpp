// The session's life cycle: Connect (open, log in, probe), ReConnect, the QUIT exchange,
// CloseConnection, Abort and the destructor's path.
#include "ftp/session.h"

#include <algorithm>
#include <sstream>

#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/ftp_text.h"
#include "ftp/remote_file_ops.h"
#include "local/encoding.h"
#include "platform/socket_api.h"

namespace quorvi::detail {

namespace {
constexpr int kInvalidHostMessage = 46;
constexpr std::int32_t kControlBuffer = 102400;
constexpr std::int32_t kDefaultRcvbuf = Settings::kDefaultRcvbuf;
constexpr std::int32_t kDefaultSndbuf = Settings::kDefaultSndbuf;
constexpr const char* kMlstProbe = "MLST QRTCMDTST.TMP";
}  // namespace

FtpSession& FtpSession::Of(Core& core) {
  if (!core.session) core.session = std::make_shared<FtpSession>(core);
  return *core.session;
}

bool FtpSession::Connected() const {
  return m_objControlSocket.State() == sckConnected && core_.rt.logged_in;
}

bool FtpSession::WireCanCarry(const std::string& text) const {
  return core_.settings.utf8 || RepresentableInAnsi(text);
}

std::string FtpSession::NotCarriedText(const std::string& name) {
  return "The name cannot be sent in the code page " + AnsiCodePageName() +
         " (the server does not use UTF-8): [ " + name + " ]";
}

int FtpSession::TimeOutSeconds() const {
  return core_.settings.time_out < 1 ? 30 : core_.settings.time_out;
}

void FtpSession::CloseControlSocket() {
  if (m_objControlSocket.State() == sckClosed) return;
  closed_by_us_ = true;
  m_objControlSocket.CloseSocket();
}

bool FtpSession::Connect() {
  // An abort while logging in closes the connection: what that leaves (no response, no
  // folder) is not the reason the host should read.
  const std::uint64_t serial = abort_serial;
  try {
    if (ConnectSteps()) return true;
    if (abort_serial != serial) ReportCanceled("Connect");
    return false;
  } catch (const ComponentError& e) {
    support_->Connecting(false);
    connect_retry = 0;
    if (abort_serial != serial)
      ReportCanceled("Connect");
    else
      core_.ReportError("Connect", e.number(), e.text());
  } catch (const std::exception& e) {
    support_->Connecting(false);
    connect_retry = 0;
    core_.ReportError("Connect", 0, e.what());
  }
  return false;
}

bool FtpSession::ConnectSteps() {
  if (hooks.release_http) hooks.release_http();
  core_.ClearLastError();
  m_objControlSocket.m_lngEventErrorNumber = 0;
  if (Connected()) return true;

  // A command of the login's own probes found the connection closed: logging in again from
  // there would repeat the probe, and the close, for ever.
  if (finishing_login_) Fail(errors::kInterrupted);
  core_.error().Clear();
  Settings& settings = core_.settings;
  // A ":" is a port given with the host, which RemotePort is for; IPv6 addresses are the
  // exception.
  if (ftp_text::Contains(settings.server_name, ":") && !platform::ParseIpAddress(settings.server_name)) {
    RecordError("Connect", errors::kInvalidHost, core_.messages().GetMessage(kInvalidHostMessage));
    return false;
  }
  StartTimers();
  if (support_->Connecting()) {
    RecordError("Connect", errors::kConnecting, {});
    return false;
  }

  core_.SetState(ftpConnecting);
  last_command.clear();
  transfer_type.clear();  // a new login starts in the server's default type
  reply_buffer.clear();
  pending_reply_.clear();
  keep_alive_pending_ = 0;
  awaiting_final_ = false;
  owed_final_replies_ = 0;
  if (ftp_text::Trim(settings.user_name).empty()) settings.user_name = "anonymous";

  // Socket defaults: unset data-connection buffers get their sizes here.
  if (settings.rcvbuf < 1) settings.rcvbuf = kDefaultRcvbuf;
  if (settings.sndbuf < 1) settings.sndbuf = kDefaultSndbuf;
  WriteLog("MS1460010" + std::to_string(settings.sndbuf) + "010" + std::to_string(settings.rcvbuf));

  support_->Connecting(true);
  abort_request = false;
  core_.rt.logged_in = false;
  closed_by_us_ = false;
  quit_refused_ = false;
  core_.BeginAsyncMethod(opConnect);

  m_objControlSocket.RemoteHost(settings.server_name);
  // Implicit FTPS has its own well-known port.
  m_objControlSocket.RemotePort(settings.security == 2 && settings.remote_port == 21 ? 990
                                                                                  : settings.remote_port);
  m_objControlSocket.Rcvbuf(kControlBuffer);
  m_objControlSocket.Sndbuf(kControlBuffer);
  login_reply_mark_ = dispatch_count_;
  m_objControlSocket.Connect();

  WaitForOperation({opConnect}, 0, true, [this] { ConnectWaitTurn(); });

  support_->Connecting(false);
  if (core_.error().Number() != 0) Fail(core_.error().Number());
  if (m_objControlSocket.State() != sckConnected) {
    // A server that answered and then closed is there and chose to end the session; only
    // one that never said anything gave no response.
    const bool answered = ServerAnsweredLogin();
    WriteLog(answered ? "Connect.Error:16011" : "Connect.Error:16006");
    Fail(answered ? errors::kInterrupted : errors::kNoResponse);
  }

  // Every command from here to the end of the login belongs to the login: a close on any of
  // them ends this Connect instead of starting another login (which the server would close
  // again, for ever).
  finishing_login_ = true;
  struct Reset {
    bool& flag;
    ~Reset() { flag = false; }
  } reset{finishing_login_};
  FinishLogin();
  connect_retry = 0;
  if (settings.security != 0 && !ProtectDataConnections()) return false;
  return true;
}

bool FtpSession::ServerAnsweredLogin() const { return dispatch_count_ != login_reply_mark_; }

bool FtpSession::ProtectDataConnections() {
  const std::string level = core_.settings.protect_data ? "P" : "C";
  const std::string pbsz = ExeFtpCmd(core_, "PBSZ", "0");
  const std::string prot = ExeFtpCmd(core_, "PROT", level);
  if (ftp_text::StartsWith(prot, "200")) return true;
  // A close is not a refusal: say what happened.
  if (m_objControlSocket.State() != sckConnected) Fail(errors::kInterrupted);
  // Data in clear text was not asked for: no transfer may happen on this session.
  const std::string text = GetErrorText(errors::kTlsRefused) + ": PROT " + level + " refused (" +
                           ftp_text::Trim(prot.empty() ? pbsz : prot) + ")";
  CloseConnection();
  core_.ReportError("Connect", errors::kTlsRefused, text);
  return false;
}

// After the login: listing options by server kind, the probes, the path prefix.
void FtpSession::FinishLogin() {
  Settings& settings = core_.settings;
  core_.rt.logged_in = true;
  rest_refusal.clear();
  epsv_refused = false;
  core_.rt.current_directory.assign(1, '/');
  if ((server_pure_ftpd || server_proftpd) && !settings.list_dir_for_file_set) {
    settings.list_dir_for_file = true;
    WriteLog("ListDirForFile");
  }
  if ((server_typsoft || server_proftpd) && !settings.list_dir_with_asterisk_set) {
    settings.list_dir_with_asterisk = true;
    WriteLog("ListDirWithAsterisk");
  }
  // Connect has marked the whole of this as part of the login (finishing_login_).
  ProbeFeatures();
  path_prefix.clear();  // a new login's PWD names the login folder as the server sees it
  path_prefix = GetCurrentDirectory();
  core_.rt.current_directory.assign(1, '/');
  if (m_objControlSocket.State() != sckConnected) Fail(errors::kInterrupted);  // closed by a probe

  std::ostringstream line;
  line << "CMD.LST:" << core_.rt.list_command << ";KAL:" << settings.keep_alive_command
       << ";KAI:" << settings.keep_alive_second << ";RDIR:" << path_prefix
       << ";PSV:" << (settings.passive_mode ? "True" : "False");
  WriteLog(line.str());
}

// Inside the login wait: a socket error gets one ReConnect, the second one ends the Connect.
// An error after the server has answered is its end of the session, not a network fault that
// another try might get past.
void FtpSession::ConnectWaitTurn() {
  if (m_objControlSocket.State() != sckError) return;
  if (ServerAnsweredLogin()) {
    if (core_.error().Number() == 0) Fail(errors::kInterrupted);
    return;  // the error recorded (a TLS failure, say) ends the wait as it is
  }
  ++connect_retry;
  WriteLog("Connect Re " + std::to_string(connect_retry));
  if (connect_retry < connect_retry_limit) {
    ReConnect();
  } else {
    Fail(errors::kNoResponse);
  }
}

void FtpSession::ProbeFeatures() {
  Settings& settings = core_.settings;
  if (core_.rt.list_command == "MLSD" && !IsFTPCmdExist(kMlstProbe)) {
    WriteLog("DONOTSUPPORT.MLSD");
    core_.rt.list_command = "LIST";
  }
  if (!settings.keep_alive_command.empty() && settings.keep_alive_second > 0 &&
      settings.keep_alive_command != "PWD" && !IsFTPCmdExist(settings.keep_alive_command)) {
    WriteLog("DONOTSUPPORT." + settings.keep_alive_command);
    settings.keep_alive_second = 0;
    settings.keep_alive_command.clear();
  }
  if (settings.auto_encoding) {
    settings.utf8 = false;
    settings.utf8 = FeatListsUtf8(ExeFtpCmd(core_, "FEAT", ""));
  }
}

bool FtpSession::IsFTPCmdExist(const std::string& command) {
  const std::string reply = ExeFtpCmd(core_, command, std::string(kCommandTestMarker));
  const bool supported = CommandSupported(command, reply);
  WriteLog("CMDTST:" + command + "#" + reply);
  return supported;
}

bool FtpSession::ReConnect() {
  std::ostringstream line;
  line << "ReConnect:buffer=" << (hooks.data_pending ? hooks.data_pending() : 0.0) << " ["
       << core_.settings.local_path << "]|[" << core_.settings.remote_path << "]";
  WriteLog(line.str());
  if (hooks.reset_data_pending) hooks.reset_data_pending();
  support_->Connecting(false);
  CloseConnection();
  return Connect();
}

bool FtpSession::Quit() {
  try {
    if (!Connected() || core_.rt.operation == opQuit) return false;
    // A server that refused QUIT (502) has had its answer: the next close leaves at once.
    if (quit_refused_) return true;
    CloseData();
    quit_wait_limit = std::min(quit_wait_limit, 60);
    core_.BeginAsyncMethod(opQuit);
    if (!SendFtpCommand("QUIT", "")) return false;
    // Past the QUIT limit the session is left anyway: not an error.
    if (!WaitForOperation({opQuit}, quit_wait_limit, false)) core_.rt.operation = opNone;
    const bool ok = Succeeded();
    quit_refused_ = !ok;
    core_.EndAsyncMethod();
    return ok;
  } catch (const ComponentError& e) {
    core_.ReportError("Quit", e.number(), e.text());
  }
  return false;
}

bool FtpSession::CloseConnection() {
  try {
    core_.transfer.lists.ResetForClose();
    if (hooks.reset_transfer) hooks.reset_transfer();
    if (hooks.forget_created_dirs) hooks.forget_created_dirs();
    support_->Connecting(false);
    if (Connected()) {
      if (!Quit()) return false;
      CloseControlSocket();
      core_.SetState(ftpClosed, false);
    }
    StopTimers();
    return true;
  } catch (const ComponentError& e) {
    core_.ReportError("CloseConnection", e.number(), e.text());
  }
  return false;
}

void FtpSession::ReportCanceled(const std::string& procedure) {
  if (core_.error().Number() == errors::kCanceled) return;
  core_.error().Clear();
  core_.ReportError(procedure, errors::kCanceled, GetErrorText(errors::kCanceled));
}

bool FtpSession::Abort() {
  try {
    if (hooks.http_running && hooks.http_running()) {
      abort_request = true;
      ++abort_serial;
      return true;
    }
    if (hooks.exhaust_retries) hooks.exhaust_retries();
    if (!core_.rt.aborting_current) {
      abort_request = true;
      ++abort_serial;
    }
    switch (core_.rt.operation) {
      case opConnect:
        support_->Connecting(false);
        CloseControlSocket();
        break;
      case opDownload:
        CloseData();
        CloseLocalFile();
        break;
      case opUpload:
        CloseData();
        abort_wait_limit = std::min(abort_wait_limit, 120);
        core_.BeginAsyncMethod(opAbort);
        if (!SendFtpCommand("ABOR", "")) return false;
        WaitForOperation({opAbort}, abort_wait_limit);
        if (!Succeeded()) return false;
        CloseLocalFile();
        break;
      case opListDirectory:
        if (hooks.discard_listing) hooks.discard_listing();
        CloseData();
        break;
      default:
        break;
    }
    core_.EndAsyncMethod();
    return true;
  } catch (const ComponentError& e) {
    core_.ReportError("Abort", e.number(), e.text());
  }
  return false;
}

void FtpSession::AbortCurrent() {
  core_.rt.aborting_current = true;
  Abort();
}

void FtpSession::Shutdown() {
  StopTimers();
  if (!Connected()) return;
  Abort();
  Quit();
  core_.EndAsyncMethod();
  CloseControlSocket();
  core_.SetState(ftpClosed, false);
}

std::string FtpSession::GetCurrentDirectory() {
  return Guarded(core_, "GetCurrentDirectory", std::string(), [&] {
    core_.ClearLastError();
    if (!Connect()) return std::string();
    if (!RequireFree("GetCurrentDirectory")) return std::string();
    core_.BeginAsyncMethod(opGetCurrentDirectory);
    if (!SendFtpCommand("PWD", "")) return std::string();
    WaitForOperation({opGetCurrentDirectory});
    return Succeeded() ? ftp_text::Trim(core_.rt.current_directory) : std::string();
  });
}

}  // namespace quorvi::detail

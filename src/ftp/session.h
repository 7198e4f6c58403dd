// FtpSession: the FTP control connection of one FtpLibrary. It owns the control socket, the
// command channel's fields (reply buffer, last command, path prefix), the login, the feature
// probes, the three session timers and the reply dispatcher; later subsystems (data connection,
// listings, transfers, HTTP) plug into it through SessionHooks and dispatcher rows/handlers.
#pragma once

#include <quorvi/enums.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

#include "component/core.h"
#include "ftp/reply_dispatcher.h"
#include "ftp/reply_parser.h"
#include "net/csocket.h"
#include "net/socket_support.h"
#include "platform/event_pump.h"

namespace quorvi::detail {

/// Steps of the session that belong to other subsystems. Unset hooks do nothing (or answer
/// false / 0).
struct SessionHooks {
  std::function<void()> close_data;             ///< close the data connection
  std::function<void()> close_local_file;       ///< close a transfer's local file
  std::function<void()> discard_listing;        ///< drop listing text received so far
  std::function<void()> reset_transfer;         ///< queue counters, result lists, timing fields
  std::function<void()> forget_created_dirs;    ///< the created-directories list lasts a connection
  std::function<bool()> http_running;           ///< an HTTP download runs
  std::function<void()> release_http;           ///< release the HTTP socket (Connect step 1)
  std::function<void()> exhaust_retries;        ///< retry counter = attempt limit (Abort)
  std::function<void()> retry_after_collision;  ///< engine retry pause 1 s (keep-alive clash)
  std::function<bool()> abort_noted;            ///< the batch engine has taken note of the abort
  std::function<double()> data_pending;         ///< data socket's pending send count
  std::function<void()> reset_data_pending;     ///< set the data socket's pending count to 0
  std::function<void()> transfer_timeout_tick;  ///< the time-out timer's transfer checks
};

/// Runs a socket or timer callback inside the event pump: nothing may escape it, a failure
/// becomes a log line.
void Contained(const char* where, const std::function<void()>& body) noexcept;

class FtpSession : private DispatchTarget {
 public:
  explicit FtpSession(Core& core);
  ~FtpSession() override;
  FtpSession(const FtpSession&) = delete;
  FtpSession& operator=(const FtpSession&) = delete;

  /// The session of a component, created on first use.
  static FtpSession& Of(Core& core);

  // ---- Session (public members' bodies; failures are reported inside) ----
  bool Connect();
  bool CloseConnection();
  /// Reports 16010 for procedure in place of whatever an abort's closed connection left,
  /// unless 16010 is recorded already.
  void ReportCanceled(const std::string& procedure);
  bool Abort();
  void AbortCurrent();
  bool ReConnect();
  bool Quit();
  /// Whether the server accepts a command (the feature probe).
  bool IsFTPCmdExist(const std::string& command);
  /// Control socket connected and logged in.
  bool Connected() const;
  /// True when text reaches the server as it is: always in UTF-8, otherwise when the code page
  /// holds every character (a name it cannot hold would arrive as another name, with '?').
  bool WireCanCarry(const std::string& text) const;
  /// The error text for a name the wire cannot carry.
  static std::string NotCarriedText(const std::string& name);
  /// The destructor's path for a logged-in session: Abort, QUIT, close, ftpClosed.
  void Shutdown();

  // ---- Command channel ----
  /// Sends one command (reconnecting first when the control connection dropped); false when it
  /// could not be sent (the error is recorded).
  bool SendFtpCommand(const std::string& command, const std::string& argument);
  /// The wait loop: 10 ms steps pumping events while no error is set and the current operation
  /// is one of ops; fails with 20004 after TimeOut (or limit_seconds when given).
  /// Returns false on a time-out when fail_on_timeout is false; each_turn runs every step, and
  /// a step ends early when ready() holds (see WaitWhile).
  bool WaitForOperation(std::initializer_list<FtpOperations> ops, int limit_seconds = 0,
                        bool fail_on_timeout = true, const std::function<void()>& each_turn = {},
                        const std::function<bool()>& ready = {});
  /// The method frame's step 4: false (and 16009 for the caller named procedure) when another
  /// operation runs. The refusal leaves the running operation alone: it is recorded in the
  /// component's last-error fields only, never in the shared error object the wait watches.
  bool RequireFree(const std::string& procedure);
  /// After a wait: true when no error was recorded (stale refusals of nested calls are cleared).
  bool Succeeded();
  /// Runs one PWD exchange; the current directory ("" after a failure).
  std::string GetCurrentDirectory();

  // ---- State other subsystems read or write ----
  CSocket m_objControlSocket;
  SessionHooks hooks;
  ReplyDispatcher dispatcher;
  std::string reply_buffer;
  std::string last_received;
  std::string last_command;
  std::string path_prefix;
  std::string raw_reply;
  std::string rename_target;
  /// Sessions the server issued on this session's TLS connections, for data connections.
  std::shared_ptr<TlsSessionPool> tls_sessions;
  /// The server's reply to a refused REST ("" while resuming works); kept for the session.
  std::string rest_refusal;
  /// The server refused EPSV (500, 501, 502, 522): an IPv4 session uses PASV from then on.
  bool epsv_refused = false;
  /// The representation type the server confirmed ("A", "I"; "" unknown): a transfer or listing
  /// of that type skips TYPE. Sending TYPE clears it until the server's 200.
  std::string transfer_type;
  /// The argument of the last TYPE sent.
  std::string type_sent;
  /// Set when MKD was refused with an "already exists" text: CreateDirectory must then see the
  /// folder before it reports success (the same texts also come for a missing parent or a file).
  std::optional<std::string> mkd_existing_reply;
  bool abort_request = false;
  /// Counts the Abort calls that stop an operation (AbortCurrent's skip of one file is not one):
  /// a step that changed it was cancelled, whatever else the closed connection left behind.
  std::uint64_t abort_serial = 0;
  bool reconnecting = false;
  bool server_pure_ftpd = false, server_typsoft = false, server_proftpd = false;
  int connect_retry = 0;
  int connect_retry_limit = 2;
  int quit_wait_limit = 1;    ///< seconds
  int abort_wait_limit = 30;  ///< seconds

  /// The running command's operation ends before its final reply (we closed its data
  /// connection): that reply is skipped when it comes, so it never answers a later command.
  void OweFinalReply();

 private:
  // DispatchTarget
  FtpOperations CurrentOperation() const override { return core_.rt.operation; }
  std::string LastCommand() const override { return last_command; }
  bool SendCommand(const std::string& command, const std::string& argument) override;
  void EndOperation() override { core_.EndAsyncMethod(); }
  void CloseSession() override { CloseConnection(); }
  void WriteLog(const std::string& line) override;
  void SetErrorNumber(std::int32_t number) override;
  void SetErrorDescription(const std::string& text) override;
  void RecordError(const std::string& procedure, std::int32_t number,
                   const std::string& text) override;
  void ReportError(const std::string& procedure, std::int32_t number,
                   const std::string& text) override;
  void CloseLocalFile() override;
  void CloseData() override;
  void KeepAliveCollision() override;

  void RegisterHandlers();
  void BindSocketEvents();
  void OnControlConnect();
  void OnControlClose();
  void OnControlSecured();
  void StartControlTls();
  /// PBSZ 0 and PROT P (or C) after an encrypted login; false when the server refuses.
  bool ProtectDataConnections();
  void OnControlError();
  void OnControlDataArrival();
  /// Dispatches one complete reply, unless it answers an outstanding keep-alive.
  void HandleReply(const CompleteReply& reply);
  /// Consumes the reply of an outstanding keep-alive; false when the reply is another's.
  bool TakeKeepAliveReply(const CompleteReply& reply);
  /// Consumes a reply owed by a command whose operation ended early (OweFinalReply).
  bool TakeOwedReply(const CompleteReply& reply);
  /// Takes the complete replies that came while no operation runs: a keep-alive's is reported
  /// as such, a 421 is reported, anything else answers an earlier command and is dropped.
  void TakeIdleReplies();
  /// Before a command goes out: TakeIdleReplies, then any incomplete rest is dropped too.
  void DrainLateReplies();
  void CreateTimers();
  void StartTimers();
  void StopTimers();
  void KeepAliveTick();
  void TimeoutTick();
  void StayOnTopTick();
  bool ConnectSteps();
  void FinishLogin();
  void ConnectWaitTurn();
  /// A reply of the server came since this login began (its greeting at least).
  bool ServerAnsweredLogin() const;
  void ProbeFeatures();
  void CloseControlSocket();
  int TimeOutSeconds() const;

  Core& core_;
  std::shared_ptr<SocketSupport> support_;  ///< keeps the thread's connecting flag
  std::uint64_t dispatch_count_ = 0;        ///< replies dispatched
  int keep_alive_pending_ = 0;              ///< keep-alive commands not answered yet
  bool awaiting_final_ = false;             ///< the last command's final reply has not come
  int owed_final_replies_ = 0;              ///< final replies to skip (OweFinalReply)
  std::string pending_reply_;               ///< text received since the last complete reply
  bool closed_by_us_ = false;               ///< the control socket's close was ours
  bool quit_refused_ = false;               ///< QUIT was answered with an error: not sent again
  bool finishing_login_ = false;  ///< past the login wait (its commands must not log in)
  std::uint64_t login_reply_mark_ = 0;      ///< dispatch_count_ when the login began
  platform::EventPump::TimerId keep_alive_timer_ = 0, timeout_timer_ = 0, on_top_timer_ = 0;
};

}  // namespace quorvi::detail

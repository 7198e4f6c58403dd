// The state behind one FtpLibrary: its settings, runtime fields, events and the operations the
// subsystems share (set state, report message, begin/end an operation, report an error).
// Subsystems add their own state objects as members here.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <quorvi/enums.h>
#include <quorvi/event.h>
#include <quorvi/user_interface.h>

#include "component/component_error.h"
#include "net/tls_stream.h"
#include "component/thread_shared.h"
#include "local/top_most.h"
#include "transfer/transfer_state.h"

namespace quorvi::detail {

class FtpSession;
class DataConnection;
class TransferEngine;
class HttpDownloader;

/// Settings written by the host (the property storage; rules live in the property code).
struct Settings {
  /// Data-connection buffer sizes a connection gets when the host set none.
  static constexpr std::int32_t kDefaultRcvbuf = 1027840;
  static constexpr std::int32_t kDefaultSndbuf = 14600;
  /// Listing bounds (docs/security.md gives the reasoning).
  static constexpr double kDefaultMaxListingBytes = 64.0 * 1024 * 1024;
  static constexpr std::int32_t kDefaultMaxListingEntries = 500000;

  std::string server_name;
  std::string user_name;
  std::string password;
  std::int32_t remote_port = 21;
  std::int16_t security = 0;  ///< 0 plain, 1 explicit FTPS (AUTH TLS), 2 implicit FTPS
  bool protect_data = true;   ///< PROT P on an encrypted session (false: PROT C)
  TlsSettings tls;            ///< how the server is verified, the client's certificate
  std::string remote_path;
  std::string local_path;
  bool overwrite = false;
  std::int16_t replace_setting = 0;
  std::string rename_rule = "{oldname}1";
  bool raise_error_event = false;
  FtpTransferModes transfer_mode = FTP_IMAGE_MODE;
  bool passive_mode = true;
  std::int16_t time_out = 30;
  std::int32_t max_chunk_size = 2097152;
  std::int32_t rcvbuf = 0;
  std::int32_t sndbuf = 0;
  bool sndbuf_set = false;  ///< written by the host (directly or through MaxSpeed)
  std::int64_t max_speed = 0;  ///< bytes per second
  std::string keep_alive_command = "NOOP";
  std::int16_t keep_alive_second = 60;
  bool list_all = false;
  bool list_dir_for_file = false;
  bool list_dir_for_file_set = false;      ///< set by the host (not by the server-kind probe)
  bool list_dir_with_asterisk = false;
  bool list_dir_with_asterisk_set = false;
  bool cache_listing = true;
  bool utf8 = false;
  bool auto_encoding = false;
  std::int16_t redo_limit = 5;  ///< attempt limit derived from ReDoTimes
  bool without_list = false;
  bool create_correspond_folder = false;
  bool follow_outside_links = false;  ///< folder uploads send links that leave the folder
  std::string file_type;
  std::string file_type_allow;
  std::string file_type_forbid;
  double max_size = 0;  ///< bytes
  /// A listing past either bound fails (22002/22003): a server cannot exhaust the memory.
  double max_listing_bytes = kDefaultMaxListingBytes;
  std::int32_t max_listing_entries = kDefaultMaxListingEntries;
  bool mkd_check_exist = false;
  std::string mkd_info;
  bool show_total_percent = false;
  std::string transtate_path;
  std::string proxy_server;
  std::int16_t proxy_port = 80;
  std::string title = "QuorviFtp";
  bool cipher_on = false;  ///< Lype
};

/// Runtime fields several subsystems share.
struct Runtime {
  FtpStates state = ftpFreeState;
  FtpOperations operation = opNone;
  std::int32_t last_error_number = 0;
  std::string last_error_text;
  bool logged_in = false;
  bool aborting_current = false;  ///< AbortCurrent is skipping the current file
  std::string current_directory;
  std::string list_command = "LIST";
  double last_command_time = 0;  ///< seconds of the steady clock at the last exchange
  std::string message_text;
  MessageTypes message_kind = FTP_USER_COMMAND;
  std::string transfer_state;
  std::int16_t percent = 0;
  double transfer_size = 0;
  /// A host call made while an operation runs (from one of its event handlers) was refused
  /// with 16009. The host reads that refusal until the running operation's next step; the
  /// running operation itself never sees it.
  bool nested_refusal = false;
  int host_calls = 0;  ///< host calls of the component's methods under way (nested: above 1)
  /// The text of the last exception a host's event handler threw since the last public method
  /// began; read as error 16012 while the component has no error of its own.
  std::string handler_failure;
};

class Core {
 public:
  Core();
  ~Core();
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;

  std::shared_ptr<ThreadShared> shared = ThreadShared::Acquire();
  /// This component's error object (made active while its code runs, see ActiveError).
  std::shared_ptr<CError> error_object = std::make_shared<CError>(shared->log);
  Settings settings;
  Runtime rt;
  Event on_transfer, on_server_message, on_state_change, on_error;
  std::shared_ptr<UserInterface> ui;
  /// The transfer engine: lists, queue counters, progress, status files.
  TransferState transfer;
  /// Captions of the component's dialogs that the stay-on-top timer raises.
  OnTopList on_top;
  /// The FTP control connection (src/ftp/session.h), created on first use.
  std::shared_ptr<FtpSession> session;
  /// The data connection and browsing state (src/ftp/data_connection.h), made on first use.
  std::shared_ptr<DataConnection> data_connection;
  /// The download/upload engines' state (src/transfer/local_file.h), created on first use.
  std::shared_ptr<TransferEngine> engine;
  /// The HTTP downloader (src/http/http_downloader.h), created on first use.
  std::shared_ptr<HttpDownloader> http;

  /// Steps of EndAsyncMethod that belong to other subsystems (closing a transfer's local file,
  /// releasing the HTTP connection); run in registration order before the operation is cleared.
  std::vector<std::function<void()>> end_operation_hooks;
  /// Step 6 of ReportError (closing the control socket during Connect, the local file during a
  /// transfer, clearing the connecting flag); called with the failing operation.
  std::vector<std::function<void(FtpOperations)>> error_cleanup_hooks;
  /// Run first when the object is destroyed (stop timers, leave a logged-in session).
  std::vector<std::function<void()>> shutdown_hooks;
  /// The control socket's "connected" check; Connected() is also false while it says so.
  std::function<bool()> control_socket_connected;
  /// The thread that made the component: its pump, sockets and timers live there, so every
  /// public member but RequestAbort runs there only.
  const std::thread::id owner_thread = std::this_thread::get_id();
  bool OnOwnerThread() const { return std::this_thread::get_id() == owner_thread; }
  /// Refuses a public member called on another thread (22040) without touching anything of the
  /// component; ErrorNumber/ErrorInfo read on another thread return that refusal.
  void RefuseForeignThread(const char* procedure) noexcept;
  /// Set by RequestAbort on any thread; the pump's wake handler acts on it on this one.
  std::atomic<bool> abort_requested{false};
  platform::EventPump::WakeHandlerId abort_wake = 0;

  platform::EventPump& pump() { return *shared->pump; }
  CError& error() { return *error_object; }
  const CError& error() const { return *error_object; }
  MessageTable& messages() { return shared->messages; }
  /// A fixed pacing pause of ms (after a file, after a listing), never longer than the
  /// notification pause: with that set to 0 the component runs unpaced.
  std::uint32_t PacingPause(std::uint32_t ms) const {
    return std::min(ms, shared->sockets->NotificationPauseMs());
  }

  /// Sets the protocol state, then raises OnStateChange when raise is true.
  void SetState(FtpStates state, bool raise = true);
  /// Sets MessageInfo and MessageType, then raises OnServerMessage.
  void ReportMessage(const std::string& text, MessageTypes kind);
  /// Clears the error object and makes op the current operation.
  void BeginAsyncMethod(FtpOperations op);
  /// True (and the refusal recorded for the host alone, OnError raised when asked) when another
  /// host call or an operation is running: a call from inside an event must not touch it.
  bool RefuseWhileBusy(const std::string& procedure) noexcept;
  /// What the host reads as ErrorNumber/ErrorInfo: a refusal of its nested call while the
  /// operation runs, otherwise the component's error.
  std::int32_t HostErrorNumber() const;
  std::string HostErrorInfo() const;
  /// Ends the current operation: state ftpFreeState and OnStateChange.
  void EndAsyncMethod();
  /// The control's error procedure: records, raises OnError when asked, ends the operation.
  void ReportError(const std::string& procedure, std::int32_t number, const std::string& text,
                   bool show = false);
  /// Clears the last-error fields at the start of a public method.
  void ClearLastError();
  /// Logs an exception thrown by the host's handler of the named event and keeps it for
  /// HostErrorNumber/HostErrorInfo. The running operation goes on: its data is not at stake.
  void ReportHandlerFailure(const char* event, const std::string& what);
  /// ErrorNumber as the host reads it (20061 reads 10061).
  std::int32_t ErrorNumber() const;
  /// ErrorInfo as the host reads it.
  std::string ErrorInfo() const;
  /// Shows a message box through the user-interface provider with the component's title.
  void ShowMessage(const std::string& text);

 private:
  mutable std::mutex foreign_mutex_;
  std::string foreign_refusal_;  ///< the text of the last refusal of another thread's call
};

/// Runs body inside a public member's never-throw boundary: a ComponentError goes to
/// Core::ReportError under the member's name, anything else is reported with the text
/// "Unknown Error" (message 21); the fallback value is returned then.
template <typename T, typename Body>
T Guarded(Core& core, const char* procedure, T fallback, Body&& body) noexcept;
/// Guarded() for members that return nothing.
template <typename Body>
void Guarded(Core& core, const char* procedure, Body&& body) noexcept;

/// Counts one host call of a public method for its duration; Refused() tells whether it came
/// from inside another one (an event handler) and must be refused with 16009.
class HostCall {
 public:
  explicit HostCall(Core& core) noexcept : core_(core), nested_(core.rt.host_calls > 0) {
    // A handler's failure is reported until the host's next call begins.
    if (!nested_) core_.rt.handler_failure.clear();
    ++core_.rt.host_calls;
  }
  ~HostCall() {
    if (--core_.rt.host_calls == 0) core_.rt.nested_refusal = false;
  }
  HostCall(const HostCall&) = delete;
  HostCall& operator=(const HostCall&) = delete;
  bool Refused(const std::string& procedure) noexcept {
    return (nested_ || core_.rt.operation != opNone) && core_.RefuseWhileBusy(procedure);
  }

 private:
  Core& core_;
  bool nested_;
};

}  // namespace quorvi::detail

#include "component/guarded.inl"

// The HTTP batch and one-file procedures: path lists, target folders, local checks, the replace
// policy, connecting, the wait and the outcome of each file.
#include "http/http_downloader.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <vector>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/session.h"
#include "http/http_support.h"
#include "local/cfile.h"
#include "local/formatters.h"
#include "local/mfile.h"
#include "local/path_rules.h"
#include "platform/file_system.h"
#include "transfer/local_file.h"
#include "transfer/replace_dialog.h"
#include "transfer/replace_policy.h"

namespace quorvi::detail {

namespace {
// The default socket buffers a connection gets while the host has set none.
constexpr std::int32_t kDefaultRcvbuf = Settings::kDefaultRcvbuf;
constexpr std::int32_t kDefaultSndbuf = Settings::kDefaultSndbuf;
// A rename that keeps finding taken names gives up after this many tries.
constexpr int kMaxRenameDepth = 1000;
constexpr int kCloseTurns = 11;

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (;;) {
    const std::size_t bar = text.find('|', start);
    parts.push_back(text.substr(start, bar == std::string::npos ? bar : bar - start));
    if (bar == std::string::npos) return parts;
    start = bar + 1;
  }
}

bool StartsWithNoCase(const std::string& text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    const char c = text[i];
    const char lower = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    if (lower != prefix[i]) return false;
  }
  return true;
}

bool AllDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Clears the batch's marks however the batch ends.
class BatchScope {
 public:
  BatchScope(TransferEngine& engine, platform::EventPump& pump, platform::EventPump::TimerId timer)
      : engine_(engine), pump_(pump), timer_(timer) {
    engine_.http_download = true;
    pump_.SetTimerEnabled(timer_, true);
  }
  ~BatchScope() {
    engine_.http_download = false;
    pump_.SetTimerEnabled(timer_, false);
  }
  BatchScope(const BatchScope&) = delete;
  BatchScope& operator=(const BatchScope&) = delete;

 private:
  TransferEngine& engine_;
  platform::EventPump& pump_;
  platform::EventPump::TimerId timer_;
};

}  // namespace

HttpDownloader::HttpDownloader(Core& core) : core_(core) {
  stall_timer_ = core_.pump().AddTimer(
      stall_check_ms,
      [this] {
        ActiveError active(*core_.shared, core_.error_object);
        Contained("HttpStall_Timer", [this] { StallTick(); });
      },
      false);
}

HttpDownloader::~HttpDownloader() {
  core_.pump().RemoveTimer(stall_timer_);
  if (core_.session) {
    core_.session->hooks.http_running = nullptr;
    core_.session->hooks.release_http = nullptr;
  }
}

HttpDownloader& HttpDownloader::Of(Core& core) {
  if (!core.http) {
    core.http = std::make_shared<HttpDownloader>(core);
    TransferEngine::Of(core);  // its hooks close the local file first
    core.end_operation_hooks.emplace_back([&core] {
      if (core.http && core.http->Running()) core.http->CloseHttpConnection();
    });
    SessionHooks& hooks = FtpSession::Of(core).hooks;
    hooks.http_running = [&core] { return core.http && core.http->Running(); };
    // Only the connection: the socket object lives until the batch ends, as this may run inside one
    // of its handlers.
    hooks.release_http = [&core] {
      if (core.http && core.http->Running()) core.http->CloseHttpConnection();
    };
  }
  return *core.http;
}

bool HttpDownloader::Running() const { return core_.engine && core_.engine->http_download; }

bool HttpDownloader::DownloadHttpFile() {
  if (Running()) {
    core_.rt.last_error_number = errors::kUnfinished;
    core_.rt.last_error_text = GetErrorText(errors::kUnfinished);
    return false;
  }
  if (!FtpSession::Of(core_).RequireFree("DownloadHttpFile")) return false;
  try {
    if (core_.settings.remote_path.empty()) Fail(errors::kNoRemotePath);
    if (core_.settings.local_path.empty()) Fail(errors::kNoLocalPath);
    core_.ClearLastError();
    core_.error().Clear();
    core_.pump().SetTimerInterval(stall_timer_, stall_check_ms);
    BatchScope scope(TransferEngine::Of(core_), core_.pump(), stall_timer_);
    CreateSocket();
    RunBatch();
    ReleaseSocket();
    return true;
  } catch (const ComponentError& e) {
    ReleaseSocket();
    core_.transfer.progress.EndJob();
    RecordError("DownloadHttpFile", e.number(), e.text());
  }
  return false;
}

void HttpDownloader::RunBatch() {
  Settings& s = core_.settings;
  TransferLists& lists = core_.transfer.lists;
  s.local_path = FormatLocalPath(s.local_path);
  s.remote_path = FormatFTPPath(s.remote_path);
  if (!s.remote_path.empty() && s.remote_path.back() == '|') s.remote_path.pop_back();
  const std::vector<std::string> urls = Split(s.remote_path);
  const std::vector<std::string> targets = Split(s.local_path);
  const std::string remembered_local = s.local_path;

  lists.queue_total = static_cast<std::int32_t>(urls.size());
  lists.ClearResults();
  core_.transfer.progress.StartJob(false);

  std::string folder;
  for (std::size_t i = 0; i < urls.size(); ++i) {
    lists.queue_index = static_cast<std::int32_t>(i + 1);
    s.local_path.clear();
    s.remote_path = std::string(TrimBlanks(urls[i]));
    if (s.remote_path.empty()) continue;
    // An empty target keeps the previous URL's folder.
    if (const std::string target(i < targets.size() ? TrimBlanks(targets[i]) : "");
        !target.empty()) {
      if (target.back() == kLocalSeparator || CFile::FolderExists(target)) {
        folder = target;
      } else {
        folder = GetParentFolderPath(target);
        s.local_path = target;
      }
      if (!CFile::FolderExists(folder) && !CFile::CreateFolder(folder)) {
        const std::int32_t number = core_.error().Number();
        if (number != 0) Fail(number, core_.error().Description());
        Fail(errors::kFolderMissing, ErrorTextWithPath(errors::kFolderMissing, folder));
      }
    }
    if (s.local_path.empty() && !folder.empty()) {
      s.local_path = folder + kLocalSeparator + MFile::GetFileName(s.remote_path);
    }
    if (s.local_path.empty()) {
      Fail(errors::kNoSavePath, ErrorTextWithPath(errors::kNoSavePath, s.remote_path));
    }
    s.local_path = FormatLocalPath(s.local_path);
    s.remote_path = FormatFTPPath(s.remote_path);
    if (!DownloadHttpFileOne()) Fail(core_.ErrorNumber(), core_.ErrorInfo());
    FtpSession& session = FtpSession::Of(core_);
    if (session.abort_request) {
      session.abort_request = false;
      Fail(errors::kCanceled);
    }
  }
  s.local_path = remembered_local;
  core_.transfer.progress.EndJob();
}

bool HttpDownloader::DownloadHttpFileOne(int rename_depth) {
  if (!FtpSession::Of(core_).RequireFree("DownloadHttpFileOne")) return false;
  try {
    return FileSteps(rename_depth);
  } catch (const ComponentError& e) {
    ErrorDeal(e.number(), e.text());
  }
  return false;
}

bool HttpDownloader::FileSteps(int rename_depth) {
  PrepareFile();
  CheckLocalTarget();
  std::string renamed_to;
  if (!ApplyReplacePolicy(renamed_to)) return true;  // skipped
  if (!renamed_to.empty()) {
    if (rename_depth >= kMaxRenameDepth)
      Fail(errors::kCreateFileFailed, ErrorTextWithPath(errors::kCreateFileFailed, renamed_to));
    core_.settings.local_path = renamed_to;
    return DownloadHttpFileOne(rename_depth + 1);
  }

  TransferEngine& engine = TransferEngine::Of(core_);
  Progress& progress = core_.transfer.progress;
  if (engine.local_size > 0) {
    if (core_.settings.overwrite) {
      // The existing file is replaced only once the server sends a body (OpenBodyFile).
      engine.local_size = 0;
    } else {
      engine.bytes = engine.local_size;
      core_.rt.transfer_size = engine.local_size;
      progress.start_offset = engine.local_size;
    }
  }
  progress.StartFile({core_.rt.percent, core_.rt.transfer_size});
  progress.last_data_time = progress.clock().now();
  const std::uint64_t tick = platform::TickCount();
  progress.speed_start_tick = progress.last_event_tick = progress.last_data_tick = tick;

  core_.BeginAsyncMethod(opDownload);
  ConnectSocket();
  if (WaitForBody()) LetConnectionClose();
  const std::string asked_for = core_.settings.remote_path;
  while (!redirect_to_.empty() && core_.error().Number() == 0) FollowRedirect();
  core_.settings.remote_path = asked_for;  // the result lists name what the host asked for
  FtpSession::Of(core_).abort_request = false;
  return Finish();
}

namespace {

// "name:" before any "/", "?" or "#" starts an absolute URL of that scheme (RFC 3986 3.1).
bool HasScheme(std::string_view location) {
  const std::size_t colon = location.find(':');
  if (colon == 0 || colon == std::string_view::npos) return false;
  if (location.find_first_of("/?#") < colon) return false;
  if (!std::isalpha(static_cast<unsigned char>(location[0]))) return false;
  return std::all_of(location.begin(), location.begin() + static_cast<std::ptrdiff_t>(colon), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '+' || c == '-' || c == '.';
  });
}

}  // namespace

std::string HttpDownloader::ResolveLocation(const std::string& location) const {
  if (StartsWithNoCase(location, "http://") || StartsWithNoCase(location, "https://")) return location;
  // Another scheme (ftp://, file:, gopher://...) would send an HTTP request to a port that
  // speaks another protocol, or read what is not the server's to give.
  if (HasScheme(location))
    Fail(errors::kRedirectScheme, GetErrorText(errors::kRedirectScheme) + " [ " + VisibleControls(location) + " ]");
  const std::string scheme = https_ ? "https:" : "http:";
  if (location.starts_with("//")) return scheme + location;
  const std::string origin = scheme + "//" + url_host_ + ":" + std::to_string(url_port_);
  if (location.starts_with("/")) return origin + location;
  // Relative to the folder of the current path.
  const std::string& url = core_.settings.remote_path;
  const std::size_t path = url.find('/', url.find("//") + 2);
  std::string folder = path == std::string::npos ? "/" : url.substr(path);
  folder.erase(folder.find_last_of('/') + 1);
  return origin + folder + location;
}

void HttpDownloader::FollowRedirect() {
  constexpr int kMaxRedirects = 10;
  const std::string target = std::exchange(redirect_to_, {});
  if (++redirects_ > kMaxRedirects)
    Fail(errors::kHttpError, "More than 10 redirects [ " + core_.settings.remote_path + " ]");
  // What was asked for over TLS is never fetched in clear text.
  if (https_ && !StartsWithNoCase(target, "https://"))
    Fail(errors::kHttpError, "A redirect from https:// to http:// is refused [ " + target + " ]");
  WriteLog("DownHTTP.Redirect:" + target);
  CloseHttpConnection();
  core_.settings.remote_path = target;
  ParseUrl();
  stage_ = 0;
  header_received_ = false;
  header_bytes_.clear();
  core_.BeginAsyncMethod(opDownload);
  ConnectSocket();
  if (WaitForBody()) LetConnectionClose();
}

void HttpDownloader::PrepareFile() {
  core_.ClearLastError();
  TransferEngine& engine = TransferEngine::Of(core_);
  core_.rt.percent = 0;
  core_.rt.transfer_size = 0;
  core_.transfer.progress.file_size = 0;
  core_.transfer.progress.start_offset = 0;
  engine.bytes = engine.remote_size = engine.local_size = 0;
  stage_ = 0;
  header_received_ = false;
  header_bytes_.clear();

  redirect_to_.clear();
  redirects_ = 0;
  ParseUrl();
}

void HttpDownloader::ParseUrl() {
  std::string& url = core_.settings.remote_path;
  // Host, path, query and user info all end up in the request line or a header.
  RequireOneLine(url, "URL");
  RequireOneLine(core_.settings.proxy_server, "proxy server");
  https_ = StartsWithNoCase(url, "https://");
  tunnel_pending_ = false;
  tunnel_reply_.clear();
  if (!https_ && !StartsWithNoCase(url, "http://")) url = "http://" + url;
  // "host:port"; a port text that is not a number leaves the port as it was.
  const std::string host_port = MHttpSupport::GetHostAndPort(url);
  // "[::1]:8080": the host keeps its brackets (the Host header needs them); the port's colon
  // follows them.
  const std::size_t bracket = host_port.starts_with('[') ? host_port.find(']') : std::string::npos;
  const std::size_t colon = host_port.find(':', bracket == std::string::npos ? 0 : bracket);
  if (colon != std::string::npos && colon >= 1) {
    const std::string port = host_port.substr(colon + 1);
    if (AllDigits(port) && port.size() <= 5) url_port_ = std::stoi(port);
    url_host_ = host_port.substr(0, colon);
  } else {
    url_host_ = host_port;
    url_port_ = https_ ? 443 : 80;
  }
}

void HttpDownloader::CheckLocalTarget() {
  const std::string& local = core_.settings.local_path;
  if (!CFile::FileExists(local)) {
    if (!IsAbsoluteLocalPath(local)) Fail(errors::kNotAbsolute, ErrorTextWithPath(errors::kNotAbsolute, local));
    const std::string parent = GetParentFolderPath(local);
    if (!CFile::FolderExists(parent))
      Fail(errors::kFolderMissing, ErrorTextWithPath(errors::kFolderMissing, parent));
    return;
  }
  const auto status = platform::Stat(local);
  TransferEngine::Of(core_).local_size = status ? status->size : 0;
}

bool HttpDownloader::ApplyReplacePolicy(std::string& renamed_to) {
  Settings& s = core_.settings;
  TransferEngine& engine = TransferEngine::Of(core_);
  DialogRename dialog;
  if (s.replace_setting == kReplaceAsk && engine.local_size > 0) {
    ReplaceQuestion question;
    question.file_name = MFile::GetFileName(s.local_path);
    question.existing_size = engine.local_size;
    if (const auto status = platform::Stat(s.local_path)) {
      question.existing_date = platform::LocalDateTimeText(status->modified);
    }
    question.source_size_text = "Unknown";  // the size comes with the response
    const ReplaceAnswer answer = AskReplace(
        *core_.ui, [](int index) { return GetMessage(index); }, core_.shared->disable_skip,
        question, s.title);
    s.replace_setting = static_cast<std::int16_t>(kDialogAnswerBase + answer.answer);
    dialog = {answer.file_name, answer.new_name};
  }
  const ReplaceOutcome outcome =
      ApplyReplaceDecision({s.replace_setting, s.overwrite}, s.local_path, engine.local_size,
                           s.rename_rule, dialog, "DownloadHttpFileOne");
  switch (outcome.action) {
    case ReplaceAction::kSkip:
      core_.transfer.lists.RecordSkipped(s.remote_path);
      WriteLog("DownHTTP.Skip:#" + s.local_path + "|" + s.remote_path);
      return false;
    case ReplaceAction::kRename:
      renamed_to = outcome.destination;
      return true;
    case ReplaceAction::kProceed:
      return true;
  }
  return true;
}

void HttpDownloader::ConnectSocket() {
  Settings& s = core_.settings;
  const bool proxy = !TrimBlanks(s.proxy_server).empty();
  // The port properties are 16-bit: a port above 32767 is stored as its negative twin.
  const std::int32_t port = proxy ? static_cast<std::uint16_t>(s.proxy_port) : url_port_;
  if (port < 1 || port > 65535) Fail(errors::kHttpConnectFailed, GetHttpErrorText(errors::kHttpConnectFailed));
  m_objHttpSocket->RemoteHost(proxy ? s.proxy_server : url_host_);
  m_objHttpSocket->RemotePort(port);
  if (s.rcvbuf < 1) {
    s.rcvbuf = kDefaultRcvbuf;
    s.sndbuf = kDefaultSndbuf;
  }
  m_objHttpSocket->Rcvbuf(s.rcvbuf);
  m_objHttpSocket->MaxReceive(Progress::ThrottledBlock(s.max_speed));
  m_objHttpSocket->Sndbuf(s.sndbuf);
  m_objHttpSocket->Connect();
}

bool HttpDownloader::WaitForBody() {
  TransferEngine& engine = TransferEngine::Of(core_);
  const Progress& progress = core_.transfer.progress;
  FtpSession& session = FtpSession::Of(core_);
  // The stall timer ends a silent connection after TimeOut; the same limit, with room for two timer
  // periods, also bounds this loop should the timer not get to run.
  const double limit = core_.settings.time_out + 2.0 * stall_check_ms / 1000.0 + 1.0;
  while (core_.error().Number() == 0 && core_.rt.operation == opDownload) {
    core_.pump().Sleep(1);
    if (session.abort_request) {
      session.abort_request = false;
      Fail(errors::kCanceled);
    }
    if (engine.remote_size > 0 && engine.bytes >= engine.remote_size) return true;
    if (progress.clock().now() - progress.last_data_time > limit) Fail(errors::kTimedOut);
  }
  return false;
}

void HttpDownloader::LetConnectionClose() {
  bool closed = false;
  for (int turn = 0; turn < kCloseTurns && !closed; ++turn) {
    closed = core_.rt.operation != opDownload;
    if (!closed) core_.pump().Sleep(10);
  }
  WriteLog(std::string("DownloadHttp:Exit Do.") + (closed ? "False" : "True"));
  if (!closed) core_.EndAsyncMethod();
}

bool HttpDownloader::Finish() {
  if (const std::int32_t number = core_.error().Number(); number != 0) {
    Fail(number, core_.error().Description());
  }
  if (stage_ == 0) Fail(errors::kHttpConnectFailed, GetHttpErrorText(errors::kHttpConnectFailed));
  if (stage_ == 1) Fail(errors::kHttpNoResponse, GetHttpErrorText(errors::kHttpNoResponse));

  Settings& s = core_.settings;
  TransferEngine& engine = TransferEngine::Of(core_);
  Progress& progress = core_.transfer.progress;
  if (chunked_ && engine.bytes < engine.remote_size) {
    Fail(errors::ReplyError(426), "Connection closed before the last chunk: " +
                                      NumberText(engine.bytes) + " bytes received [ " +
                                      s.local_path + " ]");
  }
  if (engine.remote_size > 0 && engine.bytes < engine.remote_size) {
    // The server closed early: a failure, and the part on disk stays for a resume.
    WriteLog("DownHTTP.Short:" + NumberText(engine.bytes) + "/" + NumberText(engine.remote_size) +
             "#" + s.local_path);
    Fail(errors::ReplyError(426), "Connection closed; transfer aborted: " +
                                      NumberText(engine.bytes) + " of " +
                                      NumberText(engine.remote_size) + " bytes received [ " +
                                      s.local_path + " ]");
  }
  // The last buffered bytes reach the disk only at the close: a full disk fails the file here.
  if (!engine.file.Close()) {
    Fail(errors::kOpenFileFailed, ErrorTextWithPath(errors::kOpenFileFailed, s.local_path) + ": " +
                                      std::strerror(engine.file.WriteError()));
  }
  core_.transfer.lists.RecordTransferred(s.local_path, s.remote_path);
  core_.rt.transfer_size = engine.remote_size;
  core_.rt.percent = 100;
  progress.remaining_time = 0;
  platform::SleepNoPump(core_.PacingPause(10));
  progress.EndFile();
  core_.SetState(ftpDownloadCompleted);
  RaiseEngineTransferEvent(core_);
  WriteLog("DownHTTP.Completed:#" + s.local_path + "|" + s.remote_path);
  return true;
}

void HttpDownloader::ErrorDeal(std::int32_t number, const std::string& text) {
  RecordError("DownloadHttpFileOne4", number, text.empty() ? GetHttpErrorText(number) : text);
  header_received_ = false;
  core_.EndAsyncMethod();
  core_.transfer.progress.EndFile();
  const Settings& s = core_.settings;
  WriteLog("DownloadHttpFileOne.ErrorDeal:" + s.remote_path + "#" + s.proxy_server + "#" +
           std::to_string(s.proxy_port));
}

void HttpDownloader::CloseHttpConnection() {
  CloseLocalFile(core_);
  if (!m_objHttpSocket) return;
  // A connected socket half-closes first, then closes on the next call.
  for (int turn = 0; turn < 101; ++turn) {
    const std::int32_t state = m_objHttpSocket->State();
    if (state == sckClosed || state == sckError) break;
    m_objHttpSocket->CloseSocket();
    if (m_objHttpSocket->State() == sckClosed) break;
    platform::SleepNoPump(10);
  }
}

void HttpDownloader::CreateSocket() {
  m_objHttpSocket = std::make_unique<CSocket>();
  m_objHttpSocket->BelongsTo(core_.error_object);
  m_objHttpSocket->m_strType = "[Http]";
  m_objHttpSocket->OnConnect = [this] {
    Contained("m_objHttpSocket_OnConnect", [this] { m_objHttpSocket_OnConnect(); });
  };
  m_objHttpSocket->OnSecured = [this] {
    Contained("m_objHttpSocket_OnSecured", [this] { SendRequest(); });
  };
  m_objHttpSocket->OnDataArrival = [this](double bytes) {
    Contained("m_objHttpSocket_OnDataArrival", [&] { m_objHttpSocket_OnDataArrival(bytes); });
  };
  m_objHttpSocket->OnClose = [this] {
    Contained("m_objHttpSocket_OnClose", [this] { m_objHttpSocket_OnClose(); });
  };
  m_objHttpSocket->OnError = [this] {
    Contained("m_objHttpSocket_OnError", [this] { m_objHttpSocket_OnError(); });
  };
}

void HttpDownloader::ReleaseSocket() {
  CloseHttpConnection();
  m_objHttpSocket.reset();
}

}  // namespace quorvi::detail

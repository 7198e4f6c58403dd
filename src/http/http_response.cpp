// The HTTP connection's side of a download: the request, the response header (assembled across data
// arrivals before it is read), the body written to the local file, progress and the stall check.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <limits>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/session.h"
#include "http/http_downloader.h"
#include "http/http_support.h"
#include "local/cfile.h"
#include "local/encoding.h"
#include "local/formatters.h"
#include "local/path_rules.h"
#include "platform/file_system.h"
#include "transfer/local_file.h"
#include "transfer/transfer_lists.h"

namespace quorvi::detail {

namespace {

// The name TLS checks the certificate against: an IPv6 address without its URL brackets.
std::string TlsHostName(const std::string& url_host) {
  if (url_host.size() > 2 && url_host.front() == '[' && url_host.back() == ']') {
    return url_host.substr(1, url_host.size() - 2);
  }
  return url_host;
}
constexpr std::uint64_t kEventIntervalMs = 201;
constexpr char kHeaderEnd[] = "\r\n\r\n";
// How much of the body after the header is looked at for an error page's title.
constexpr std::size_t kTextScan = 4096;

bool ContainsNoCase(std::string text, std::string_view what) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text.find(what) != std::string::npos;
}

// The log shows the start of what arrived (enough to see what the server sent).
void LogHeaderError(std::string_view response) {
  constexpr std::size_t kLogged = 1024;
  WriteLog("Header Error:" + FromAnsi(response.substr(0, kLogged)));
}

}  // namespace

std::int32_t StatusCode(std::string_view status) {
  const std::string_view code = status.substr(0, status.find(' '));
  if (code.size() != 3 || code.find_first_not_of("0123456789") != std::string_view::npos) return 0;
  return (code[0] - '0') * 100 + (code[1] - '0') * 10 + (code[2] - '0');
}

std::string ErrorTextWithPath(std::int32_t number, const std::string& path) {
  std::string text = GetErrorText(number);
  ReplaceAll(text, "{0}", path);
  return text;
}

std::string PercentEncodePath(const std::string& path) {
  // Blanks, controls, bytes beyond ASCII and the characters no request line may carry; "%"
  // stays, so an address that is encoded already is sent as it is.
  static constexpr std::string_view kUnsafe = " \"<>\\^`{|}";
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(path.size());
  for (const char c : path) {
    const auto b = static_cast<unsigned char>(c);
    if (b <= 0x20 || b >= 0x7F || kUnsafe.find(c) != std::string_view::npos) {
      out += '%';
      out += kHex[b >> 4];
      out += kHex[b & 15];
    } else {
      out += c;
    }
  }
  return out;
}

std::string BuildHttpRequest(const std::string& url, const std::string& host, std::int32_t port,
                             double resume_from, bool through_proxy, bool https) {
  std::string path = url;
  std::replace(path.begin(), path.end(), '\\', '/');
  if (const std::size_t scheme = path.find("//"); scheme != std::string::npos) {
    path.erase(0, scheme + 2);
  }
  const std::size_t slash = path.find('/');
  path = PercentEncodePath(slash == std::string::npos ? "/" : path.substr(slash));
  const std::string host_field =
      port == (https ? 443 : 80) ? host : host + ":" + std::to_string(port);
  // A proxy needs the absolute form to know where to go; a server gets the path alone.
  const std::string target = through_proxy ? "http://" + host_field + path : path;

  std::string request = "GET " + target + " HTTP/1.1\r\n";
  request += "Accept: *.*, */*\r\n";
  if (resume_from > 0) request += "Range: bytes=" + NumberText(resume_from) + "-\r\n";
  request += "User-Agent: Quorvi Software Downloader\r\n";
  request += "Referer: " + host + "\r\n";
  request += "Host: " + host_field + "\r\n";
  request += "Pragma: no-cache\r\n";
  request += "Cache-Control: no-cache\r\n";
  request += "Connection: close\r\n\r\n";
  return request;
}

void HttpDownloader::m_objHttpSocket_OnConnect() {
  if (!Running() || core_.rt.operation != opDownload) return;
  const Settings& s = core_.settings;
  const bool proxy = !TrimBlanks(s.proxy_server).empty();
  if (!https_) {
    SendRequest();
  } else if (proxy) {
    // Through a proxy, https:// is a tunnel: CONNECT, then TLS with the server inside it.
    const std::string target = url_host_ + ":" + std::to_string(url_port_);
    const std::string bytes = "CONNECT " + target + " HTTP/1.1\r\nHost: " + target + "\r\n\r\n";
    double length = static_cast<double>(bytes.size());
    tunnel_pending_ = true;
    m_objHttpSocket->SendData(ByteArray{bytes}, length);
  } else {
    m_objHttpSocket->StartTls(TlsHostName(url_host_), s.tls);
  }
}

bool HttpDownloader::ReadTunnelReply(const std::string& bytes) {
  tunnel_reply_ += bytes;
  const std::size_t end = tunnel_reply_.find(kHeaderEnd);
  if (end == std::string::npos) {
    if (tunnel_reply_.size() > kMaxHeaderBytes) Fail(errors::kHttpError, "Header Error");
    return true;
  }
  const std::string status = MHttpSupport::GetStatusLine(FromAnsi(tunnel_reply_.substr(0, end)));
  if (StatusCode(status) != 200) {
    Fail(errors::kHttpConnectFailed, GetHttpErrorText(errors::kHttpConnectFailed) +
                                         ": the proxy refused the tunnel (" + status + ")");
  }
  tunnel_pending_ = false;
  tunnel_reply_.clear();
  m_objHttpSocket->StartTls(TlsHostName(url_host_), core_.settings.tls);
  return false;
}

void HttpDownloader::SendRequest() {
  if (!Running() || core_.rt.operation != opDownload) return;
  const Settings& s = core_.settings;
  range_sent_ = core_.rt.transfer_size > 0 && !s.overwrite;
  // A tunnelled request goes to the server itself: the path alone.
  const bool proxy_form = !https_ && !TrimBlanks(s.proxy_server).empty();
  // The request crosses the wire in the ANSI code page; its length is counted in bytes.
  const std::string bytes = ToAnsi(BuildHttpRequest(
      s.remote_path, url_host_, url_port_, range_sent_ ? core_.rt.transfer_size : 0, proxy_form,
      https_));
  double length = static_cast<double>(bytes.size());
  m_objHttpSocket->SendData(ByteArray{bytes}, length);
  stage_ = 1;
  core_.transfer.progress.speed_start_tick = platform::TickCount();
}

void HttpDownloader::m_objHttpSocket_OnDataArrival(double /*bytesTotal*/) {
  SocketValue value;
  m_objHttpSocket->GetData(value, vbByteArray);
  const auto* arrived = std::get_if<ByteArray>(&value);
  // After the file has ended or failed, what still arrives is read and dropped.
  if (!arrived || !Running() || core_.rt.operation != opDownload || core_.error().Number() != 0)
    return;
  try {
    if (tunnel_pending_) {
      ReadTunnelReply(arrived->bytes);
      return;
    }
    stage_ = 2;
    if (header_received_) {
      WriteBody(arrived->bytes.data(), arrived->bytes.size());
      return;
    }
    // Nothing goes to the file before the whole header has arrived and been read.
    header_bytes_ += arrived->bytes;
    const std::size_t end = header_bytes_.find(kHeaderEnd);
    if (end == std::string::npos ? header_bytes_.size() > kMaxHeaderBytes : end > kMaxHeaderBytes) {
      LogHeaderError(header_bytes_);
      Fail(errors::kHttpError, "Header Error");
    }
    if (end == std::string::npos || !TitleDecidable(header_bytes_, end)) return;
    TakeHeader(end);
  } catch (const ComponentError& e) {
    RecordHttpError(e.number(), e.text());
    core_.EndAsyncMethod();
  }
}

// An HTML answer is held until its title can be read (the title's end, kTextScan bytes or the
// whole body of a known length): an error page sent with 200 must not become the file because
// its title came in a later packet than the header.
bool HttpDownloader::TitleDecidable(const std::string& response, std::size_t header_end) {
  const std::string header = response.substr(0, header_end);
  if (!ContainsNoCase(header, "content-type: text/html")) return true;
  const std::string body = response.substr(header_end + 4, kTextScan);
  if (body.size() >= kTextScan || ContainsNoCase(body, "</title>")) return true;
  const double length = MHttpSupport::GetContentLength(header);
  return length > 0 && static_cast<double>(body.size()) >= length;
}

void HttpDownloader::TakeHeader(std::size_t header_end) {
  header_received_ = true;
  const std::string response = std::move(header_bytes_);
  header_bytes_.clear();
  const std::size_t body = ProcessHeader(response, header_end);
  if (body < response.size()) WriteBody(response.data() + body, response.size() - body);
}

std::size_t HttpDownloader::ProcessHeader(const std::string& response, std::size_t header_end) {
  // The header and the start of the body (where an error page has its title) as text.
  const std::string text = FromAnsi(std::string_view(response).substr(0, header_end + kTextScan));
  const std::string header = FromAnsi(response.substr(0, header_end));
  const std::string status = MHttpSupport::GetStatusLine(header);
  const std::int32_t code = StatusCode(status);
  if (code == 0) Fail(errors::kHttpError, status.empty() ? "Unreadable HTTP status line" : status);
  if (code >= 300 && code < 400) {
    const std::string location(TrimBlanks(MHttpSupport::GetHeaderValue(header, "Location:")));
    const bool follows = code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
    if (!follows || location.empty()) {
      Fail(errors::kHttpError, "Unusable redirect (" + status +
                                   (location.empty() ? ", no Location" : " to " + location) + ")");
    }
    // Nothing of this answer goes to the file: the request goes where it points.
    redirect_to_ = ResolveLocation(location);
    core_.EndAsyncMethod();
    return std::string::npos;
  }
  if (code != 200 && code != 206 && code != 416) {
    Fail(errors::kHttpError + code, code == 404 ? std::string() : status);
  }

  TransferEngine& engine = TransferEngine::Of(core_);
  if (range_sent_) {
    if (code == 416) {  // the local file is complete already
      engine.remote_size = engine.local_size;
      core_.transfer.progress.file_size = engine.remote_size;
      core_.EndAsyncMethod();
      return std::string::npos;
    }
    // A part that does not start where the local file ends would be appended in the wrong place.
    const std::string range = MHttpSupport::GetHeaderValue(header, "Content-Range:");
    const std::string expected = "bytes " + NumberText(core_.rt.transfer_size) + "-";
    if (code != 206 || (!range.empty() && !range.starts_with(expected))) {
      Fail(errors::kNoResuming, MHttpSupport::GetHttpErrorText(errors::kNoResuming));
    }
  } else if (code == 416) {
    Fail(errors::kHttpError + code, status);
  }
  chunked_ = ContainsNoCase(MHttpSupport::GetHeaderValue(header, "Transfer-Encoding:"), "chunked");
  chunks_ = ChunkedDecoder{};
  if (const std::string title = MHttpSupport::GetErrorPageTitle(text); !title.empty()) {
    Fail(errors::kHttpError, title);
  }

  if (chunked_) {
    // The size is known at the last chunk: until then the file is one byte from complete.
    engine.remote_size = (core_.settings.overwrite ? 0 : core_.rt.transfer_size) + 1;
    core_.transfer.progress.file_size = 0;
    return header_end + 4;
  }
  if (!MHttpSupport::ContentLengthsAgree(header)) {
    LogHeaderError(response);
    Fail(errors::kConflictingLength);
  }
  const double length = MHttpSupport::GetContentLength(header);
  if (length < 1) {
    LogHeaderError(response);
    Fail(errors::kNoFileSize, MHttpSupport::GetHttpErrorText(errors::kNoFileSize));
  }
  engine.remote_size = length + (core_.settings.overwrite ? 0 : core_.rt.transfer_size);
  core_.transfer.progress.file_size = engine.remote_size;
  CheckMaxSize(engine.remote_size, core_.settings.max_size, "DownloadHttpFileOne");
  return header_end + 4;
}

// The local file is opened (and, with overwrite, replaced) only when the first body byte has
// arrived: a refused or failed request leaves the local side as it was.
void HttpDownloader::OpenBodyFile() {
  const std::string& path = core_.settings.local_path;
  if (core_.settings.overwrite && CFile::FileExists(path) &&
      platform::DeleteFile(path) != 0)
    Fail(errors::kCreateFileFailed, ErrorTextWithPath(errors::kCreateFileFailed, path));
  if (!OpenLocalFile(core_)) Fail(core_.ErrorNumber(), core_.ErrorInfo());
}

void HttpDownloader::WriteBody(const char* data, std::size_t n) {
  if (!chunked_) {
    WriteFileBytes(data, n);
    return;
  }
  decoded_.clear();
  const ChunkedDecoder::Status status = chunks_.Feed(std::string_view(data, n), decoded_);
  if (status == ChunkedDecoder::Status::kError) Fail(errors::kHttpError, chunks_.Error());
  TransferEngine& engine = TransferEngine::Of(core_);
  engine.remote_size = engine.bytes + static_cast<double>(decoded_.size()) + 1;
  if (!decoded_.empty()) WriteFileBytes(decoded_.data(), decoded_.size());
  if (status == ChunkedDecoder::Status::kDone) {
    engine.remote_size = engine.bytes;  // complete: the wait for the body ends
    if (!engine.file.IsOpen()) OpenBodyFile();  // an empty body still makes the file
    core_.transfer.progress.file_size = engine.remote_size;
  }
}

void HttpDownloader::WriteFileBytes(const char* data, std::size_t n) {
  TransferEngine& engine = TransferEngine::Of(core_);
  if (engine.remote_size <= 0) Fail(errors::kNoFileSize, MHttpSupport::GetHttpErrorText(errors::kNoFileSize));
  // Bytes beyond the announced length are not part of the file: the announced part is kept
  // (a resume can finish it) and the download fails, since the server contradicts itself.
  const double room = std::max(0.0, engine.remote_size - engine.bytes);
  const bool too_many = static_cast<double>(n) > room;
  n = static_cast<std::size_t>(std::min(static_cast<double>(n), room));
  if (n > 0) {
    if (!engine.file.IsOpen()) OpenBodyFile();
    if (!engine.file.Write(data, n)) {
      Fail(errors::kOpenFileFailed, ErrorTextWithPath(errors::kOpenFileFailed, core_.settings.local_path) +
                                        ": " + std::strerror(engine.file.WriteError()));
    }
    engine.bytes += static_cast<double>(n);
    core_.transfer.progress.job_bytes_moved += static_cast<double>(n);
    UpdateProgress();
  }
  if (too_many) {
    Fail(errors::kMoreThanSize, GetErrorText(errors::kMoreThanSize) + " (Content-Length " +
                                    NumberText(engine.remote_size) + ") [ " + core_.settings.remote_path + " ]");
  }
}

void HttpDownloader::UpdateProgress() {
  const TransferEngine& engine = TransferEngine::Of(core_);
  Progress& p = core_.transfer.progress;
  core_.rt.percent = static_cast<std::int16_t>(
      std::min(99.0, std::floor(engine.bytes / engine.remote_size * 100)));
  const std::uint64_t tick = platform::TickCount();
  if (p.speed_start_tick == 0) p.speed_start_tick = tick;
  const std::uint64_t elapsed = tick - p.speed_start_tick;
  if (elapsed > 0) {
    const double rate = (engine.bytes - p.start_offset) / static_cast<double>(elapsed) * 1000;
    p.speed = static_cast<std::int32_t>(
        std::clamp(std::floor(rate), 1.0, double{std::numeric_limits<std::int32_t>::max()}));
    const double left = std::floor((engine.remote_size - engine.bytes) / p.speed);
    p.remaining_time = left > 0 ? left : 1;
    p.RecordSpeedSample(engine.bytes - p.start_offset, static_cast<double>(elapsed));
  }
  p.Throttle(core_.settings.max_speed);
  p.last_data_time = p.clock().now();
  p.last_data_tick = tick;
  if (tick - p.last_event_tick >= kEventIntervalMs) {
    core_.rt.transfer_size = engine.bytes;
    RaiseEngineTransferEvent(core_);
    p.last_event_tick = tick;
  }
}

void HttpDownloader::m_objHttpSocket_OnClose() {
  if (!Running() || core_.rt.operation != opDownload) return;
  if (stage_ == 2 && !header_received_ && core_.error().Number() == 0) {
    if (const std::size_t end = header_bytes_.find(kHeaderEnd); end != std::string::npos) {
      try {  // a header held for its title: the answer ended, so it is read as it is
        TakeHeader(end);
      } catch (const ComponentError& e) {
        RecordHttpError(e.number(), e.text());
      }
    } else {
      LogHeaderError(header_bytes_);
      RecordHttpError(errors::kHttpError, "Header Error");
    }
  }
  core_.EndAsyncMethod();
}

void HttpDownloader::m_objHttpSocket_OnError() {
  // The socket has recorded its error; the wait ends on it.
  if (Running()) CloseHttpConnection();
}

void HttpDownloader::StallTick() {
  if (!Running() || core_.rt.operation != opDownload) return;
  const Progress& p = core_.transfer.progress;
  if (std::floor(p.clock().now() - p.last_data_time) <= core_.settings.time_out) return;
  const TransferEngine& engine = TransferEngine::Of(core_);
  if (engine.remote_size <= 0 || engine.bytes < engine.remote_size) {
    RecordError("Timeout_Timer:Download", errors::kTimedOut, GetErrorText(errors::kTimedOut));
    return;
  }
  core_.EndAsyncMethod();
  CloseHttpConnection();
}

void HttpDownloader::RecordHttpError(std::int32_t number, const std::string& text) {
  RecordError("DownloadHttpFileOne", number,
              text.empty() ? MHttpSupport::GetHttpErrorText(number) : text);
}

}  // namespace quorvi::detail

// The HTTP downloader: fetches the URLs of RemotePath over plain HTTP/1.1 with its own socket,
// independent of the FTP session, into the targets of LocalPath. It shares the transfer engine's
// local file, byte counters, progress fields, result lists and replace policy. One HttpDownloader
// lives in each component (Core::http), created on first use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "http/chunked_decoder.h"
#include "net/csocket.h"
#include "platform/event_pump.h"

namespace quorvi::detail {

class Core;

/// How often the stall check runs while an HTTP download is under way.
constexpr std::uint32_t kHttpStallCheckMs = 5000;
/// A response header that has not ended after this many bytes is refused.
constexpr std::size_t kMaxHeaderBytes = 65536;

class HttpDownloader {
 public:
  explicit HttpDownloader(Core& core);
  ~HttpDownloader();
  HttpDownloader(const HttpDownloader&) = delete;
  HttpDownloader& operator=(const HttpDownloader&) = delete;

  /// The downloader of a component, created on first use (registers its session and
  /// end-of-operation hooks).
  static HttpDownloader& Of(Core& core);

  /// The batch: every URL of RemotePath to its target in LocalPath. Failures are recorded (never
  /// reported through OnError); false on the first failing URL.
  bool DownloadHttpFile();
  /// Closes the transfer's local file and the HTTP connection.
  void CloseHttpConnection();
  /// True while a DownloadHttpFile call runs.
  bool Running() const;

  /// Interval of the stall check; tests shorten it.
  std::uint32_t stall_check_ms = kHttpStallCheckMs;

 private:
  void RunBatch();
  bool DownloadHttpFileOne(int rename_depth = 0);
  bool FileSteps(int rename_depth);
  void PrepareFile();
  void CheckLocalTarget();
  /// The replace policy; false when the file is skipped, true to go on. A rename sets renamed_to.
  bool ApplyReplacePolicy(std::string& renamed_to);
  void ConnectSocket();
  bool WaitForBody();
  void LetConnectionClose();
  bool Finish();
  void ErrorDeal(std::int32_t number, const std::string& text);

  void m_objHttpSocket_OnConnect();
  /// Sends the GET (after TLS, when the address is https://).
  void SendRequest();
  /// Host, port and scheme of core.settings.remote_path.
  void ParseUrl();
  /// The Location of a redirect as an absolute URL.
  std::string ResolveLocation(const std::string& location) const;
  /// Follows redirect_to_ (at most 10 times, never from https:// to http://).
  void FollowRedirect();
  /// Reads the proxy's answer to CONNECT; true while it is still coming.
  bool ReadTunnelReply(const std::string& bytes);
  void m_objHttpSocket_OnDataArrival(double bytesTotal);
  void m_objHttpSocket_OnClose();
  void m_objHttpSocket_OnError();
  /// Takes the response header apart; returns the offset of the body bytes in response, or npos
  /// when nothing of it goes to the file.
  std::size_t ProcessHeader(const std::string& response, std::size_t header_end);
  static bool TitleDecidable(const std::string& response, std::size_t header_end);
  void TakeHeader(std::size_t header_end);
  void OpenBodyFile();
  void WriteBody(const char* data, std::size_t n);
  /// Payload bytes into the local file (at most up to the announced length).
  void WriteFileBytes(const char* data, std::size_t n);
  void UpdateProgress();
  void StallTick();
  /// Records an error of a handler (number and text, the HTTP text when text is empty).
  void RecordHttpError(std::int32_t number, const std::string& text);
  void CreateSocket();
  void ReleaseSocket();

  Core& core_;
  std::unique_ptr<CSocket> m_objHttpSocket;
  platform::EventPump::TimerId stall_timer_ = 0;
  std::string url_host_;
  std::int32_t url_port_ = 0;
  bool https_ = false;          ///< an https:// address: TLS before the request
  bool tunnel_pending_ = false; ///< CONNECT sent to the proxy, its answer not yet read
  std::string tunnel_reply_;    ///< the proxy's answer to CONNECT so far
  std::string redirect_to_;     ///< where a 3xx answer sent the request ("" = nowhere)
  bool chunked_ = false;        ///< the body comes with Transfer-Encoding: chunked
  ChunkedDecoder chunks_;       ///< its decoder
  std::string decoded_;         ///< payload of the last piece
  int redirects_ = 0;           ///< redirects followed for the current file
  bool header_received_ = false;
  std::int16_t stage_ = 0;  ///< 0 not connected yet, 1 request sent, 2 response data received
  bool range_sent_ = false;
  std::string header_bytes_;  ///< the response so far, while its header has not ended
};

/// The code of a status text ("200 OK" gives 200; a bare "200" too); 0 when it is unreadable.
std::int32_t StatusCode(std::string_view status);
/// An error text of the table with "{0}" replaced by path.
std::string ErrorTextWithPath(std::int32_t number, const std::string& path);

/// A request path with blanks, controls, non-ASCII bytes and unsafe characters %-encoded.
std::string PercentEncodePath(const std::string& path);
/// The request for a URL, as sent: request line (absolute form through a proxy), headers, empty
/// line. resume_from above 0 adds the Range header; the default port (80, or 443 for https)
/// stays out of the Host header.
std::string BuildHttpRequest(const std::string& url, const std::string& host, std::int32_t port,
                             double resume_from, bool through_proxy, bool https = false);

}  // namespace quorvi::detail

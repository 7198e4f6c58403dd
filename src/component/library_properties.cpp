// FtpLibrary: the settings the host writes, with their storage rules.
#include <quorvi/ftp_library.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <string_view>

#include "component/core.h"
#include "component/credential_cipher.h"
#include "local/path_rules.h"
#include "transfer/local_file.h"
#include "platform/socket_api.h"

namespace quorvi {

namespace {

constexpr std::int32_t kDefaultPort = 21;
constexpr std::int16_t kMinTimeOut = 30;
constexpr std::int16_t kMaxTimeOut = 6000;
constexpr std::int16_t kMaxRetryPause = 3600;
constexpr std::int32_t kMinBuffer = 32;
constexpr std::int16_t kCipherOn = 1;
constexpr std::int16_t kCipherOff = 100;

std::string Trim(std::string_view text) { return std::string(detail::TrimBlanks(text)); }

std::string AsciiLower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::string AsciiUpper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

// Removes every occurrence of a word, compared without regard to ASCII case.
void RemoveNoCase(std::string& text, std::string_view word) {
  const std::string lower_word = AsciiLower(std::string(word));
  for (auto pos = AsciiLower(text).find(lower_word); pos != std::string::npos;
       pos = AsciiLower(text).find(lower_word, pos)) {
    text.erase(pos, word.size());
  }
}

// "FTP://MyHost:21/" → "MyHost"; another port stays ("ftp://h:2121/dir" → "h:2121dir", which
// Connect refuses). An IPv6 address, bare or in brackets ("[::1]:21" too), becomes its usual
// text ("::1"): its colons are not a port.
std::string NormalizeServerName(std::string name) {
  for (std::string_view scheme : {"ftp:", "http:", "https:"}) RemoveNoCase(name, scheme);
  std::erase_if(name, [](char c) { return c == '/' || c == '\\'; });
  if (const auto address = platform::ParseIpAddress(name)) {
    return address->v6 ? platform::FormatIpAddress(*address) : name;
  }
  if (name.size() >= 3 && name.ends_with(":21")) name.erase(name.size() - 3);
  if (const auto address = platform::ParseIpAddress(name); address && address->v6) {
    return platform::FormatIpAddress(*address);
  }
  return name;
}

// "*.TXT; *.doc" → ".txt. .doc" style lists: trimmed, no "*", separators become ".".
std::string NormalizeFileTypes(const std::string& value) {
  std::string out = Trim(value);
  std::erase(out, '*');
  std::replace_if(out.begin(), out.end(), [](char c) { return c == ';' || c == ',' || c == '|'; }, '.');
  return AsciiLower(std::move(out));
}

// The host's replace choice → the engine's code; -1 for a value the host may not write.
std::int16_t MapReplaceSetting(std::int16_t value) {
  static constexpr std::int16_t kCodes[] = {0, 3, 6, 8, 4};
  return value >= 0 && value <= 4 ? kCodes[value] : -1;
}

constexpr const char* kReplaceSettingHelp =
    "Selectable Value of 'ReplaceSetting':\r\n"
    "0:Show confirmation dialog\r\n"
    "1:Overwrite\r\n"
    "2:Resume\r\n"
    "3:Skip\r\n"
    "4:Rename\r\n";

// Values beyond 32 bits cannot be stored; they are clamped (the host sees no error).
std::int32_t ClampToInt32(double value) {
  constexpr double kMax = std::numeric_limits<std::int32_t>::max();
  constexpr double kMin = std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(std::clamp(value, kMin, kMax));
}

// Rounds half to even, as the original integer conversion does.
std::int32_t RoundToInt32(double value) { return ClampToInt32(std::nearbyint(value)); }

}  // namespace

// ---- Connection settings ----------------------------------------------------------------------

std::string FtpLibrary::ServerName() const { return core_->settings.server_name; }

void FtpLibrary::ServerName(const std::string& value) {
  detail::Guarded(*core_, "ServerName", [&] {
    auto& s = core_->settings;
    s.server_name = NormalizeServerName(s.cipher_on ? detail::Decipher(value) : value);
  });
}

std::string FtpLibrary::UserName() const { return core_->settings.user_name; }
void FtpLibrary::UserName(const std::string& value) { core_->settings.user_name = value; }
std::string FtpLibrary::PassWord() const { return core_->settings.password; }
void FtpLibrary::PassWord(const std::string& value) { core_->settings.password = value; }

std::int32_t FtpLibrary::RemotePort() const {
  auto& port = core_->settings.remote_port;
  if (port < 1) port = kDefaultPort;
  return port;
}

void FtpLibrary::RemotePort(std::int32_t value) {
  core_->settings.remote_port = value >= 1 && value <= 65535 ? value : kDefaultPort;
}

std::int16_t FtpLibrary::TimeOut() const {
  const auto t = core_->settings.time_out;
  return t < 1 ? kMinTimeOut : t;
}

void FtpLibrary::TimeOut(std::int16_t value) {
  core_->settings.time_out = value >= kMinTimeOut && value <= kMaxTimeOut ? value : kMinTimeOut;
}

void FtpLibrary::Lype(std::int16_t value) {
  if (value == kCipherOn) core_->settings.cipher_on = true;
  if (value == kCipherOff) core_->settings.cipher_on = false;
}

// ---- Paths --------------------------------------------------------------------------------------

std::string FtpLibrary::RemotePath() const {
  return detail::Guarded(*core_, "RemotePath", std::string(),
                         [&] { return Trim(core_->settings.remote_path); });
}

void FtpLibrary::RemotePath(const std::string& value) {
  detail::Guarded(*core_, "RemotePath", [&] { core_->settings.remote_path = Trim(value); });
}

std::string FtpLibrary::LocalPath() const {
  return detail::Guarded(*core_, "LocalPath", std::string(), [&] {
    auto& path = core_->settings.local_path;
    path = detail::FormatLocalPath(path);
    return Trim(path);
  });
}

void FtpLibrary::LocalPath(const std::string& value) {
  detail::Guarded(*core_, "LocalPath", [&] { core_->settings.local_path = Trim(value); });
}

// ---- Replace policy -----------------------------------------------------------------------------

bool FtpLibrary::OverWrite() const { return core_->settings.overwrite; }

void FtpLibrary::OverWrite(bool value) {
  core_->settings.overwrite = value;
  core_->settings.replace_setting = MapReplaceSetting(value ? 1 : 2);
}

std::int16_t FtpLibrary::ReplaceSetting() const { return core_->settings.replace_setting; }

void FtpLibrary::ReplaceSetting(std::int16_t value) {
  detail::Guarded(*core_, "ReplaceSetting", [&] {
    const auto code = MapReplaceSetting(value);
    core_->settings.replace_setting = code < 0 ? 0 : code;
    if (code < 0) core_->ShowMessage(kReplaceSettingHelp);
  });
}

std::string FtpLibrary::RenameRule() const { return core_->settings.rename_rule; }
void FtpLibrary::RenameRule(const std::string& value) { core_->settings.rename_rule = value; }

// ---- Data connection and buffers ----------------------------------------------------------------

FtpTransferModes FtpLibrary::TransferMode() const { return core_->settings.transfer_mode; }
void FtpLibrary::TransferMode(FtpTransferModes value) { core_->settings.transfer_mode = value; }
bool FtpLibrary::PassiveMode() const { return core_->settings.passive_mode; }
void FtpLibrary::PassiveMode(bool value) { core_->settings.passive_mode = value; }

std::int16_t FtpLibrary::Security() const { return core_->settings.security; }
void FtpLibrary::Security(std::int16_t value) {
  core_->settings.security = static_cast<std::int16_t>(std::clamp<std::int16_t>(value, 0, 2));
}
bool FtpLibrary::VerifyCertificate() const { return core_->settings.tls.verify; }
void FtpLibrary::VerifyCertificate(bool value) { core_->settings.tls.verify = value; }
std::string FtpLibrary::CAFile() const { return core_->settings.tls.ca_file; }
void FtpLibrary::CAFile(const std::string& value) { core_->settings.tls.ca_file = value; }
std::string FtpLibrary::PinnedPublicKey() const { return core_->settings.tls.pinned_key; }
void FtpLibrary::PinnedPublicKey(const std::string& value) { core_->settings.tls.pinned_key = value; }
std::string FtpLibrary::ClientCertificate() const { return core_->settings.tls.client_cert_file; }
void FtpLibrary::ClientCertificate(const std::string& value) {
  core_->settings.tls.client_cert_file = value;
}
std::string FtpLibrary::ClientKey() const { return core_->settings.tls.client_key_file; }
void FtpLibrary::ClientKey(const std::string& value) { core_->settings.tls.client_key_file = value; }
bool FtpLibrary::ProtectData() const { return core_->settings.protect_data; }
void FtpLibrary::ProtectData(bool value) { core_->settings.protect_data = value; }

std::int32_t FtpLibrary::MaxChunkSize() const { return core_->settings.max_chunk_size; }
void FtpLibrary::MaxChunkSize(std::int32_t value) {
  core_->settings.max_chunk_size = std::max(value, kMinBuffer);
}

std::int32_t FtpLibrary::Rcvbuf() const { return core_->settings.rcvbuf; }
void FtpLibrary::Rcvbuf(std::int32_t value) { core_->settings.rcvbuf = std::max(value, kMinBuffer); }

std::int32_t FtpLibrary::Sndbuf() const { return core_->settings.sndbuf; }
void FtpLibrary::Sndbuf(std::int32_t value) {
  core_->settings.sndbuf = std::max(value, kMinBuffer);
  core_->settings.sndbuf_set = true;
  core_->settings.max_chunk_size = core_->settings.sndbuf;
}

void FtpLibrary::MaxSpeed(std::int32_t value) {
  if (value <= 0) {
    // No limit: buffers of the smallest size would pace a transfer to a few KB/s, so they go
    // back to what a connection gets when nobody sized them.
    auto& s = core_->settings;
    s.max_speed = 0;
    s.rcvbuf = detail::Settings::kDefaultRcvbuf;
    s.sndbuf = detail::Settings::kDefaultSndbuf;
    s.sndbuf_set = false;
    s.max_chunk_size = detail::Settings{}.max_chunk_size;
    return;
  }
  // The byte rate, then buffers sized for about 80 sends per second with a 5 % margin.
  const double bytes = static_cast<double>(value) * 1024;
  core_->settings.max_speed = ClampToInt32(bytes);
  Sndbuf(RoundToInt32(bytes / 80));
  Sndbuf(RoundToInt32(Sndbuf() * 0.95));
  Rcvbuf(Sndbuf());
}

// ---- Session and listing ------------------------------------------------------------------------

void FtpLibrary::KeepAliveCommand(const std::string& value) {
  detail::Guarded(*core_, "KeepAliveCommand",
                  [&] { core_->settings.keep_alive_command = AsciiUpper(Trim(value)); });
}

void FtpLibrary::KeepAliveSecond(std::int16_t value) {
  std::int16_t seconds = value;
  if (value < 0) seconds = 0;
  else if (value >= 1 && value <= 29) seconds = 30;
  else if (value > 1800) seconds = 1800;
  core_->settings.keep_alive_second = seconds;
}

bool FtpLibrary::ListDirByMLSD() const { return core_->rt.list_command == "MLSD"; }
void FtpLibrary::ListDirByMLSD(bool value) { core_->rt.list_command = value ? "MLSD" : "LIST"; }
void FtpLibrary::ListAll(bool value) { core_->settings.list_all = value; }

void FtpLibrary::ListDirForFile(bool value) {
  core_->settings.list_dir_for_file = value;
  core_->settings.list_dir_for_file_set = true;
}

void FtpLibrary::ListDirWithAsterisk(bool value) {
  core_->settings.list_dir_with_asterisk = value;
  core_->settings.list_dir_with_asterisk_set = true;
}

void FtpLibrary::CacheListing(bool value) { core_->settings.cache_listing = value; }

void FtpLibrary::UTF8(bool value) {
  core_->settings.utf8 = value;
  core_->settings.auto_encoding = false;  // an explicit choice ends automatic detection
}

void FtpLibrary::AutoEncoding(bool value) { core_->settings.auto_encoding = value; }

// ---- Transfer settings --------------------------------------------------------------------------

void FtpLibrary::ReDoTimes(std::int16_t value) {
  const std::int32_t limit = value >= 1 ? value + 1 : 0;
  core_->settings.redo_limit =
      static_cast<std::int16_t>(std::min<std::int32_t>(limit, std::numeric_limits<std::int16_t>::max()));
}

std::int16_t FtpLibrary::RetryPause() const { return detail::TransferEngine::Of(*core_).retry_pause; }
void FtpLibrary::RetryPause(std::int16_t value) {
  detail::TransferEngine::Of(*core_).retry_pause = std::clamp<std::int16_t>(value, 0, kMaxRetryPause);
}

bool FtpLibrary::SyncFiles() const { return detail::TransferEngine::Of(*core_).file.SyncOnClose(); }
void FtpLibrary::SyncFiles(bool value) { detail::TransferEngine::Of(*core_).file.SyncOnClose(value); }

void FtpLibrary::WithoutList(bool value) { core_->settings.without_list = value; }
void FtpLibrary::CreateCorrespondFolder(bool value) { core_->settings.create_correspond_folder = value; }
void FtpLibrary::FollowOutsideLinks(bool value) { core_->settings.follow_outside_links = value; }
void FtpLibrary::DisableSkip(bool value) { core_->shared->disable_skip = value; }

std::string FtpLibrary::FileType() const { return core_->settings.file_type; }
void FtpLibrary::FileType(const std::string& value) { core_->settings.file_type = value; }

std::string FtpLibrary::FileTypeAllow() const { return core_->settings.file_type_allow; }
void FtpLibrary::FileTypeAllow(const std::string& value) {
  detail::Guarded(*core_, "FileTypeAllow",
                  [&] { core_->settings.file_type_allow = NormalizeFileTypes(value); });
}

std::string FtpLibrary::FileTypeForbid() const { return core_->settings.file_type_forbid; }
void FtpLibrary::FileTypeForbid(const std::string& value) {
  detail::Guarded(*core_, "FileTypeForbid",
                  [&] { core_->settings.file_type_forbid = NormalizeFileTypes(value); });
}

void FtpLibrary::MaxSize(double value) { core_->settings.max_size = value * 1024 * 1024; }
double FtpLibrary::MaxListingBytes() const { return core_->settings.max_listing_bytes / 1024 / 1024; }
void FtpLibrary::MaxListingBytes(double value) {
  core_->settings.max_listing_bytes = value > 0 ? value * 1024 * 1024 : detail::Settings::kDefaultMaxListingBytes;
}
std::int32_t FtpLibrary::MaxListingEntries() const { return core_->settings.max_listing_entries; }
void FtpLibrary::MaxListingEntries(std::int32_t value) {
  core_->settings.max_listing_entries = value > 0 ? value : detail::Settings::kDefaultMaxListingEntries;
}
void FtpLibrary::MKDCheckExist(bool value) { core_->settings.mkd_check_exist = value; }
void FtpLibrary::MKDInfo(const std::string& value) { core_->settings.mkd_info = value; }
void FtpLibrary::ShowTotalPercent(bool value) { core_->settings.show_total_percent = value; }

std::int16_t FtpLibrary::Percent() const { return core_->rt.percent; }
void FtpLibrary::Percent(std::int16_t value) { core_->rt.percent = value; }
double FtpLibrary::TransferSize() const { return core_->rt.transfer_size; }
void FtpLibrary::TransferSize(double value) { core_->rt.transfer_size = value; }

void FtpLibrary::TranstatePath(const std::string& value) {
  core_->settings.transtate_path = value;
  detail::Guarded(*core_, "TranstatePath", [&] { core_->transfer.status.SetPath(value); });
}

std::string FtpLibrary::ProxyServer() const { return core_->settings.proxy_server; }
void FtpLibrary::ProxyServer(const std::string& value) {
  detail::Guarded(*core_, "ProxyServer", [&] { core_->settings.proxy_server = Trim(value); });
}
std::int16_t FtpLibrary::ProxyPort() const { return core_->settings.proxy_port; }
void FtpLibrary::ProxyPort(std::int16_t value) { core_->settings.proxy_port = value; }

}  // namespace quorvi

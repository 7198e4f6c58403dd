// CError, RecordError and the log file.
#include "component/error_object.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "component/thread_shared.h"
#include "local/path_rules.h"
#include "platform/clock_text.h"
#include "platform/private_file.h"
#include "platform/system_folders.h"

namespace quorvi::detail {

namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kLogTrimSize = 204800;

bool IsBlank(std::string_view text) { return TrimBlanks(text).empty(); }

std::string Lower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

// The texts the platform's error facility gives for numbers it does not know.
bool ContainsGenericPhrase(std::string_view text) {
  static constexpr std::array<std::string_view, 4> kPhrases = {
      "application-defined", "object-defined error", "object error", "par l'objet"};
  const std::string lower = Lower(text);
  return std::any_of(kPhrases.begin(), kPhrases.end(),
                     [&](std::string_view p) { return lower.find(p) != std::string::npos; });
}

void RemoveAll(std::string& text, std::string_view what) {
  for (auto pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos)) {
    text.erase(pos, what.size());
  }
}

// Placeholders nobody filled in, with the brackets around them.
std::string StripEmptyPlaceholders(std::string text) {
  for (std::string_view p : {"[ {0} ]", "[{0}]", "{0}", "[]", "[  ]"}) RemoveAll(text, p);
  return text;
}

bool FolderExists(const std::string& folder) {
  std::error_code ec;
  return fs::is_directory(folder, ec);
}

}  // namespace

LogSettings::LogSettings() : path(DefaultLogPath()) {}

CError::CError(std::shared_ptr<LogSettings> log) : log_(std::move(log)) {}

void CError::Number(std::int32_t value) {
  if (value != 0) number_ = value;
}

void CError::Description(const std::string& value) {
  std::string stored = IsBlank(value) ? description_ : value;
  if (ContainsGenericPhrase(value)) stored = GetErrorText(number_);
  description_ = StripEmptyPlaceholders(std::move(stored));
}

std::int32_t CError::GetErrorNumber() const {
  return runtime_number_ != 0 ? runtime_number_ : last_system_error_;
}

void CError::DealError() {
  if (number_ == 0) {
    Number(GetErrorNumber());
    if (number_ == 0 && description_.empty()) return;
  }
  if (description_.empty()) Description(runtime_description_);
  const std::string path = FormatLocalPath(log_->path);
  const auto slash = path.rfind('/');
  if (slash == std::string::npos || !FolderExists(path.substr(0, slash + 1))) return;
  WriteFile(source_ + "|" + description_ + "(" + std::to_string(number_) + ")");
}

bool CError::WriteFile(const std::string& text, bool overwrite) {
  if (!log_->enabled) return false;
  const std::string path = FormatLocalPath(log_->path);
  if (path.empty()) return false;
  // Never through a link someone planted, never into another user's file, never readable by
  // others: the log holds listings and server replies.
  const std::string line = text + "  {" + platform::NowGeneralDate() + "}\r\n";
  return platform::WritePrivateFile(path, line, overwrite) == 0;
}

void CError::Clear() {
  number_ = 0;
  description_.clear();
  source_.clear();
}

void CError::StartLog(const std::string& version) {
  std::error_code ec;
  const std::string path = FormatLocalPath(log_->path);
  // symlink_status: a link in the log's place is neither measured nor removed through.
  if (fs::is_regular_file(fs::symlink_status(path, ec)) && fs::file_size(path, ec) > kLogTrimSize) {
    fs::remove(path, ec);
  }
  WriteFile("-------------------QuorviFtp ActiveX Control V" + version + "---------------");
}

RuntimeErrorScope::RuntimeErrorScope(std::int32_t number, const std::string& description) {
  if (auto* shared = ThreadShared::Current()) {
    saved_number_ = shared->Error().RuntimeNumber();
    saved_description_ = shared->Error().RuntimeDescription();
    shared->Error().SetRuntimeError(number, description);
  }
}

RuntimeErrorScope::~RuntimeErrorScope() {
  if (auto* shared = ThreadShared::Current()) {
    shared->Error().SetRuntimeError(saved_number_, saved_description_);
  }
}

std::string DefaultLogPath() {
  const std::string folder = platform::SystemFolder();
  return folder.empty() ? std::string() : folder + "talvex.dat";
}

std::string RecordError(const std::string& procedure, std::int32_t number, const std::string& text,
                        bool /*show*/) {
  // Normally a component holds the shared objects; otherwise they live for this call only.
  const auto shared = ThreadShared::Acquire();
  CError& error = shared->Error();
  const std::string name(TrimBlanks(procedure));
  if (!name.empty()) error.Source(name);
  if (number == 0) number = error.GetErrorNumber();
  if (number == 0) {
    error.WriteFile(name + ":ErrorNumber=0" + text);
    return {};
  }
  error.Number(number);
  const bool replace = ContainsGenericPhrase(text) || IsBlank(text);
  error.Description(replace ? GetErrorText(number) : text);
  error.DealError();
  return {};
}

bool WriteLog(const std::string& line) {
  if (auto* shared = ThreadShared::Current()) return shared->Error().WriteFile(line);
  return false;
}

}  // namespace quorvi::detail

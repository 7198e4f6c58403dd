#include "local/cfile.h"

#include <cerrno>
#include <cmath>
#include <optional>

#include "component/component_error.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "component/message_table.h"
#include "component/thread_shared.h"
#include "local/cfile_text.h"
#include "local/ini_file.h"
#include "local/path_rules.h"
#include "platform/file_system.h"

namespace quorvi::detail {
namespace {

constexpr double kTwo32 = 4294967296.0;

// Message indexes used here.
constexpr int kMsgAbsolutePath = 12, kMsgInputFileName = 14, kMsgCreateDirFailed = 17;

void DealErrno(const std::string& source, int error) {
  DealError(source, error, platform::ErrorText(error));
}

std::string BaseName(const std::string& path) {
  std::string p = FormatLocalPath(path);
  while (p.size() > 1 && p.back() == kLocalSeparator) p.pop_back();
  return p.substr(p.rfind(kLocalSeparator) + 1);  // npos + 1 == 0: the whole text
}

// A path as given, else its normalised form ("\" separators); the first one that exists.
std::optional<platform::FileStatus> StatEither(const std::string& path) {
  const std::string trimmed(TrimBlanks(path));
  if (auto status = platform::Stat(trimmed)) return status;
  const std::string formatted = FormatLocalPath(trimmed);
  return formatted == trimmed ? std::nullopt : platform::Stat(formatted);
}

}  // namespace

void DealError(const std::string& source, std::int32_t number, const std::string& text) {
  ThreadShared* shared = ThreadShared::Current();
  if (shared == nullptr) return;
  shared->Error().Number(number);
  shared->Error().Description(text);
  shared->Error().Source(source);
  shared->Error().DealError();
}

int WriteTextLine(const std::string& path, const std::string& text, bool overwrite) {
  // Local text files are UTF-8 on Linux, so the text is written as it is held.
  const std::int32_t saved = CFile::GetFileAttrib(path);
  if (saved & CFile::kReadOnly) CFile::SetFileAttrib(path, 0);
  const int error = platform::WriteBytes(path, text + std::string(kCrLf), overwrite);
  if (saved & CFile::kReadOnly) CFile::SetFileAttrib(path, saved);
  return error;
}

int ReadTextLines(const std::string& path, std::vector<std::string>& lines) {
  std::string bytes;
  const int error = platform::ReadBytes(path, bytes);
  lines = error == 0 ? SplitLines(bytes) : std::vector<std::string>{};
  return error;
}

bool CFile::WriteFile(const std::string& path, const std::string& text, bool overwrite) {
  if (path.empty()) return false;
  const int error = WriteTextLine(path, text, overwrite);
  if (error != 0) DealErrno("WriteFile", error);
  return error == 0;
}

std::string CFile::ReadFile(const std::string& path, std::int16_t line) {
  std::vector<std::string> lines;
  if (const int error = ReadTextLines(path, lines); error != 0) {
    DealErrno("ReadFile", error);
    return {};
  }
  if (line <= 0) return JoinLines(lines);
  return static_cast<std::size_t>(line) <= lines.size() ? lines[line - 1] : std::string();
}

std::int32_t CFile::GetFileAttrib(const std::string& strFilePath) {
  const auto status = platform::Stat(strFilePath);
  if (!status) return 0;
  std::int32_t attrib = status->is_directory ? kDirectory : kArchive;
  if (!status->writable) attrib |= kReadOnly;
  if (BaseName(strFilePath).starts_with('.')) attrib |= kHidden;
  return attrib;
}

std::int32_t CFile::SetFileAttrib(const std::string& strFilePath, std::int32_t intFileAttrib) {
  const auto status = platform::Stat(strFilePath);
  if (!status) return 0;
  const bool read_only = (intFileAttrib & kReadOnly) != 0;
  if (read_only == !status->writable) return 1;
  return platform::SetWritable(strFilePath, !read_only) == 0 ? 1 : 0;
}

std::string CFile::IniRead(const std::string& FilePath, const std::string& Section,
                           const std::string& key, std::int32_t Size) {
  std::string bytes;
  if (Size <= 1 || platform::ReadBytes(FilePath, bytes) != 0) return {};
  std::string value = IniLookup(bytes, Section, key).value_or("");
  value = value.substr(0, value.find('\0'));
  // Cut at Size - 1 characters, never inside a UTF-8 sequence.
  std::size_t chars = 0, cut = 0;
  while (cut < value.size() && chars < static_cast<std::size_t>(Size - 1)) {
    ++cut;
    while (cut < value.size() && (static_cast<unsigned char>(value[cut]) & 0xC0) == 0x80) ++cut;
    ++chars;
  }
  return value.substr(0, cut);
}

bool CFile::IniWrite(const std::string& FilePath, const std::string& Section,
                     const std::string& key, const std::string& Value) {
  std::string bytes;
  const int read_error = platform::ReadBytes(FilePath, bytes);
  if (read_error != 0 && read_error != ENOENT) {
    DealErrno("IniWrite", read_error);
    return false;
  }
  const std::int32_t saved = GetFileAttrib(FilePath);
  if (saved & kReadOnly) SetFileAttrib(FilePath, 0);
  const int error = platform::WriteBytes(FilePath, IniWithValue(bytes, Section, key, Value), true);
  if (saved & kReadOnly) SetFileAttrib(FilePath, saved);
  if (error != 0) DealErrno("IniWrite", error);
  return error == 0;
}

bool CFile::IniDeleteSection(const std::string& path, const std::string& section) {
  const auto kept = IniWithoutSection(ReadFile(path, 0), section);
  return kept && WriteFile(path, *kept, true);
}

std::vector<std::string> CFile::IniReadSection(const std::string& path) {
  std::string bytes;
  platform::ReadBytes(path, bytes);
  return IniSectionNames(bytes);
}

bool CFile::IniExistSection(const std::string& path, const std::string& section) {
  std::string bytes;
  platform::ReadBytes(path, bytes);
  return IniHasSection(bytes, section);
}

bool CFile::FileExists(const std::string& path) {
  // Names are case-sensitive here, so the path is compared as given (no lower-casing), and a
  // wildcard pattern names no file unless a file carries that very name.
  const auto status = StatEither(path);
  return status && !status->is_directory;
}

bool CFile::FolderExists(const std::string& path) {
  const auto status = StatEither(path);
  return status && status->is_directory;
}

bool CFile::CreateFolder(std::string& path) {
  try {
    path = detail::FormatLocalPath(path);
    if (path.size() > 1 && path.back() == kLocalSeparator) path.pop_back();
    if (path.empty()) Fail(kOwnErrorNumber, GetMessage(kMsgInputFileName), "CreateFolder");
    if (!IsAbsoluteLocalPath(path)) {
      Fail(errors::kNotAbsolute, FormatMessage(GetMessage(kMsgAbsolutePath), {path}), "CreateFolder");
    }
    if (FolderExists(path)) return true;
    std::string parent = detail::GetParentFolderPath(path);
    // The recursion ends at the root, which always exists; its result shows in mkdir below.
    if (parent.size() > 1 && !FolderExists(parent)) CreateFolder(parent);
    if (platform::MakeDirectory(path) != 0) {
      RecordError("CreateFolder", kOwnErrorNumber,
                  FormatMessage(GetMessage(kMsgCreateDirFailed), {path}), false);
      return false;
    }
    return true;
  } catch (const ComponentError& e) {
    DealError("CreateFolder", e.number(), e.text());
    return false;
  }
}

std::string CFile::GetParentFolderPath(const std::string& path) {
  return detail::GetParentFolderPath(path);
}

std::string CFile::FormatLocalPath(std::string& path) {
  path = detail::FormatLocalPath(path);
  return path;
}

std::string CFile::FormatFTPPath(std::string& FTPPath) {
  FTPPath = detail::FormatFTPPath(FTPPath);
  return FTPPath;
}

double CFile::Long2Size(std::int32_t LongLow, std::int32_t LongHigh) {
  const auto low = static_cast<std::uint32_t>(LongLow);  // a negative low half is read unsigned
  return static_cast<double>(LongHigh) * kTwo32 + static_cast<double>(low);
}

void CFile::Size2Long(double FileSize, std::int32_t& LongLow, std::int32_t& LongHigh) {
  const double high = std::floor(FileSize / kTwo32);
  const double low = FileSize - high * kTwo32;
  LongHigh = static_cast<std::int32_t>(high);
  LongLow = static_cast<std::int32_t>(static_cast<std::uint32_t>(low));
}

}  // namespace quorvi::detail

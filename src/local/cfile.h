// CFile: the local file and path utilities every part of the component uses. Stateless (the
// thread-shared helper of the original design only held its constant error number). No
// operation throws: failures go to the thread's error object and give the neutral value.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorvi::detail {

class CFile {
 public:
  /// Number of the errors CreateFolder raises for an empty path and records for a failure.
  static constexpr std::int32_t kOwnErrorNumber = 11111;

  /// Attribute bits (the POSIX mapping is in docs/paths-and-dates.md).
  static constexpr std::int32_t kReadOnly = 1, kHidden = 2, kDirectory = 16, kArchive = 32;

  /// Writes text and CR LF (UTF-8), appending or replacing; a read-only file stays read-only.
  static bool WriteFile(const std::string& path, const std::string& text, bool overwrite);
  /// Line `line` (1-based) of the file; 0 or below: all lines joined by CR LF; "" past the end.
  static std::string ReadFile(const std::string& path, std::int16_t line = 0);
  /// Attribute bits of an existing path, else 0.
  static std::int32_t GetFileAttrib(const std::string& strFilePath);
  /// Applies the read-only bit (other bits describe the name or the kind and are ignored);
  /// 1 on success, 0 on failure.
  static std::int32_t SetFileAttrib(const std::string& strFilePath, std::int32_t intFileAttrib);

  /// Value of key in section ("" when absent), cut to Size − 1 characters.
  static std::string IniRead(const std::string& FilePath, const std::string& Section,
                             const std::string& key, std::int32_t Size = 1024);
  /// Sets key in section, creating the file, section or key as needed.
  static bool IniWrite(const std::string& FilePath, const std::string& Section,
                       const std::string& key, const std::string& Value);
  /// Removes a section and its keys; false when the section is not there.
  static bool IniDeleteSection(const std::string& path, const std::string& section);
  /// Section names in file order.
  static std::vector<std::string> IniReadSection(const std::string& path);
  /// True when the file holds the line "[section]".
  static bool IniExistSection(const std::string& path, const std::string& section);

  /// True for an existing path that is not a folder (exact, case-sensitive names).
  static bool FileExists(const std::string& path);
  /// True for an existing folder.
  static bool FolderExists(const std::string& path);
  /// Creates a folder and its missing parents; path is written back normalised, without a
  /// trailing "/". Empty path: error 11111; relative path: error 20011 (both logged only).
  static bool CreateFolder(std::string& path);
  /// See path_rules.h.
  static std::string GetParentFolderPath(const std::string& path);
  /// Normalises path in place and returns it.
  static std::string FormatLocalPath(std::string& path);
  /// Normalises FTPPath in place and returns it.
  static std::string FormatFTPPath(std::string& FTPPath);

  /// LongHigh × 2^32 + LongLow read as unsigned.
  static double Long2Size(std::int32_t LongLow, std::int32_t LongHigh);
  /// Splits a size into its signed 32-bit halves.
  static void Size2Long(double FileSize, std::int32_t& LongLow, std::int32_t& LongHigh);
};

/// Writes text and CR LF as CFile::WriteFile does; returns the errno of a failure (0 = written).
int WriteTextLine(const std::string& path, const std::string& text, bool overwrite);
/// Reads the file's lines (CR LF, CR or LF end a line); returns errno (0 = read).
int ReadTextLines(const std::string& path, std::vector<std::string>& lines);

/// Logs an error in the thread's error object under source (number, text), as a CFile
/// operation's handler does; nothing happens when no component exists on the thread.
void DealError(const std::string& source, std::int32_t number, const std::string& text);

}  // namespace quorvi::detail

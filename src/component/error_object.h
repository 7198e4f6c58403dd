// CError: a component's error object, and the log file writer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace quorvi::detail {

/// Where the log goes and whether it is written: one log for the thread's components.
struct LogSettings {
  std::string path;
  bool enabled = false;  ///< off by default: the host switches it on
  LogSettings();
};

/// The error a component records. Each component has its own, so one component's failure never
/// ends or fails another's operation; the thread's components share the log settings.
class CError {
 public:
  explicit CError(std::shared_ptr<LogSettings> log = std::make_shared<LogSettings>());
  std::int32_t Number() const { return number_; }
  /// Stores the value unless it is 0 (only Clear resets the number).
  void Number(std::int32_t value);
  const std::string& Description() const { return description_; }
  /// Keeps the old text for a blank value, replaces generic texts, strips empty placeholders.
  void Description(const std::string& value);
  const std::string& Source() const { return source_; }
  void Source(const std::string& value) { source_ = value; }
  const std::string& LogFilePath() const { return log_->path; }
  void LogFilePath(const std::string& value) { log_->path = value; }
  bool EnableLog() const { return log_->enabled; }
  void EnableLog(bool value) { log_->enabled = value; }

  /// The error a handler is dealing with right now (the "run-time error"); see RuntimeErrorScope.
  std::int32_t RuntimeNumber() const { return runtime_number_; }
  const std::string& RuntimeDescription() const { return runtime_description_; }
  void SetRuntimeError(std::int32_t number, const std::string& description) {
    runtime_number_ = number;
    runtime_description_ = description;
  }
  /// The last system error code a platform call reported (Windows Sockets numbering for
  /// sockets). Set explicitly by the failing call's wrapper; errno itself is too noisy to use.
  std::int32_t LastSystemError() const { return last_system_error_; }
  void LastSystemError(std::int32_t code) { last_system_error_ = code; }

  /// The pending run-time error number, else the last system error code.
  std::int32_t GetErrorNumber() const;
  /// Writes the current error to the log.
  void DealError();
  /// Appends one line with the timestamp suffix; false when logging is off or fails.
  bool WriteFile(const std::string& text, bool overwrite = false);
  /// Resets number, description and source.
  void Clear();
  /// Start of the log: deletes a log file larger than 204800 bytes, then writes the header.
  void StartLog(const std::string& version);

 private:
  std::int32_t number_ = 0;
  std::string description_;
  std::string source_;
  std::shared_ptr<LogSettings> log_;
  std::int32_t runtime_number_ = 0;
  std::string runtime_description_;
  std::int32_t last_system_error_ = 0;
};

/// Makes an error the pending run-time error of the active component's error object while a handler deals with it.
class RuntimeErrorScope {
 public:
  RuntimeErrorScope(std::int32_t number, const std::string& description);
  ~RuntimeErrorScope();
  RuntimeErrorScope(const RuntimeErrorScope&) = delete;
  RuntimeErrorScope& operator=(const RuntimeErrorScope&) = delete;

 private:
  std::int32_t saved_number_ = 0;
  std::string saved_description_;
};

/// Default log path: the system folder followed by "talvex.dat"; "" without a system folder.
std::string DefaultLogPath();

/// Text of an error number: component errors, reply-code texts, HTTP texts, socket texts.
std::string GetErrorText(std::int32_t number);
/// Message index of the current language ("" outside 0..50).
std::string GetMessage(int index);
/// Reply-code text of 16000 + code (and the internal 160xx numbers).
std::string GetReplyText(std::int32_t key);
/// Socket error text (Windows Sockets numbering).
std::string GetWinsockErrorText(std::int32_t code);
/// HTTP error text of an 18xxx number ("" when unknown).
std::string GetHttpErrorText(std::int32_t number);

/// Records and logs an error in the error object of the component whose code runs now (the
/// thread's own outside any component); always returns "".
std::string RecordError(const std::string& procedure, std::int32_t number, const std::string& text,
                        bool show = false);
/// Writes one log line to the thread's log.
bool WriteLog(const std::string& line);

}  // namespace quorvi::detail

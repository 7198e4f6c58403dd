// What the download and upload engines share: the remote queries they call, the recorded
// error, the abort request, the completion wait and the retry with its five-second countdown.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <vector>
#include <string>

#include "component/core.h"
#include "transfer/local_file.h"

namespace quorvi::detail {

class FtpSession;

/// Which failures the one-file procedures retry.
struct RetryRule {
  std::initializer_list<std::int32_t> refused_numbers;
  std::initializer_list<const char*> refused_phrases;  ///< in ErrorInfo, lower case
};

/// "Can't find the file[ {0} ]" with the argument in place.
std::string ErrorTextWith(std::int32_t number, const std::string& argument);
/// The countdown notice for attempt n with seconds left (English ordinals 1st, 2nd, 3rd).
std::string RetryNotice(const std::string& message, std::int32_t attempt, std::int32_t seconds);
/// Splits a path list at "|" (an empty text gives one empty entry).
std::vector<std::string> SplitList(const std::string& text, char separator = '|');
/// True for a folder item of a path list: ends with the separator or holds "*" or "?".
bool IsFolderItem(const std::string& item);
bool HasPattern(const std::string& item);
/// True when the list holds nothing but separators and blanks.
bool OnlySeparators(const std::string& list);
/// The folder CreateCorrespondFolder adds for a folder item: its own last name, or for a
/// pattern item the name of the folder the pattern lists.
std::string CorrespondName(const std::string& item);
/// Drops one trailing "|".
void DropTrailingBar(std::string& list);

/// One file of a batch: where it is read and where it is written (remote then local for a
/// download, local then remote for an upload), both exact (names joined as listed or walked).
struct FilePair {
  std::string source;
  std::string destination;
  double listed_size = -1;  ///< from the folder's listing; -1 when not known
  std::string listed_date;
};
/// folder + "/" + name, without doubling a "/" that ends folder; name is taken as it is.
std::string JoinPath(const std::string& folder, const std::string& name);


class EngineBase {
 public:
  explicit EngineBase(Core& core);

 protected:
  Settings& settings() { return core_.settings; }
  bool ErrorRecorded() const { return core_.error().Number() != 0; }
  /// Raises the recorded error again (number, ErrorInfo) under source.
  [[noreturn]] void RaiseRecorded(const std::string& source) const;
  void RaiseEvent() { RaiseEngineTransferEvent(core_); }
  /// The remote side says the file does not exist (also after a -1 this engine stored).
  bool IsNoSuchFile() const;
  /// A batch loop takes note of an abort request: cleared, noted, 16010 unless an error is
  /// already recorded.
  void NoteAbortRequest();
  /// An abort request ended the file: 16010 replaces whatever the closed connection left.
  void RecordCanceled();
  /// True (and 16010 reported under procedure) when the job was aborted since it began.
  bool Aborted(const std::string& procedure);
  /// After a file of a batch failed: AbortCurrent abandons only that file (recorded as
  /// aborted under the procedure text); anything else stays recorded.
  void AbandonCurrentFile(const std::string& path, const std::string& procedure);
  /// The wait while data moves: 1 ms turns until an error, the operation's end (not while
  /// reconnecting) or moved() says all bytes are there. True when moved() ended it.
  bool WaitWhileMoving(FtpOperations op, const std::function<bool()>& moved);
  /// The wait for the server's final reply in 100 ms steps; when the server does not confirm,
  /// the operation is ended and the control connection renewed. Logs prefix + True/False.
  /// True when the server confirmed (the operation ended by itself).
  bool WaitForCompletion(FtpOperations op, int steps, const std::string& prefix);
  /// The 10 ms pause that ends every file; part of the pacing, so none at notification pause 0.
  void PauseAfterFile() const;
  /// The created-directories switch of an upload: on, or off with its list emptied.
  void CreatedDirectories(bool on);
  /// A folder of a tree job that could not be listed, or an entry that could not be taken: its
  /// path goes into FailedFiles, the job goes on and ends with the first such failure. Without
  /// number, the recorded error is taken (and cleared); a cancel is raised at once.
  void NoteTreeFailure(const std::string& path, std::int32_t number = 0, const std::string& text = {});
  /// Raises the first noted tree failure, if any.
  void RaiseTreeFailure();
  /// In a tree job, a file the server refuses by its name or rights (550, 553, a name the code
  /// page cannot carry) fails alone: it is noted for the end of the job, which goes on. True
  /// when the error was such a refusal (the error is then cleared).
  bool NoteRefusedFile(const std::string& path);
  /// The one-file failure path: not retried → recorded, false; retried → countdown, then
  /// again() with the resume setting and OnError off.
  bool HandleFailure(const ComponentError& e, const std::string& procedure, const RetryRule& rule,
                     const std::function<bool()>& again);

  /// Resuming needs REST. Once the server refused it, a destination that already holds
  /// destination_bytes is sent again whole when those bytes are this job's own or the policy
  /// overwrites (true: start from byte 0); otherwise the file fails at once with the refusal.
  bool RestartWithoutRest(double destination_bytes, const std::string& procedure);
  /// ASCII mode never resumes: the local and the server's byte counts differ by the converted
  /// line ends, so a REST offset would splice the file wrongly. A destination holding
  /// destination_bytes of this job's own is sent again whole (true); one holding the user's
  /// bytes fails at once with 22042, as it was.
  bool RestartInAscii(double destination_bytes, const std::string& procedure);

  Core& core_;
  FtpSession& session_;
  std::uint64_t job_abort_serial_ = 0;  ///< the session's abort count when the job began
  TransferEngine& engine_;

 private:
  bool RetryCountdown(const std::string& text);
  std::optional<ComponentError> tree_failure_;
};

}  // namespace quorvi::detail

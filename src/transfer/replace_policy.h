// The replace policy: what a one-file transfer does when its destination may already exist.
//
// The replace setting's value modulo 20 is the decision: 0 ask, 1 cancel, 2 overwrite this file,
// 3 overwrite all, 4 rename, 5 resume this file, 6 resume all, 7 skip this file, 8 skip all.
// Values 21..28 are a dialog answer kept for the rest of the call; the end of every job turns
// them back into 0.
#pragma once

#include <cstdint>
#include <string>

namespace quorvi::detail {

enum ReplaceCode : std::int16_t {
  kReplaceAsk = 0,
  kReplaceCancel = 1,
  kReplaceOverwrite = 2,
  kReplaceOverwriteAll = 3,
  kReplaceRename = 4,
  kReplaceResume = 5,
  kReplaceResumeAll = 6,
  kReplaceSkip = 7,
  kReplaceSkipAll = 8,
};
/// A dialog answer is stored as this plus the answer.
constexpr std::int16_t kDialogAnswerBase = 20;

/// What the one-file procedure does after the decision.
enum class ReplaceAction {
  kProceed,  ///< transfer; OverWrite says from byte 0 (true) or from the destination's size
  kSkip,     ///< record the source as skipped, count its size, return success
  kRename,   ///< run again on the new destination
};

struct ReplaceOutcome {
  ReplaceAction action = ReplaceAction::kProceed;
  std::string destination;  ///< the new destination for kRename
};

/// The replace setting and OverWrite flag a decision reads and changes.
struct ReplaceState {
  std::int16_t& setting;
  bool& overwrite;
};

/// The name the user chose in the dialog (for an answer 4 given through the dialog).
struct DialogRename {
  std::string file_name;  ///< l_strFileName: the existing file's name
  std::string new_name;   ///< l_strNewName
};

/// Applies the decision setting % 20. Cancel fails with 16010 (source procedure).
ReplaceOutcome ApplyReplaceDecision(ReplaceState state, const std::string& destination,
                                    double existing_size, const std::string& rename_rule,
                                    const DialogRename& dialog, const std::string& procedure);

/// The host rename: "{oldname}" of rule replaced by the name without its extension;
/// "/d/report.txt" with "{oldname}_copy" gives "/d/report_copy.txt".
std::string HostRenameDestination(const std::string& destination, const std::string& rule);

/// End of a job (and a non-retried failure): a dialog answer (above 20) becomes 0.
void ResetDialogAnswer(std::int16_t& setting);

/// 6 (Resume disabled) when the existing file is at least as large as the source, else 0.
std::int16_t ResumeDisableValue(double existing_size, double source_size);

}  // namespace quorvi::detail

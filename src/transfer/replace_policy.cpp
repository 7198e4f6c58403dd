#include "transfer/replace_policy.h"

#include <algorithm>

#include "component/component_error.h"
#include "component/error_numbers.h"
#include "local/formatters.h"

namespace quorvi::detail {

void ResetDialogAnswer(std::int16_t& setting) {
  if (setting > kDialogAnswerBase) setting = 0;
}

std::int16_t ResumeDisableValue(double existing_size, double source_size) {
  return existing_size >= source_size ? kReplaceResumeAll : 0;
}

std::string HostRenameDestination(const std::string& destination, const std::string& rule) {
  const auto slash = destination.find_last_of('/');
  std::string name = slash == std::string::npos ? destination : destination.substr(slash + 1);
  const std::string full_name = name;
  const auto dot = name.rfind('.');
  std::string ext;
  if (dot != std::string::npos && dot + 1 < name.size()) {
    ext = name.substr(dot);
    name.resize(dot);
  }
  std::string renamed = rule;
  ReplaceAll(renamed, "{oldname}", name);
  if (renamed == name || renamed == rule) renamed = name + "1";
  return destination.substr(0, destination.size() - full_name.size()) + renamed + ext;
}

ReplaceOutcome ApplyReplaceDecision(ReplaceState state, const std::string& destination,
                                    double existing_size, const std::string& rename_rule,
                                    const DialogRename& dialog, const std::string& procedure) {
  const bool dialog_answer = state.setting > kDialogAnswerBase;
  if (state.setting == kDialogAnswerBase) {
    // A dialog that gave no answer: nothing is decided for this file, the next clash asks.
    state.setting = kReplaceAsk;
    Fail(errors::kCanceled, "The operation has been canceled", procedure);
  }
  switch (state.setting % kDialogAnswerBase) {
    case kReplaceCancel:
      Fail(errors::kCanceled, "The operation has been canceled", procedure);
    case kReplaceOverwrite:
      state.overwrite = true;
      ResetDialogAnswer(state.setting);
      return {};
    case kReplaceOverwriteAll:
      state.overwrite = true;
      return {};
    case kReplaceRename: {
      if (existing_size <= 0) return {};
      ReplaceOutcome out{ReplaceAction::kRename, {}};
      if (dialog_answer) {
        const std::size_t cut = std::min(dialog.file_name.size(), destination.size());
        out.destination = destination.substr(0, destination.size() - cut) + dialog.new_name;
      } else {
        out.destination = HostRenameDestination(destination, rename_rule);
      }
      ResetDialogAnswer(state.setting);
      return out;
    }
    case kReplaceResume:
      state.overwrite = false;
      ResetDialogAnswer(state.setting);
      return {};
    case kReplaceResumeAll:
      state.overwrite = false;
      return {};
    case kReplaceSkip:
      ResetDialogAnswer(state.setting);
      return {ReplaceAction::kSkip, {}};
    case kReplaceSkipAll:
      return {ReplaceAction::kSkip, {}};
    default:
      ResetDialogAnswer(state.setting);
      return {};
  }
}

}  // namespace quorvi::detail

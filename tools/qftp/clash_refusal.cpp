#include "clash_refusal.h"
#include "terminal_text.h"

namespace qftp {

quorvi::UserInterface::ReplaceButton ClashRefusal::ShowReplaceDialog(const ReplaceDialogView& view) {
  clashes_.push_back(view.file_name);
  return ReplaceButton::kSkip;
}

std::string ClashRefusal::Report() const {
  std::string text;
  for (const auto& name : clashes_)
    text += "qftp: " + ForTerminal(name) +
            ": exists at the destination and was not transferred; choose --replace "
            "overwrite|resume|skip|rename\n";
  return text;
}

}  // namespace qftp

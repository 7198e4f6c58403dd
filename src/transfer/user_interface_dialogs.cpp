// Headless answers of the replace and rename dialogs: with nobody to ask, the replace
// confirmation cancels the job and the rename dialog is cancelled.
#include <quorvi/user_interface.h>

namespace quorvi {

UserInterface::ReplaceButton UserInterface::ShowReplaceDialog(const ReplaceDialogView&) {
  return ReplaceButton::kCancel;
}

std::string UserInterface::ShowRenameDialog(const RenameDialogView&, bool& cancelled) {
  cancelled = true;
  return {};
}

}  // namespace quorvi

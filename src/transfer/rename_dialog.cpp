#include "transfer/rename_dialog.h"

#include <algorithm>

#include "component/message_table.h"

namespace quorvi::detail {
namespace {

std::string Trimmed(const std::string& s) {
  const auto first = s.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return s.substr(first, s.find_last_not_of(' ') - first + 1);
}

bool SameIgnoringCase(const std::string& a, const std::string& b) {
  const auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; };
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

void frmReName::Show(UserInterface& ui, const MessageLookup& message,
                     const std::string& box_title) {
  const auto dot = l_strOldName.rfind('.');
  strExtendName.clear();
  std::string base = l_strOldName;
  if (dot != std::string::npos && dot + 1 < l_strOldName.size()) {
    strExtendName = l_strOldName.substr(dot);
    base.resize(dot);
  }
  l_strNewName.clear();
  UserInterface::RenameDialogView view{message(27), message(15), message(31), message(32), base,
                                       strExtendName};
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    bool cancelled = false;
    const std::string answer = ui.ShowRenameDialog(view, cancelled);
    if (cancelled) return;
    const std::string typed = Trimmed(answer);
    if (typed.empty()) {
      ui.MessageBox(message(14), box_title);
    } else if (SameIgnoringCase(typed, l_strOldName)) {
      ui.MessageBox(FormatMessage(message(13), {typed}), box_title);
    } else {
      l_strNewName = typed + strExtendName;
      return;
    }
    view.text = answer;
  }
}

}  // namespace quorvi::detail

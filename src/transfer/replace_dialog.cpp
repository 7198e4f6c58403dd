#include "transfer/replace_dialog.h"

#include <array>

#include "component/message_table.h"
#include "local/formatters.h"
#include "transfer/rename_dialog.h"
#include "transfer/replace_policy.h"

namespace quorvi::detail {
namespace {

using Button = UserInterface::ReplaceButton;

struct ButtonRule {
  Button button;
  int message;      // caption's message-table entry
  const char* key;  // access-key marker appended to the caption
  std::int8_t answer;
};

constexpr std::array<ButtonRule, 8> kButtons{{
    {Button::kOverwrite, 24, "(&O)", 2},
    {Button::kResume, 25, "(&R)", 5},
    {Button::kSkip, 26, "(&S)", 7},
    {Button::kRename, 27, "(&N)", 4},
    {Button::kOverwriteAll, 28, "(&F)", 3},
    {Button::kResumeAll, 29, "(&X)", 6},
    {Button::kSkipAll, 30, "(&T)", 8},
    {Button::kCancel, 32, "(&C)", 1},
}};

}  // namespace

UserInterface::ReplaceDialogView frmReplaceSetting::View(const MessageLookup& message,
                                                         const std::string& text,
                                                         bool disable_skip) const {
  UserInterface::ReplaceDialogView view;
  view.title = message(23);
  view.message = text;
  view.file_name = l_strFileName;
  for (const ButtonRule& rule : kButtons) {
    auto& b = view.buttons[static_cast<int>(rule.button)];
    b.caption = message(rule.message) + rule.key;
    b.enabled =
        !(rule.button == Button::kResume && l_intDisableSetting == 6) &&
        !(disable_skip && (rule.button == Button::kSkip || rule.button == Button::kSkipAll));
  }
  return view;
}

void frmReplaceSetting::Show(UserInterface& ui, const MessageLookup& message,
                             const std::string& text, bool disable_skip,
                             const std::string& box_title) {
  l_intSetting = 0;
  l_strNewName.clear();
  const UserInterface::ReplaceDialogView view = View(message, text, disable_skip);
  for (int round = 0; round < kMaxRounds; ++round) {
    const Button pressed = ui.ShowReplaceDialog(view);
    if (pressed == Button::kClosed) return;
    const int index = static_cast<int>(pressed);
    if (index < 0 || index >= 8 || !view.buttons[index].enabled) continue;
    const ButtonRule& rule = kButtons[static_cast<std::size_t>(index)];
    l_intSetting = rule.answer;
    if (rule.button != Button::kRename) return;
    frmReName rename;
    rename.l_strOldName = l_strFileName;
    rename.Show(ui, message, box_title);
    if (!rename.l_strNewName.empty()) {
      l_strNewName = rename.l_strNewName;
      return;
    }
  }
}

std::string ReplaceMessageText(const std::string& message22, const ReplaceQuestion& q) {
  std::string text = FormatMessage(message22, {q.file_name, FormatNumber(q.existing_size),
                                               q.existing_date, q.source_size_text, q.source_date});
  ReplaceAll(text, "\\n", "\r\n\r\n");
  return text;
}

ReplaceAnswer AskReplace(UserInterface& ui, const MessageLookup& message, bool disable_skip,
                         const ReplaceQuestion& q, const std::string& box_title) {
  frmReplaceSetting dialog;
  dialog.l_strFileName = q.file_name;
  dialog.l_intDisableSetting = static_cast<std::int8_t>(q.disable_setting);
  dialog.Show(ui, message, ReplaceMessageText(message(22), q), disable_skip, box_title);
  // Closed without a button (or no usable button pressed): Cancel. Read as "no decision" it
  // once left the setting at 20, and every later clash was resumed without a question.
  const std::int8_t answer = dialog.l_intSetting == 0 ? std::int8_t{kReplaceCancel} : dialog.l_intSetting;
  return {answer, dialog.l_strFileName, dialog.l_strNewName};
}

}  // namespace quorvi::detail

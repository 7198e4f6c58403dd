// The replace confirmation and rename dialogs of the terminal provider.
#include <cctype>

#include "platform/terminal_user_interface.h"

namespace quorvi::platform {
namespace {

constexpr int kMaxKeyAttempts = 50;

// "Overwrite(&O)" shows as "O=Overwrite" and answers to the key O.
struct KeyedCaption {
  char key = 0;
  std::string label;
};

KeyedCaption SplitAccessKey(const std::string& caption) {
  const auto amp = caption.find("(&");
  if (amp == std::string::npos || amp + 2 >= caption.size()) return {0, caption};
  return {static_cast<char>(std::toupper(static_cast<unsigned char>(caption[amp + 2]))),
          caption.substr(0, amp)};
}

std::string WithoutCarriageReturns(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (c != '\r') out += c;
  }
  return out;
}

}  // namespace

UserInterface::ReplaceButton TerminalUserInterface::ShowReplaceDialog(
    const ReplaceDialogView& view) {
  if (!HasTerminal()) return UserInterface::ShowReplaceDialog(view);
  std::string menu, keys;
  KeyedCaption captions[8];
  for (int i = 0; i < 8; ++i) {
    captions[i] = SplitAccessKey(view.buttons[i].caption);
    if (!view.buttons[i].enabled || captions[i].key == 0) continue;
    menu += (menu.empty() ? "" : "  ") + std::string(1, captions[i].key) + "=" + captions[i].label;
    keys += captions[i].key;
  }
  Print("\n== " + view.title + " ==\n\n" + WithoutCarriageReturns(view.message) + menu + "\n");
  for (int attempt = 0; attempt < kMaxKeyAttempts; ++attempt) {
    const auto key = ReadKey("Choose [" + keys + "]: ");
    if (!key) return ReplaceButton::kClosed;
    const char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(*key)));
    for (int i = 0; i < 8; ++i) {
      if (view.buttons[i].enabled && captions[i].key == upper) return static_cast<ReplaceButton>(i);
    }
  }
  return ReplaceButton::kClosed;
}

std::string TerminalUserInterface::ShowRenameDialog(const RenameDialogView& view, bool& cancelled) {
  cancelled = true;
  if (!HasTerminal()) return UserInterface::ShowRenameDialog(view, cancelled);
  Print("\n== " + view.title + " ==\n");
  // The extension is kept: say so, or a user who types it gets it twice.
  const std::string kept = view.extension.empty() ? "" : ", " + view.extension + " is added";
  const auto answer = ReadLine(view.label + " [" + view.text + "] (\".\" = " +
                               view.cancel_caption + kept + "): ");
  if (!answer || *answer == ".") return {};
  cancelled = false;
  return answer->empty() ? view.text : *answer;
}

}  // namespace quorvi::platform

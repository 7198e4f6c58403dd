#include "transfer/replace_policy.h"

#include <gtest/gtest.h>

#include <deque>
#include <set>

#include "component/component_error.h"
#include "english_texts.h"
#include "transfer/rename_dialog.h"
#include "transfer/replace_dialog.h"

using namespace quorvi;
using namespace quorvi::detail;
using Button = UserInterface::ReplaceButton;

namespace {

// Plays back scripted answers and records what it was shown.
class ScriptedUi : public UserInterface {
 public:
  std::deque<Button> buttons;
  std::deque<std::string> names;  // "<cancel>" cancels; an empty queue cancels too
  std::vector<ReplaceDialogView> replace_views;
  std::vector<RenameDialogView> rename_views;
  std::vector<std::string> boxes;

  ReplaceButton ShowReplaceDialog(const ReplaceDialogView& v) override {
    replace_views.push_back(v);
    const Button b = buttons.empty() ? Button::kClosed : buttons.front();
    if (!buttons.empty()) buttons.pop_front();
    return b;
  }
  std::string ShowRenameDialog(const RenameDialogView& v, bool& cancelled) override {
    rename_views.push_back(v);
    const std::string n = names.empty() ? "<cancel>" : names.front();
    if (!names.empty()) names.pop_front();
    cancelled = n == "<cancel>";
    return cancelled ? "" : n;
  }
  void MessageBox(const std::string& text, const std::string&) override { boxes.push_back(text); }
};

// Settings above 20 are one dialog answer: the "once" ones fall back to 0 after use.
TEST(ReplacePolicy, DecisionTable) {
  struct Decision { std::int16_t setting; double existing; ReplaceAction action;
                    bool overwrite_after; std::int16_t setting_after; };
  const Decision cases[] = {
      {0, 100, ReplaceAction::kProceed, false, 0},  {22, 100, ReplaceAction::kProceed, true, 0},
      {23, 100, ReplaceAction::kProceed, true, 23}, {25, 100, ReplaceAction::kProceed, false, 0},
      {26, 100, ReplaceAction::kProceed, false, 26}, {27, 0, ReplaceAction::kSkip, false, 0},
      {28, 0, ReplaceAction::kSkip, false, 28},     {4, 0, ReplaceAction::kProceed, false, 4},
      {4, 10, ReplaceAction::kRename, false, 4},    {24, 10, ReplaceAction::kRename, false, 0}};
  for (const Decision& c : cases) {
    std::int16_t setting = c.setting;
    bool overwrite = false;
    const ReplaceOutcome out =
        ApplyReplaceDecision({setting, overwrite}, "/d/a.txt", c.existing, "{oldname}1",
                             {"a.txt", "b.txt"}, "DownLoadOne");
    EXPECT_EQ(out.action, c.action) << c.setting;
    EXPECT_EQ(overwrite, c.overwrite_after) << c.setting;
    EXPECT_EQ(setting, c.setting_after) << c.setting;
  }
  std::int16_t setting = 5;
  bool overwrite = true;  // resume turns a previous overwrite off
  ApplyReplaceDecision({setting, overwrite}, "/d/a", 1, "", {}, "UpLoadOne");
  EXPECT_FALSE(overwrite);
  // 20 is a dialog without an answer: it cancels and the next clash asks again.
  for (std::int16_t cancel : {std::int16_t{1}, std::int16_t{21}, std::int16_t{20}}) {
    std::int16_t held = cancel;
    try {
      ApplyReplaceDecision({held, overwrite}, "/d/a", 1, "", {}, "x");
      ADD_FAILURE() << cancel << " did not cancel";
    } catch (const ComponentError& e) {
      EXPECT_EQ(e.number(), 16010) << cancel;
    }
    if (cancel == 20) {
      EXPECT_EQ(held, 0);
    }
  }
}

TEST(ReplacePolicy, RenameDestinations) {
  struct Case { const char* destination; const char* rule; const char* renamed; } cases[] = {
      {"/d/report.txt", "{oldname}_copy", "/d/report_copy.txt"},
      {"/d/report.txt", "copy", "/d/report1.txt"},
      {"/d/readme", "{oldname}1", "/d/readme1"},
      {"/d/a.b.c", "{oldname}1", "/d/a.b1.c"},
      {"/d/x.txt", "{oldname}", "/d/x1.txt"},
  };
  for (const Case& c : cases) EXPECT_EQ(HostRenameDestination(c.destination, c.rule), c.renamed);

  // Host rename looks again at every new name: a.txt, a1.txt, a11.txt ... until one is free.
  const std::set<std::string> taken{"/d/a.txt", "/d/a1.txt", "/d/a11.txt"};
  std::string destination = "/d/a.txt";
  std::int16_t setting = 4;
  bool overwrite = false;
  for (int guard = 0; guard < 10; ++guard) {
    const double existing = taken.count(destination) ? 5 : 0;
    const ReplaceOutcome out =
        ApplyReplaceDecision({setting, overwrite}, destination, existing, "{oldname}1", {}, "x");
    if (out.action != ReplaceAction::kRename) break;
    destination = out.destination;
  }
  EXPECT_EQ(destination, "/d/a111.txt");

  // A dialog rename swaps the existing file's name for the chosen one, once.
  setting = 24;
  const ReplaceOutcome out =
      ApplyReplaceDecision({setting, overwrite}, "/d/sub/a.txt", 5, "", {"a.txt", "b.txt"}, "x");
  EXPECT_EQ(out.destination, "/d/sub/b.txt");
  EXPECT_EQ(setting, 0);
}

// The dialog looks its button rules up by the button's value: each button answers its own setting.
TEST(ReplaceDialog, ButtonsAnswerAndTheMessageShowsBothFiles) {
  const std::pair<Button, std::int16_t> answers[] = {
      {Button::kCancel, 1},  {Button::kOverwrite, 2}, {Button::kOverwriteAll, 3},
      {Button::kResume, 5},  {Button::kResumeAll, 6}, {Button::kSkip, 7},
      {Button::kSkipAll, 8}, {Button::kClosed, 1}};  // closed: Cancel
  const ReplaceQuestion q{"a.txt", 500, "2026-01-02 03:04:05", "300", "2026-01-01 00:00:00", 0};
  for (const auto& [button, answer] : answers) {
    ScriptedUi ui;
    ui.buttons = {button};
    EXPECT_EQ(AskReplace(ui, English, false, q, "T").answer, answer);
  }
  ScriptedUi ui;
  ui.buttons = {Button::kOverwrite};
  AskReplace(ui, English, false, q, "T");
  const auto& v = ui.replace_views.at(0);
  EXPECT_EQ(v.title, "Confirm File Replace");
  EXPECT_EQ(
      v.message,
      "This folder already contains a file named 'a.txt'.\r\n\r\nWould you like to replace "
      "the existing file\r\n\r\n 500 Bytes , 2026-01-02 03:04:05\r\n\r\nwith this one?\r\n\r\n"
      "300 Bytes , 2026-01-01 00:00:00\r\n\r\n");
  EXPECT_EQ(v.buttons[int(Button::kSkipAll)].caption, "Skip All(&T)");
}

TEST(ReplaceDialog, DisabledButtonsCannotAnswer) {
  // Existing 500 bytes, source 300: Resume is off, Resume All stays; DisableSkip turns off both
  // skips. Pressing a disabled button leaves the dialog open.
  ScriptedUi ui;
  ui.buttons = {Button::kResume, Button::kSkip, Button::kSkipAll, Button::kResumeAll};
  const ReplaceQuestion q{"a.txt", 500, "", "300", "", ResumeDisableValue(500, 300)};
  EXPECT_EQ(AskReplace(ui, English, true, q, "T").answer, 6);
  EXPECT_EQ(ui.replace_views.size(), 4u);
  const auto& b = ui.replace_views[0].buttons;
  EXPECT_FALSE(b[int(Button::kResume)].enabled);
  EXPECT_TRUE(b[int(Button::kResumeAll)].enabled);
  EXPECT_FALSE(b[int(Button::kSkip)].enabled);
  EXPECT_FALSE(b[int(Button::kSkipAll)].enabled);
  EXPECT_EQ(ResumeDisableValue(300, 500), 0);
}

TEST(ReplaceDialog, RenameChecksAndLoops) {
  // Rename, cancel the rename (the confirmation stays open), Rename again: an empty name and
  // the old name are refused with their message boxes, then "summary" keeps the extension.
  ScriptedUi ui;
  ui.buttons = {Button::kRename, Button::kRename};
  ui.names = {"<cancel>", "   ", "REPORT.TXT", " summary "};
  const ReplaceQuestion q{"report.txt", 5, "", "Unknown", "", 0};
  const ReplaceAnswer a = AskReplace(ui, English, false, q, "T");
  EXPECT_EQ(a.answer, 4);
  EXPECT_EQ(a.new_name, "summary.txt");
  EXPECT_EQ(ui.replace_views.size(), 2u);
  ASSERT_EQ(ui.rename_views.size(), 4u);
  EXPECT_EQ(ui.rename_views[0].text, "report");
  EXPECT_EQ(ui.boxes,
            (std::vector<std::string>{"Please input filename!",
                                      "The folder already contains a file named [ REPORT.TXT ]"}));
}

}  // namespace

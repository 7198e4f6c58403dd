// The Qt provider's dialogs on Qt's offscreen platform: what they show, which keys answer
// them, and that a worker thread's question is shown on the application's thread.
#include <atomic>
#include <memory>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <quorvi/qt_user_interface.h>

#include "qt/dialog_text.h"
#include "qt/rename_dialog.h"
#include "qt/replace_dialog.h"

namespace quorvi::qt {
namespace {

using Button = UserInterface::ReplaceButton;

TEST(QtDialogText, AccessKeysAsQtReadsThem) {
  EXPECT_EQ(AccessKey("Overwrite(&O)"), 'O');
  EXPECT_EQ(AccessKey("Skip All(&t)"), 'T');
  EXPECT_EQ(AccessKey("Save && Quit(&Q)"), 'Q');  // "&&" is a literal ampersand
  EXPECT_EQ(AccessKey("Fish && Chips"), 0);
  EXPECT_EQ(AccessKey("Trailing&"), 0);
  EXPECT_EQ(AccessKey(""), 0);
}

TEST(QtDialogText, MessageLinesAndFilters) {
  EXPECT_EQ(LabelText("a\r\n\r\nb\rc\r\n\r\n"), "a\n\nb\nc");
  EXPECT_EQ(NameFilter("*.txt;*.doc"), "Files (*.txt *.doc)");
  EXPECT_EQ(NameFilter(" *.txt ; ;*.doc;"), "Files (*.txt *.doc)");
  // The component's "every file" must also match names without a dot.
  EXPECT_EQ(NameFilter("*.*"), "All files (*)");
  EXPECT_EQ(NameFilter(""), "All files (*)");
}

// A QApplication on the offscreen platform for one test (each test runs in its own process).
class QtProvider : public ::testing::Test {
 protected:
  void SetUp() override {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    app_ = std::make_unique<QApplication>(argc_, argv_);
    ui_ = MakeQtUserInterface();
  }

  static UserInterface::ReplaceDialogView View() {
    UserInterface::ReplaceDialogView view;
    view.title = "Confirm File Replace";
    view.message = "This folder already contains a file named 'a.bin'.\r\n\r\nReplace it?\r\n\r\n";
    view.file_name = "a.bin";
    const char* captions[] = {"Overwrite(&O)", "Resume(&R)",   "Skip(&S)",     "Rename(&N)",
                              "Overwrite All(&F)", "Resume All(&X)", "Skip All(&T)", "Cancel(&C)"};
    for (int i = 0; i < 8; ++i) view.buttons[i] = {captions[i], true};
    return view;
  }

  // Shows the replace confirmation, answering it with `answer` once it is up.
  Button Ask(const UserInterface::ReplaceDialogView& view,
             const std::function<void(ReplaceDialog&)>& answer) {
    ui_->OnDialogShown([&](QWidget& w) {
      // A key that fails to answer must fail the test, not hang it.
      QTimer::singleShot(3000, &w, [&w] {
        ADD_FAILURE() << "the dialog was not answered";
        dynamic_cast<QDialog&>(w).reject();
      });
      // Shortcuts go to the active window only; the provider asks for activation on show.
      EXPECT_TRUE(QTest::qWaitForWindowActive(&w, 2000));
      answer(dynamic_cast<ReplaceDialog&>(w));
    });
    return ui_->ShowReplaceDialog(view);
  }

  int argc_ = 1;
  char name_[8] = "qt_test";
  char* argv_[2] = {name_, nullptr};
  std::unique_ptr<QApplication> app_;
  std::shared_ptr<QtUserInterface> ui_;
};

TEST_F(QtProvider, ReplaceDialogShowsTheViewWithAccessKeysUnderlinedNotPrinted) {
  auto view = View();
  view.buttons[static_cast<int>(Button::kResume)].enabled = false;
  Ask(view, [&](ReplaceDialog& d) {
    EXPECT_EQ(d.windowTitle(), "Confirm File Replace");
    const auto labels = d.findChildren<QLabel*>();
    ASSERT_EQ(labels.size(), 1);
    EXPECT_EQ(labels[0]->text(), "This folder already contains a file named 'a.bin'.\n\nReplace it?");
    EXPECT_EQ(labels[0]->textFormat(), Qt::PlainText);
    for (int i = 0; i < 8; ++i) {
      QPushButton* b = d.Button(static_cast<Button>(i));
      EXPECT_EQ(b->isEnabled(), view.buttons[i].enabled) << i;
      // Qt turns "&O" into the Alt+O shortcut (and draws O underlined) instead of printing it.
      EXPECT_EQ(b->shortcut(), QKeySequence::mnemonic(b->text())) << i;
      EXPECT_FALSE(b->shortcut().isEmpty()) << i;
    }
    d.reject();
  });
}

TEST_F(QtProvider, EveryAccessKeyAloneOrWithAltPressesItsButton) {
  const Qt::Key keys[] = {Qt::Key_O, Qt::Key_R, Qt::Key_S, Qt::Key_N,
                          Qt::Key_F, Qt::Key_X, Qt::Key_T, Qt::Key_C};
  for (int i = 0; i < 8; ++i) {
    for (const auto modifier : {Qt::NoModifier, Qt::AltModifier}) {
      const Button pressed = Ask(View(), [&](ReplaceDialog& d) {
        QWidget* target = d.focusWidget() != nullptr ? d.focusWidget() : &d;
        QTest::keyClick(target, keys[i], modifier);
      });
      EXPECT_EQ(pressed, static_cast<Button>(i)) << "key " << i << " modifier " << modifier;
    }
  }
}

TEST_F(QtProvider, DisabledButtonsIgnoreTheirKeysAndEnterAnswersNothing) {
  auto view = View();
  view.buttons[static_cast<int>(Button::kSkip)].enabled = false;
  view.buttons[static_cast<int>(Button::kSkipAll)].enabled = false;
  const Button pressed = Ask(view, [](ReplaceDialog& d) {
    QTest::keyClick(&d, Qt::Key_S);
    QTest::keyClick(&d, Qt::Key_T, Qt::AltModifier);
    QTest::keyClick(d.focusWidget() != nullptr ? d.focusWidget() : &d, Qt::Key_Return);
    EXPECT_TRUE(d.isVisible()) << "a disabled key or Enter closed the dialog";
    QTest::keyClick(&d, Qt::Key_C);
  });
  EXPECT_EQ(pressed, Button::kCancel);
}

TEST_F(QtProvider, EscapeClosesWithoutAButton) {
  EXPECT_EQ(Ask(View(), [](ReplaceDialog& d) { QTest::keyClick(&d, Qt::Key_Escape); }),
            Button::kClosed);
}

TEST_F(QtProvider, RenameDialogProposesTheNameSelectedAndLeavesTheExtensionToTheComponent) {
  const UserInterface::RenameDialogView view{"Rename", "New Filename", "OK", "Cancel", "report",
                                             ".bin"};
  ui_->OnDialogShown([&](QWidget& w) {
    auto& d = dynamic_cast<RenameDialog&>(w);
    EXPECT_EQ(d.windowTitle(), "Rename");
    EXPECT_EQ(d.Edit()->text(), "report");
    EXPECT_EQ(d.Edit()->selectedText(), "report");
    bool extension_shown = false;
    for (const QLabel* l : d.findChildren<QLabel*>()) extension_shown |= l->text() == ".bin";
    EXPECT_TRUE(extension_shown);
    // Typing replaces the selection; Enter answers OK.
    QTest::keyClicks(d.Edit(), "report-2");
    QTest::keyClick(d.Edit(), Qt::Key_Return);
  });
  bool cancelled = true;
  EXPECT_EQ(ui_->ShowRenameDialog(view, cancelled), "report-2");
  EXPECT_FALSE(cancelled);

  ui_->OnDialogShown([](QWidget& w) { QTest::keyClick(&w, Qt::Key_Escape); });
  EXPECT_EQ(ui_->ShowRenameDialog(view, cancelled), "");
  EXPECT_TRUE(cancelled);
}

TEST_F(QtProvider, AWorkerThreadsQuestionIsShownOnTheApplicationThread) {
  QThread* shown_on = nullptr;
  ui_->OnDialogShown([&](QWidget& w) {
    shown_on = QThread::currentThread();
    EXPECT_EQ(w.thread(), app_->thread());
    QTest::keyClick(&w, Qt::Key_F);
  });
  std::optional<Button> answer;
  std::atomic<bool> done{false};
  std::thread worker([&] {
    answer = ui_->ShowReplaceDialog(View());
    done = true;
  });
  // The application's loop must run for the worker's question to be shown.
  for (int i = 0; i < 500 && !done; ++i) QTest::qWait(10);
  worker.join();
  EXPECT_EQ(shown_on, app_->thread());
  EXPECT_EQ(answer, Button::kOverwriteAll);
}

TEST(QtProviderWithoutApplication, AnswersAsTheHeadlessProvider) {
  QtUserInterface ui;
  UserInterface::ReplaceDialogView view;
  EXPECT_EQ(ui.ShowReplaceDialog(view), Button::kCancel);
  bool cancelled = false;
  EXPECT_EQ(ui.ShowRenameDialog({}, cancelled), "");
  EXPECT_TRUE(cancelled);
  EXPECT_EQ(ui.BrowseFolder("t", "/tmp"), "");
  EXPECT_TRUE(ui.OpenFile("t", "*.*", true).empty());
}

}  // namespace
}  // namespace quorvi::qt

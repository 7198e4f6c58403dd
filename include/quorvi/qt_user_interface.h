// A user-interface provider for Qt 6 Widgets hosts (library QuorviFtp::qt): the component's
// message boxes and dialogs as real Qt dialogs.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <quorvi/user_interface.h>

class QWidget;

namespace quorvi {

/// Shows every dialog modally over the parent window given (or centred on the screen). Captions
/// keep their "&" access keys: Alt+key presses a button, and in the replace confirmation the
/// key alone does too. Called from another thread, a dialog is shown on the application's
/// thread while the caller waits. Without a QApplication every member answers as the headless
/// provider does.
class QtUserInterface : public UserInterface {
 public:
  explicit QtUserInterface(QWidget* parent = nullptr);
  ~QtUserInterface() override;
  QtUserInterface(const QtUserInterface&) = delete;
  QtUserInterface& operator=(const QtUserInterface&) = delete;

  /// The window the dialogs belong to (null: none); a window that is destroyed counts as none.
  void SetParentWindow(QWidget* parent);

  /// Called with each dialog once it is on screen and before it is answered, on the
  /// application's thread (a host can take a screenshot or log it; tests answer through it).
  using DialogShown = std::function<void(QWidget& dialog)>;
  void OnDialogShown(DialogShown handler);

  void MessageBox(const std::string& text, const std::string& title) override;
  ReplaceButton ShowReplaceDialog(const ReplaceDialogView& view) override;
  std::string ShowRenameDialog(const RenameDialogView& view, bool& cancelled) override;
  std::string BrowseFolder(const std::string& title, const std::string& initial_dir) override;
  std::string SaveFile(const std::string& title, const std::string& file_name,
                       const std::string& filter) override;
  std::vector<std::string> OpenFile(const std::string& title, const std::string& filter,
                                    bool multi_select) override;
  void About(const std::string& product, const std::string& version) override;
  /// window is a native window id (QWidget::winId) of one of the application's windows.
  void SetWindowTopMost(std::intptr_t window, bool on) override;
  void SetTopMostByCaption(const std::string& caption, bool on) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The Qt provider as a shared pointer, ready for FtpLibrary::SetUserInterface.
std::shared_ptr<QtUserInterface> MakeQtUserInterface(QWidget* parent = nullptr);

}  // namespace quorvi

// The user-interface provider: everything the component would show on screen goes through it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvi {

/// Hosts install their own provider (a GUI) with FtpLibrary::SetUserInterface. The library's
/// default is headless: message boxes are written to the log and dialogs answer "cancelled".
/// Every member has a headless default, so a provider overrides only what it can show.
class UserInterface {
 public:
  virtual ~UserInterface() = default;

  /// Shows an informational message box with an OK button and waits until it is closed.
  virtual void MessageBox(const std::string& text, const std::string& title);

  // ---- Replace confirmation and rename dialogs ----

  /// Buttons of the replace confirmation, in the order of ReplaceDialogView::buttons.
  enum class ReplaceButton {
    kOverwrite, kResume, kSkip, kRename, kOverwriteAll, kResumeAll, kSkipAll, kCancel,
    kClosed  ///< closed without a button
  };
  /// One button: its caption ("&" marks the access key, as in "Overwrite(&O)") and whether
  /// it can be pressed.
  struct DialogButton {
    std::string caption;
    bool enabled = true;
  };
  /// Everything the replace confirmation shows.
  struct ReplaceDialogView {
    std::string title;    ///< "Confirm File Replace"
    std::string message;  ///< file names, sizes and dates; lines separated by CR LF CR LF
    std::string file_name;  ///< the existing file's name
    DialogButton buttons[8];  ///< indexed by ReplaceButton
  };
  /// Everything the rename dialog shows.
  struct RenameDialogView {
    std::string title;           ///< "Rename"
    std::string label;           ///< "New Filename"
    std::string ok_caption;      ///< "OK"
    std::string cancel_caption;  ///< "Cancel"
    std::string text;            ///< initial text box content, shown all selected
    std::string extension;       ///< appended to the answer (".bin"), "" when none
  };
  /// Shows the modal replace confirmation and returns the pressed button. Headless: kCancel.
  virtual ReplaceButton ShowReplaceDialog(const ReplaceDialogView& view);
  /// Shows the modal rename dialog; returns the text box content when OK (or Enter) was
  /// pressed, "" with cancelled set when it was cancelled. Headless: cancelled.
  virtual std::string ShowRenameDialog(const RenameDialogView& view, bool& cancelled);

  // ---- File and folder dialogs, about box, window order ----

  /// Asks for a folder, starting in initial_dir; returns the chosen folder ("" = cancelled).
  virtual std::string BrowseFolder(const std::string& title, const std::string& initial_dir);
  /// Asks for a file to save to, proposing file_name; filter holds ";"-separated patterns.
  /// Returns the chosen full path ("" = cancelled).
  virtual std::string SaveFile(const std::string& title, const std::string& file_name,
                               const std::string& filter);
  /// Asks for existing files matching filter (";"-separated patterns), several when
  /// multi_select; returns their full paths (empty = cancelled).
  virtual std::vector<std::string> OpenFile(const std::string& title, const std::string& filter,
                                            bool multi_select);
  /// Shows the modal about box of the component.
  virtual void About(const std::string& product, const std::string& version);
  /// Puts the window into the topmost band (on) or takes it out, without moving it.
  virtual void SetWindowTopMost(std::intptr_t window, bool on);
  /// Applies SetWindowTopMost to the top-level window whose caption is exactly caption.
  virtual void SetTopMostByCaption(const std::string& caption, bool on);
};

/// A provider that prompts on the controlling terminal (/dev/tty); where there is no terminal
/// it behaves as the headless provider.
std::shared_ptr<UserInterface> MakeTerminalUserInterface();

/// The headless provider (the default of every FtpLibrary).
std::shared_ptr<UserInterface> MakeHeadlessUserInterface();

}  // namespace quorvi

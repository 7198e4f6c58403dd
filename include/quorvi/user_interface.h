// The user-interface provider: everything the component would show on screen goes through it.
#pragma once

#include <memory>
#include <string>

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

  // ---- File and folder dialogs, about box, window order ----
};

/// The headless provider (the default of every FtpLibrary).
std::shared_ptr<UserInterface> MakeHeadlessUserInterface();

}  // namespace quorvi

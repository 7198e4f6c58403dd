// The replace confirmation as a Qt dialog: the message and the eight buttons of the view.
#pragma once

#include <array>

#include <QDialog>

#include <quorvi/user_interface.h>

class QKeyEvent;
class QPushButton;

namespace quorvi::qt {

class ReplaceDialog : public QDialog {
 public:
  ReplaceDialog(const UserInterface::ReplaceDialogView& view, QWidget* parent);

  /// The button that closed the dialog; kClosed when it was closed otherwise (Escape, the
  /// window's close button).
  UserInterface::ReplaceButton Answer() const { return answer_; }
  /// The button of a ReplaceButton value (kClosed has none).
  QPushButton* Button(UserInterface::ReplaceButton which) const;

 protected:
  /// A button's access key alone presses it: there is no text field to type into.
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void Press(int index);

  std::array<QPushButton*, 8> buttons_{};  // owned by the dialog (Qt parent)
  std::array<char, 8> keys_{};
  UserInterface::ReplaceButton answer_ = UserInterface::ReplaceButton::kClosed;
};

}  // namespace quorvi::qt

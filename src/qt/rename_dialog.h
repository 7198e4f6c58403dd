// The rename dialog as a Qt dialog: a label, the proposed name all selected, the extension the
// component adds shown after the box, OK and Cancel.
#pragma once

#include <QDialog>

#include <quorvi/user_interface.h>

class QLineEdit;
class QPushButton;

namespace quorvi::qt {

class RenameDialog : public QDialog {
 public:
  RenameDialog(const UserInterface::RenameDialogView& view, QWidget* parent);

  /// The text box as it is now (without the extension: the component adds it).
  std::string Text() const;
  QLineEdit* Edit() const { return edit_; }
  QPushButton* OkButton() const { return ok_; }
  QPushButton* CancelButton() const { return cancel_; }

 private:
  QLineEdit* edit_ = nullptr;  // owned by the dialog (Qt parent), as are the buttons
  QPushButton* ok_ = nullptr;
  QPushButton* cancel_ = nullptr;
};

}  // namespace quorvi::qt

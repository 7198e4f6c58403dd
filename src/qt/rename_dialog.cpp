#include "qt/rename_dialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace quorvi::qt {

RenameDialog::RenameDialog(const UserInterface::RenameDialogView& view, QWidget* parent)
    : QDialog(parent) {
  setWindowTitle(QString::fromStdString(view.title));
  setModal(true);
  auto* layout = new QVBoxLayout(this);
  auto* label = new QLabel(QString::fromStdString(view.label), this);
  layout->addWidget(label);

  auto* row = new QHBoxLayout();
  layout->addLayout(row);
  edit_ = new QLineEdit(QString::fromStdString(view.text), this);
  edit_->setMinimumWidth(280);
  label->setBuddy(edit_);
  row->addWidget(edit_, 1);
  if (!view.extension.empty()) {
    // The component appends the extension to the answer: shown beside the box, not in it, so
    // that nobody types it a second time.
    auto* extension = new QLabel(QString::fromStdString(view.extension), this);
    extension->setTextFormat(Qt::PlainText);
    row->addWidget(extension);
  }

  auto* buttons = new QHBoxLayout();
  layout->addLayout(buttons);
  buttons->addStretch(1);
  ok_ = new QPushButton(QString::fromStdString(view.ok_caption), this);
  cancel_ = new QPushButton(QString::fromStdString(view.cancel_caption), this);
  ok_->setDefault(true);  // Enter in the text box answers OK
  buttons->addWidget(ok_);
  buttons->addWidget(cancel_);
  connect(ok_, &QPushButton::clicked, this, &QDialog::accept);
  connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);

  edit_->selectAll();
  edit_->setFocus();
  layout->setSizeConstraint(QLayout::SetFixedSize);
}

std::string RenameDialog::Text() const { return edit_->text().toStdString(); }

}  // namespace quorvi::qt

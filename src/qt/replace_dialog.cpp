#include "qt/replace_dialog.h"

#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "qt/dialog_text.h"

namespace quorvi::qt {

namespace {
constexpr int kColumns = 4;  // two rows: the single answers above, the "all" answers below
}

ReplaceDialog::ReplaceDialog(const UserInterface::ReplaceDialogView& view, QWidget* parent)
    : QDialog(parent) {
  setWindowTitle(QString::fromStdString(view.title));
  setModal(true);
  auto* layout = new QVBoxLayout(this);
  auto* message = new QLabel(QString::fromStdString(LabelText(view.message)), this);
  // A file name is not markup: "<b>" in a name must show as typed.
  message->setTextFormat(Qt::PlainText);
  message->setTextInteractionFlags(Qt::NoTextInteraction);
  layout->addWidget(message);
  auto* grid = new QGridLayout();
  layout->addLayout(grid);
  for (int i = 0; i < 8; ++i) {
    const auto& button_view = view.buttons[i];
    auto* button = new QPushButton(QString::fromStdString(button_view.caption), this);
    button->setEnabled(button_view.enabled);
    // Enter must not pick an answer the user did not point at.
    button->setAutoDefault(false);
    grid->addWidget(button, i / kColumns, i % kColumns);
    connect(button, &QPushButton::clicked, this, [this, i] { Press(i); });
    buttons_[static_cast<std::size_t>(i)] = button;
    keys_[static_cast<std::size_t>(i)] = AccessKey(button_view.caption);
  }
  layout->setSizeConstraint(QLayout::SetFixedSize);
}

QPushButton* ReplaceDialog::Button(UserInterface::ReplaceButton which) const {
  const auto index = static_cast<std::size_t>(which);
  return index < buttons_.size() ? buttons_[index] : nullptr;
}

void ReplaceDialog::Press(int index) {
  answer_ = static_cast<UserInterface::ReplaceButton>(index);
  accept();
}

void ReplaceDialog::keyPressEvent(QKeyEvent* event) {
  const auto mods = event->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier);
  const QString text = event->text();
  if (mods == Qt::NoModifier && text.size() == 1 && text[0].isLetterOrNumber()) {
    const char typed = static_cast<char>(text[0].toUpper().toLatin1());
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
      if (typed != 0 && keys_[i] == typed && buttons_[i]->isEnabled()) {
        buttons_[i]->animateClick();
        return;
      }
    }
  }
  QDialog::keyPressEvent(event);
}

}  // namespace quorvi::qt

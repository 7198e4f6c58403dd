#include <quorvi/qt_user_interface.h>

#include <mutex>
#include <type_traits>
#include <utility>

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <QWidget>

#include "qt/dialog_text.h"
#include "qt/rename_dialog.h"
#include "qt/replace_dialog.h"

namespace quorvi {
namespace {

// Widgets live on the application's thread only; without a QApplication there is nothing to
// show them with.
bool HaveApplication() {
  return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
}

// Runs fn on the application's thread and hands back its result; a caller on another thread
// (a component running on a worker thread) waits for it.
template <typename F>
auto OnApplicationThread(F fn) -> std::invoke_result_t<F&> {
  using Result = std::invoke_result_t<F&>;
  QCoreApplication* app = QCoreApplication::instance();
  if (QThread::currentThread() == app->thread()) return fn();
  if constexpr (std::is_void_v<Result>) {
    QMetaObject::invokeMethod(app, fn, Qt::BlockingQueuedConnection);
  } else {
    Result result{};
    QMetaObject::invokeMethod(app, [&] { result = fn(); }, Qt::BlockingQueuedConnection);
    return result;
  }
}

QString Q(const std::string& s) { return QString::fromStdString(s); }

// The application's top-level windows that have a native window (asking others for their id
// would create one).
QWidget* WindowById(std::intptr_t id) {
  for (QWidget* w : QApplication::topLevelWidgets()) {
    if (w->internalWinId() != 0 && static_cast<std::intptr_t>(w->internalWinId()) == id) return w;
  }
  return nullptr;
}

void SetStaysOnTop(QWidget& window, bool on) {
  // The component repeats this every second while its dialogs show: changing the flag
  // recreates the native window, so only a real change may touch it.
  if (window.windowFlags().testFlag(Qt::WindowStaysOnTopHint) == on) return;
  const QRect geometry = window.geometry();
  const bool visible = window.isVisible();
  window.setWindowFlag(Qt::WindowStaysOnTopHint, on);
  window.setGeometry(geometry);
  if (visible) window.show();
}

}  // namespace

struct QtUserInterface::State {
  std::mutex mutex;  // the parent and the handler may be set while a worker thread asks
  QPointer<QWidget> parent;
  DialogShown on_shown;

  QWidget* Parent() {
    std::lock_guard lock(mutex);
    return parent.data();
  }

  // Shows the dialog modally; the shown-handler runs from inside its loop, once it is up.
  int Exec(QDialog& dialog) {
    DialogShown handler;
    {
      std::lock_guard lock(mutex);
      handler = on_shown;
    }
    QTimer::singleShot(0, &dialog, [&dialog, handler] {
      if (!dialog.isVisible()) return;
      // The question comes from the component, not from a click: the window the user works
      // in may be another one, and the access keys only reach the active window.
      dialog.raise();
      dialog.activateWindow();
      if (handler) handler(dialog);
    });
    return dialog.exec();
  }
};

QtUserInterface::QtUserInterface(QWidget* parent) : state_(std::make_unique<State>()) {
  state_->parent = parent;
}

QtUserInterface::~QtUserInterface() = default;

void QtUserInterface::SetParentWindow(QWidget* parent) {
  std::lock_guard lock(state_->mutex);
  state_->parent = parent;
}

void QtUserInterface::OnDialogShown(DialogShown handler) {
  std::lock_guard lock(state_->mutex);
  state_->on_shown = std::move(handler);
}

void QtUserInterface::MessageBox(const std::string& text, const std::string& title) {
  if (!HaveApplication()) return UserInterface::MessageBox(text, title);
  OnApplicationThread([&] {
    QMessageBox box(QMessageBox::Information, Q(title), Q(qt::LabelText(text)), QMessageBox::Ok,
                    state_->Parent());
    box.setTextFormat(Qt::PlainText);
    state_->Exec(box);
  });
}

UserInterface::ReplaceButton QtUserInterface::ShowReplaceDialog(const ReplaceDialogView& view) {
  if (!HaveApplication()) return UserInterface::ShowReplaceDialog(view);
  return OnApplicationThread([&] {
    qt::ReplaceDialog dialog(view, state_->Parent());
    state_->Exec(dialog);
    return dialog.Answer();
  });
}

std::string QtUserInterface::ShowRenameDialog(const RenameDialogView& view, bool& cancelled) {
  if (!HaveApplication()) return UserInterface::ShowRenameDialog(view, cancelled);
  cancelled = true;
  return OnApplicationThread([&] {
    qt::RenameDialog dialog(view, state_->Parent());
    if (state_->Exec(dialog) != QDialog::Accepted) return std::string();
    cancelled = false;
    return dialog.Text();
  });
}

std::string QtUserInterface::BrowseFolder(const std::string& title,
                                          const std::string& initial_dir) {
  if (!HaveApplication()) return UserInterface::BrowseFolder(title, initial_dir);
  return OnApplicationThread([&] {
    QFileDialog dialog(state_->Parent(), Q(title), Q(initial_dir));
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly);
    if (state_->Exec(dialog) != QDialog::Accepted) return std::string();
    return dialog.selectedFiles().value(0).toStdString();
  });
}

std::string QtUserInterface::SaveFile(const std::string& title, const std::string& file_name,
                                      const std::string& filter) {
  if (!HaveApplication()) return UserInterface::SaveFile(title, file_name, filter);
  return OnApplicationThread([&] {
    QFileDialog dialog(state_->Parent(), Q(title));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilter(Q(qt::NameFilter(filter)));
    dialog.selectFile(Q(file_name));
    if (state_->Exec(dialog) != QDialog::Accepted) return std::string();
    return dialog.selectedFiles().value(0).toStdString();
  });
}

std::vector<std::string> QtUserInterface::OpenFile(const std::string& title,
                                                   const std::string& filter, bool multi_select) {
  if (!HaveApplication()) return UserInterface::OpenFile(title, filter, multi_select);
  return OnApplicationThread([&] {
    QFileDialog dialog(state_->Parent(), Q(title));
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(multi_select ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
    dialog.setNameFilter(Q(qt::NameFilter(filter)));
    std::vector<std::string> paths;
    if (state_->Exec(dialog) != QDialog::Accepted) return paths;
    for (const QString& path : dialog.selectedFiles()) paths.push_back(path.toStdString());
    return paths;
  });
}

void QtUserInterface::About(const std::string& product, const std::string& version) {
  if (!HaveApplication()) return UserInterface::About(product, version);
  OnApplicationThread([&] {
    QMessageBox box(QMessageBox::Information, Q("About " + product),
                    Q(product + " " + version + "\nAn FTP client component."), QMessageBox::Ok,
                    state_->Parent());
    box.setTextFormat(Qt::PlainText);
    state_->Exec(box);
  });
}

void QtUserInterface::SetWindowTopMost(std::intptr_t window, bool on) {
  if (!HaveApplication()) return UserInterface::SetWindowTopMost(window, on);
  OnApplicationThread([&] {
    if (QWidget* w = WindowById(window)) SetStaysOnTop(*w, on);
  });
}

void QtUserInterface::SetTopMostByCaption(const std::string& caption, bool on) {
  if (!HaveApplication()) return UserInterface::SetTopMostByCaption(caption, on);
  OnApplicationThread([&] {
    const QString title = Q(caption);
    for (QWidget* w : QApplication::topLevelWidgets()) {
      if (w->isWindow() && w->windowTitle() == title) SetStaysOnTop(*w, on);
    }
  });
}

std::shared_ptr<QtUserInterface> MakeQtUserInterface(QWidget* parent) {
  return std::make_shared<QtUserInterface>(parent);
}

}  // namespace quorvi

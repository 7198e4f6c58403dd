#include "host_window.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

constexpr int kIsFolderRole = Qt::UserRole;
constexpr int kMaxLogLines = 500;  // the server log keeps only its newest lines

QString StateText(quorvi::FtpStates state) {
  static const char* const kNames[] = {
      "Ready", "Closed", "Connecting", "Connected", "Logging in", "Logged in",
      "Changing folder", "Deleting", "Removing folder", "Creating folder", "Renaming",
      "Opening data connection", "Data connection open", "Listing", "Listed",
      "Downloading", "Download completed", "Uploading", "Upload completed", "Quitting",
      "Asking size"};
  const auto index = static_cast<std::size_t>(state);
  return index < std::size(kNames) ? kNames[index] : QString("State %1").arg(int(state));
}

}  // namespace

class HostWindow::BusyScope {
 public:
  explicit BusyScope(HostWindow& w) : w_(w) { w_.SetBusy(true); }
  ~BusyScope() { w_.SetBusy(false); }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  HostWindow& w_;
};

HostWindow::HostWindow() : ui_(quorvi::MakeQtUserInterface(this)) {
  setWindowTitle("QuorviFtp Qt host");
  auto* layout = new QVBoxLayout(this);
  auto* form = new QFormLayout();
  layout->addLayout(form);
  server_ = new QLineEdit("127.0.0.1", this);
  port_ = new QSpinBox(this);
  port_->setRange(1, 65535);
  port_->setValue(21);
  user_ = new QLineEdit(this);
  password_ = new QLineEdit(this);
  password_->setEchoMode(QLineEdit::Password);
  local_folder_ = new QLineEdit(QDir::homePath(), this);
  form->addRow("&Server:", server_);
  form->addRow("&Port:", port_);
  form->addRow("&User:", user_);
  form->addRow("Pass&word:", password_);
  form->addRow("&Local folder:", local_folder_);

  auto* buttons = new QHBoxLayout();
  layout->addLayout(buttons);
  connect_ = new QPushButton("&Connect", this);
  download_ = new QPushButton("&Download", this);
  upload_ = new QPushButton("U&pload...", this);
  buttons->addWidget(connect_);
  buttons->addWidget(download_);
  buttons->addWidget(upload_);
  buttons->addStretch(1);

  remote_ = new QListWidget(this);
  layout->addWidget(remote_, 1);
  progress_ = new QProgressBar(this);
  progress_->setRange(0, 100);
  layout->addWidget(progress_);
  auto* status = new QHBoxLayout();
  layout->addLayout(status);
  state_ = new QLabel(this);
  bytes_ = new QLabel(this);
  bytes_->setMinimumWidth(220);  // wide enough for growing numbers without re-layout
  bytes_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  status->addWidget(state_, 1);
  status->addWidget(bytes_);
  log_ = new QPlainTextEdit(this);
  log_->setReadOnly(true);
  log_->setMaximumBlockCount(kMaxLogLines);
  log_->setMaximumHeight(120);
  layout->addWidget(log_);
  resize(560, 520);

  // The component blocks inside its methods and pumps its own loop; this keeps the window
  // painting and the progress bar moving meanwhile.
  ftp_.SetHostHook([] { QCoreApplication::processEvents(); });
  ftp_.SetUserInterface(ui_);
  ftp_.ReplaceSetting(0);  // a clash with an existing local file asks through the dialogs
  ftp_.Title("QuorviFtp Qt host");

  ftp_.OnTransfer().Subscribe([this] {
    progress_->setValue(ftp_.Percent());
    bytes_->setText(QString("%1 of %2 bytes")
                        .arg(static_cast<qlonglong>(ftp_.TransferSize()))
                        .arg(static_cast<qlonglong>(ftp_.FileSize())));
  });
  ftp_.OnStateChange().Subscribe([this] { state_->setText(StateText(ftp_.FtpState())); });
  ftp_.OnServerMessage().Subscribe(
      [this] { log_->appendPlainText(QString::fromStdString(ftp_.MessageInfo()).trimmed()); });

  connect(connect_, &QPushButton::clicked, this, [this] { ConnectAndList(); });
  connect(download_, &QPushButton::clicked, this, [this] {
    if (const QListWidgetItem* item = remote_->currentItem();
        item != nullptr && !item->data(kIsFolderRole).toBool()) {
      Download(item->text().toStdString());
    }
  });
  connect(upload_, &QPushButton::clicked, this, [this] {
    const QString path = QFileDialog::getOpenFileName(this, "Upload", local_folder_->text());
    if (!path.isEmpty()) Upload(path.toStdString());
  });
  connect(remote_, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem* item) {
    if (busy_) return;
    if (item->data(kIsFolderRole).toBool()) {
      const QString name = item->text().chopped(1);  // folders are shown with a "/"
      const std::string target =
          name == ".." ? QFileInfo(QString::fromStdString(remote_folder_)).path().toStdString()
                       : RemotePathOf(name.toStdString());
      BusyScope busy(*this);
      List(target);
    } else {
      Download(item->text().toStdString());
    }
  });
  SetBusy(false);
}

HostWindow::~HostWindow() {
  // The hook is shared by the thread's components and must not outlive this window.
  ftp_.SetHostHook({});
}

void HostWindow::SetServer(const QString& server, int port, const QString& user,
                           const QString& password) {
  server_->setText(server);
  port_->setValue(port);
  user_->setText(user);
  password_->setText(password);
}

void HostWindow::SetLocalFolder(const QString& folder) { local_folder_->setText(folder); }

void HostWindow::SetBusy(bool busy) {
  busy_ = busy;
  for (QWidget* w : {static_cast<QWidget*>(server_), static_cast<QWidget*>(port_),
                     static_cast<QWidget*>(user_), static_cast<QWidget*>(password_),
                     static_cast<QWidget*>(local_folder_), static_cast<QWidget*>(connect_),
                     static_cast<QWidget*>(remote_)}) {
    w->setEnabled(!busy);
  }
  download_->setEnabled(!busy && ftp_.Connected());
  upload_->setEnabled(!busy && ftp_.Connected());
  if (!busy && close_pending_) close();
}

void HostWindow::closeEvent(QCloseEvent* event) {
  if (busy_) {
    // Closing now would destroy the component inside its own call: stop it, close after.
    close_pending_ = true;
    ftp_.Abort();
    event->ignore();
    return;
  }
  event->accept();
}

void HostWindow::ShowResult(bool ok, const QString& what) {
  if (ok) {
    state_->setText(what + ": done");
  } else {
    state_->setText(QString("%1 failed: %2 %3")
                        .arg(what)
                        .arg(ftp_.ErrorNumber())
                        .arg(QString::fromStdString(ftp_.ErrorInfo())));
  }
}

std::string HostWindow::RemotePathOf(const std::string& name) const {
  return remote_folder_ == "/" ? "/" + name : remote_folder_ + "/" + name;
}

bool HostWindow::ConnectAndList() {
  if (busy_) return false;
  BusyScope busy(*this);
  if (ftp_.Connected()) ftp_.CloseConnection();
  ftp_.ServerName(server_->text().toStdString());
  ftp_.RemotePort(port_->value());
  ftp_.UserName(user_->text().toStdString());
  ftp_.PassWord(password_->text().toStdString());
  const bool ok = ftp_.Connect();
  ShowResult(ok, "Connect");
  if (!ok) return false;
  const std::string pwd = ftp_.GetCurrentDirectory();
  return List(pwd.empty() ? "/" : pwd);
}

bool HostWindow::List(const std::string& folder) {
  remote_->clear();
  remote_folder_ = folder;
  if (folder != "/") {
    auto* up = new QListWidgetItem("../", remote_);
    up->setData(kIsFolderRole, true);
  }
  const auto files = ftp_.GetFtpDirectoryInfo(folder);
  // An empty folder has no listing either; only a set error number is a failure.
  if (!files) {
    const bool ok = ftp_.ErrorNumber() == 0;
    ShowResult(ok, "List");
    return ok;
  }
  for (const quorvi::CFtpFile& f : *files) {
    const QString name = QString::fromStdString(f.FileName());
    auto* item = new QListWidgetItem(f.IsDirectory() ? name + "/" : name, remote_);
    item->setData(kIsFolderRole, f.IsDirectory());
    item->setToolTip(QString("%1 bytes, %2")
                         .arg(static_cast<qlonglong>(f.FileSize()))
                         .arg(QString::fromStdString(f.LastWriteTime())));
  }
  state_->setText(QString("%1: %2 entries").arg(QString::fromStdString(folder)).arg(files->Count()));
  return true;
}

bool HostWindow::Download(const std::string& name) {
  if (busy_) return false;
  BusyScope busy(*this);
  progress_->setValue(0);
  // "pub/a.txt" (a path below the listed folder) lands as a.txt in the local folder.
  const QString file = QFileInfo(QString::fromStdString(name)).fileName();
  const std::string local = QDir(local_folder_->text()).filePath(file).toStdString();
  const bool ok = ftp_.DownLoadFile(RemotePathOf(name), local);
  ShowResult(ok, "Download");
  return ok;
}

bool HostWindow::Upload(const std::string& local_path) {
  if (busy_) return false;
  BusyScope busy(*this);
  progress_->setValue(0);
  const std::string name = QFileInfo(QString::fromStdString(local_path)).fileName().toStdString();
  const bool ok = ftp_.UpLoadFile(local_path, RemotePathOf(name));
  ShowResult(ok, "Upload");
  if (ok) List(remote_folder_);
  return ok;
}

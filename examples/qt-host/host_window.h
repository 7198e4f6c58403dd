// The qt-host window: connection fields, the remote folder, Download/Upload with a progress bar.
#pragma once

#include <memory>
#include <string>

#include <QWidget>

#include <quorvi/ftp_library.h>
#include <quorvi/qt_user_interface.h>

class QCloseEvent;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QSpinBox;

class HostWindow : public QWidget {
 public:
  HostWindow();
  ~HostWindow() override;

  void SetServer(const QString& server, int port, const QString& user, const QString& password);
  void SetLocalFolder(const QString& folder);
  /// The provider, so that main() can attach a dialog handler (screenshots).
  quorvi::QtUserInterface& Dialogs() { return *ui_; }

  /// Connects and lists the remote working folder; false (and the error shown) on failure.
  bool ConnectAndList();
  /// Downloads a remote file of the listed folder into the local folder; a clash asks.
  bool Download(const std::string& name);
  bool Upload(const std::string& local_path);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  bool List(const std::string& folder);
  // Disables every control while the component works: its methods pump the Qt loop, and a
  // second click would call into the component from inside the first call.
  class BusyScope;
  void SetBusy(bool busy);
  void ShowResult(bool ok, const QString& what);
  std::string RemotePathOf(const std::string& name) const;

  quorvi::FtpLibrary ftp_;
  std::shared_ptr<quorvi::QtUserInterface> ui_;
  std::string remote_folder_ = "/";
  bool busy_ = false;
  bool close_pending_ = false;

  // Child widgets: owned by this window (Qt parent).
  QLineEdit* server_ = nullptr;
  QSpinBox* port_ = nullptr;
  QLineEdit* user_ = nullptr;
  QLineEdit* password_ = nullptr;
  QLineEdit* local_folder_ = nullptr;
  QPushButton* connect_ = nullptr;
  QPushButton* download_ = nullptr;
  QPushButton* upload_ = nullptr;
  QListWidget* remote_ = nullptr;
  QProgressBar* progress_ = nullptr;
  QLabel* bytes_ = nullptr;
  QLabel* state_ = nullptr;
  QPlainTextEdit* log_ = nullptr;
};

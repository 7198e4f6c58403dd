// qt-host: a small Qt Widgets host of the component. Without options it is an interactive
// client; the options below let a script drive it:
//   qt_host --server 127.0.0.1 --port 2121 --user u --password p --to /tmp/in
//           --download file.bin --quit --screenshot-dir /tmp/shots
#include <cstdio>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QPixmap>
#include <QSaveFile>
#include <QTimer>

#include "host_window.h"

namespace {

// "Confirm File Replace" -> "confirm-file-replace"
QString FileNameOf(const QString& title) {
  QString out;
  for (const QChar c : title.toLower()) {
    if (c.isLetterOrNumber()) out += c;
    else if (!out.isEmpty() && !out.endsWith('-')) out += '-';
  }
  while (out.endsWith('-')) out.chop(1);
  return out.isEmpty() ? QString("dialog") : out;
}

// Written under a temporary name and renamed, so that a script waiting for the file never
// reads half of it.
void SaveShot(QWidget& widget, const QString& folder, const QString& name) {
  QSaveFile file(QDir(folder).filePath(name + ".png"));
  if (!file.open(QIODevice::WriteOnly) || !widget.grab().save(&file, "PNG") || !file.commit()) {
    std::fprintf(stderr, "qt_host: could not save %s\n", qPrintable(file.fileName()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName("qt_host");

  QCommandLineParser cli;
  cli.setApplicationDescription("A Qt Widgets host of the QuorviFtp component.");
  cli.addHelpOption();
  const QCommandLineOption server({"s", "server"}, "FTP server.", "host");
  const QCommandLineOption port("port", "Control port.", "port", "21");
  const QCommandLineOption user({"u", "user"}, "Login name.", "name");
  const QCommandLineOption password("password", "Login password.", "password");
  const QCommandLineOption to("to", "Local folder for downloads.", "dir");
  const QCommandLineOption download("download", "Download NAME of the remote working folder.",
                                    "name");
  const QCommandLineOption quit("quit",
                                "Exit after the actions given, with status 0 when they worked.");
  const QCommandLineOption shots("screenshot-dir",
                                 "Save every dialog, and the window at the end, as PNG files here.",
                                 "dir");
  cli.addOptions({server, port, user, password, to, download, quit, shots});
  cli.process(app);

  HostWindow window;
  if (cli.isSet(server)) {
    window.SetServer(cli.value(server), cli.value(port).toInt(), cli.value(user),
                     cli.value(password));
  }
  if (cli.isSet(to)) window.SetLocalFolder(cli.value(to));
  const QString shot_dir = cli.value(shots);
  window.Dialogs().OnDialogShown([shot_dir](QWidget& dialog) {
    std::printf("qt_host: dialog shown: %s\n", qPrintable(dialog.windowTitle()));
    std::fflush(stdout);
    if (!shot_dir.isEmpty()) SaveShot(dialog, shot_dir, FileNameOf(dialog.windowTitle()));
  });
  window.show();

  // The scripted actions start once the loop runs, as a click would.
  QTimer::singleShot(0, &window, [&] {
    bool ok = true;
    if (cli.isSet(server)) ok = window.ConnectAndList();
    if (ok && cli.isSet(download)) ok = window.Download(cli.value(download).toStdString());
    std::printf("qt_host: %s\n", ok ? "done" : "failed");
    std::fflush(stdout);
    if (!shot_dir.isEmpty()) SaveShot(window, shot_dir, "qt-host-window");
    if (cli.isSet(quit)) QCoreApplication::exit(ok ? 0 : 1);
  });
  return QApplication::exec();
}

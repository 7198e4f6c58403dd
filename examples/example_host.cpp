// A minimal host of the component: set properties, subscribe to the events, call methods,
// read ErrorNumber/ErrorInfo after a failure. Usage: example_host [WORK_FOLDER]
#include <quorvi/ftp_library.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  const fs::path work = argc > 1 ? fs::path(argv[1]) : fs::temp_directory_path() / "quorvi-example";

  quorvi::FtpLibrary ftp;
  ftp.OnError().Subscribe([&] {
    std::cout << "  OnError: " << ftp.ErrorNumber() << " " << ftp.ErrorInfo() << "\n";
  });
  ftp.OnStateChange().Subscribe([&] { std::cout << "  OnStateChange: " << ftp.FtpState() << "\n"; });
  ftp.RaiseErrorEvent(true);

  std::cout << "QuorviFtp " << ftp.Version() << " (released " << ftp.RelInfo() << ")\n";

  // Property rules: values are normalised or clamped, never refused.
  ftp.ServerName("FTP://ftp.example.org:21/");
  ftp.RemotePort(70000);
  ftp.TimeOut(10);
  std::cout << "ServerName=" << ftp.ServerName() << " RemotePort=" << ftp.RemotePort()
            << " TimeOut=" << ftp.TimeOut() << "\n";

  // Local helpers.
  const std::string folder = (work / "nested" / "folder").string();
  const std::string file = folder + "/hello.txt";
  std::cout << "CreateLocalFolder(" << folder << ") = " << ftp.CreateLocalFolder(folder) << "\n";
  ftp.WriteLocalFile(file, "hello from QuorviFtp", true);
  std::cout << "GetLocalFileSize = " << ftp.GetLocalFileSize(file) << " bytes, written "
            << ftp.GetLocalFileDate(file) << "\n";
  std::cout << "GetFileName = " << ftp.GetFileName(file)
            << ", GetFileExtendName = " << ftp.GetFileExtendName(file)
            << ", GetParentFolderPath = " << ftp.GetParentFolderPath(file) << "\n";

  // A failure: relative paths are refused with a clear error number and text.
  std::cout << "CreateLocalFolder(\"relative/path\") = " << ftp.CreateLocalFolder("relative/path") << "\n";
  std::cout << "GetLocalFileSize(missing) = " << ftp.GetLocalFileSize(folder + "/missing.bin") << "\n";

  fs::remove_all(work);
  return 0;
}

#include "commands.h"

#include <cstdint>
#include <iostream>

#include "commands_browse.h"
#include "commands_transfer.h"
#include "script.h"
#include "terminal_text.h"

namespace qftp {

bool Http(quorvi::FtpLibrary& ftp, const Options& options);  // commands_http.cpp

namespace {

std::string Join(const std::vector<std::string>& parts, std::size_t from) {
  std::string out;
  for (std::size_t i = from; i < parts.size(); ++i) {
    if (!out.empty()) out += ' ';
    out += parts[i];
  }
  return out;
}

bool Pwd(quorvi::FtpLibrary& ftp, const Options&) {
  const std::string directory = ftp.GetCurrentDirectory();
  if (ftp.ErrorNumber() != 0) return false;
  std::cout << ForTerminal(directory) << "\n";
  return true;
}

bool Remove(quorvi::FtpLibrary& ftp, const Options& o) { return ftp.DeleteFile(o.args[0]); }

bool Move(quorvi::FtpLibrary& ftp, const Options& o) {
  return ftp.RenameFile(o.args[0], o.args[1]);
}

bool Quote(quorvi::FtpLibrary& ftp, const Options& o) {
  const std::string reply = ftp.ExeFtpCmd(o.args[0], Join(o.args, 1));
  if (ftp.ErrorNumber() != 0) return false;
  const std::string shown = LinesForTerminal(reply);
  std::cout << shown;
  if (!shown.empty() && shown.back() != '\n') std::cout << "\n";
  return true;
}

}  // namespace

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"download", "REMOTE_LIST LOCAL_LIST", "download files or folders (\"|\"-separated lists)",
       2, 2, Download, {0}},
      {"upload", "LOCAL_LIST REMOTE_LIST", "upload files or folders (\"|\"-separated lists)",
       2, 2, Upload, {1}},
      {"ls", "[PATH]", "list a folder", 0, 1, List, {0}},
      {"stat", "PATH", "one entry's type, size and date", 1, 1, Stat, {0}},
      {"size", "PATH", "a file's size in bytes", 1, 1, Size, {0}},
      {"exists", "PATH", "print true when the file exists, false when not", 1, 1, Exists, {0}},
      {"isdir", "PATH", "print true when the folder exists, false when not", 1, 1, IsDir, {0}},
      {"pwd", "", "the login folder", 0, 0, Pwd, {}},
      {"mkdir", "PATH", "create a folder (and its parents unless --no-recursive)", 1, 1, MakeDir,
       {0}},
      {"rmdir", "PATH", "remove a folder with everything in it", 1, 1, RemoveDir, {0}},
      {"rm", "PATH", "delete a file", 1, 1, Remove, {0}},
      {"mv", "OLD NEW", "rename or move", 2, 2, Move, {0, 1}},
      {"quote", "CMD [ARGS...]", "send a raw command and print the reply", 1, SIZE_MAX, Quote, {}},
      {"http", "URL_LIST LOCAL_LIST", "download http:// or https:// URLs", 2, 2, Http, {}, false},
      {"script", "FILE|-", "run a script (set, get, call, on; see examples/scripts/)", 1, 1,
       Script, {}, false},
  };
  return commands;
}

const Command* FindCommand(const std::string& name) {
  for (const auto& command : Commands())
    if (name == command.name) return &command;
  return nullptr;
}

}  // namespace qftp

#include "commands.h"

#include <cstdint>
#include <iostream>

#include "commands_browse.h"
#include "commands_transfer.h"
#include "script.h"

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
  std::cout << directory << "\n";
  return true;
}

bool Remove(quorvi::FtpLibrary& ftp, const Options& o) { return ftp.DeleteFile(o.args[0]); }

bool Move(quorvi::FtpLibrary& ftp, const Options& o) {
  return ftp.RenameFile(o.args[0], o.args[1]);
}

bool Quote(quorvi::FtpLibrary& ftp, const Options& o) {
  const std::string reply = ftp.ExeFtpCmd(o.args[0], Join(o.args, 1));
  if (ftp.ErrorNumber() != 0) return false;
  std::cout << reply;
  if (!reply.empty() && reply.back() != '\n') std::cout << "\n";
  return true;
}

const std::vector<Command>& CommandTable() {
  static const std::vector<Command> commands = {
      {"pwd", 0, 0, Pwd},
      {"rm", 1, 1, Remove},
      {"mv", 2, 2, Move},
      {"quote", 1, SIZE_MAX, Quote},
      {"ls", 0, 1, List},
      {"stat", 1, 1, Stat},
      {"size", 1, 1, Size},
      {"exists", 1, 1, Exists},
      {"isdir", 1, 1, IsDir},
      {"mkdir", 1, 2, MakeDir},
      {"rmdir", 1, 1, RemoveDir},
      {"script", 1, 1, Script, false},
      {"download", 2, 2, Download},
      {"upload", 2, 2, Upload},
      {"http", 2, 4, Http, false},
  };
  return commands;
}

}  // namespace

const Command* FindCommand(const std::string& name) {
  for (const auto& command : CommandTable())
    if (name == command.name) return &command;
  return nullptr;
}

}  // namespace qftp

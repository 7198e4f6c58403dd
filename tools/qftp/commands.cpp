#include "commands.h"

#include <cstdint>
#include <iostream>

namespace qftp {

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

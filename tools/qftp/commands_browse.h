// qftp's browsing commands: ls, stat, size, exists, isdir, mkdir, rmdir.
#pragma once

#include <quorvi/ftp_library.h>

#include <string>

#include "options.h"

namespace qftp {

/// ls [PATH]: "PERMISSIONS SIZE YYYY-MM-DD HH:MM NAME", "/" after directories.
bool List(quorvi::FtpLibrary& ftp, const Options& options);
/// stat PATH: the entry's properties, one "name: value" per line.
bool Stat(quorvi::FtpLibrary& ftp, const Options& options);
/// size PATH: the number GetFtpFileSize returns (fails for -1 and -2).
bool Size(quorvi::FtpLibrary& ftp, const Options& options);
/// exists PATH: True or False (a file).
bool Exists(quorvi::FtpLibrary& ftp, const Options& options);
/// isdir PATH: True or False.
bool IsDir(quorvi::FtpLibrary& ftp, const Options& options);
/// mkdir PATH [--no-recursive]
bool MakeDir(quorvi::FtpLibrary& ftp, const Options& options);
/// rmdir PATH: the folder with everything in it.
bool RemoveDir(quorvi::FtpLibrary& ftp, const Options& options);

/// One ls line of an entry.
std::string ListLine(const quorvi::CFtpFile& file);

}  // namespace qftp

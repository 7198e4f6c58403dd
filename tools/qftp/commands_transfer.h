// qftp download / upload.
#pragma once

#include <quorvi/ftp_library.h>

#include <string>

#include "options.h"

namespace qftp {

/// download REMOTE_LIST LOCAL_LIST
bool Download(quorvi::FtpLibrary& ftp, const Options& options);
/// upload LOCAL_LIST REMOTE_LIST
bool Upload(quorvi::FtpLibrary& ftp, const Options& options);

/// "3 files transferred, 1 skipped, 0 aborted, 12.0 MiB in 4 s (3.0 MiB/s)".
std::string SummaryLine(int transferred, int skipped, int aborted, double bytes, int seconds,
                        double average_speed);

}  // namespace qftp

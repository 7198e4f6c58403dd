// The options a component takes from qftp's command line (connection, encryption, output),
// for the main session and for every parallel one.
#pragma once

#include <quorvi/ftp_library.h>

#include "options.h"

namespace qftp {

/// Sets the connection, encryption and logging properties of ftp from the options.
void Configure(quorvi::FtpLibrary& ftp, const Options& options);

}  // namespace qftp

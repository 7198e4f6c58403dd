// Remote file operations and raw commands: DELE, RNFR/RNTO and any command line with its reply.
// Each runs the public-method frame (clear the last error, validate, Connect, refuse while
// another operation runs, begin, send, wait) and never throws: failures are reported under the
// method's name and the failure value is returned.
#pragma once

#include <cstdint>
#include <string>

namespace quorvi::detail {

class Core;

/// DELE of the path as given (trimmed, otherwise unchanged).
bool DeleteRemoteFile(Core& core, const std::string& file_path);
/// RNFR old name, RNTO new name; equal names succeed without contacting the server.
bool RenameRemoteFile(Core& core, const std::string& old_name, const std::string& new_name);
/// Sends cmd with arguments and returns the whole reply text (all pieces it arrived in), CR LF
/// included; on failure "ExeFtpCmd:command not understood;NUMBER#DESCRIPTION".
std::string ExeFtpCmd(Core& core, const std::string& cmd, const std::string& arguments = {});

/// The feature probe's reading of a reply: unsupported when the reply says "command not
/// understood" (any case), or for MLST when it begins with "451"; anything else is supported.
bool CommandSupported(const std::string& command, const std::string& reply);
/// True when a line of a FEAT reply, trimmed and upper-cased, is exactly "UTF8".
bool FeatListsUtf8(const std::string& feat_reply);

}  // namespace quorvi::detail

#include "ftp/remote_file_ops.h"

#include "component/core.h"
#include "component/error_numbers.h"
#include "ftp/command_line.h"
#include "ftp/ftp_text.h"
#include "ftp/session.h"

namespace quorvi::detail {

namespace {

std::string ErrorResult(const Core& core) {
  return "ExeFtpCmd:command not understood;" + std::to_string(core.ErrorNumber()) + "#" +
         core.ErrorInfo();
}

}  // namespace

bool DeleteRemoteFile(Core& core, const std::string& file_path) {
  return Guarded(core, "DeleteFile", false, [&] {
    core.ClearLastError();
    const std::string path = ftp_text::Trim(file_path);
    if (path.empty()) Fail(errors::kNoRemotePath);
    RequireOneLine(path, "remote path");
    FtpSession& session = FtpSession::Of(core);
    if (!session.Connect()) return false;
    if (!session.RequireFree("DeleteFile")) return false;
    core.BeginAsyncMethod(opDeleteFile);
    if (!session.SendFtpCommand("DELE", path)) return false;
    session.WaitForOperation({opDeleteFile});
    return session.Succeeded();
  });
}

bool RenameRemoteFile(Core& core, const std::string& old_name, const std::string& new_name) {
  return Guarded(core, "RenameFile", false, [&] {
    const std::string from = ftp_text::Trim(old_name);
    const std::string to = ftp_text::Trim(new_name);
    core.ClearLastError();
    if (from.empty() || to.empty()) Fail(errors::kNoRemotePath);
    RequireOneLine(from, "remote path");
    RequireOneLine(to, "new name");
    if (from == to) return true;
    FtpSession& session = FtpSession::Of(core);
    if (!session.Connect()) return false;
    if (!session.RequireFree("RenameFile")) return false;
    session.rename_target = to;
    core.BeginAsyncMethod(opRenameFile);
    if (!session.SendFtpCommand("RNFR", from)) return false;
    session.WaitForOperation({opRenameFile});
    return session.Succeeded();
  });
}

std::string ExeFtpCmd(Core& core, const std::string& cmd, const std::string& arguments) {
  FtpSession& session = FtpSession::Of(core);
  try {
    core.ClearLastError();
    session.raw_reply.clear();
    // Raw, but one command per call.
    RequireOneLine(cmd + " " + arguments, "command");
    if (!session.Connect()) return {};
    if (!session.RequireFree("ExeFtpCmd")) return ErrorResult(core);
    core.BeginAsyncMethod(arguments == kCommandTestMarker ? opCommandTest : opRawCommand);
    if (!session.SendFtpCommand(cmd, arguments)) return {};
    session.WaitForOperation({opRawCommand, opCommandTest});
    session.Succeeded();
    return session.raw_reply;
  } catch (const ComponentError& e) {
    core.ReportError("ExeFtpCmd", e.number(), e.text());
  } catch (const std::exception& e) {
    core.ReportError("ExeFtpCmd", 0, e.what());
  }
  return ErrorResult(core);
}

bool CommandSupported(const std::string& command, const std::string& reply) {
  if (ftp_text::Contains(ftp_text::Lower(reply), "command not understood")) return false;
  // 500 (unknown command, vsftpd) and 502 (not implemented) both mean "not here".
  if (ftp_text::StartsWith(reply, "500") || ftp_text::StartsWith(reply, "502")) return false;
  return !(ftp_text::StartsWith(command, "MLST") && ftp_text::StartsWith(reply, "451"));
}

bool FeatListsUtf8(const std::string& feat_reply) {
  std::size_t start = 0;
  while (start <= feat_reply.size()) {
    const auto end = feat_reply.find("\r\n", start);
    const auto piece =
        std::string_view(feat_reply)
            .substr(start, end == std::string::npos ? std::string::npos : end - start);
    if (ftp_text::Upper(ftp_text::Trim(piece)) == "UTF8") return true;
    if (end == std::string::npos) break;
    start = end + 2;
  }
  return false;
}

}  // namespace quorvi::detail

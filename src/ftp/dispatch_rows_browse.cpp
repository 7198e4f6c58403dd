// Dispatcher rows of the listing and of the SIZE query, and the named handlers they use. The
// handlers "Open data" and "Passive connect" also serve the transfer rows.
#include <string>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/error_object.h"
#include "ftp/data_connection.h"
#include "ftp/dispatch_table.h"
#include "ftp/ftp_text.h"
#include "ftp/session.h"

namespace quorvi::detail {

std::vector<DispatchRow> BrowseDispatchRows() {
  return {
      // Listing (the listing retrieval waits): TYPE, EPSV (PASV) or PORT (EPRT), then LIST.
      {opListDirectory, "TYPE", {200}, Handler("Open data")},
      {opListDirectory, "TYPE", {150}, Send("TYPE", "TypeCode")},
      {opListDirectory, "TYPE", {226, 257}, Ignore()},
      {opListDirectory, "TYPE", {425}, Handler("ListTypeAgain")},
      {opListDirectory, "TYPE", {550}, Handler("ListTypeRefused")},
      {opListDirectory, "TYPE", {}, Fail()},
      {opListDirectory, "PORT", {200}, Handler("Send LIST")},
      {opListDirectory, "PORT", {226, 257}, Ignore()},
      {opListDirectory, "PORT", {}, Fail()},
      {opListDirectory, "PASV", {227}, Handler("Passive connect")},
      {opListDirectory, "PASV", {200, 226, 257}, Ignore()},
      {opListDirectory, "PASV", {}, Fail()},
      {opListDirectory, "EPSV", {229}, Handler("Passive connect")},
      {opListDirectory, "EPSV", {500, 501, 502, 522}, Handler("EPSV refused")},
      {opListDirectory, "EPSV", {200, 226, 257}, Ignore()},
      {opListDirectory, "EPSV", {}, Fail()},
      {opListDirectory, "EPRT", {200}, Handler("Send LIST")},
      {opListDirectory, "EPRT", {226, 257}, Ignore()},
      {opListDirectory, "EPRT", {}, Fail()},
      {opListDirectory, "LIST", {125, 150, 257}, Ignore()},
      // Some servers end MLSD with 200: it is the listing's end too (keep-alive replies never
      // get here), so the listing does not wait out the time-out for a 226.
      {opListDirectory, "LIST", {200, 226, 250}, Handler("ListDone")},
      {opListDirectory, "LIST", {501, 550}, Handler("ListRefused")},
      {opListDirectory, "LIST", {}, Fail()},  // the error path closes the data connection

      // SIZE (GetRemoteFileSize waits).
      {opGetFileSize, kAnyCommand, {213}, Handler("SizeKnown")},
      {opGetFileSize, kAnyCommand, {150, 200}, Send("SIZE", "SizePath")},
      {opGetFileSize, kAnyCommand, {226, 257}, Ignore()},
      {opGetFileSize, kAnyCommand, {500}, Handler("SizeCollision")},
      {opGetFileSize, kAnyCommand, {550}, Handler("SizeMissing")},
      {opGetFileSize, kAnyCommand, {}, Handler("SizeFailed")},
  };
}

namespace {

// The number after "213" on the first line of the reply buffer that begins with it.
double SizeFromReply(const std::string& buffer) {
  std::size_t start = 0;
  while (start < buffer.size()) {
    const auto end = buffer.find('\n', start);
    const std::string line = buffer.substr(start, end == std::string::npos ? end : end - start);
    if (ftp_text::StartsWith(line, "213")) {
      std::string digits = ftp_text::Trim(line.substr(3));
      if (!digits.empty() && digits.back() == '\r') digits.pop_back();
      try {
        std::size_t used = 0;
        const double size = std::stod(digits, &used);
        if (used == digits.size() && size >= 0) return size;
      } catch (const std::exception&) {
      }
      break;
    }
    if (end == std::string::npos) break;
    start = end + 1;
  }
  Fail(errors::ReplyError(213), "Unexpected SIZE reply", "GetFileSize");
}

}  // namespace

void DataConnection::RegisterDispatch(FtpSession& session) {
  ReplyDispatcher& d = session.dispatcher;
  Core& core = core_;

  d.RegisterArgument("SizePath", [this] { return size_path; });
  // The 200 to TYPE: the session's type is now known.
  d.RegisterHandler("Open data", [this, &session](const DispatchContext&) {
    session.transfer_type = session.type_sent;
    OpenData();
  });
  d.RegisterHandler("Passive connect",
                    [this](const DispatchContext& ctx) { OpenPassiveDataSocket(ctx.received); });
  // A server without EPSV: PASV now and for the rest of the session, as curl and lftp do. PASV
  // cannot name an IPv6 port, so there the refusal is the answer.
  d.RegisterHandler("EPSV refused", [&session](const DispatchContext& ctx) {
    if (session.m_objControlSocket.IsIPv6()) Fail(16000 + ctx.code);
    WriteLog("EPSV refused (" + ctx.reply_line + "): PASV from now on");
    session.epsv_refused = true;
    session.SendFtpCommand("PASV", "");
  });
  d.RegisterHandler("Send LIST", [this, &session](const DispatchContext&) {
    session.SendFtpCommand("LIST", ListArgument());
  });
  d.RegisterHandler("ListTypeAgain", [this, &session, &core](const DispatchContext&) {
    WriteLog("EnumFiles can't open data connection--" + core.settings.remote_path);
    session.SendFtpCommand("TYPE", GetTransferType());
  });
  d.RegisterHandler("ListTypeRefused", [&core](const DispatchContext& ctx) {
    core.EndAsyncMethod();
    RecordError("EnumFiles", 16550, ctx.reply_line);
  });
  d.RegisterHandler("ListDone", [this, &core](const DispatchContext&) {
    // Active mode: the close of the data connection completes the listing.
    if (!core.settings.passive_mode) return;
    // The settle gives the data connection time to deliver its last bytes; once it has closed
    // there is nothing left to wait for.
    core.pump().SleepUntil(100, [this] { return listing.data_closed; });
    listing.list_reply = true;
  });
  d.RegisterHandler("ListRefused", [this, &core](const DispatchContext& ctx) {
    remote_size = -1;
    core.EndAsyncMethod();
    CloseDataConnection();
    RecordError("ListCommand", 16000 + ctx.code, ctx.reply_line);
    core.pump().DoEvents();
    core.pump().Sleep(100);
  });

  d.RegisterHandler("SizeKnown", [this, &session, &core](const DispatchContext&) {
    remote_size = SizeFromReply(session.reply_buffer);
    core.EndAsyncMethod();
  });
  d.RegisterHandler("SizeCollision", [this, &session](const DispatchContext& ctx) {
    // The server ran the keep-alive command and SIZE as one line: ask again.
    if (ftp_text::StartsWith(ftp_text::Upper(ctx.received), "500 'NOOPSIZE")) {
      session.SendFtpCommand("SIZE", size_path);
      return;
    }
    remote_size = -2;
    Fail(16000 + ctx.code);
  });
  d.RegisterHandler("SizeMissing", [this, &core](const DispatchContext& ctx) {
    remote_size = -1;
    core.EndAsyncMethod();
    RecordError("GetFileSize", 16550, ctx.reply_line);
  });
  d.RegisterHandler("SizeFailed", [this](const DispatchContext& ctx) {
    remote_size = -2;
    Fail(16000 + ctx.code);
  });
}

}  // namespace quorvi::detail

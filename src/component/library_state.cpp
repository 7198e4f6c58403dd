// FtpLibrary: the read-only state properties and the message, error and log properties.
#include <quorvi/ftp_library.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "component/core.h"
#include "component/error_numbers.h"
#include "component/library_version.h"
#include "platform/private_file.h"

namespace quorvi {

namespace {

// States in which no protocol exchange is outstanding.
constexpr std::array<FtpStates, 5> kIdleStates = {ftpFreeState, ftpClosed, ftpDirectoryInfoRetrieved,
                                                  ftpDownloadCompleted, ftpUploadCompleted};

}  // namespace

std::string FtpLibrary::Title() const { return core_->settings.title; }
void FtpLibrary::Title(const std::string& value) { core_->settings.title = value; }

std::string FtpLibrary::Text() const {
  return detail::Guarded(*core_, "Text", std::string(), [&] { return core_->messages().Joined(); });
}

void FtpLibrary::Text(const std::string& value) {
  detail::Guarded(*core_, "Text", [&] {
    if (value.empty()) return;
    if (!core_->messages().ReplaceFrom(value)) core_->ShowMessage("Invalid value for 'Text' Property");
  });
}

bool FtpLibrary::RaiseErrorEvent() const { return core_->settings.raise_error_event; }
void FtpLibrary::RaiseErrorEvent(bool value) { core_->settings.raise_error_event = value; }

void FtpLibrary::EnableLog(bool value) {
  detail::Guarded(*core_, "EnableLog", [&] {
    auto& error = core_->error();
    const bool switched_on = value && !error.EnableLog();
    error.EnableLog(value);
    if (!switched_on) return;
    // Without a folder of this user there is no log (never one in a shared folder): said once,
    // when the host asks for it.
    if (error.LogFilePath().empty()) {
      core_->ReportError("EnableLog", errors::kNoLogFolder,
                         detail::GetErrorText(errors::kNoLogFolder));
      return;
    }
    // The log folder is created here, once, when the host asks for a log; writing a line never
    // creates it (a missing folder means no line). New folders are the user's alone.
    const auto folder = std::filesystem::path(error.LogFilePath()).parent_path();
    if (!folder.empty()) platform::MakePrivateFolders(folder.string());
    error.StartLog(detail::kVersion);
  });
}

std::int32_t FtpLibrary::ErrorNumber() const { return core_->HostErrorNumber(); }

std::string FtpLibrary::ErrorInfo() const {
  if (!core_->OnOwnerThread()) return core_->HostErrorInfo();
  return detail::Guarded(*core_, "ErrorInfo", std::string(), [&] { return core_->HostErrorInfo(); });
}

std::string FtpLibrary::Version() const { return detail::kVersion; }
std::string FtpLibrary::RelInfo() const { return detail::kReleaseDate; }

bool FtpLibrary::Busy() const {
  return std::find(kIdleStates.begin(), kIdleStates.end(), core_->rt.state) == kIdleStates.end();
}

bool FtpLibrary::Connected() const {
  return detail::Guarded(*core_, "Connected", false, [&] {
    const auto& socket_up = core_->control_socket_connected;
    return core_->rt.logged_in && (!socket_up || socket_up());
  });
}

std::string FtpLibrary::CurrentDirectory() const { return core_->rt.current_directory; }
FtpStates FtpLibrary::FtpState() const { return core_->rt.state; }
std::string FtpLibrary::MessageInfo() const { return core_->rt.message_text; }
std::int16_t FtpLibrary::MessageType() const { return core_->rt.message_kind; }
std::string FtpLibrary::TransferState() const { return core_->rt.transfer_state; }

}  // namespace quorvi

// FtpLibrary's shell, dialog and system-folder members.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "component/library_version.h"
#include "local/file_dialogs.h"
#include "local/registry.h"
#include "local/shell.h"
#include "platform/file_system.h"
#include "platform/system_folders.h"

namespace quorvi {
namespace {

// A user without any folder of their own has no Windows or system folder: "" (not "/").
std::string SlashedOrEmpty(const std::string& folder) {
  return folder.empty() ? folder : detail::WithTrailingSlash(folder);
}

// The dialog and folder members tell a failure in a message box ("Name", a line break, the
// error text) and return "" instead of reporting it.
template <typename Body>
std::string ShownOnFailure(detail::Core& core, const char* name, Body&& body) {
  return detail::Guarded(core, name, std::string(), [&]() -> std::string {
    std::string text;
    try {
      return body();
    } catch (const detail::ComponentError& e) {
      text = e.text().empty() ? detail::GetErrorText(e.number()) : e.text();
    } catch (const std::exception& e) {
      text = e.what();
    }
    core.ui->MessageBox(std::string(name) + "\n" + text, "");
    return {};
  });
}

}  // namespace

std::int32_t FtpLibrary::Run(const std::string& FilePath, const std::string& Param,
                             std::int32_t WinStyle) {
  return detail::Guarded(*core_, "Run", std::int32_t{0},
                         [&] { return detail::RunProgram(FilePath, Param, WinStyle); });
}

std::int32_t FtpLibrary::Execute(const std::string& FilePath, const std::string& Param,
                                 std::int32_t /*WinStyle: no windows to style here*/) {
  return detail::Guarded(*core_, "Execute", std::int32_t{0}, [&] {
    const std::int32_t result = detail::ExecuteFile(FilePath, Param);
    const auto status = platform::Stat(FilePath);
    if (!status || status->is_directory) detail::WriteLog("Execute.NotFount:" + FilePath);
    return result;
  });
}

bool FtpLibrary::Explore(const std::string& FilePath, std::int16_t Action,
                         const std::string& /*Param: the file browser takes no options*/) {
  return detail::Guarded(*core_, "Explore", false,
                         [&] { return detail::ExploreFolder(FilePath, Action); });
}

std::string FtpLibrary::ShowBrowseFolderDialog(const std::string& Title,
                                               const std::string& InitDir) {
  return detail::Guarded(*core_, "ShowBrowseFolderDialog", std::string(), [&] {
    detail::ScopedOnTop on_top(core_->on_top, detail::kBrowseFolderCaptions);
    return detail::BrowseFolderResult(
        core_->ui->BrowseFolder(Title.empty() ? detail::kBrowseFolderTitle : Title, InitDir));
  });
}

std::string FtpLibrary::ShowSaveFileDialog(const std::string& FileName) {
  return ShownOnFailure(*core_, "ShowSaveFileDialog", [&] {
    const std::string name = detail::SaveFileProposal(FileName);
    detail::ScopedOnTop on_top(core_->on_top, detail::kSaveFileTitle);
    return core_->ui->SaveFile(detail::kSaveFileTitle, name, detail::kAllFilesFilter);
  });
}

std::string FtpLibrary::ShowOpenFileDialog(const std::string& FileFilter, bool MultiSelect) {
  return ShownOnFailure(*core_, "ShowOpenFileDialog", [&] {
    const std::string filter = detail::OpenFileFilter(FileFilter, core_->settings.file_type);
    detail::ScopedOnTop on_top(core_->on_top, detail::kOpenFileTitle);
    return detail::OpenFileResult(
        core_->ui->OpenFile(detail::kOpenFileTitle, filter, MultiSelect));
  });
}

std::string FtpLibrary::GetWindowsPath() {
  return ShownOnFailure(*core_, "GetWindowsPath",
                        [] { return SlashedOrEmpty(platform::WindowsFolder()); });
}

std::string FtpLibrary::GetSystemPath() {
  return ShownOnFailure(*core_, "GetSystemPath",
                        [] { return SlashedOrEmpty(platform::SystemFolder()); });
}

std::string FtpLibrary::GetTempPath() {
  return ShownOnFailure(*core_, "GetTempPath",
                        [] { return detail::WithTrailingSlash(platform::TempFolder()); });
}

std::string FtpLibrary::GetShellFolder(const std::string& name) {
  return ShownOnFailure(*core_, "GetShellFolder", [&]() -> std::string {
    if (name.empty()) return {};
    const std::string folder = detail::Regedit().RegGetValueEx(
        "HKEY_CURRENT_USER", platform::kShellFoldersKey, name);
    return detail::WithTrailingSlash(folder);
  });
}

void FtpLibrary::About() {
  detail::Guarded(*core_, "About", [&] { core_->ui->About("QuorviFtp", detail::kVersion); });
}

}  // namespace quorvi

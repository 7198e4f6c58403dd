// The folders the component treats as the "Windows", "system" and "temporary" folders.
// Each ends with "/". None is created here.
#pragma once

#include <string>

namespace quorvi::platform {

/// $QUORVI_WINDOWS_DIR, else ${XDG_DATA_HOME:-$HOME/.local/share}/quorviftp/.
std::string WindowsFolder();
/// WindowsFolder() + "system/" (the folder of the log file).
std::string SystemFolder();
/// $TMPDIR, else /tmp/.
std::string TempFolder();

}  // namespace quorvi::platform

// The folders the component treats as the "Windows", "system" and "temporary" folders.
// Each ends with "/". None is created here.
#pragma once

#include <string>

namespace quorvi::platform {

/// $QUORVI_WINDOWS_DIR, else ${XDG_DATA_HOME:-$HOME/.local/share}/quorviftp/; without either,
/// $XDG_STATE_HOME/quorviftp/, else $XDG_RUNTIME_DIR/quorviftp/, else "" (never the temporary
/// folder: anyone may plant names there).
std::string WindowsFolder();
/// WindowsFolder() + "system/" (the folder of the log file); "" when WindowsFolder() is.
std::string SystemFolder();
/// $TMPDIR, else /tmp/.
std::string TempFolder();

}  // namespace quorvi::platform

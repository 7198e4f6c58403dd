// The local date and time as the component writes it ("YYYY-MM-DD HH:MM:SS").
#pragma once

#include <string>

namespace quorvi::platform {

/// The current local date and time in the general date format.
std::string NowGeneralDate();

}  // namespace quorvi::platform

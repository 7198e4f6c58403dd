// Where the replace and rename dialogs take their texts from: the component's message table.
#pragma once

#include <functional>
#include <string>

namespace quorvi::detail {

/// Message-table entry by index (the dialogs use 13, 14, 15 and 22 to 32).
using MessageLookup = std::function<std::string(int)>;

}  // namespace quorvi::detail

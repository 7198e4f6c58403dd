// The component's own English message texts, as the replace and rename dialogs read them.
#pragma once

#include <string>

#include "component/message_table.h"

inline std::string English(int index) {
  static const quorvi::detail::MessageTable table;
  return table.GetMessage(index);
}

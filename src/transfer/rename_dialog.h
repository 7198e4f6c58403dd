// frmReName: asks for the new name of a file whose destination already exists.
#pragma once

#include <quorvi/user_interface.h>

#include <string>

#include "transfer/dialog_texts.h"

namespace quorvi::detail {

class frmReName {
 public:
  std::string l_strOldName;   ///< the existing file's name
  std::string l_strNewName;   ///< the result: typed name plus the old extension; "" = cancelled
  std::string strExtendName;  ///< the old name's extension with its dot, or ""

  /// Shows the dialog until the user confirms a usable name or cancels. An empty name shows
  /// message 14, the old name again (case ignored) message 13; both keep the dialog open.
  void Show(UserInterface& ui, const MessageLookup& message, const std::string& box_title);

  /// Most times the dialog re-opens after a refused name before it counts as cancelled.
  static constexpr int kMaxAttempts = 100;
};

}  // namespace quorvi::detail

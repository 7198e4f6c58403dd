// frmReplaceSetting: the modal confirmation shown when a destination file already exists, and
// the question the download and upload engines ask through it.
#pragma once

#include <quorvi/user_interface.h>

#include <cstdint>
#include <string>

#include "transfer/dialog_texts.h"

namespace quorvi::detail {

class frmReplaceSetting {
 public:
  std::int8_t l_intSetting = 0;         ///< the answer 0..8 (0 = closed without a button)
  std::int8_t l_intDisableSetting = 0;  ///< 6 disables Resume (Resume All stays enabled)
  std::string l_strFileName;            ///< the existing file's name
  std::string l_strNewName;             ///< the new name chosen through Rename

  /// The dialog as the provider is asked to show it: title, captions with access keys, and
  /// which buttons are enabled (Skip and Skip All off while disable_skip).
  UserInterface::ReplaceDialogView View(const MessageLookup& message, const std::string& text,
                                        bool disable_skip) const;
  /// Shows the dialog until a button answers. Rename opens frmReName; an empty new name there
  /// keeps this dialog open. box_title is the title of the rename dialog's message boxes.
  void Show(UserInterface& ui, const MessageLookup& message, const std::string& text,
            bool disable_skip, const std::string& box_title);

  /// Most times the dialog re-opens (after a disabled button or a cancelled rename).
  static constexpr int kMaxRounds = 100;
};

/// The facts the confirmation message shows: the existing destination first, the source second.
struct ReplaceQuestion {
  std::string file_name;             ///< {0}: the existing file's name
  double existing_size = 0;          ///< {1}, shown grouped
  std::string existing_date;         ///< {2}
  std::string source_size_text;      ///< {3}: the grouped size, or "Unknown"
  std::string source_date;           ///< {4}
  std::int16_t disable_setting = 0;  ///< 6 when the existing file is at least as large
};

/// The caller stores kDialogAnswerBase + answer as the replace setting.
struct ReplaceAnswer {
  std::int16_t answer = 0;
  std::string file_name;  ///< l_strFileName, needed by a dialog rename
  std::string new_name;   ///< l_strNewName for answer 4
};

/// Message 22 filled in, each "\n" (backslash, n) turned into CR LF CR LF.
std::string ReplaceMessageText(const std::string& message22, const ReplaceQuestion& q);

/// Shows the confirmation for q and returns the answer.
ReplaceAnswer AskReplace(UserInterface& ui, const MessageLookup& message, bool disable_skip,
                         const ReplaceQuestion& q, const std::string& box_title);

}  // namespace quorvi::detail

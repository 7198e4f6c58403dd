// Name clashes when no terminal can ask and no --replace was given: qftp neither resumes, keeps
// nor overwrites a file on its own. Each clashing file is skipped and remembered; the command
// then names the files and --replace, and fails.
#pragma once

#include <quorvi/user_interface.h>

#include <memory>
#include <string>
#include <vector>

namespace qftp {

class ClashRefusal : public quorvi::UserInterface {
 public:
  /// Answers the replace question with "skip" for this file and remembers its name.
  ReplaceButton ShowReplaceDialog(const ReplaceDialogView& view) override;
  /// The files that clashed, in order.
  const std::vector<std::string>& clashes() const { return clashes_; }
  /// One line a clash for stderr, naming --replace; "" when nothing clashed.
  std::string Report() const;

 private:
  std::vector<std::string> clashes_;
};

}  // namespace qftp

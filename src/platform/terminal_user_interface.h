// The terminal provider: message boxes and dialogs as prompts on the controlling terminal
// (/dev/tty, so the host's stdin and stdout stay untouched). Without a terminal every member
// answers as the headless provider does.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <quorvi/user_interface.h>

namespace quorvi::platform {

/// An owned file descriptor of the terminal, closed on destruction.
class TtyHandle {
 public:
  TtyHandle();  ///< opens /dev/tty for reading and writing (invalid when there is none)
  ~TtyHandle();
  TtyHandle(const TtyHandle&) = delete;
  TtyHandle& operator=(const TtyHandle&) = delete;
  bool valid() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  int fd_ = -1;
};

class TerminalUserInterface : public UserInterface {
 public:
  void MessageBox(const std::string& text, const std::string& title) override;
  std::string BrowseFolder(const std::string& title, const std::string& initial_dir) override;
  std::string SaveFile(const std::string& title, const std::string& file_name,
                       const std::string& filter) override;
  std::vector<std::string> OpenFile(const std::string& title, const std::string& filter,
                                    bool multi_select) override;
  void About(const std::string& product, const std::string& version) override;
  /// The message with its blank lines, the enabled buttons, then one key (O R S N F X T C).
  ReplaceButton ShowReplaceDialog(const ReplaceDialogView& view) override;
  /// A line prompt proposing view.text (Enter keeps it, "." or end of input cancels).
  std::string ShowRenameDialog(const RenameDialogView& view, bool& cancelled) override;

 protected:
  /// True when /dev/tty could be opened.
  bool HasTerminal() const { return tty_.valid(); }
  /// Writes text to the terminal as it is.
  void Print(const std::string& text);
  /// Prints the prompt and reads one line (without its line end); nothing on end of input or
  /// without a terminal.
  std::optional<std::string> ReadLine(const std::string& prompt);
  /// Prints the prompt and reads one key without echo; nothing without a terminal.
  std::optional<char> ReadKey(const std::string& prompt);

 private:
  /// The next typed byte: one read ahead by a key prompt first, then the terminal.
  bool NextByte(char& c);

  TtyHandle tty_;
  std::optional<char> typed_ahead_;  ///< read while a key prompt waited for its Enter
};

}  // namespace quorvi::platform

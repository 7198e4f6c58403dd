#include "platform/terminal_user_interface.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include "platform/concat.h"

namespace quorvi {
namespace platform {
namespace {

constexpr std::size_t kMaxLine = 4096;  // a prompt answer longer than this is cut
constexpr int kEnterGraceMs = 300;      // how long a key prompt waits for the Enter after a key

// Puts the terminal into single-key mode without echo; restores it on destruction.
class RawMode {
 public:
  explicit RawMode(int fd) : fd_(fd) {
    if (::tcgetattr(fd_, &saved_) != 0) return;
    termios raw = saved_;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    active_ = ::tcsetattr(fd_, TCSANOW, &raw) == 0;
  }
  ~RawMode() {
    if (active_) ::tcsetattr(fd_, TCSANOW, &saved_);
  }
  RawMode(const RawMode&) = delete;
  RawMode& operator=(const RawMode&) = delete;

 private:
  int fd_;
  termios saved_{};
  bool active_ = false;
};

bool ReadByte(int fd, char& c) {
  for (int attempts = 0; attempts < 100; ++attempts) {  // retries only on signals
    const ssize_t n = ::read(fd, &c, 1);
    if (n == 1) return true;
    if (n == 0 || errno != EINTR) return false;
  }
  return false;
}

}  // namespace

TtyHandle::TtyHandle() : fd_(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {}

TtyHandle::~TtyHandle() {
  if (fd_ >= 0) ::close(fd_);
}

void TerminalUserInterface::Print(const std::string& text) {
  if (!HasTerminal()) return;
  std::size_t done = 0;
  for (int attempts = 0; done < text.size() && attempts < 1000; ++attempts) {
    const ssize_t n = ::write(tty_.get(), text.data() + done, text.size() - done);
    if (n > 0) done += static_cast<std::size_t>(n);
    else if (n < 0 && errno != EINTR) return;
  }
}

std::optional<std::string> TerminalUserInterface::ReadLine(const std::string& prompt) {
  if (!HasTerminal()) return std::nullopt;
  Print(prompt);
  std::string line;
  char c = 0;
  bool any = false;
  while (line.size() < kMaxLine && NextByte(c)) {
    any = true;
    if (c == '\n') return line;
    if (c != '\r') line += c;
  }
  if (!any) return std::nullopt;
  return line;
}

std::optional<char> TerminalUserInterface::ReadKey(const std::string& prompt) {
  if (!HasTerminal()) return std::nullopt;
  Print(prompt);
  RawMode raw(tty_.get());
  char c = 0;
  if (!NextByte(c)) return std::nullopt;
  // Users often press Enter after the key: that Enter (arriving now or a moment later) belongs
  // to this prompt, not to the next one (the rename prompt took it as "keep the proposed
  // name"). Any other key typed ahead is kept for the next prompt.
  if (c != '\n' && c != '\r' && !typed_ahead_) {
    pollfd ready{tty_.get(), POLLIN, 0};
    char next = 0;
    if (::poll(&ready, 1, kEnterGraceMs) == 1 && (ready.revents & POLLIN) != 0 &&
        ReadByte(tty_.get(), next) && next != '\n' && next != '\r') {
      typed_ahead_ = next;
    }
  }
  Print("\n");
  return c;
}

bool TerminalUserInterface::NextByte(char& c) {
  if (typed_ahead_) {
    c = *std::exchange(typed_ahead_, std::nullopt);
    return true;
  }
  return ReadByte(tty_.get(), c);
}

void TerminalUserInterface::MessageBox(const std::string& text, const std::string& title) {
  if (!HasTerminal()) return UserInterface::MessageBox(text, title);
  Print(Concat("\n", title.empty() ? std::string() : Concat("[", title, "] "), text, "\n"));
  ReadLine("Press Enter to continue ");
}

std::string TerminalUserInterface::BrowseFolder(const std::string& title,
                                                const std::string& initial_dir) {
  Print(title + "\n");
  const auto answer = ReadLine("Folder [" + initial_dir + "] (\".\" = cancel): ");
  if (!answer || *answer == ".") return {};
  return answer->empty() ? initial_dir : *answer;
}

std::string TerminalUserInterface::SaveFile(const std::string& title, const std::string& file_name,
                                            const std::string& filter) {
  Print(title + " (" + filter + ")\n");
  const auto answer = ReadLine("Path [" + file_name + "] (\".\" = cancel): ");
  if (!answer || *answer == ".") return {};
  return answer->empty() ? file_name : *answer;
}

std::vector<std::string> TerminalUserInterface::OpenFile(const std::string& title,
                                                         const std::string& filter,
                                                         bool multi_select) {
  Print(title + " (" + filter + ")\n");
  const auto answer = ReadLine(multi_select ? "Paths, separated by \"|\" (empty = cancel): "
                                            : "Path (empty = cancel): ");
  std::vector<std::string> paths;
  if (!answer) return paths;
  std::size_t start = 0;
  while (start < answer->size()) {
    auto end = answer->find('|', start);
    if (end == std::string::npos) end = answer->size();
    if (end > start) paths.push_back(answer->substr(start, end - start));
    if (!multi_select) break;
    start = end + 1;
  }
  return paths;
}

void TerminalUserInterface::About(const std::string& product, const std::string& version) {
  if (!HasTerminal()) return;
  Print("\n" + product + " " + version + "\nAn FTP client component.\n");
  ReadLine("Press Enter to continue ");
}

}  // namespace platform

std::shared_ptr<UserInterface> MakeTerminalUserInterface() {
  return std::make_shared<platform::TerminalUserInterface>();
}

}  // namespace quorvi

#include "credentials.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <vector>

namespace qftp {

namespace {

constexpr int kMaxNetrcReads = 256;  // 1 MiB: a netrc is a few lines

std::vector<std::string> Tokens(std::string_view text) {
  std::vector<std::string> tokens;
  std::size_t i = 0;
  while (i < text.size()) {
    // A macro body runs to the next empty line and holds no tokens of ours.
    if (!tokens.empty() && tokens.back() == "macdef") {
      const auto end = text.find("\n\n", i);
      i = end == std::string_view::npos ? text.size() : end + 2;
      tokens.pop_back();
      continue;
    }
    const auto start = text.find_first_not_of(" \t\r\n", i);
    if (start == std::string_view::npos) break;
    auto end = text.find_first_of(" \t\r\n", start);
    if (end == std::string_view::npos) end = text.size();
    tokens.emplace_back(text.substr(start, end - start));
    i = end;
  }
  return tokens;
}

// The file's text; nothing when it cannot be read. With owner_only (~/.netrc, as Python's
// netrc module checks it), a file another user owns or others may read is refused: whoever
// could read it has the passwords already, and using it silently would hide that.
std::optional<std::string> ReadFile(const std::string& path, bool owner_only) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  struct stat st {};
  const bool known = ::fstat(fd, &st) == 0;
  if (owner_only && known && (st.st_uid != ::getuid() || (st.st_mode & (S_IRWXG | S_IRWXO)) != 0)) {
    ::close(fd);
    throw UsageError{path + " may be read or changed by other users: not used (chmod 600 " +
                     path + ")"};
  }
  std::string text;
  char buffer[4096];
  for (int reads = 0; known && reads < kMaxNetrcReads; ++reads) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n <= 0) break;
    text.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(fd);
  return text;
}

// The password typed on the terminal, without echo; nothing when there is no terminal.
std::optional<std::string> Prompt(const std::string& user, const std::string& host) {
  if (isatty(STDIN_FILENO) == 0) return std::nullopt;
  std::cerr << "Password for " << user << "@" << host << ": " << std::flush;
  termios saved{};
  const bool echo_off = tcgetattr(STDIN_FILENO, &saved) == 0;
  if (echo_off) {
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  }
  std::string password;
  std::getline(std::cin, password);
  if (echo_off) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
  std::cerr << "\n";
  return password;
}

}  // namespace

std::optional<std::pair<std::string, std::string>> NetrcLogin(std::string_view text,
                                                              const std::string& host,
                                                              const std::string& user) {
  const std::vector<std::string> tokens = Tokens(text);
  std::optional<std::pair<std::string, std::string>> fallback;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    const bool is_default = tokens[i] == "default";
    if (tokens[i] != "machine" && !is_default) continue;
    const bool ours = is_default || (i + 1 < tokens.size() && tokens[i + 1] == host);
    std::pair<std::string, std::string> entry;
    std::size_t j = is_default ? i + 1 : i + 2;
    for (; j + 1 < tokens.size() && tokens[j] != "machine" && tokens[j] != "default"; j += 2) {
      if (tokens[j] == "login") entry.first = tokens[j + 1];
      if (tokens[j] == "password") entry.second = tokens[j + 1];
    }
    i = j - 1;
    if (!ours || (!user.empty() && !entry.first.empty() && entry.first != user)) continue;
    if (!is_default) return entry;
    if (!fallback) fallback = entry;
  }
  return fallback;
}

void CompleteCredentials(Options& o) {
  if (o.password_stdin) {
    std::string line;
    if (!std::getline(std::cin, line)) throw UsageError{"--password-stdin: no line on stdin"};
    if (!line.empty() && line.back() == '\r') line.pop_back();
    o.password = line;
    return;
  }
  if (o.password || o.host.empty()) return;
  const char* home = std::getenv("HOME");
  const std::string file = !o.netrc_file.empty() ? o.netrc_file
                           : home != nullptr     ? std::string(home) + "/.netrc"
                                                 : std::string();
  const auto text = file.empty() ? std::nullopt : ReadFile(file, o.netrc_file.empty());
  if (!text && !o.netrc_file.empty()) throw UsageError{"--netrc-file: cannot read " + file};
  if (text) {
    if (const auto login = NetrcLogin(*text, o.host, o.user)) {
      if (o.user.empty()) o.user = login->first;
      if (o.user == login->first || login->first.empty()) {
        o.password = login->second;
        return;
      }
    }
  }
  if (!o.user.empty() && o.user != "anonymous" && o.user != "ftp") o.password = Prompt(o.user, o.host);
}

}  // namespace qftp

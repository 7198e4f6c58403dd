#include "platform/file_system.h"

#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace quorvi::platform {
namespace {

// Owns one open file descriptor.
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) ::close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }
  bool ok() const { return fd_ >= 0; }
  // Closes now so that a failing close (a full disk on NFS) is reported.
  int Close() {
    const int rc = ::close(fd_);
    fd_ = -1;
    return rc == 0 ? 0 : errno;
  }

 private:
  int fd_;
};

constexpr mode_t kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;

}  // namespace

std::optional<FileStatus> Stat(const std::string& path) {
  struct stat st {};
  if (path.empty() || ::stat(path.c_str(), &st) != 0) return std::nullopt;
  FileStatus status;
  status.is_directory = S_ISDIR(st.st_mode);
  status.is_regular = S_ISREG(st.st_mode);
  status.writable = (st.st_mode & kWriteBits) != 0;
  status.size = static_cast<double>(st.st_size);
  status.modified = static_cast<std::int64_t>(st.st_mtime);
  return status;
}

int SetWritable(const std::string& path, bool writable) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return errno;
  const mode_t mode = writable ? (st.st_mode | S_IWUSR) : (st.st_mode & ~kWriteBits);
  if ((mode & 07777) == (st.st_mode & 07777)) return 0;
  return ::chmod(path.c_str(), mode & 07777) == 0 ? 0 : errno;
}

int MakeDirectory(const std::string& path) {
  return ::mkdir(path.c_str(), 0777) == 0 ? 0 : errno;
}

int DeleteFile(const std::string& path) { return ::unlink(path.c_str()) == 0 ? 0 : errno; }

int CreateEmptyFile(const std::string& path) { return WriteBytes(path, {}, true); }

int WriteBytes(const std::string& path, const std::string& bytes, bool overwrite) {
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (overwrite ? O_TRUNC : O_APPEND);
  Fd fd(::open(path.c_str(), flags, 0666));
  if (!fd.ok()) return errno;
  std::size_t done = 0;
  // Each turn writes at least one byte or fails; EINTR retries are bounded.
  for (int interrupted = 0; done < bytes.size() && interrupted < 100;) {
    const ssize_t n = ::write(fd.get(), bytes.data() + done, bytes.size() - done);
    if (n < 0) {
      if (errno != EINTR) return errno;
      ++interrupted;
      continue;
    }
    done += static_cast<std::size_t>(n);
  }
  if (done < bytes.size()) return EINTR;
  return fd.Close();
}

int ReadBytes(const std::string& path, std::string& bytes) {
  bytes.clear();
  Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.ok()) return errno;
  char buffer[65536];
  for (int interrupted = 0; interrupted < 100;) {
    const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
    if (n == 0) return 0;
    if (n < 0) {
      if (errno != EINTR) return errno;
      ++interrupted;
      continue;
    }
    bytes.append(buffer, static_cast<std::size_t>(n));
  }
  return EINTR;
}

int OpenedFileSize(const std::string& path, double& size) {
  Fd fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!fd.ok()) return errno;
  struct stat st {};
  if (::fstat(fd.get(), &st) != 0) return errno;
  size = static_cast<double>(st.st_size);
  return 0;
}

std::vector<std::string> ExpandPattern(const std::string& pattern) {
  std::vector<std::string> paths;
  glob_t found{};
  if (::glob(pattern.c_str(), 0, nullptr, &found) == 0) {
    for (std::size_t i = 0; i < found.gl_pathc; ++i) paths.emplace_back(found.gl_pathv[i]);
  }
  ::globfree(&found);
  return paths;
}

bool HasWildcard(const std::string& text) {
  return text.find_first_of("*?") != std::string::npos;
}

std::string LocalDateTimeText(std::int64_t seconds) {
  const std::time_t t = static_cast<std::time_t>(seconds);
  std::tm local{};
  if (::localtime_r(&t, &local) == nullptr) return {};
  char text[32];
  if (std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local) == 0) return {};
  return text;
}

std::string ErrorText(int error) {
  char buffer[256];
  // GNU strerror_r returns the text (possibly a static string rather than the buffer).
  return ::strerror_r(error, buffer, sizeof buffer);
}

}  // namespace quorvi::platform

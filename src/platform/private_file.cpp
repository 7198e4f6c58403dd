#include "platform/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace quorvi::platform {

namespace {
constexpr mode_t kOthersBits = S_IRWXG | S_IRWXO;
constexpr int kMaxInterrupts = 100;
}  // namespace

PrivateFile::PrivateFile(const std::string& path, bool exclusive) {
  // O_APPEND: two processes appending to one log never write over each other's lines.
  const int flags =
      O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC | (exclusive ? O_EXCL : 0);
  fd_ = ::open(path.c_str(), flags, 0600);
  if (fd_ < 0) {
    error_ = errno;
    return;
  }
  // A file another user planted (or a second name of one of theirs) is not ours to write.
  struct stat st {};
  const bool ours = ::fstat(fd_, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == ::geteuid() &&
                    st.st_nlink == 1;
  if (ours && (st.st_mode & kOthersBits) == 0) return;
  if (ours && ::fchmod(fd_, st.st_mode & 0700) == 0) return;
  error_ = ours ? errno : EPERM;
  ::close(fd_);
  fd_ = -1;
}

PrivateFile::~PrivateFile() {
  if (fd_ >= 0) ::close(fd_);
}

int PrivateFile::Write(const std::string& bytes, bool overwrite) {
  if (fd_ < 0) return error_;
  if (overwrite && ::ftruncate(fd_, 0) != 0) return errno;
  std::size_t done = 0;
  for (int interrupted = 0; done < bytes.size() && interrupted < kMaxInterrupts;) {
    const ssize_t n = ::write(fd_, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno != EINTR) return errno;
    if (n < 0) ++interrupted;
    else done += static_cast<std::size_t>(n);
  }
  return done == bytes.size() ? 0 : EINTR;
}

int PrivateFile::Close() {
  if (fd_ < 0) return error_;
  const int rc = ::close(fd_);
  fd_ = -1;
  return rc == 0 ? 0 : errno;
}

int WritePrivateFile(const std::string& path, const std::string& bytes, bool overwrite) {
  PrivateFile file(path);
  const int error = file.Write(bytes, overwrite);
  const int closed = file.Close();
  return error != 0 ? error : closed;
}

int MakePrivateFolders(const std::string& path) {
  if (path.empty()) return ENOENT;
  struct stat st {};
  if (::stat(path.c_str(), &st) == 0) return S_ISDIR(st.st_mode) ? 0 : ENOTDIR;
  std::string parent = path;
  while (parent.size() > 1 && parent.back() == '/') parent.pop_back();
  const auto slash = parent.rfind('/');
  if (slash != std::string::npos && slash > 0) {
    if (const int error = MakePrivateFolders(parent.substr(0, slash))) return error;
  }
  if (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return 0;
  return errno;
}

}  // namespace quorvi::platform

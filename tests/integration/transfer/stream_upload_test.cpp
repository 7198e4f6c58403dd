// An upload from a pipe or FIFO has no size: it is sent as a stream and succeeds only with the
// server's 226 after its end; resuming onto a remote file is refused (22041).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <thread>

#include "transfer_support.h"

namespace quorvi::test {
namespace {

class StreamUpload : public TransferSuite<StreamUpload> {
 public:
  static ServerSetup ServerToStart() { return {ServerKind::Vsftpd}; }
};

void WriteAllTo(int fd, const std::string& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n <= 0) break;
    done += static_cast<std::size_t>(n);
  }
  ::close(fd);
}

TEST_F(StreamUpload, APipeOrFifoIsSentWholeAndNeverResumed) {
  const std::string content = Pattern(700 * 1024, 3);
  for (const bool fifo : {false, true}) {
    for (const bool resume : {false, true}) {
      SCOPED_TRACE(std::string(fifo ? "fifo" : "pipe") + (resume ? ", resume" : ""));
      const std::string remote = std::string("/pub/stream/") + (fifo ? "f" : "p") + ".bin";
      std::string source;
      std::thread writer;
      int fds[2] = {-1, -1};
      if (fifo) {
        source = (dir_ / "fifo").string();
        fs::remove(source);
        ASSERT_EQ(::mkfifo(source.c_str(), 0600), 0);
        writer = std::thread([&] { WriteAllTo(::open(source.c_str(), O_WRONLY), content); });
      } else {
        ASSERT_EQ(::pipe(fds), 0);
        source = "/proc/self/fd/" + std::to_string(fds[0]);
        writer = std::thread([&] { WriteAllTo(fds[1], content); });
      }
      ftp_->ReplaceSetting(resume ? 2 : 1);
      const bool ok = ftp_->UpLoadFile(source, remote);
      if (resume) {
        // Nothing can be read back to skip the server's part: refused, the server's file kept.
        EXPECT_FALSE(ok);
        EXPECT_EQ(ftp_->ErrorNumber(), 22041) << ftp_->ErrorInfo();
        // Let the writer finish (the refusal read nothing).
        const int drain = ::open(source.c_str(), O_RDONLY);
        std::string sink(64 * 1024, '\0');
        while (drain >= 0 && ::read(drain, sink.data(), sink.size()) > 0) {
        }
        if (drain >= 0) ::close(drain);
      } else {
        EXPECT_TRUE(ok) << ftp_->ErrorNumber() << " " << ftp_->ErrorInfo();
      }
      writer.join();
      if (fds[0] >= 0) ::close(fds[0]);
      EXPECT_TRUE(ReadAll(server().root() / remote.substr(1)) == content);
    }
  }
}

}  // namespace
}  // namespace quorvi::test

// The component inside a Boost.Asio-style io_context (standalone Asio): the thread's descriptor
// is a posix::stream_descriptor waited on for reading, the component's next timer a
// steady_timer, and ProcessPending runs from both. While a method of the component waits, its
// pump runs the io_context's ready handlers through the host hook.
#include <unistd.h>

#include <asio.hpp>

#include <quorvi/ftp_library.h>

#include <functional>
#include <memory>

#include "scenario.h"

namespace {

class AsioLoop final : public loops::HostLoop {
 public:
  explicit AsioLoop(quorvi::FtpLibrary& ftp)
      // The descriptor stays the component's: a duplicate is what Asio gets to own and close.
      : ftp_(ftp), descriptor_(io_, ::dup(ftp.HostLoopFd())), next_timer_(io_), limit_(io_) {}

  void Run(std::chrono::milliseconds limit) override {
    io_.restart();
    WaitReadable();
    Process();
    limit_.expires_after(limit);
    limit_.async_wait([this](const asio::error_code& ec) {
      if (!ec) Quit();
    });
    io_.run();
  }
  void Quit() override { io_.stop(); }
  void Every(std::chrono::milliseconds period, std::function<void()> tick) override {
    auto timer = std::make_shared<asio::steady_timer>(io_);
    Repeat(timer, period, std::make_shared<std::function<void()>>(std::move(tick)));
  }
  void Soon(std::function<void()> job) override { asio::post(io_, std::move(job)); }
  // A few ready handlers, never blocking. Not poll(): while a method of the component waits,
  // its descriptor stays readable, and poll() would re-run the wait on it for as long as that.
  void Iterate() override {
    for (int i = 0; i < 16 && io_.poll_one() > 0; ++i) {
    }
  }

 private:
  void WaitReadable() {
    descriptor_.async_wait(asio::posix::stream_descriptor::wait_read, [this](const asio::error_code& ec) {
      if (ec) return;
      Process();
      WaitReadable();
    });
  }
  // Runs the component's pending work and re-arms the timer for its next due time.
  void Process() {
    ftp_.ProcessPending();
    next_timer_.cancel();
    if (const int ms = ftp_.HostLoopTimeout(); ms >= 0) {
      next_timer_.expires_after(std::chrono::milliseconds(ms));
      next_timer_.async_wait([this](const asio::error_code& ec) {
        if (!ec) Process();
      });
    }
  }
  void Repeat(std::shared_ptr<asio::steady_timer> timer, std::chrono::milliseconds period,
              std::shared_ptr<std::function<void()>> tick) {
    timer->expires_after(period);
    timer->async_wait([this, timer, period, tick](const asio::error_code& ec) {
      if (ec) return;
      (*tick)();
      Repeat(timer, period, tick);
    });
  }

  quorvi::FtpLibrary& ftp_;
  asio::io_context io_;
  asio::posix::stream_descriptor descriptor_;
  asio::steady_timer next_timer_;
  asio::steady_timer limit_;
};

}  // namespace

int main(int argc, char** argv) {
  quorvi::FtpLibrary ftp;
  AsioLoop loop(ftp);
  return loops::RunJob(ftp, loop, {argv + 1, argv + argc});
}

// The component inside a GLib main loop (GTK programs run one): the thread's descriptor is a
// GLib fd source, the component's next timer a timeout source, and ProcessPending runs from
// both. While a method of the component waits, its pump runs GLib's loop through the host hook.
#include <glib-unix.h>
#include <glib.h>

#include <quorvi/ftp_library.h>

#include <functional>
#include <memory>

#include "scenario.h"

namespace {

class GlibLoop final : public loops::HostLoop {
 public:
  explicit GlibLoop(quorvi::FtpLibrary& ftp) : ftp_(ftp), loop_(g_main_loop_new(nullptr, FALSE)) {
    // Readable whenever the component has work: sockets, queued notifications, due timers.
    fd_source_ = g_unix_fd_add(ftp_.HostLoopFd(), G_IO_IN, &GlibLoop::OnReadable, this);
  }
  ~GlibLoop() override {
    g_source_remove(fd_source_);
    if (timeout_source_ != 0) g_source_remove(timeout_source_);
    g_main_loop_unref(loop_);
  }

  void Run(std::chrono::milliseconds limit) override {
    Process();
    const guint stop = g_timeout_add(static_cast<guint>(limit.count()), &GlibLoop::OnLimit, this);
    g_main_loop_run(loop_);
    g_source_remove(stop);
  }
  void Quit() override { g_main_loop_quit(loop_); }
  void Every(std::chrono::milliseconds period, std::function<void()> tick) override {
    auto& slot = callbacks_.emplace_back(std::make_unique<std::function<void()>>(std::move(tick)));
    g_timeout_add(static_cast<guint>(period.count()), &GlibLoop::OnTick, slot.get());
  }
  void Soon(std::function<void()> job) override {
    auto& slot = callbacks_.emplace_back(std::make_unique<std::function<void()>>(std::move(job)));
    g_idle_add(&GlibLoop::OnceIdle, slot.get());
  }
  void Iterate() override { g_main_context_iteration(nullptr, FALSE); }

 private:
  // Runs the component's pending work, then asks GLib to come back when its next timer is due
  // (the descriptor covers that too; the time-out makes the pattern work with any loop).
  void Process() {
    ftp_.ProcessPending();
    if (timeout_source_ != 0) g_source_remove(timeout_source_);
    timeout_source_ = 0;
    if (const int ms = ftp_.HostLoopTimeout(); ms >= 0)
      timeout_source_ = g_timeout_add(static_cast<guint>(ms), &GlibLoop::OnTimeout, this);
  }
  static gboolean OnReadable(gint, GIOCondition, gpointer self) {
    static_cast<GlibLoop*>(self)->Process();
    return G_SOURCE_CONTINUE;
  }
  static gboolean OnTimeout(gpointer self) {
    auto* loop = static_cast<GlibLoop*>(self);
    loop->timeout_source_ = 0;  // this source ends with G_SOURCE_REMOVE
    loop->Process();
    return G_SOURCE_REMOVE;
  }
  static gboolean OnLimit(gpointer self) {
    static_cast<GlibLoop*>(self)->Quit();
    return G_SOURCE_CONTINUE;
  }
  static gboolean OnTick(gpointer tick) {
    (*static_cast<std::function<void()>*>(tick))();
    return G_SOURCE_CONTINUE;
  }
  static gboolean OnceIdle(gpointer job) {
    (*static_cast<std::function<void()>*>(job))();
    return G_SOURCE_REMOVE;
  }

  quorvi::FtpLibrary& ftp_;
  GMainLoop* loop_;
  guint fd_source_ = 0;
  guint timeout_source_ = 0;
  std::vector<std::unique_ptr<std::function<void()>>> callbacks_;
};

}  // namespace

int main(int argc, char** argv) {
  quorvi::FtpLibrary ftp;
  GlibLoop loop(ftp);
  return loops::RunJob(ftp, loop, {argv + 1, argv + argc});
}

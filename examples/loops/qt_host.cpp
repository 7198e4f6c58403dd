// The component inside a Qt event loop (QCoreApplication, headless): the thread's descriptor is
// watched by a QSocketNotifier, the component's next timer is a single-shot QTimer, and
// ProcessPending runs from both. While a method of the component waits, its pump runs Qt's
// event loop through the host hook.
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <quorvi/ftp_library.h>

#include <functional>
#include <memory>

#include "scenario.h"

namespace {

class QtLoop final : public loops::HostLoop {
 public:
  explicit QtLoop(quorvi::FtpLibrary& ftp)
      : ftp_(ftp), notifier_(ftp.HostLoopFd(), QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this] { Process(); });
    next_timer_.setSingleShot(true);
    QObject::connect(&next_timer_, &QTimer::timeout, [this] { Process(); });
  }

  void Run(std::chrono::milliseconds limit) override {
    Process();
    QTimer::singleShot(limit, [this] { Quit(); });
    QCoreApplication::exec();
  }
  void Quit() override { QCoreApplication::quit(); }
  void Every(std::chrono::milliseconds period, std::function<void()> tick) override {
    auto& timer = timers_.emplace_back(std::make_unique<QTimer>());
    QObject::connect(timer.get(), &QTimer::timeout, std::move(tick));
    timer->start(period);
  }
  void Soon(std::function<void()> job) override { QTimer::singleShot(0, std::move(job)); }
  void Iterate() override { QCoreApplication::processEvents(); }

 private:
  // Runs the component's pending work and re-arms the timer for its next due time.
  void Process() {
    ftp_.ProcessPending();
    if (const int ms = ftp_.HostLoopTimeout(); ms >= 0)
      next_timer_.start(ms);
    else
      next_timer_.stop();
  }

  quorvi::FtpLibrary& ftp_;
  QSocketNotifier notifier_;
  QTimer next_timer_;
  std::vector<std::unique_ptr<QTimer>> timers_;
};

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  quorvi::FtpLibrary ftp;
  QtLoop loop(ftp);
  const QStringList args = QCoreApplication::arguments();
  std::vector<std::string> job;
  for (qsizetype i = 1; i < args.size(); ++i) job.push_back(args[i].toStdString());
  return loops::RunJob(ftp, loop, job);
}

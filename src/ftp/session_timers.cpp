// The session's three timers: keep-alive (2000 ms), transfer time-out (5000 ms) and
// stay-on-top (1000 ms). They tick only while some wait pumps the thread's events.
#include <cmath>

#include "component/error_object.h"
#include "ftp/command_line.h"
#include "ftp/session.h"
#include "platform/event_pump.h"

namespace quorvi::detail {

namespace {

constexpr std::uint32_t kKeepAliveMs = 2000;
constexpr std::uint32_t kTimeoutMs = 5000;
constexpr std::uint32_t kOnTopMs = 1000;

// A timer fires from whichever component's wait pumps the thread: it acts for its own.
std::function<void()> Tick(Core& core, const char* name, std::function<void()> body) {
  return [&core, name, body] {
    ActiveError active(*core.shared, core.error_object);
    Contained(name, body);
  };
}

}  // namespace

void FtpSession::CreateTimers() {
  auto& pump = core_.pump();
  keep_alive_timer_ =
      pump.AddTimer(kKeepAliveMs, Tick(core_, "KeepAlive_Timer", [this] { KeepAliveTick(); }), false);
  timeout_timer_ =
      pump.AddTimer(kTimeoutMs, Tick(core_, "Timeout_Timer", [this] { TimeoutTick(); }), false);
  on_top_timer_ = pump.AddTimer(kOnTopMs, Tick(core_, "OnTop_Timer", [this] { StayOnTopTick(); }), false);
}

void FtpSession::StartTimers() {
  auto& pump = core_.pump();
  for (auto id : {keep_alive_timer_, timeout_timer_, on_top_timer_}) pump.SetTimerEnabled(id, true);
}

void FtpSession::StopTimers() {
  auto& pump = core_.pump();
  for (auto id : {keep_alive_timer_, timeout_timer_, on_top_timer_})
    pump.SetTimerEnabled(id, false);
}

void FtpSession::KeepAliveTick() {
  // An abort the batch engine has not seen yet (it was requested from an event handler).
  if (abort_request && hooks.abort_noted && !hooks.abort_noted()) Abort();

  const Settings& s = core_.settings;
  if (s.keep_alive_second <= 0 || !Connected() || s.keep_alive_command.empty()) return;
  const double now = static_cast<double>(platform::TickCount()) / 1000.0;
  if (std::floor(now - core_.rt.last_command_time) <= s.keep_alive_second) return;
  core_.rt.last_command_time = now;
  const bool sent = SendFtpCommand(s.keep_alive_command, std::string(kKeepLastCommandMarker));
  if (sent) ++keep_alive_pending_;
  WriteLog(sent ? "Keep Conn Success:" : "Keep Conn Failure:");
}

void FtpSession::TimeoutTick() {
  const FtpOperations op = core_.rt.operation;
  if ((op == opDownload || op == opUpload) && hooks.transfer_timeout_tick)
    hooks.transfer_timeout_tick();
}

void FtpSession::StayOnTopTick() {
  if (!core_.on_top.Empty() && core_.ui) core_.on_top.Raise(*core_.ui);
}

}  // namespace quorvi::detail

// The command channel's wait loop, shared by every blocking method of the component: 10 ms
// sleeps that pump the thread's events while the awaited exchange runs, with the limit counted
// in sleeps (counter / 100 > limit), so the real time is the limit plus the pumped events' time.
// SendFtpCommand and the reply assembly are members of FtpSession (session.h).
#pragma once

#include <functional>

namespace quorvi::detail {

class Core;

/// Loop step, milliseconds.
inline constexpr int kWaitStepMs = 10;

/// Pumps in 10 ms steps while the shared error object holds no number and running() holds;
/// each_turn (when set) runs once per step after the pump. A step ends early once the wait is
/// over or ready() (when set) holds, so a finished exchange is not held up by the rest of a
/// step; ready() must describe a state from which each_turn ends the wait, or the steps (and
/// with them the limit) would run out at once. Returns false when the limit passed first.
bool WaitWhile(Core& core, const std::function<bool()>& running, int limit_seconds,
               const std::function<void()>& each_turn = {},
               const std::function<bool()>& ready = {});

}  // namespace quorvi::detail

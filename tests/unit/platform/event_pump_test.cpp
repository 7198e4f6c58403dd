#include "platform/event_pump.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace quorvi::platform {
namespace {

TEST(EventPump, OneSharedPumpPerThreadUntilTheLastOwnerLetsGo) {
  EXPECT_EQ(EventPump::Current(), nullptr);
  auto a = EventPump::ForThisThread();
  auto b = EventPump::ForThisThread();
  EXPECT_EQ(a.get(), b.get());
  EXPECT_EQ(EventPump::Current(), a.get());
  a.reset();
  EXPECT_NE(EventPump::Current(), nullptr);
  b.reset();
  EXPECT_EQ(EventPump::Current(), nullptr);
}

TEST(EventPump, PostedNotificationsArriveInOrderAndOnlyWhilePumping) {
  EventPump pump;
  std::vector<int> seen;
  pump.SetNotificationSink([&](const Notification& n) { seen.push_back(n.handle * 100 + n.event); });
  pump.Post({1, 1, 0});
  pump.Post({2, 16, 0});
  pump.Post({1, 32, 0});
  EXPECT_TRUE(seen.empty());
  pump.DoEvents();
  EXPECT_EQ(seen, (std::vector<int>{101, 216, 132}));
}

TEST(EventPump, NotificationPostedByAHandlerWaitsForTheNextPass) {
  EventPump pump;
  int delivered = 0;
  pump.SetNotificationSink([&](const Notification&) {
    if (++delivered < 1000) pump.Post({1, 2, 0});
  });
  pump.Post({1, 2, 0});
  pump.DoEvents();
  EXPECT_EQ(delivered, 1);
  pump.DoEvents();
  EXPECT_EQ(delivered, 2);
}

TEST(EventPump, TimersFireOnlyWhilePumpingInDueOrder) {
  EventPump pump;
  std::string order;
  pump.AddTimer(30, [&] { order += "slow,"; });
  pump.AddTimer(10, [&] { order += "fast,"; });
  SleepNoPump(50);
  EXPECT_EQ(order, "");  // due, but nobody pumped
  pump.DoEvents();
  EXPECT_EQ(order, "fast,slow,");
}

TEST(EventPump, SleepTicksATimerAboutEveryInterval) {
  EventPump pump;
  int ticks = 0;
  auto id = pump.AddTimer(20, [&] { ++ticks; });
  pump.Sleep(210);
  EXPECT_GE(ticks, 7);
  EXPECT_LE(ticks, 11);
  pump.SetTimerEnabled(id, false);
  const int frozen = ticks;
  pump.Sleep(60);
  EXPECT_EQ(ticks, frozen);
  pump.RemoveTimer(id);
  EXPECT_FALSE(pump.TimerEnabled(id));
}

TEST(EventPump, ReentrantPumpingFromHandlersIsSafe) {
  EventPump pump;
  int outer = 0, inner_notifications = 0;
  pump.SetNotificationSink([&](const Notification& n) {
    if (n.event == 1) {
      ++inner_notifications;
      return;
    }
    pump.Post({7, 1, 0});
    pump.DoEvents();  // a handler that waits, as the component's wait loops do
  });
  pump.AddTimer(1, [&] {
    ++outer;
    pump.Sleep(5);  // nested wait inside a tick: the same timer must not re-enter
  });
  pump.Post({7, 2, 0});
  pump.Sleep(40);
  EXPECT_EQ(inner_notifications, 1);
  EXPECT_GE(outer, 2);
}

TEST(EventPump, TimerRemovedByAnotherTickDoesNotFire) {
  EventPump pump;
  EventPump::TimerId second = 0;
  int second_ticks = 0;
  pump.AddTimer(1, [&] { pump.RemoveTimer(second); });
  second = pump.AddTimer(1, [&] { ++second_ticks; });
  SleepNoPump(5);
  pump.DoEvents();
  EXPECT_EQ(second_ticks, 0);
}

TEST(EventPump, SleepUntilEndsWhenTheConditionHolds) {
  int fds[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  EventPump pump;
  bool arrived = false;
  int passes = 0;
  pump.SetHostHook([&] { ++passes; });
  pump.WatchFd(fds[0], POLLIN, [&](short) {
    char buf[16];
    (void)!::read(fds[0], buf, sizeof buf);
    arrived = true;
  });
  const auto elapsed_ms = [&](auto&& wait) {
    const auto start = EventPump::Clock::now();
    wait();
    return std::chrono::duration<double, std::milli>(EventPump::Clock::now() - start).count();
  };
  // Met before the first pass: no pass at all.
  arrived = true;
  EXPECT_TRUE(pump.SleepUntil(500, [&] { return arrived; }));
  EXPECT_EQ(passes, 0);
  // Met by a readiness handler: returns long before the step is over.
  arrived = false;
  ASSERT_EQ(::write(fds[1], "x", 1), 1);
  EXPECT_LT(elapsed_ms([&] { EXPECT_TRUE(pump.SleepUntil(2000, [&] { return arrived; })); }), 1000);
  // Never met: the whole time is slept.
  EXPECT_GE(elapsed_ms([&] { EXPECT_FALSE(pump.SleepUntil(30, [] { return false; })); }), 30);
  pump.UnwatchFd(fds[0]);
  ::close(fds[0]);
  ::close(fds[1]);
}

TEST(EventPump, ShortSleepsWaitInPollInsteadOfSpinning) {
  // Sleep(1) in a loop is how the engines wait for data; it must not burn a core.
  EventPump pump;
  const auto cpu_before = std::clock();
  const auto wall_before = EventPump::Clock::now();
  for (int i = 0; i < 100; ++i) pump.Sleep(1);
  const double cpu = static_cast<double>(std::clock() - cpu_before) / CLOCKS_PER_SEC;
  const double wall = std::chrono::duration<double>(EventPump::Clock::now() - wall_before).count();
  EXPECT_GE(wall, 0.1);
  EXPECT_LT(cpu, wall * 0.5);
}

// What a host's loop sees of the pump: is its descriptor readable right now?
bool HostFdReadable(EventPump& pump, int timeout_ms = 0) {
  pollfd p{pump.HostFd(), POLLIN, 0};
  return ::poll(&p, 1, timeout_ms) == 1;
}

TEST(EventPumpHostLoop, TheDescriptorIsReadableExactlyWhileThereIsWork) {
  int fds[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
  EventPump pump;
  std::string seen;
  pump.SetNotificationSink([&](const Notification&) { seen += "n"; });
  // The socket layer's rule: a handler silences what it has reported until it is re-armed.
  pump.WatchFd(fds[0], POLLIN, [&](short) {
    seen += "r";
    pump.UpdateFd(fds[0], 0);
  });
  ASSERT_GE(pump.HostFd(), 0);
  EXPECT_FALSE(HostFdReadable(pump));
  EXPECT_EQ(pump.HostTimeout(), -1);

  pump.Post({1, 2, 0});  // queued work, e.g. left over when a method returned
  EXPECT_TRUE(HostFdReadable(pump));
  EXPECT_EQ(pump.HostTimeout(), 0);
  pump.ProcessPending();
  EXPECT_EQ(seen, "n");
  EXPECT_FALSE(HostFdReadable(pump));

  ASSERT_EQ(::write(fds[1], "x", 1), 1);  // socket readiness
  EXPECT_TRUE(HostFdReadable(pump));
  pump.ProcessPending();
  EXPECT_EQ(seen, "nr");
  EXPECT_FALSE(HostFdReadable(pump)) << "a silenced socket must not keep the host busy";
  ::close(fds[1]);  // a hang-up on a silenced socket waits until it is re-armed
  EXPECT_FALSE(HostFdReadable(pump));
  pump.UpdateFd(fds[0], POLLIN);
  EXPECT_TRUE(HostFdReadable(pump));
  pump.UnwatchFd(fds[0]);
  EXPECT_FALSE(HostFdReadable(pump));
  ::close(fds[0]);
}

TEST(EventPumpHostLoop, ADueTimerWakesTheHostAndTicksWithoutAnyWait) {
  EventPump pump;
  int ticks = 0;
  auto id = pump.AddTimer(30, [&] { ++ticks; });
  ASSERT_GE(pump.HostFd(), 0);
  EXPECT_GT(pump.HostTimeout(), 0);
  EXPECT_FALSE(HostFdReadable(pump, 10));
  EXPECT_TRUE(HostFdReadable(pump, 200));
  pump.ProcessPending();
  EXPECT_EQ(ticks, 1);
  EXPECT_FALSE(HostFdReadable(pump)) << "the next tick is 30 ms away";
  // A timer enabled while nothing pumps (by a method that has returned) re-arms the descriptor.
  pump.SetTimerEnabled(id, false);
  EXPECT_FALSE(HostFdReadable(pump, 60));
  pump.SetTimerEnabled(id, true);
  EXPECT_TRUE(HostFdReadable(pump, 200));
}

TEST(EventPumpHostLoop, TheTwoHooksNeverCallEachOther) {
  EventPump pump;
  int hook_calls = 0, delivered = 0;
  pump.SetNotificationSink([&](const Notification&) { ++delivered; });
  pump.SetHostHook([&] {
    ++hook_calls;
    pump.ProcessPending();  // what the host's loop, run from the hook, would do
  });
  // A component wait runs the host's loop, whose ProcessPending does nothing there.
  pump.Post({1, 2, 0});
  pump.DoEvents();
  EXPECT_EQ(hook_calls, 1);
  EXPECT_EQ(delivered, 1);
  // The host's loop runs the component, which does not run the host's loop from inside it
  // (a job the host queued would start there, before the host's loop even runs).
  pump.Post({1, 2, 0});
  pump.ProcessPending();
  EXPECT_EQ(hook_calls, 1);
  EXPECT_EQ(delivered, 2);
}

TEST(EventPumpHostLoop, AWakeFromAnotherThreadEndsAWaitAndRunsOnThePumpsThread) {
  EventPump pump;
  std::thread::id ran_on;
  pump.AddWakeHandler([&] { ran_on = std::this_thread::get_id(); });
  std::thread other([&] {
    SleepNoPump(50);
    pump.Wake();
  });
  const auto start = EventPump::Clock::now();
  const bool woke = pump.SleepUntil(5000, [&] { return ran_on != std::thread::id(); });
  other.join();
  EXPECT_TRUE(woke);
  EXPECT_EQ(ran_on, std::this_thread::get_id());
  EXPECT_LT(EventPump::Clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace quorvi::platform

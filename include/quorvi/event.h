// Argument-less, synchronous, multi-subscriber events.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace quorvi {

/// One event of the component. Handlers run synchronously on the host's thread, in the
/// order they subscribed. A handler may subscribe or unsubscribe handlers (the change takes
/// effect with the next raise) and may call back into the component.
class Event {
 public:
  using Handler = std::function<void()>;
  using Id = std::uint64_t;

  /// Adds a handler; returns the id that Unsubscribe takes.
  Id Subscribe(Handler handler) {
    subscribers_.emplace_back(++last_id_, std::move(handler));
    return last_id_;
  }
  /// Removes the handler with this id; false when there is none.
  bool Unsubscribe(Id id);
  /// Removes every handler.
  void Clear() { subscribers_.clear(); }
  /// Number of subscribed handlers.
  std::size_t Count() const { return subscribers_.size(); }
  /// Calls every handler in subscription order. An exception thrown by a handler never
  /// unwinds through the component: it goes to the failure reporter and the other handlers
  /// still run.
  void Raise() const;
  /// Where a throwing handler's exception is reported, with its what() text ("unknown
  /// exception" for one that is not a std::exception). The component sets this for its own
  /// events: it logs the failure and reports it through ErrorNumber/ErrorInfo.
  void SetFailureReporter(std::function<void(const std::string&)> reporter) {
    reporter_ = std::move(reporter);
  }

 private:
  std::vector<std::pair<Id, Handler>> subscribers_;
  Id last_id_ = 0;
  std::function<void(const std::string&)> reporter_;
};

}  // namespace quorvi

#include <quorvi/event.h>

#include <algorithm>
#include <exception>

namespace quorvi {

bool Event::Unsubscribe(Id id) {
  return std::erase_if(subscribers_, [id](const auto& s) { return s.first == id; }) > 0;
}

void Event::Raise() const {
  // A handler may subscribe or unsubscribe while we iterate: work on a copy.
  const auto handlers = subscribers_;
  for (const auto& [id, handler] : handlers) {
    std::string failure;
    try {
      if (handler) handler();
      continue;
    } catch (const std::exception& e) {
      failure = e.what();
    } catch (...) {
      failure = "unknown exception";
    }
    // A host handler's failure must not unwind through the component, nor a reporter's.
    try {
      if (reporter_) reporter_(failure);
    } catch (...) {
    }
  }
}

}  // namespace quorvi

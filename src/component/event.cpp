#include <quorvi/event.h>

#include <algorithm>

namespace quorvi {

bool Event::Unsubscribe(Id id) {
  return std::erase_if(subscribers_, [id](const auto& s) { return s.first == id; }) > 0;
}

void Event::Raise() const {
  // A handler may subscribe or unsubscribe while we iterate: work on a copy.
  const auto handlers = subscribers_;
  for (const auto& [id, handler] : handlers) {
    try {
      if (handler) handler();
    } catch (...) {
      // A host handler's failure must not unwind through the component.
    }
  }
}

}  // namespace quorvi

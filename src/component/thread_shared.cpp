#include "component/thread_shared.h"

namespace quorvi::detail {

namespace {
thread_local std::weak_ptr<ThreadShared> this_thread_shared;
}

std::shared_ptr<ThreadShared> ThreadShared::Acquire() {
  auto shared = this_thread_shared.lock();
  if (!shared) {
    shared = std::make_shared<ThreadShared>();
    this_thread_shared = shared;
  }
  return shared;
}

ThreadShared* ThreadShared::Current() { return this_thread_shared.lock().get(); }

}  // namespace quorvi::detail

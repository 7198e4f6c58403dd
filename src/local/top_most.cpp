#include "local/top_most.h"

namespace quorvi::detail {

void OnTopList::Raise(UserInterface& ui) {
  if (captions_.empty()) return;
  const std::string captions = std::move(captions_);  // a provider call may refill the list
  captions_.clear();
  std::size_t start = 0;
  while (start <= captions.size()) {
    auto end = captions.find('|', start);
    if (end == std::string::npos) end = captions.size();
    if (end > start) ui.SetTopMostByCaption(captions.substr(start, end - start), true);
    start = end + 1;
  }
}

}  // namespace quorvi::detail

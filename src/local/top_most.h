// The on-top window list: captions of the component's own dialogs that the stay-on-top timer
// (every 1000 ms, started by the session) raises above the host's windows.
#pragma once

#include <string>

#include <quorvi/user_interface.h>

namespace quorvi::detail {

class OnTopList {
 public:
  /// Captions separated by "|".
  const std::string& Text() const { return captions_; }
  void Set(std::string captions) { captions_ = std::move(captions); }
  void Clear() { captions_.clear(); }
  bool Empty() const { return captions_.empty(); }

  /// The timer's tick: raises every listed window through the provider, then empties the list.
  void Raise(UserInterface& ui);

 private:
  std::string captions_;
};

/// Lists captions for as long as a dialog is shown; empties the list afterwards.
class ScopedOnTop {
 public:
  ScopedOnTop(OnTopList& list, std::string captions) : list_(list) { list_.Set(std::move(captions)); }
  ~ScopedOnTop() { list_.Clear(); }
  ScopedOnTop(const ScopedOnTop&) = delete;
  ScopedOnTop& operator=(const ScopedOnTop&) = delete;

 private:
  OnTopList& list_;
};

}  // namespace quorvi::detail

#include "transfer/ascii_lines.h"

namespace quorvi::detail {

void AsciiToLocal::Feed(std::string_view wire, std::string& out) {
  out.reserve(out.size() + wire.size());
  for (const char c : wire) {
    if (held_cr_) {
      held_cr_ = false;
      if (c == '\n') {
        out.push_back('\n');
        continue;
      }
      out.push_back('\r');
    }
    if (c == '\r') {
      held_cr_ = true;
    } else {
      out.push_back(c);
    }
  }
}

std::string AsciiToLocal::Finish() {
  const bool held = held_cr_;
  held_cr_ = false;
  return held ? std::string("\r") : std::string();
}

void AsciiToWire::Feed(std::string_view local, std::string& out) {
  out.reserve(out.size() + local.size() + local.size() / 16);
  for (const char c : local) {
    if (c == '\n' && !after_cr_) out.push_back('\r');
    out.push_back(c);
    after_cr_ = c == '\r';
  }
}

}  // namespace quorvi::detail

// Control-connection replies: assembly must give the same verdict whatever chunks the bytes
// arrive in, and never crash on any bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "ftp/reply_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvi::detail;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const ReplyScan whole = ScanReply(text);
  // Every prefix, as the buffer stands after each received byte.
  for (std::size_t cut = 0; cut <= size; ++cut) {
    const ReplyScan part = ScanReply(text.substr(0, cut));
    if (part.code < 0 || part.code > 999) std::abort();
  }
  if (whole.code < 0 || whole.code > 999) std::abort();
  (void)GetResponseInfo(text);
  (void)TrimReceived(text);
  (void)ReplyMessageText(text);
  // Complete replies taken as the bytes arrive one by one are those taken from the whole
  // text at once, and their texts add up to what was consumed.
  std::string whole_pending(text), bytewise_pending;
  std::vector<CompleteReply> at_once, one_by_one;
  while (auto reply = TakeCompleteReply(whole_pending)) at_once.push_back(*reply);
  for (char c : text) {
    bytewise_pending += c;
    while (auto reply = TakeCompleteReply(bytewise_pending)) one_by_one.push_back(*reply);
  }
  if (at_once.size() != one_by_one.size() || whole_pending != bytewise_pending) std::abort();
  for (std::size_t i = 0; i < at_once.size(); ++i) {
    if (at_once[i].code != one_by_one[i].code || at_once[i].text != one_by_one[i].text ||
        at_once[i].code > 999)
      std::abort();
  }
  return 0;
}

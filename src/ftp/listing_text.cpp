#include "ftp/listing_text.h"

#include "local/encoding.h"

namespace quorvi::detail {

void ListingText::Append(std::string_view bytes, bool utf8) {
  byte_count_ += bytes.size();
  if (!utf8) {
    text_ += FromAnsi(bytes);
    return;
  }
  std::string block = std::move(tail_);
  block.append(bytes);
  const std::size_t complete = CompleteUTF8Length(block);
  tail_ = block.substr(complete);
  block.resize(complete);
  text_ += DecodeUTF8(block);
}

std::string ListingText::Finish() {
  if (!tail_.empty()) text_ += DecodeUTF8(tail_);
  std::string text = std::move(text_);
  Clear();
  return text;
}

void ListingText::Clear() {
  text_.clear();
  tail_.clear();
  byte_count_ = 0;
}

}  // namespace quorvi::detail

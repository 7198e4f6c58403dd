#include "ftp/listing_text.h"

#include <algorithm>

#include "local/encoding.h"

namespace quorvi::detail {

void ListingText::Append(std::string_view bytes, bool utf8) {
  byte_count_ += bytes.size();
  line_count_ += static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
  // In a UTF-8 session the listing is taken byte for byte: a name that is not valid UTF-8 is
  // still the name of its file, and only the same bytes reach that file again (RETR, DELE, the
  // local copy's name). Valid UTF-8 is the same either way.
  if (utf8) {
    text_.append(bytes);
  } else {
    text_ += FromAnsi(bytes);
  }
}

std::string ListingText::Finish() {
  std::string text = std::move(text_);
  Clear();
  return text;
}

void ListingText::Clear() {
  text_.clear();
  byte_count_ = 0;
  line_count_ = 0;
}

}  // namespace quorvi::detail

// The text of one listing as it arrives on the data connection, block by block. Each block is
// decoded when it arrives (UTF-8 or the ANSI code page). A UTF-8 character split across two
// blocks is not decoded half by half: the incomplete tail of a block is carried over and
// decoded with the next block, so every split of a listing gives the same text. (Multi-byte
// ANSI code pages such as GBK are decoded per block as they come.)
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorvi::detail {

class ListingText {
 public:
  /// Appends one received block: in a UTF-8 session its bytes as they are, otherwise converted
  /// from the code page.
  void Append(std::string_view bytes, bool utf8);
  /// The whole text; the object is empty afterwards.
  std::string Finish();
  /// The text so far.
  const std::string& text() const { return text_; }
  /// Bytes received since the last Clear/Finish.
  std::size_t byte_count() const { return byte_count_; }
  /// Line breaks (LF) received since the last Clear/Finish: an upper bound on the entries.
  std::size_t line_count() const { return line_count_; }
  void Clear();

 private:
  std::string text_;
  std::size_t byte_count_ = 0;
  std::size_t line_count_ = 0;
};

}  // namespace quorvi::detail

// The message table: the 51 user-visible texts of the component (English column).
#pragma once

#include <array>
#include <initializer_list>
#include <string>

namespace quorvi::detail {

class MessageTable {
 public:
  static constexpr int kCount = 51;
  MessageTable();
  /// Entry index of the current language; "" outside 0..50.
  std::string GetMessage(int index) const;
  /// All entries joined by "|".
  std::string Joined() const;
  /// Replaces all entries from a "|"-joined text; false (table unchanged) unless it has 51 pieces.
  bool ReplaceFrom(const std::string& joined);

 private:
  std::array<std::string, kCount> entries_;
};

/// Replaces "{0}", "{1}" ... by the given values, in order.
std::string FormatMessage(std::string text, std::initializer_list<std::string> values);

}  // namespace quorvi::detail

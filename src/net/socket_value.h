// The typed values a socket sends and receives (the automation variant of the original
// interface) and their byte layouts: little-endian integers, IEEE floats, text in the wire
// encoding.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace quorvi::detail {

/// A currency value: the amount × 10000 as a 64-bit integer.
struct Currency {
  std::int64_t scaled = 0;
  bool operator==(const Currency&) const = default;
};
/// A date as the automation double (days since 1899-12-30).
struct Date {
  double value = 0;
  bool operator==(const Date&) const = default;
};
/// A byte array; the bytes are carried in a std::string as elsewhere in the component.
struct ByteArray {
  std::string bytes;
  bool operator==(const ByteArray&) const = default;
};

/// Empty, byte, 16-bit, 32-bit, single, double, currency, date, Boolean, text (UTF-8), bytes.
using SocketValue = std::variant<std::monostate, std::uint8_t, std::int16_t, std::int32_t, float,
                                 double, Currency, Date, bool, std::string, ByteArray>;

/// Variant-type codes that GetData and PeekData take.
enum VarType : std::int32_t {
  vbInteger = 2,
  vbLong = 3,
  vbSingle = 4,
  vbDouble = 5,
  vbCurrency = 6,
  vbDate = 7,
  vbString = 8,
  vbBoolean = 11,
  vbByte = 17,
  vbByteArray = 8209,
};

/// Bytes that a value puts on the wire; text goes through EncodeUTF8 or ToAnsi. Empty for
/// the empty value (the send buffer then keeps its content).
std::optional<std::string> ValueToBytes(const SocketValue& value, bool utf8);
/// The value of varType read from received bytes (text from the ANSI code page; a short
/// number is zero-padded); nothing for an unknown code.
std::optional<SocketValue> BytesToValue(std::string_view bytes, std::int32_t varType);

}  // namespace quorvi::detail

#include "net/socket_value.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <type_traits>

#include "local/encoding.h"

namespace quorvi::detail {

namespace {

template <typename T>
std::string LittleEndianBytes(T value) {
  static_assert(std::is_trivially_copyable_v<T>);
  std::array<unsigned char, sizeof(T)> raw{};
  std::memcpy(raw.data(), &value, sizeof(T));
  if constexpr (std::endian::native == std::endian::big) std::reverse(raw.begin(), raw.end());
  return std::string(reinterpret_cast<const char*>(raw.data()), raw.size());
}

template <typename T>
T FromLittleEndian(std::string_view bytes) {
  std::array<unsigned char, sizeof(T)> raw{};
  std::memcpy(raw.data(), bytes.data(), std::min(bytes.size(), raw.size()));
  if constexpr (std::endian::native == std::endian::big) std::reverse(raw.begin(), raw.end());
  T value;
  std::memcpy(&value, raw.data(), sizeof(T));
  return value;
}

}  // namespace

std::optional<std::string> ValueToBytes(const SocketValue& value, bool utf8) {
  struct Visitor {
    bool utf8;
    std::optional<std::string> operator()(std::monostate) const { return std::nullopt; }
    std::optional<std::string> operator()(std::uint8_t v) const { return std::string(1, static_cast<char>(v)); }
    std::optional<std::string> operator()(std::int16_t v) const { return LittleEndianBytes(v); }
    std::optional<std::string> operator()(std::int32_t v) const { return LittleEndianBytes(v); }
    std::optional<std::string> operator()(float v) const { return LittleEndianBytes(v); }
    std::optional<std::string> operator()(double v) const { return LittleEndianBytes(v); }
    std::optional<std::string> operator()(const Currency& v) const { return LittleEndianBytes(v.scaled); }
    std::optional<std::string> operator()(const Date& v) const { return LittleEndianBytes(v.value); }
    // An automation Boolean is 16 bits: 0 or -1.
    std::optional<std::string> operator()(bool v) const {
      return LittleEndianBytes(static_cast<std::int16_t>(v ? -1 : 0));
    }
    std::optional<std::string> operator()(const std::string& v) const {
      return utf8 ? EncodeUTF8(v) : ToAnsi(v);
    }
    std::optional<std::string> operator()(const ByteArray& v) const { return v.bytes; }
  };
  return std::visit(Visitor{utf8}, value);
}

std::optional<SocketValue> BytesToValue(std::string_view bytes, std::int32_t varType) {
  switch (varType) {
    case vbByteArray: return SocketValue{ByteArray{std::string(bytes)}};
    case vbByte: return SocketValue{static_cast<std::uint8_t>(bytes.empty() ? 0 : bytes[0])};
    case vbBoolean: return SocketValue{FromLittleEndian<std::int16_t>(bytes) != 0};
    case vbInteger: return SocketValue{FromLittleEndian<std::int16_t>(bytes)};
    case vbLong: return SocketValue{FromLittleEndian<std::int32_t>(bytes)};
    case vbSingle: return SocketValue{FromLittleEndian<float>(bytes)};
    case vbDouble: return SocketValue{FromLittleEndian<double>(bytes)};
    case vbCurrency: return SocketValue{Currency{FromLittleEndian<std::int64_t>(bytes)}};
    case vbDate: return SocketValue{Date{FromLittleEndian<double>(bytes)}};
    case vbString: return SocketValue{FromAnsi(bytes)};
    default: return std::nullopt;
  }
}

}  // namespace quorvi::detail

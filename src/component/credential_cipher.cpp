#include "component/credential_cipher.h"

#include <cstdint>

namespace quorvi::detail {

namespace {

constexpr std::string_view kKey = "Qv0r-Ftp/Lype#Key:4.5.10";
constexpr std::string_view kHex = "0123456789ABCDEF";

// Key stream byte i: the key repeated, stirred with the position so repeats do not show.
std::uint8_t KeyByte(std::size_t i) {
  return static_cast<std::uint8_t>(static_cast<std::uint8_t>(kKey[i % kKey.size()]) ^
                                   static_cast<std::uint8_t>(i * 131 + 7));
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

std::string Encipher(std::string_view plain) {
  std::string out;
  out.reserve(plain.size() * 2);
  for (std::size_t i = 0; i < plain.size(); ++i) {
    const auto b = static_cast<std::uint8_t>(static_cast<std::uint8_t>(plain[i]) ^ KeyByte(i));
    out += kHex[b >> 4];
    out += kHex[b & 0x0F];
  }
  return out;
}

std::string Decipher(std::string_view enciphered) {
  if (enciphered.size() % 2 != 0) return std::string(enciphered);
  std::string out;
  out.reserve(enciphered.size() / 2);
  for (std::size_t i = 0; i < enciphered.size(); i += 2) {
    const int hi = HexValue(enciphered[i]);
    const int lo = HexValue(enciphered[i + 1]);
    if (hi < 0 || lo < 0) return std::string(enciphered);
    out += static_cast<char>(static_cast<std::uint8_t>((hi << 4) | lo) ^ KeyByte(i / 2));
  }
  return out;
}

}  // namespace quorvi::detail

#include "local/registry.h"

#include <cmath>
#include <cstdlib>
#include <optional>
#include <vector>

namespace quorvi::detail {
namespace {

using platform::KeyPath;
using platform::RegistryValue;

struct RootName {
  const char* name;
  const char* alternative;
  std::int64_t value;
};

constexpr RootName kRoots[] = {
    {"HKEY_CLASSES_ROOT", "&H80000000", 0x80000000},
    {"HKEY_CURRENT_USER", "&H80000001", 0x80000001},
    {"HKEY_LOCAL_MACHINE", "&H80000002", 0x80000002},
    {"HKEY_USERS", "&H80000003", 0x80000003},
    {"HKEY_PERFORMANCE_DATA", "&H80000004", 0x80000004},
    {"HKEY_CURRENT_CONFIG", "&H80000005", 0x80000005},
    {"HKEY_DYN_DATA", "&H80000006", 0x80000006},
};

std::string Upper(std::string text) {
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

const RootName* FindRoot(const std::string& name) {
  const std::string upper = Upper(name);
  for (const auto& root : kRoots)
    if (upper == root.name || upper == root.alternative) return &root;
  return nullptr;
}

// The store path of hKey\SubKey, or nothing when the root is unknown.
std::optional<KeyPath> KeyOf(const std::string& hKey, const std::string& SubKey) {
  const RootName* root = FindRoot(hKey);
  if (!root) return std::nullopt;
  KeyPath key{root->name};
  const std::string sub = FormatSubKey(SubKey);
  std::size_t start = 0;
  while (start <= sub.size()) {
    auto end = sub.find('\\', start);
    if (end == std::string::npos) end = sub.size();
    if (end > start) key.push_back(sub.substr(start, end - start));  // "a\\b" means a\b
    start = end + 1;
  }
  return key;
}

// The value a 32-bit conversion of the text gives: decimal (rounded half to even) or "&H" hex.
std::optional<std::int32_t> ToLong(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return std::nullopt;
  const std::string t = text.substr(first, text.find_last_not_of(" \t") - first + 1);
  char* end = nullptr;
  if (t.size() > 2 && Upper(t.substr(0, 2)) == "&H") {
    const unsigned long long v = std::strtoull(t.c_str() + 2, &end, 16);
    if (*end != '\0' || v > 0xFFFFFFFFULL || t[2] == '-') return std::nullopt;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(v));
  }
  const double d = std::strtod(t.c_str(), &end);
  if (*end != '\0' || !std::isfinite(d)) return std::nullopt;
  const double r = std::nearbyint(d);
  if (r < -2147483648.0 || r > 2147483647.0) return std::nullopt;
  return static_cast<std::int32_t>(r);
}

std::string DwordBytes(std::int32_t v) {
  const auto u = static_cast<std::uint32_t>(v);
  std::string out(4, '\0');
  for (int i = 0; i < 4; ++i) out[i] = static_cast<char>((u >> (8 * i)) & 0xFF);
  return out;
}

std::string CutAtZero(const std::string& text) { return text.substr(0, text.find('\0')); }

// The reader's text of a value: text, decimal number or "1A 0 FF " for binary.
std::string ValueText(const RegistryValue& value) {
  switch (value.type) {
    case platform::kRegSz:
      return CutAtZero(value.data);
    case platform::kRegDword: {
      if (value.data.size() < 4) return kGetValueError;
      std::uint32_t u = 0;
      for (int i = 3; i >= 0; --i) u = (u << 8) | static_cast<unsigned char>(value.data[i]);
      return std::to_string(static_cast<std::int32_t>(u));
    }
    case platform::kRegBinary: {
      static constexpr char kHex[] = "0123456789ABCDEF";
      std::string out;
      for (unsigned char b : value.data) {
        if (b >= 16) out += kHex[b >> 4];
        out += kHex[b & 15];
        out += ' ';
      }
      return out;
    }
    default:
      return kGetValueError;
  }
}

// The built-in view: the component's class key and its two category keys. Hosts that embed
// the component in scripted pages look for the categories; answering them from here rather than
// writing them at every creation keeps the user's store free of keys nobody asked for.
constexpr const char* kClassCategories =
    "SOFTWARE\\Classes\\CLSID\\{31AE647D-11D1-4E6A-BE2D-90157640019A}\\Implemented Categories\\";
constexpr const char* kCategories[] = {
    "{7DD95801-9882-11CF-9FA9-00AA006C42C4}",  // safe for scripting
    "{7DD95802-9882-11CF-9FA9-00AA006C42C4}",  // safe for initialisation
};

// True when the key is one of the built-in keys or lies on the way to one (names compare
// without case, as stored keys do).
bool IsBuiltIn(const KeyPath& key) {
  for (const char* category : kCategories) {
    const auto full = KeyOf("HKEY_LOCAL_MACHINE", std::string(kClassCategories) + category);
    if (key.empty() || key.size() > full->size() || key[0] != (*full)[0]) continue;
    bool same = true;
    for (std::size_t i = 1; i < key.size() && same; ++i)
      same = platform::FoldCase(key[i]) == platform::FoldCase((*full)[i]);
    if (same) return true;
  }
  return false;
}

}  // namespace

std::int64_t GetRootKey(const std::string& name) {
  const RootName* root = FindRoot(name);
  return root ? root->value : -1;
}

std::string FormatSubKey(const std::string& path) {
  std::string out = path;
  for (char& c : out)
    if (c == '/') c = '\\';
  if (!out.empty() && out[0] == '\\') out.erase(0, 1);
  return out;
}

bool Regedit::RegCreate(const std::string& hKey, const std::string& SubKey) {
  const auto key = KeyOf(hKey, SubKey);
  return key && store_.CreateKey(*key);
}

bool Regedit::RegSetValue(const std::string& hKey, const std::string& SubKey,
                          const std::string& Value) {
  const auto key = KeyOf(hKey, SubKey);
  return key && store_.CreateKey(*key) &&
         store_.SetValue(*key, "", RegistryValue{platform::kRegSz, Value});
}

bool Regedit::RegSetValueEx(const std::string& hKey, const std::string& SubKey,
                            const std::string& name, const std::string& Value,
                            const std::string& strType) {
  const auto key = KeyOf(hKey, SubKey);
  if (!key || !store_.KeyExists(*key)) return false;
  if (strType == "REG_SZ") return store_.SetValue(*key, name, {platform::kRegSz, Value});
  if (strType == "REG_DWORD") {
    const auto number = ToLong(Value);
    return number && store_.SetValue(*key, name, {platform::kRegDword, DwordBytes(*number)});
  }
  return false;
}

bool Regedit::RegDelete(const std::string& hKey, const std::string& SubKey) {
  const auto key = KeyOf(hKey, SubKey);
  return key && store_.DeleteKey(*key);
}

bool Regedit::RegDeleteValue(const std::string& hKey, const std::string& SubKey) {
  return RegDeleteValueEx(hKey, SubKey, "");
}

bool Regedit::RegDeleteValueEx(const std::string& hKey, const std::string& SubKey,
                               const std::string& name) {
  const auto key = KeyOf(hKey, SubKey);
  return key && store_.DeleteValue(*key, name);
}

std::string Regedit::RegGetValue(const std::string& hKey, const std::string& SubKey) {
  const auto key = KeyOf(hKey, SubKey);
  const auto value = key ? store_.GetValue(*key, "") : std::nullopt;
  return value ? CutAtZero(value->data) : kGetValueError;
}

std::string Regedit::RegGetValueEx(const std::string& hKey, const std::string& SubKey,
                                   const std::string& name) {
  const auto key = KeyOf(hKey, SubKey);
  const auto value = key ? store_.GetValue(*key, name) : std::nullopt;
  return value ? ValueText(*value) : kGetValueError;
}

bool Regedit::RegExists(const std::string& hKey, const std::string& SubKey) {
  const auto key = KeyOf(hKey, SubKey);
  return key && (IsBuiltIn(*key) || store_.KeyExists(*key));
}

}  // namespace quorvi::detail

// The registry methods' rules: root names, sub-key paths, value types and the texts the
// readers return. Storage is the platform's registry store.
#pragma once

#include <cstdint>
#include <string>

#include "platform/registry_store.h"

namespace quorvi::detail {

/// Text the readers return in place of a value on any failure.
inline constexpr const char* kGetValueError = "GetValueError";

/// Root key value of a root name or its "&H8000000n" form (any case); -1 for anything else.
std::int64_t GetRootKey(const std::string& name);
/// Every "/" becomes "\"; one leading "\" is removed.
std::string FormatSubKey(const std::string& path);

/// The registry operations over one store. Every operation returns false (the readers
/// kGetValueError) on any failure and never throws.
///
/// Besides the stored keys, RegExists sees a read-only built-in view: the component's class key
/// under HKEY_LOCAL_MACHINE with its two "Implemented Categories" keys (safe for scripting and
/// for initialisation) and their parents. They are answered from a table and never written, so
/// a component that only reads leaves the store untouched.
class Regedit {
 public:
  explicit Regedit(platform::RegistryStore store = platform::RegistryStore::Default())
      : store_(std::move(store)) {}

  bool RegCreate(const std::string& hKey, const std::string& SubKey);
  bool RegSetValue(const std::string& hKey, const std::string& SubKey, const std::string& Value);
  bool RegSetValueEx(const std::string& hKey, const std::string& SubKey, const std::string& name,
                     const std::string& Value, const std::string& strType = "REG_SZ");
  bool RegDelete(const std::string& hKey, const std::string& SubKey);
  bool RegDeleteValue(const std::string& hKey, const std::string& SubKey);
  bool RegDeleteValueEx(const std::string& hKey, const std::string& SubKey,
                        const std::string& name);
  std::string RegGetValue(const std::string& hKey, const std::string& SubKey);
  std::string RegGetValueEx(const std::string& hKey, const std::string& SubKey,
                            const std::string& name);
  bool RegExists(const std::string& hKey, const std::string& SubKey);

 private:
  platform::RegistryStore store_;
};

}  // namespace quorvi::detail

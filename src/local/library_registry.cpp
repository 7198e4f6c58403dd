// FtpLibrary's registry members. They never report: the result alone tells failure.
#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "local/registry.h"

namespace quorvi {
namespace {

// Runs a registry operation on the user's store inside the never-throw boundary.
template <typename T, typename Op>
T Registry(detail::Core& core, const char* name, T fallback, Op&& op) {
  return detail::Guarded(core, name, std::move(fallback), [&] {
    detail::Regedit regedit;
    return op(regedit);
  });
}

}  // namespace

bool FtpLibrary::RegCreate(const std::string& hKey, const std::string& SubKey) {
  return Registry(*core_, "RegCreate", false,
                  [&](detail::Regedit& r) { return r.RegCreate(hKey, SubKey); });
}

bool FtpLibrary::RegSetValue(const std::string& hKey, const std::string& SubKey,
                             const std::string& Value) {
  return Registry(*core_, "RegSetValue", false,
                  [&](detail::Regedit& r) { return r.RegSetValue(hKey, SubKey, Value); });
}

bool FtpLibrary::RegSetValueEx(const std::string& hKey, const std::string& SubKey,
                               const std::string& name, const std::string& Value,
                               const std::string& strType) {
  return Registry(*core_, "RegSetValueEx", false, [&](detail::Regedit& r) {
    return r.RegSetValueEx(hKey, SubKey, name, Value, strType);
  });
}

bool FtpLibrary::RegDelete(const std::string& hKey, const std::string& SubKey) {
  return Registry(*core_, "RegDelete", false,
                  [&](detail::Regedit& r) { return r.RegDelete(hKey, SubKey); });
}

bool FtpLibrary::RegDeleteValue(const std::string& hKey, const std::string& SubKey) {
  return Registry(*core_, "RegDeleteValue", false,
                  [&](detail::Regedit& r) { return r.RegDeleteValue(hKey, SubKey); });
}

bool FtpLibrary::RegDeleteValueEx(const std::string& hKey, const std::string& SubKey,
                                  const std::string& name) {
  return Registry(*core_, "RegDeleteValueEx", false,
                  [&](detail::Regedit& r) { return r.RegDeleteValueEx(hKey, SubKey, name); });
}

std::string FtpLibrary::RegGetValue(const std::string& hKey, const std::string& SubKey) {
  return Registry(*core_, "RegGetValue", std::string(detail::kGetValueError),
                  [&](detail::Regedit& r) { return r.RegGetValue(hKey, SubKey); });
}

std::string FtpLibrary::RegGetValueEx(const std::string& hKey, const std::string& SubKey,
                                      const std::string& name) {
  return Registry(*core_, "RegGetValueEx", std::string(detail::kGetValueError),
                  [&](detail::Regedit& r) { return r.RegGetValueEx(hKey, SubKey, name); });
}

bool FtpLibrary::RegExists(const std::string& hKey, const std::string& SubKey) {
  return Registry(*core_, "RegExists", false,
                  [&](detail::Regedit& r) { return r.RegExists(hKey, SubKey); });
}

}  // namespace quorvi

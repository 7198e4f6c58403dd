// Code page conversion through iconv, and the locale's byte code page.
#pragma once

#include <iconv.h>

#include <string>
#include <string_view>

namespace quorvi::platform {

/// One open iconv conversion (RAII). Conversion never fails: input the source code page cannot
/// hold, and characters the target cannot represent, become the replacement given at open.
class CodeConverter {
 public:
  /// Opens from → to; `replacement` stands for every byte sequence that cannot be converted.
  CodeConverter(const std::string& from, const std::string& to, std::string replacement);
  ~CodeConverter();
  CodeConverter(const CodeConverter&) = delete;
  CodeConverter& operator=(const CodeConverter&) = delete;

  /// False when iconv does not know one of the names.
  bool valid() const { return handle_ != kInvalid; }
  /// Converts the whole input (stateless between calls).
  std::string Convert(std::string_view input) const;

 private:
  static inline const iconv_t kInvalid = reinterpret_cast<iconv_t>(-1);
  iconv_t handle_ = kInvalid;
  bool from_utf8_ = false;
  std::string replacement_;
};

/// The codeset of the user's LC_CTYPE locale (nl_langinfo(CODESET)), without touching the
/// process-wide locale; "" when the environment names no usable locale.
std::string LocaleCodeset();

/// Value of an environment variable ("" when unset).
std::string EnvironmentValue(const char* name);

}  // namespace quorvi::platform

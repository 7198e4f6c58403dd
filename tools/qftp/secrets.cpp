#include "secrets.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace qftp {

namespace {

constexpr char kBlank = '*';
// The short options that take no value and may stand before -p in a bundle.
constexpr std::string_view kShortFlags = "qv";

void Blank(char* text) {
  if (text != nullptr) std::memset(text, kBlank, std::strlen(text));
}

// The password of a URL: between the first ":" of the user part and the last "@" of the
// authority (a password may hold an unescaped "@", as the URL parser reads it).
void BlankUrlPassword(char* arg) {
  const std::string_view text(arg);
  const auto scheme_end = text.find("://");
  if (scheme_end == std::string_view::npos) return;
  const std::size_t start = scheme_end + 3;
  const std::size_t end = std::min(text.find('/', start), text.size());
  const std::string_view authority = text.substr(start, end - start);
  const auto at = authority.rfind('@');
  if (at == std::string_view::npos) return;
  const auto colon = authority.substr(0, at).find(':');
  if (colon == std::string_view::npos) return;
  std::memset(arg + start + colon + 1, kBlank, at - colon - 1);
}

// A bundle of short options ("-qpSECRET", "-p"): where the password starts, if it holds -p.
// Returns nullptr when the bundle has no -p; sets takes_next when the value is the next argument.
char* PasswordInBundle(char* arg, bool& takes_next) {
  takes_next = false;
  for (char* c = arg + 1; *c != '\0'; ++c) {
    if (*c == 'p') {
      takes_next = c[1] == '\0';
      return takes_next ? nullptr : c + 1;
    }
    if (kShortFlags.find(*c) == std::string_view::npos) return nullptr;  // -H, -P, -u: a value
  }
  return nullptr;
}

}  // namespace

void BlankSecretsInArguments(int argc, char** argv) {
  bool options = true;
  for (int i = 1; i < argc; ++i) {
    char* arg = argv[i];
    const std::string_view text(arg);
    BlankUrlPassword(arg);
    if (!options) continue;
    if (text == "--") {
      options = false;
    } else if (text == "--password") {
      if (i + 1 < argc) Blank(argv[++i]);
    } else if (text.starts_with("--password=")) {
      Blank(arg + std::strlen("--password="));
    } else if (text.size() > 1 && text[0] == '-' && text[1] != '-') {
      bool takes_next = false;
      Blank(PasswordInBundle(arg, takes_next));
      if (takes_next && i + 1 < argc) Blank(argv[++i]);
    }
  }
}

std::optional<std::string> TakeEnvironmentPassword() {
  char* value = std::getenv("QFTP_PASSWORD");
  if (value == nullptr) return std::nullopt;
  std::string password(value);
  // getenv points into the block the kernel shows as /proc/PID/environ; unsetenv alone only
  // drops the pointer to it.
  Blank(value);
  ::unsetenv("QFTP_PASSWORD");
  return password;
}

}  // namespace qftp

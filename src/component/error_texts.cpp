// GetErrorText and the component's own error rows (200xx) and HTTP rows (18xxx).
#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

#include "component/error_object.h"

namespace quorvi::detail {

namespace {

// A row names a message-table index, or (index -1) carries a literal text.
struct ErrorRow {
  std::int32_t number;
  int message;
  std::string_view literal;
};

std::string RowText(const ErrorRow& row) {
  return row.message >= 0 ? GetMessage(row.message) : std::string(row.literal);
}

template <std::size_t N>
const ErrorRow* FindRow(const std::array<ErrorRow, N>& rows, std::int32_t number) {
  auto it = std::find_if(rows.begin(), rows.end(),
                         [number](const ErrorRow& r) { return r.number == number; });
  return it == rows.end() ? nullptr : &*it;
}

constexpr std::array<ErrorRow, 23> kComponentRows = {{
    {20001, 0, {}},
    {20002, 1, {}},
    {20003, 37, {}},
    {20004, 20, {}},
    {20005, 10, {}},
    {20006, 11, {}},
    {20007, 8, {}},
    {20008, 9, {}},
    {20009, 8, {}},
    {20010, 9, {}},
    {20011, 12, {}},
    {20012, 13, {}},
    {20019, 16, {}},
    {20020, 17, {}},
    {20021, 18, {}},
    {20022, 19, {}},
    {20023, 39, {}},
    {20024, 40, {}},
    {20050, -1, "Create Window Error"},
    {20061, 50, {}},
    {22040, -1, "The component was called on another thread than the one that created it"},
    {22041, -1, "The local source is a pipe or device: it can be sent whole but not resumed or appended"},
    {22042, -1, "Resuming is not possible in ASCII mode"},
}};

constexpr std::array<ErrorRow, 8> kTlsRows = {{
    {19000, -1, "Encrypted connections are not available"},
    {19001, -1, "The server refused to encrypt the connection (AUTH TLS)"},
    {19002, -1, "TLS handshake failed"},
    {19003, -1, "The server's certificate is not trusted"},
    {19004, -1, "The server's certificate is not for this host"},
    {19005, -1, "The server's public key is not the pinned one"},
    {19006, -1, "The data connection did not resume the TLS session"},
    {19007, -1, "The encrypted connection failed"},
}};

constexpr std::array<ErrorRow, 7> kHostileInputRows = {{
    {22000, -1, "The text contains a line break (CR or LF) and is not sent"},
    {22001, -1, "The text contains a NUL character and is not sent"},
    {22002, -1, "The listing is larger than MaxListingBytes"},
    {22003, -1, "The listing has more entries than MaxListingEntries"},
    {22004, -1, "The server sent more bytes than the file's size"},
    {22005, -1, "A redirect to another scheme than http:// or https:// is refused"},
    {22006, -1, "The response has Content-Length headers that differ"},
}};

constexpr std::array<ErrorRow, 2> kLocalSecurityRows = {{
    {22020, -1,
     "No log file: this user has no folder for it (HOME, XDG_STATE_HOME and XDG_RUNTIME_DIR "
     "are unset)"},
    {22021, -1, "Not uploaded: a symbolic link that points outside the folder being uploaded"},
}};

constexpr std::array<ErrorRow, 5> kHttpRows = {{
    {18001, 48, {}},
    {18002, 49, {}},
    {18003, 5, {}},
    {18004, 4, {}},
    {18404, 47, {}},
}};

}  // namespace

std::string GetHttpErrorText(std::int32_t number) {
  const auto* row = FindRow(kHttpRows, number);
  return row ? RowText(*row) : std::string();
}

std::string GetErrorText(std::int32_t number) {
  if (const auto* row = FindRow(kComponentRows, number)) return RowText(*row);
  if (const auto* row = FindRow(kTlsRows, number)) return RowText(*row);
  if (const auto* row = FindRow(kHostileInputRows, number)) return RowText(*row);
  if (const auto* row = FindRow(kLocalSecurityRows, number)) return RowText(*row);
  // Reply codes are 16-bit keys; a number beyond that range has no table text.
  if (number < std::numeric_limits<std::int16_t>::min() ||
      number > std::numeric_limits<std::int16_t>::max()) {
    return {};
  }
  return GetReplyText(number);
}

}  // namespace quorvi::detail

// Listing text from a server, in any of the formats read line by line: any bytes must give a
// collection or nothing, never a crash, and every entry must have a name; one that keeps a "/" (not an echo of the listed folder) must be
// refused by the tree jobs.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "ftp/listing_parser.h"
#include "local/case_folding.h"

namespace {

void Check(const std::optional<quorvi::CFtpFiles>& files) {
  if (!files) return;
  for (const auto& file : *files) {
    const std::string& name = file.FileName();
    if (name.empty() || name == "." || name == "..") std::abort();
    if (name.find('/') != std::string::npos && quorvi::detail::UsableEntryName(name)) std::abort();
    if (file.IsLink() && file.IsDirectory()) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvi::detail;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Check(GetFileListX(text, {"/tree", 2026}));
  Check(GetFileListX(text, {"", 0}));  // no context year
  Check(GetFileListX(text, {"/m", 2026, {2026, 2, 29, 23, 59, 59}, true}));  // MLSD, odd "now"
  (void)GetListDate(text.substr(0, 12), 2026);
  (void)GetDosDate(text.substr(0, 8), text.substr(std::min<std::size_t>(8, size)), 2026);
  (void)GetMLSDFileTime(text);
  (void)FoldCase(text);
  return 0;
}

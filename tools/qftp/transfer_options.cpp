#include "transfer_options.h"

#include <charconv>
#include <functional>

#include "options.h"

namespace qftp {

namespace {

template <typename T>
T Number(const std::string& name, const std::string& value) {
  T n{};
  const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), n);
  if (ec != std::errc() || end != value.data() + value.size() || n < 0)
    throw UsageError{name + " needs a number, not '" + value + "'"};
  return n;
}

struct TransferRow {
  const char* name;
  bool takes_value;
  std::function<void(TransferOptions&, const std::string& name, const std::string& value)> apply;
};

const std::vector<TransferRow>& Rows() {
  static const std::vector<TransferRow> rows = {
      {"--replace", true,
       [](TransferOptions& o, auto& n, auto& v) {
         if (!ReplaceCode(v)) throw UsageError{n + " is ask, overwrite, resume, skip or rename"};
         o.replace = v;
       }},
      {"--rename-rule", true, [](TransferOptions& o, auto&, auto& v) { o.rename_rule = v; }},
      {"--retries", true,
       [](TransferOptions& o, auto& n, auto& v) { o.retries = Number<int>(n, v); }},
      {"--max-speed", true,
       [](TransferOptions& o, auto& n, auto& v) { o.max_speed_kib = Number<int>(n, v); }},
      {"--max-size", true,
       [](TransferOptions& o, auto& n, auto& v) { o.max_size_mib = Number<double>(n, v); }},
      {"--allow", true, [](TransferOptions& o, auto&, auto& v) { o.allow = v; }},
      {"--forbid", true, [](TransferOptions& o, auto&, auto& v) { o.forbid = v; }},
      {"--without-list", false, [](TransferOptions& o, auto&, auto&) { o.without_list = true; }},
      {"--correspond-folder", false,
       [](TransferOptions& o, auto&, auto&) { o.correspond_folder = true; }},
      {"--total", false, [](TransferOptions& o, auto&, auto&) { o.total = true; }},
      {"--status-dir", true, [](TransferOptions& o, auto&, auto& v) { o.status_dir = v; }},
      {"--ascii", false, [](TransferOptions& o, auto&, auto&) { o.ascii = true; }},
  };
  return rows;
}

}  // namespace

bool ParseTransferOption(TransferOptions& options, const std::string& name,
                         const std::vector<std::string>& argv, std::size_t& i, bool inline_value,
                         const std::string& value) {
  for (const auto& row : Rows()) {
    if (name != row.name) continue;
    std::string v = value;
    if (row.takes_value && !inline_value) {
      if (i + 1 >= argv.size()) throw UsageError{name + " needs a value"};
      v = argv[++i];
    } else if (!row.takes_value && inline_value) {
      throw UsageError{name + " takes no value"};
    }
    row.apply(options, name, v);
    return true;
  }
  return false;
}

std::optional<std::int16_t> ReplaceCode(const std::string& word) {
  static const char* const kWords[] = {"ask", "overwrite", "resume", "skip", "rename"};
  for (std::int16_t code = 0; code < 5; ++code)
    if (word == kWords[code]) return code;
  return std::nullopt;
}

std::shared_ptr<ClashRefusal> ApplyTransferOptions(quorvi::FtpLibrary& ftp,
                                                   const TransferOptions& o, bool interactive) {
  const std::string replace = o.replace.value_or("ask");
  ftp.ReplaceSetting(ReplaceCode(replace).value_or(0));
  std::shared_ptr<ClashRefusal> refusal;
  if (replace == "ask" && (interactive || o.replace)) {
    ftp.SetUserInterface(quorvi::MakeTerminalUserInterface());
  } else if (replace == "ask") {
    refusal = std::make_shared<ClashRefusal>();
    ftp.SetUserInterface(refusal);
  }
  if (o.rename_rule) ftp.RenameRule(*o.rename_rule);
  if (o.retries) ftp.ReDoTimes(static_cast<std::int16_t>(*o.retries));
  if (o.max_speed_kib) ftp.MaxSpeed(*o.max_speed_kib);
  if (o.max_size_mib) ftp.MaxSize(*o.max_size_mib);
  if (o.allow) ftp.FileTypeAllow(*o.allow);
  if (o.forbid) ftp.FileTypeForbid(*o.forbid);
  ftp.WithoutList(o.without_list);
  ftp.CreateCorrespondFolder(o.correspond_folder);
  ftp.ShowTotalPercent(o.total);
  if (o.status_dir) ftp.TranstatePath(*o.status_dir);
  ftp.TransferMode(o.ascii ? quorvi::FTP_ASCII_MODE : quorvi::FTP_IMAGE_MODE);
  return refusal;
}

std::string AbsoluteLocalList(const std::string& list, const std::string& current_folder) {
  std::string out;
  std::size_t start = 0;
  for (;;) {
    const auto bar = list.find('|', start);
    std::string item = list.substr(start, bar == std::string::npos ? bar : bar - start);
    const auto first = item.find_first_not_of(' ');
    if (first != std::string::npos && item[first] != '/') {
      item = current_folder + (current_folder.ends_with('/') ? "" : "/") + item.substr(first);
    }
    out += item;
    if (bar == std::string::npos) return out;
    out += '|';
    start = bar + 1;
  }
}

}  // namespace qftp

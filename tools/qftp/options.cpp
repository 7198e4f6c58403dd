#include "options.h"

#include <charconv>
#include <functional>

namespace qftp {

namespace {

int ToInt(const std::string& option, const std::string& value) {
  int n = 0;
  const auto [end, ec] = std::from_chars(value.data(), value.data() + value.size(), n);
  if (ec != std::errc() || end != value.data() + value.size())
    throw UsageError{option + " needs a number, not '" + value + "'"};
  return n;
}

struct OptionRow {
  const char* short_name;  // "" when none
  const char* long_name;
  bool takes_value;
  std::function<void(Options&, const std::string& name, const std::string& value)> apply;
};

const std::vector<OptionRow>& OptionTable() {
  static const std::vector<OptionRow> rows = {
      {"-H", "--host", true, [](Options& o, auto&, auto& v) { o.host = v; }},
      {"-P", "--port", true, [](Options& o, auto& n, auto& v) { o.port = ToInt(n, v); }},
      {"-u", "--user", true, [](Options& o, auto&, auto& v) { o.user = v; }},
      {"-p", "--password", true, [](Options& o, auto&, auto& v) { o.password = v; }},
      {"", "--active", false, [](Options& o, auto&, auto&) { o.active = true; }},
      {"", "--utf8", false, [](Options& o, auto&, auto&) { o.utf8 = true; }},
      {"", "--no-auto-encoding", false,
       [](Options& o, auto&, auto&) { o.no_auto_encoding = true; }},
      {"", "--mlsd", false, [](Options& o, auto&, auto&) { o.mlsd = true; }},
      {"", "--list-all", false, [](Options& o, auto&, auto&) { o.list_all = true; }},
      {"", "--timeout", true, [](Options& o, auto& n, auto& v) { o.timeout = ToInt(n, v); }},
      {"", "--keepalive-cmd", true, [](Options& o, auto&, auto& v) { o.keepalive_cmd = v; }},
      {"", "--keepalive-sec", true,
       [](Options& o, auto& n, auto& v) { o.keepalive_sec = ToInt(n, v); }},
      {"", "--pause-ms", true, [](Options& o, auto& n, auto& v) { o.pause_ms = ToInt(n, v); }},
      {"", "--sndbuf", true, [](Options& o, auto& n, auto& v) { o.sndbuf = ToInt(n, v); }},
      {"", "--proxy", true, [](Options& o, auto&, auto& v) { o.proxy = v; }},
      {"", "--ftps", false, [](Options& o, auto&, auto&) { o.security = 1; }},
      {"", "--ftps-implicit", false, [](Options& o, auto&, auto&) { o.security = 2; }},
      {"", "--cacert", true, [](Options& o, auto&, auto& v) { o.ca_file = v; }},
      {"", "--pin", true, [](Options& o, auto&, auto& v) { o.pin = v; }},
      {"", "--cert", true, [](Options& o, auto&, auto& v) { o.cert = v; }},
      {"", "--key", true, [](Options& o, auto&, auto& v) { o.key = v; }},
      {"", "--insecure", false, [](Options& o, auto&, auto&) { o.insecure = true; }},
      {"", "--clear-data", false, [](Options& o, auto&, auto&) { o.clear_data = true; }},
      {"-q", "", false, [](Options& o, auto&, auto&) { o.quiet = true; }},
      {"-v", "", false, [](Options& o, auto&, auto&) { o.verbose = true; }},
      {"", "--log", false, [](Options& o, auto&, auto&) { o.log = true; }},
  };
  return rows;
}

const OptionRow* FindOption(const std::string& name) {
  for (const auto& row : OptionTable())
    if (name == row.short_name || name == row.long_name) return &row;
  return nullptr;
}

}  // namespace

Options ParseOptions(const std::vector<std::string>& argv, const char* env_password) {
  Options options;
  if (env_password) options.password = env_password;
  for (std::size_t i = 0; i < argv.size(); ++i) {
    std::string arg = argv[i];
    if (!options.command.empty()) {
      options.args.push_back(arg);
      continue;
    }
    if (arg.size() < 2 || arg[0] != '-') {
      options.command = arg;
      continue;
    }
    std::string value;
    bool inline_value = false;
    if (const auto eq = arg.find('='); arg.rfind("--", 0) == 0 && eq != std::string::npos) {
      value = arg.substr(eq + 1);
      arg = arg.substr(0, eq);
      inline_value = true;
    }
    const OptionRow* row = FindOption(arg);
    if (!row && ParseTransferOption(options.transfer, arg, argv, i, inline_value, value)) continue;
    if (!row) throw UsageError{"unknown option " + arg};
    if (row->takes_value && !inline_value) {
      if (i + 1 >= argv.size()) throw UsageError{arg + " needs a value"};
      value = argv[++i];
    } else if (!row->takes_value && inline_value) {
      throw UsageError{arg + " takes no value"};
    }
    row->apply(options, arg, value);
  }
  if (options.command.empty()) throw UsageError{"no command given"};
  return options;
}

std::string UsageText() {
  return R"(usage: qftp [options] COMMAND [ARGS]
connection:  -H/--host HOST  -P/--port N  -u/--user USER  -p/--password PASS (or env QFTP_PASSWORD)
             --active  --utf8 | --no-auto-encoding  --mlsd  --list-all  --timeout S
             --ftps (AUTH TLS) | --ftps-implicit (port 990)  --cacert FILE  --pin sha256//BASE64
             --cert FILE --key FILE  --clear-data (PROT C)  --insecure (no certificate checks)
             --keepalive-cmd CMD  --keepalive-sec S  --pause-ms N (pause per notification, default 10)
             --sndbuf BYTES (data send buffer and upload chunk cap; default: sized by the system)
transfer:    --replace ask|overwrite|resume|skip|rename  --rename-rule RULE  --retries N
             --max-speed KIB  --max-size MIB  --allow EXTS  --forbid EXTS  --without-list
             --correspond-folder  --total  --status-dir DIR  --ascii  --proxy HOST:PORT
output:      -q (no progress)  -v (print every server message and state change)  --log
commands:    download REMOTE_LIST LOCAL_LIST   upload LOCAL_LIST REMOTE_LIST   ("|"-separated lists)
             ls [PATH]  stat PATH  size PATH  exists PATH  isdir PATH  pwd
             mkdir PATH [--no-recursive]  rmdir PATH  rm PATH  mv OLD NEW  quote CMD [ARGS]
             http URL_LIST LOCAL_LIST
             script FILE|-  (set NAME VALUE, get NAME..., call NAME [ARG...], on EVENT ...;
                             see examples/scripts/)
)";
}

}  // namespace qftp

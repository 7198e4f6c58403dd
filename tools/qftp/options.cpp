#include "options.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>

#include "commands.h"
#include "manual.h"
#include "url.h"

namespace qftp {

namespace {

constexpr const char* kVersion = "qftp 4.5.10";

constexpr const char* kFooter = R"(Remote paths may be URLs: ftp://[USER[:PASSWORD]@]HOST[:PORT]/PATH, ftps://... for
implicit FTPS ([::1] for an IPv6 host; user, password and path %-decoded). "qftp URL" lists a
URL that ends in "/" and downloads any other into the current folder.
Without a password (-p, QFTP_PASSWORD, the URL, --password-stdin) qftp reads ~/.netrc (or
--netrc-file), then asks on the terminal.
Sizes and rates take k, M, G (powers of 1024): --max-speed 500k, --max-size 1.5G.
Exit status: 0 success; 1 a transfer, protocol or connection error (one line per failure,
naming the file); 2 a usage error.)";

// Options whose values need more than CLI11's conversion: kept as text, converted afterwards.
struct RawValues {
  std::string max_speed, max_size, sndbuf, replace;
  std::string bare_url;
};

void AddConnectionOptions(CLI::App& app, Options& o) {
  auto* g = "connection";
  app.add_option("-H,--host", o.host, "server name or address (IPv6 with or without [])")->group(g);
  app.add_option("-P,--port", o.port, "server port (default 21, 990 with --ftps-implicit)")
      ->check(CLI::Range(1, 65535))
      ->group(g);
  app.add_option("-u,--user", o.user, "login name (default anonymous)")->group(g);
  app.add_option("-p,--password", o.password, "password (visible to ps: prefer the prompt, "
                                              "--password-stdin, QFTP_PASSWORD or ~/.netrc)")
      ->group(g);
  app.add_flag("--password-stdin", o.password_stdin, "read the password from stdin's first line")
      ->group(g);
  app.add_option("--netrc-file", o.netrc_file, "netrc file to read instead of ~/.netrc")->group(g);
  app.add_flag("--active", o.active, "active mode (PORT/EPRT) instead of passive")->group(g);
  app.add_flag("--utf8", o.utf8, "UTF-8 names without asking the server")->group(g);
  app.add_flag("--no-auto-encoding", o.no_auto_encoding, "names in the local code page")->group(g);
  app.add_flag("--mlsd", o.mlsd, "list with MLSD")->group(g);
  app.add_flag("--list-all", o.list_all, "list hidden entries too (LIST -a)")->group(g);
  app.add_option("--timeout", o.timeout, "seconds to wait for the server (30..6000)")
      ->check(CLI::Range(30, 6000))
      ->group(g);
  app.add_option("--keepalive-cmd", o.keepalive_cmd, "command sent to keep the session alive")
      ->group(g);
  app.add_option("--keepalive-sec", o.keepalive_sec, "seconds between keep-alives (0, 30..1800)")
      ->check(CLI::IsMember({0}) | CLI::Range(30, 1800))
      ->group(g);
  app.add_option("--pause-ms", o.pause_ms, "pause after each network notification (default 0)")
      ->check(CLI::Range(0, 1000))
      ->group(g);
  app.add_option("--proxy", o.proxy, "HTTP proxy HOST:PORT (qftp http)")->group(g);
}

void AddTlsOptions(CLI::App& app, Options& o) {
  auto* g = "encryption";
  auto* explicit_tls = app.add_flag_callback("--ftps", [&o] { o.security = 1; },
                                             "explicit FTPS (AUTH TLS)");
  explicit_tls->group(g);
  app.add_flag_callback("--ftps-implicit", [&o] { o.security = 2; }, "implicit FTPS (port 990)")
      ->excludes(explicit_tls)
      ->group(g);
  app.add_option("--cacert", o.ca_file, "trust the CAs in FILE instead of the system's")
      ->check(CLI::ExistingFile)
      ->group(g);
  app.add_option("--pin", o.pin, "require the server's key: sha256//BASE64")->group(g);
  app.add_option("--cert", o.cert, "client certificate (PEM)")->check(CLI::ExistingFile)->group(g);
  app.add_option("--key", o.key, "its key (PEM)")->check(CLI::ExistingFile)->group(g);
  app.add_flag("--clear-data", o.clear_data, "data connections in clear text (PROT C)")->group(g);
  app.add_flag("--insecure", o.insecure, "INSECURE: no certificate checks at all")->group(g);
}

void AddTransferOptions(CLI::App& app, TransferOptions& t, RawValues& raw, Options& o) {
  auto* g = "transfer";
  app.add_option("--replace", raw.replace, "an existing file: ask|overwrite|resume|skip|rename")
      ->check(CLI::IsMember({"ask", "overwrite", "resume", "skip", "rename"}))
      ->group(g);
  app.add_option("--rename-rule", t.rename_rule, "how --replace rename names the new file")
      ->group(g);
  app.add_option("--retries", t.retries, "retries per file (0..100)")->check(CLI::Range(0, 100))
      ->group(g);
  app.add_option("--retry-pause", t.retry_pause, "seconds before a retry (default 5, 0..3600)")
      ->check(CLI::Range(0, 3600))
      ->group(g);
  app.add_flag("--fsync", t.fsync, "sync each downloaded file to the disk before it counts")
      ->group(g);
  app.add_option("--max-speed", raw.max_speed, "rate limit, KiB/s unless a unit is given (500k, 2M)")
      ->group(g);
  app.add_option("--max-size", raw.max_size, "skip larger files, MiB unless a unit is given")
      ->group(g);
  app.add_option("--sndbuf", raw.sndbuf, "data send buffer and upload chunk cap (bytes, or 256k)")
      ->group(g);
  app.add_option("--allow", t.allow, "only these extensions (txt;doc)")->group(g);
  app.add_option("--forbid", t.forbid, "never these extensions")->group(g);
  app.add_flag("--without-list", t.without_list, "download without asking the size first")
      ->group(g);
  app.add_flag("--correspond-folder", t.correspond_folder, "recreate the remote folder locally")
      ->group(g);
  app.add_flag("--follow-outside-links", t.follow_outside_links,
               "folder uploads send files whose symbolic link points outside the folder")
      ->group(g);
  app.add_flag("--total", t.total, "progress of the whole job instead of each file")->group(g);
  app.add_option("--status-dir", t.status_dir, "folder of the resume status files")->group(g);
  app.add_flag("--ascii", t.ascii, "ASCII transfer mode")->group(g);
  app.add_option("--parallel", o.parallel, "sessions at once for trees and lists (1..16)")
      ->check(CLI::Range(1, 16))
      ->group(g);
  auto* out = "output";
  app.add_flag("-q,--quiet", o.quiet, "no progress display")->group(out);
  app.add_flag("-v,--verbose", o.verbose, "print every server message and state change")->group(out);
  app.add_flag("--log", o.log, "write the component's log file")->group(out);
}

void AddCommands(CLI::App& app, Options& o) {
  for (const Command& command : Commands()) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
    sub->fallthrough();  // global options after the command
    sub->callback([&o, name = command.name] { o.command = name; });
    if (command.max_args > 0) {
      const int max = command.max_args == SIZE_MAX ? -1 : static_cast<int>(command.max_args);
      auto* args = sub->add_option("ARGS", o.args, command.synopsis)
                       ->expected(static_cast<int>(command.min_args), max);
      args->type_name("");
      if (command.min_args > 0) args->required();
    }
    if (std::string(command.name) == "mkdir") {
      sub->add_flag("--no-recursive", o.no_recursive, "do not create missing parents");
    }
  }
}

// Host, port, user, password and security from URL arguments; their paths replace them.
void TakeUrls(Options& o) {
  const Command* command = FindCommand(o.command);
  if (command == nullptr) return;
  for (std::size_t index : command->remote_args) {
    if (index >= o.args.size()) continue;
    std::string rewritten;
    std::size_t start = 0;
    const std::string& list = o.args[index];
    for (;;) {  // a "|" list: each item may be a URL of the same server
      const auto bar = list.find('|', start);
      std::string item = list.substr(start, bar == std::string::npos ? bar : bar - start);
      if (IsFtpUrl(item)) {
        const FtpUrl url = ParseFtpUrl(item);
        if (!o.host.empty() && o.host != url.host)
          throw UsageError{"one command talks to one server: " + url.host + " and " + o.host};
        o.host = url.host;
        if (url.port && !o.port) o.port = url.port;
        if (url.user && o.user.empty()) o.user = *url.user;
        if (url.password && !o.password) o.password = url.password;
        if (url.security != 0 && o.security == 0) o.security = url.security;
        item = url.path;
      }
      rewritten += item;
      if (bar == std::string::npos) break;
      rewritten += '|';
      start = bar + 1;
    }
    o.args[index] = rewritten;
  }
}

void ConvertRawValues(Options& o, const RawValues& raw) {
  if (!raw.replace.empty()) o.transfer.replace = raw.replace;
  if (!raw.max_speed.empty()) {
    o.transfer.max_speed_kib =
        static_cast<int>(std::ceil(ParseSize("--max-speed", raw.max_speed, 1024) / 1024));
  }
  if (!raw.max_size.empty()) {
    o.transfer.max_size_mib = ParseSize("--max-size", raw.max_size, 1024 * 1024) / (1024 * 1024);
  }
  if (!raw.sndbuf.empty()) {
    const double bytes = ParseSize("--sndbuf", raw.sndbuf, 1);
    if (bytes < 32 || bytes > 64.0 * 1024 * 1024) throw UsageError{"--sndbuf is 32 bytes..64M"};
    o.sndbuf = static_cast<int>(bytes);
  }
}

// "qftp ftp://host/dir/" lists it; "qftp ftp://host/file" downloads it into the current folder.
void TakeBareUrl(Options& o, const std::string& url) {
  if (!IsFtpUrl(url)) throw UsageError{"unknown command " + url};
  const FtpUrl parsed = ParseFtpUrl(url);
  if (parsed.path.ends_with('/')) {
    o.command = "ls";
    o.args = {url};
  } else {
    o.command = "download";
    o.args = {url, "./"};
  }
}

}  // namespace

double ParseSize(const std::string& option, const std::string& text, double plain_unit) {
  double number = 0;
  const char* end = text.data() + text.size();
  const auto [unit_at, ec] = std::from_chars(text.data(), end, number);
  if (ec != std::errc() || number < 0 || !std::isfinite(number))
    throw UsageError{option + " needs a size such as 512, 10k, 1.5M or 1G, not '" + text + "'"};
  const std::string unit(unit_at, end);
  static const std::pair<const char*, double> kUnits[] = {
      {"", 0},         {"k", 1024.0},       {"K", 1024.0},     {"KiB", 1024.0},
      {"M", 1048576.0}, {"MiB", 1048576.0}, {"m", 1048576.0}, {"G", 1073741824.0},
      {"GiB", 1073741824.0}, {"g", 1073741824.0},
  };
  for (const auto& [name, factor] : kUnits) {
    if (unit == name) return number * (factor == 0 ? plain_unit : factor);
  }
  throw UsageError{option + ": unknown unit '" + unit + "' (k, M or G)"};
}

Options ParseOptions(const std::vector<std::string>& argv, const char* env_password) {
  Options o;
  RawValues raw;
  CLI::App app{"qftp: files on FTP, FTPS and HTTP(S) servers, from the command line", "qftp"};
  app.set_version_flag("--version", kVersion);
  app.footer(kFooter);
  app.require_subcommand(0, 1);
  app.add_option("URL", raw.bare_url, "an ftp:// or ftps:// URL without a command")->type_name("");
  AddConnectionOptions(app, o);
  AddTlsOptions(app, o);
  AddTransferOptions(app, o.transfer, raw, o);
  AddCommands(app, o);
  // Hidden: the manual page and completions are made from these same definitions.
  bool man = false;
  std::string completion;
  app.add_flag("--man", man, "print the manual page (roff)")->group("");
  app.add_option("--completion", completion, "print a bash or zsh completion script")->group("");
  std::vector<std::string> reversed(argv.rbegin(), argv.rend());  // CLI11 takes them backwards
  try {
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    throw EarlyExit{app.help()};
  } catch (const CLI::CallForAllHelp&) {
    throw EarlyExit{app.help("", CLI::AppFormatMode::All)};
  } catch (const CLI::CallForVersion&) {
    throw EarlyExit{std::string(kVersion) + "\n"};
  } catch (const CLI::ParseError& e) {
    throw UsageError{e.what()};
  }
  if (man) throw EarlyExit{ManPage(app, kVersion)};
  if (!completion.empty()) {
    std::string script;
    try {
      script = Completion(app, completion);
    } catch (const std::invalid_argument& e) {
      throw UsageError{e.what()};
    }
    throw EarlyExit{script};
  }
  if (!o.command.empty() && !raw.bare_url.empty())
    throw UsageError{"unexpected argument " + raw.bare_url + " (qftp " + o.command + " --help)"};
  if (o.command.empty() && raw.bare_url.empty()) throw UsageError{"no command given"};
  if (o.command.empty()) TakeBareUrl(o, raw.bare_url);
  if (!o.password && env_password != nullptr) o.password = env_password;
  ConvertRawValues(o, raw);
  TakeUrls(o);
  return o;
}

}  // namespace qftp

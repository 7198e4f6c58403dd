#include "script.h"

#include <quorvi/dispatch.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>

#include "terminal_text.h"

namespace qftp {

namespace {

constexpr const char* kOnUsage = "on EVENT [once] get NAME... | call NAME [ARG...]";

bool IsNameStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool IsNameChar(char c) { return IsNameStart(c) || (c >= '0' && c <= '9'); }

// One pass over a line, sh-style. Stops at the first error.
class Splitter {
 public:
  Splitter(std::string_view line, const EnvLookup& env) : line_(line), env_(env) {}

  SplitLine Run() {
    while (pos_ < line_.size() && result_.error.empty()) {
      const char c = line_[pos_];
      if (c == ' ' || c == '\t') {
        EndWord();
        ++pos_;
      } else if (c == '#' && !in_word_) {
        break;
      } else {
        in_word_ = true;
        Unquoted(c);
      }
    }
    if (!result_.error.empty()) return {{}, result_.error};
    EndWord();
    return std::move(result_);
  }

 private:
  void Fail(std::string message) {
    if (result_.error.empty()) result_.error = std::move(message);
  }

  void EndWord() {
    if (in_word_) result_.words.push_back(std::move(word_));
    word_.clear();
    in_word_ = false;
  }

  void Unquoted(char c) {
    if (c == '\\') {
      if (pos_ + 1 >= line_.size()) return Fail("backslash at the end of the line");
      word_ += line_[pos_ + 1];
      pos_ += 2;
    } else if (c == '\'') {
      const auto close = line_.find('\'', pos_ + 1);
      if (close == std::string_view::npos) return Fail("unterminated '");
      word_ += line_.substr(pos_ + 1, close - pos_ - 1);
      pos_ = close + 1;
    } else if (c == '"') {
      DoubleQuoted();
    } else if (c == '$') {
      Variable();
    } else {
      word_ += c;
      ++pos_;
    }
  }

  void DoubleQuoted() {
    ++pos_;  // the opening quote
    while (pos_ < line_.size() && result_.error.empty()) {
      const char c = line_[pos_];
      if (c == '"') {
        ++pos_;
        return;
      }
      if (c == '\\' && pos_ + 1 < line_.size() &&
          std::string_view("\"\\$`").find(line_[pos_ + 1]) != std::string_view::npos) {
        word_ += line_[pos_ + 1];
        pos_ += 2;
      } else if (c == '$') {
        Variable();
      } else {
        word_ += c;
        ++pos_;
      }
    }
    Fail("unterminated \"");
  }

  // $NAME or ${NAME}; a "$" that starts neither stays a "$".
  void Variable() {
    std::size_t start = pos_ + 1, end = start;
    bool braced = start < line_.size() && line_[start] == '{';
    if (braced) {
      ++start;
      end = line_.find('}', start);
      if (end == std::string_view::npos) return Fail("unterminated ${");
    } else {
      while (end < line_.size() && IsNameChar(line_[end])) ++end;
    }
    const std::string name(line_.substr(start, end - start));
    if (name.empty() || !IsNameStart(name[0])) {
      if (braced) return Fail("bad variable name ${" + name + "}");
      word_ += '$';
      ++pos_;
      return;
    }
    const auto value = env_ ? env_(name) : std::nullopt;
    if (!value) return Fail("variable " + name + " is not set");
    word_ += *value;
    pos_ = braced ? end + 1 : end;
  }

  std::string_view line_;
  const EnvLookup& env_;
  std::size_t pos_ = 0;
  std::string word_;
  bool in_word_ = false;
  SplitLine result_;
};

// Runs the statements; event actions stay subscribed until the runner goes.
class Runner {
 public:
  Runner(quorvi::FtpLibrary& ftp, std::ostream& out, std::ostream& err)
      : ftp_(ftp), out_(out), err_(err) {}
  ~Runner() {
    for (const auto& [event, id] : subscriptions_) event->Unsubscribe(*id);
  }
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  int failures() const { return failures_; }

  void Fail(int line, const std::string& message) {
    err_ << "qftp: line " << line << ": " << ForTerminal(message) << "\n";
    ++failures_;
  }

  void Execute(const std::vector<std::string>& words, int line) {
    struct Statement {
      const char* name;
      std::size_t min_words, max_words;  // the statement word included
      void (Runner::*run)(const std::vector<std::string>&, int);
      const char* usage;
    };
    static constexpr Statement kStatements[] = {
        {"set", 3, 3, &Runner::Set, "set NAME VALUE"},
        {"get", 2, SIZE_MAX, &Runner::Get, "get NAME..."},
        {"call", 2, SIZE_MAX, &Runner::Call, "call NAME [ARG...]"},
        {"on", 4, SIZE_MAX, &Runner::On, kOnUsage},
    };
    for (const auto& statement : kStatements) {
      if (words[0] != statement.name) continue;
      if (words.size() < statement.min_words || words.size() > statement.max_words)
        return Fail(line, std::string("usage: ") + statement.usage);
      return (this->*statement.run)(words, line);
    }
    Fail(line, "unknown statement '" + words[0] + "' (set, get, call, on)");
  }

 private:
  void Print(const quorvi::Variant& value) {
    const std::string text = value.ToText();
    if (value.empty() || (value.type() == quorvi::VariantType::Files && text.empty())) return;
    out_ << LinesForTerminal(text) << "\n" << std::flush;
  }

  void Set(const std::vector<std::string>& w, int line) {
    const auto result = quorvi::PutProperty(ftp_, w[1], quorvi::Variant(w[2]));
    if (!result) Fail(line, result.message);
  }

  void Get(const std::vector<std::string>& w, int line) {
    for (std::size_t i = 1; i < w.size(); ++i) {
      const auto result = quorvi::GetProperty(ftp_, w[i]);
      if (result) Print(result.value);
      else Fail(line, result.message);
    }
  }

  void Call(const std::vector<std::string>& w, int line) {
    std::vector<quorvi::Variant> args(w.begin() + 2, w.end());
    const auto result = quorvi::Invoke(ftp_, w[1], std::move(args));
    if (result) Print(result.value);
    else Fail(line, result.message);
  }

  // "on EVENT [once] get NAME..." or "on EVENT [once] call NAME [ARG...]".
  void On(const std::vector<std::string>& w, int line) {
    quorvi::Event* event = quorvi::FindEvent(ftp_, w[1]);
    if (!event) return Fail(line, "unknown event '" + w[1] + "'");
    const bool once = w[2] == "once";
    std::vector<std::string> action(w.begin() + (once ? 3 : 2), w.end());
    if (action.size() < 2 || (action[0] != "get" && action[0] != "call"))
      return Fail(line, std::string("usage: ") + kOnUsage);
    if (!CheckAction(action, line)) return;
    const auto* info = quorvi::FindMember(w[1]);
    const std::string event_name(info->name);
    auto id = std::make_shared<quorvi::Event::Id>(0);
    *id = event->Subscribe([this, event, event_name, action, line, once, id] {
      if (once) event->Unsubscribe(*id);
      if (action[0] == "call") return Call(action, line);
      std::string text = event_name;
      for (std::size_t i = 1; i < action.size(); ++i)
        text += " " + action[i] + "=" + quorvi::GetProperty(ftp_, action[i]).value.ToText();
      out_ << LinesForTerminal(text) << "\n" << std::flush;
    });
    subscriptions_.emplace_back(event, id);
  }

  // Names of an event action are checked when the line is read, not at the first raise.
  bool CheckAction(const std::vector<std::string>& action, int line) {
    const bool get = action[0] == "get";
    for (std::size_t i = 1; i < (get ? action.size() : 2); ++i) {
      const quorvi::MemberInfo* member = quorvi::FindMember(action[i]);
      const bool fits = member && (get ? member->kind == quorvi::MemberKind::Property &&
                                             member->readable
                                       : member->kind == quorvi::MemberKind::Method);
      if (!fits) {
        Fail(line, "'" + action[i] + "' is not a " +
                       (get ? "readable property" : "method"));
        return false;
      }
    }
    return true;
  }

  quorvi::FtpLibrary& ftp_;
  std::ostream& out_;
  std::ostream& err_;
  int failures_ = 0;
  std::vector<std::pair<quorvi::Event*, std::shared_ptr<quorvi::Event::Id>>> subscriptions_;
};

}  // namespace

SplitLine SplitWords(std::string_view line, const EnvLookup& env) {
  return Splitter(line, env).Run();
}

int RunScript(quorvi::FtpLibrary& ftp, std::istream& in, std::ostream& out, std::ostream& err,
              const EnvLookup& env) {
  Runner runner(ftp, out, err);
  std::string text;
  for (int line = 1; std::getline(in, text); ++line) {
    if (!text.empty() && text.back() == '\r') text.pop_back();
    SplitLine split = SplitWords(text, env);
    if (!split.error.empty()) runner.Fail(line, split.error);
    else if (!split.words.empty()) runner.Execute(split.words, line);
  }
  return runner.failures();
}

bool Script(quorvi::FtpLibrary& ftp, const Options& options) {
  const std::string& path = options.args[0];
  const EnvLookup env = [](const std::string& name) -> std::optional<std::string> {
    const char* value = std::getenv(name.c_str());
    if (!value) return std::nullopt;
    return std::string(value);
  };
  if (path == "-") return RunScript(ftp, std::cin, std::cout, std::cerr, env) == 0;
  std::ifstream file(path);
  if (!file) {
    std::cerr << "qftp: cannot read " << path << "\n";
    return false;
  }
  return RunScript(ftp, file, std::cout, std::cerr, env) == 0;
}

}  // namespace qftp

// qftp's script language: word splitting and the statements, run on a component without a
// server (local members and the errors a method reports without one).
#include <gtest/gtest.h>

#include <sstream>

#include "script.h"

namespace qftp {
namespace {

std::optional<std::string> TestEnv(const std::string& name) {
  if (name == "HOME") return "/h";
  if (name == "SPACED") return "a b";
  return std::nullopt;
}

TEST(ScriptWords, SplitLikeAShell) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"  call\tX  'a b'  ", {"call", "X", "a b"}},
      {R"(say "a \"q\" $HOME" \$x)", {"say", R"(a "q" /h)", "$x"}},
      {R"(a\ b 'it''s')", {"a b", "its"}},
      {"'$HOME' ${HOME}x $HOME/y", {"$HOME", "/hx", "/h/y"}},
      {"$SPACED \"$SPACED\"", {"a b", "a b"}},  // no field splitting of expansions
      {"$1 $ a$", {"$1", "$", "a$"}},
      {"# a comment", {}},
      {"get X # trailing", {"get", "X"}},
      {"a#b", {"a#b"}},
      {"'' \"\"", {"", ""}},
  };
  for (const auto& [line, words] : cases) {
    const SplitLine split = SplitWords(line, TestEnv);
    EXPECT_EQ(split.error, "") << line;
    EXPECT_EQ(split.words, words) << line;
  }
}

TEST(ScriptWords, ReportBrokenLines) {
  const std::pair<const char*, const char*> cases[] = {
      {"set a 'open", "unterminated '"},
      {"set a \"open", "unterminated \""},
      {"set a $UNSET", "variable UNSET is not set"},
      {"set a ${HOME", "unterminated ${"},
      {"set a ${1x}", "bad variable name ${1x}"},
      {"set a b\\", "backslash at the end of the line"},
  };
  for (const auto& [line, error] : cases) {
    SCOPED_TRACE(line);
    const SplitLine split = SplitWords(line, TestEnv);
    EXPECT_EQ(split.error, error);
    EXPECT_TRUE(split.words.empty());
  }
}

struct Outcome {
  int failures;
  std::string out, err;
};

Outcome RunText(const std::string& script) {
  quorvi::FtpLibrary ftp;
  std::istringstream in(script);
  std::ostringstream out, err;
  const int failures = RunScript(ftp, in, out, err, TestEnv);
  return {failures, out.str(), err.str()};
}

TEST(Script, RunsStatementsAndPrintsResults) {
  const Outcome run = RunText(
      "# settings\n"
      "set TimeOut 29\r\n"
      "set RemotePort '2121'\n"
      "\n"
      "get timeout RemotePort PassiveMode\n"
      "call GetFileName \"$HOME/c d.txt\"\n"
      "call FormatTime 3725 1\n"
      "call AbortCurrent\n");
  EXPECT_EQ(run.failures, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, "30\n2121\nTrue\nc d.txt\n1 Hrs 2 Mins 5 Secs\n");
}

TEST(Script, ReportsEachWrongLineAndGoesOn) {
  const Outcome run = RunText(
      "set TimeOut\n"
      "fetch x\n"
      "get MaxSpeed Version\n"
      "call GetFileName 'x\n"
      "on OnClose get Percent\n"
      "on OnTransfer get Connect\n"
      "on OnTransfer call Percent\n"
      "on OnTransfer sing\n");
  EXPECT_EQ(run.failures, 8);
  EXPECT_EQ(run.out, "4.5.10\n");  // the good name of line 3
  EXPECT_EQ(run.err,
            "qftp: line 1: usage: set NAME VALUE\n"
            "qftp: line 2: unknown statement 'fetch' (set, get, call, on)\n"
            "qftp: line 3: 'MaxSpeed' is write-only\n"
            "qftp: line 4: unterminated '\n"
            "qftp: line 5: unknown event 'OnClose'\n"
            "qftp: line 6: 'Connect' is not a readable property\n"
            "qftp: line 7: 'Percent' is not a method\n"
            "qftp: line 8: usage: on EVENT [once] get NAME... | call NAME [ARG...]\n");
}

TEST(Script, EventActionsRunAfterEachRaise) {
  // Without a server name every remote method fails with 20001 and raises OnError.
  const Outcome run = RunText(
      "set RaiseErrorEvent True\n"
      "on onerror get ErrorNumber ErrorInfo\n"
      "on OnError once call GetFileName /x/once.txt\n"
      "on OnError call FormatTime nope\n"
      "call ExeFtpCmd NOOP\n"
      "call GetCurrentDirectory\n");
  EXPECT_EQ(run.out,
            "OnError ErrorNumber=20001 ErrorInfo=Hostname Required\n"
            "once.txt\n"
            "\n"
            "OnError ErrorNumber=20001 ErrorInfo=Hostname Required\n"
            "\n");
  // The failing action counts once per raise, under the line that set it up.
  EXPECT_EQ(run.err,
            "qftp: line 4: argument 'Seconds' of 'FormatTime': 'nope' is not Int32\n"
            "qftp: line 4: argument 'Seconds' of 'FormatTime': 'nope' is not Int32\n");
  EXPECT_EQ(run.failures, 2);
}

}  // namespace
}  // namespace qftp

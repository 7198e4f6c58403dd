// Error texts, the error object's rules and the error procedure.
#include <gtest/gtest.h>
#include <quorvi/ftp_library.h>

#include <stdexcept>

#include "component/core.h"

namespace quorvi {
namespace {

using detail::CError;
using detail::GetErrorText;

TEST(ErrorText, LookupOrder) {
  FtpLibrary lib;  // holds the thread's message table
  const std::pair<std::int32_t, const char*> cases[] = {
      {20001, "Hostname Required"}, {10061, "Connection refused"}, {12345, "Unknown Error"},
      {40006, ""},               // beyond 16 bits: no table text
      {21000, "Unknown Error"},  // raised with its own text only
  };
  for (const auto& [number, text] : cases) EXPECT_EQ(GetErrorText(number), text) << number;
}

TEST(ErrorText, UnknownSocketCodeUsesThePendingDescription) {
  FtpLibrary lib;
  {
    detail::RuntimeErrorScope scope(12345, "The socket went away");
    EXPECT_EQ(detail::GetWinsockErrorText(12345), "The socket went away");
    EXPECT_EQ(detail::GetWinsockErrorText(10061), "Connection refused");
  }
  EXPECT_EQ(detail::GetWinsockErrorText(12345), "Unknown Error");
}

TEST(ErrorObject, DescriptionWriteRules) {
  FtpLibrary lib;
  struct Case { std::int32_t number; const char *before, *written, *after; } cases[] = {
      {0, "old", "   ", "old"},
      {0, "", "Can't find the file[ {0} ]", "Can't find the file"},
      {0, "", "a[{0}]b[]c[  ]d{0}e", "abcde"},
      {20004, "", "Application-defined or object-defined error", "Operation timed out"},
      {20004, "", "Erreur définie par l'objet", "Operation timed out"},
  };
  for (const auto& c : cases) {
    CError e;
    e.Number(c.number);
    e.Description(c.before);
    e.Description(c.written);
    EXPECT_EQ(e.Description(), c.after) << c.written;
  }
}

// ReportError: when OnError is raised, and that the operation always ends.
TEST(ReportError, RaisesOnErrorOnlyWhenAsked) {
  struct Case { bool raise_flag; std::int32_t number; bool aborting_current, expect_event; };
  const Case cases[] = {{true, 20007, false, true}, {false, 20007, false, false},
                        {true, 16010, false, false}, {true, 20004, true, false},
                        {true, 16550, false, true}};
  for (const auto& c : cases) {
    FtpLibrary lib;
    auto& core = lib.core();
    int errors = 0, state_changes = 0;
    std::vector<FtpOperations> cleaned;
    lib.OnError().Subscribe([&] { ++errors; });
    lib.OnStateChange().Subscribe([&] { ++state_changes; });
    core.error_cleanup_hooks.push_back([&](FtpOperations op) { cleaned.push_back(op); });
    lib.RaiseErrorEvent(c.raise_flag);
    core.rt.aborting_current = c.aborting_current;
    core.BeginAsyncMethod(opDownload);
    core.SetState(ftpDownloadInProgress, false);

    core.ReportError("DownLoad", c.number, "");

    EXPECT_EQ(errors, c.expect_event ? 1 : 0) << c.number;
    EXPECT_EQ(state_changes, 1) << c.number;
    EXPECT_EQ(core.rt.operation, opNone);
    EXPECT_EQ(lib.FtpState(), ftpFreeState);
    EXPECT_EQ(cleaned, std::vector<FtpOperations>{opDownload});
    EXPECT_EQ(lib.ErrorNumber(), c.number);
    EXPECT_EQ(core.error().Source(), "FtpLibrary.DownLoad");
  }
}

// A failure inside a public member, as the host reads it afterwards.
TEST(ReportError, WhatTheHostReads) {
  struct Case { std::int32_t number; const char* text; std::int32_t shown; const char* info; };
  const Case cases[] = {
      {20061, "Data Socket Error: Connection failed", 10061, "Data Socket Error: Connection failed"},
      {16010, "some other text", 16010, "The operation has been canceled"},
      {20007, "Application-defined or object-defined error", 20007, "Can't find the file"},
      {20011, "Please enter absolute path [ a ]", 20011, "Please enter absolute path [ a ]"},
      {20005, "", 20005, "Please input Remote Path"},
  };
  for (const auto& c : cases) {
    FtpLibrary lib;
    EXPECT_FALSE(detail::Guarded(lib.core(), "X", false, [&]() -> bool { detail::Fail(c.number, c.text); }));
    EXPECT_EQ(lib.ErrorNumber(), c.shown) << c.number;
    EXPECT_EQ(lib.ErrorInfo(), c.info) << c.number;
  }
  FtpLibrary lib;
  // An unexpected failure is never a silent success: it has a number and says what happened.
  detail::Guarded(lib.core(), "X", [] { throw std::runtime_error("boom"); });
  EXPECT_EQ(lib.ErrorNumber(), 16451);
  EXPECT_EQ(lib.ErrorInfo(), "Unexpected error in X: boom");
  lib.core().ClearLastError();
  lib.core().error().Clear();
  lib.core().rt.last_error_number = 16008;  // number 0 falls back on the control's own field
  lib.core().ReportError("Connect", 0, "");
  EXPECT_EQ(lib.ErrorNumber(), 16008);
  EXPECT_EQ(lib.ErrorInfo(), "Failed to connect to server");
}

TEST(ReportError, EndOfOperationHooksRunOnEveryEnd) {
  FtpLibrary lib;
  int closed = 0;
  lib.core().end_operation_hooks = {[&] { ++closed; }, [] { throw std::runtime_error("x"); },
                                    [&] { ++closed; }};
  lib.core().EndAsyncMethod();
  lib.core().ReportError("UpLoad", 20009, "");
  EXPECT_EQ(closed, 4);
}

}  // namespace
}  // namespace quorvi

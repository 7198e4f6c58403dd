// Storage rules of the host-written properties.
#include <gtest/gtest.h>
#include <quorvi/ftp_library.h>

#include <limits>

#include "component/core.h"
#include "component/credential_cipher.h"

namespace quorvi {
namespace {

// Records message boxes instead of showing them.
struct RecordingUi : UserInterface {
  void MessageBox(const std::string& text, const std::string& title) override {
    boxes.emplace_back(text, title);
  }
  std::vector<std::pair<std::string, std::string>> boxes;
};

// Writes each value on a fresh component and compares what is stored.
template <typename Write, typename Read>
void ExpectStored(const char* name, Write write, Read read,
                  std::initializer_list<std::pair<std::int64_t, std::int64_t>> rows) {
  for (auto [written, stored] : rows) {
    FtpLibrary lib;
    write(lib, written);
    EXPECT_EQ(read(lib), stored) << name << " = " << written;
  }
}

TEST(Properties, NumericClamps) {
  ExpectStored(
      "RemotePort", [](FtpLibrary& l, auto v) { l.RemotePort(static_cast<std::int32_t>(v)); },
      [](FtpLibrary& l) { return l.RemotePort(); }, {{0, 21}, {70000, 21}, {1, 1}, {65535, 65535}});
  ExpectStored(
      "TimeOut", [](FtpLibrary& l, auto v) { l.TimeOut(static_cast<std::int16_t>(v)); },
      [](FtpLibrary& l) { return l.TimeOut(); }, {{29, 30}, {6001, 30}, {6000, 6000}});
  ExpectStored(
      "KeepAliveSecond", [](FtpLibrary& l, auto v) { l.KeepAliveSecond(static_cast<std::int16_t>(v)); },
      [](FtpLibrary& l) { return l.core().settings.keep_alive_second; },
      {{10, 30}, {0, 0}, {5000, 1800}, {-3, 0}, {1800, 1800}, {45, 45}});
  ExpectStored(
      "ReDoTimes", [](FtpLibrary& l, auto v) { l.ReDoTimes(static_cast<std::int16_t>(v)); },
      [](FtpLibrary& l) { return l.core().settings.redo_limit; },
      {{-2, 0}, {3, 4}, {32767, 32767}});
  ExpectStored(
      "Sndbuf", [](FtpLibrary& l, auto v) { l.Sndbuf(static_cast<std::int32_t>(v)); },
      [](FtpLibrary& l) { return l.MaxChunkSize(); }, {{10, 32}, {65536, 65536}});
  ExpectStored(
      "Rcvbuf", [](FtpLibrary& l, auto v) { l.Rcvbuf(static_cast<std::int32_t>(v)); },
      [](FtpLibrary& l) { return l.Rcvbuf(); }, {{-5, 32}, {33, 33}});
}

TEST(Properties, MaxSpeedSizesBuffers) {
  constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
  struct Case { std::int32_t kib; std::int64_t bytes; std::int32_t buffer; } cases[] = {
      {100, 102400, 1216},         // 1280, then 1216
      {18, 18432, 218},            // 230, then 218.5 rounds to even
      {1, 1024, 32},               // 13 → 32, then 30 → 32
      {kMax, kMax, 2040109465},    // overflow clamps
  };
  for (const auto& c : cases) {
    FtpLibrary lib;
    lib.MaxSpeed(c.kib);
    EXPECT_EQ(lib.core().settings.max_speed, c.bytes) << c.kib;
    for (std::int32_t buffer : {lib.Sndbuf(), lib.Rcvbuf(), lib.MaxChunkSize()})
      EXPECT_EQ(buffer, c.buffer) << c.kib;
  }
  // Taking the limit away restores the unlimited buffers; 32-byte ones crawl at 3 KB/s.
  for (std::int32_t none : {0, -1}) {
    FtpLibrary lib;
    lib.MaxSpeed(100);
    lib.MaxSpeed(none);
    EXPECT_EQ(lib.core().settings.max_speed, 0);
    EXPECT_EQ(lib.Rcvbuf(), 1027840);
    EXPECT_EQ(lib.Sndbuf(), 14600);
    EXPECT_FALSE(lib.core().settings.sndbuf_set);
    EXPECT_EQ(lib.MaxChunkSize(), 2097152);
  }
}

TEST(Properties, ServerNameIsNormalisedAfterDeciphering) {
  const std::pair<const char*, const char*> cases[] = {
      {"FTP://MyHost:21/", "MyHost"}, {"ftp://myhost:2121/dir", "myhost:2121dir"},
      {"HTTPS://a.b\\c", "a.bc"},     {"host:210", "host:210"},
      {"fTp:ftp:x", "x"},
      // IPv6: the ":21" of an address is part of it; the one after brackets is the port.
      {"fe80::21", "fe80::21"},       {"[fe80::21]:21", "fe80::21"},
      {"FTP://[2001:DB8::1]/", "2001:db8::1"}, {"[::1]:2121", "[::1]:2121"},
  };
  FtpLibrary lib;
  for (auto [written, stored] : cases) {
    lib.ServerName(written);
    EXPECT_EQ(lib.ServerName(), stored) << written;
  }
  const std::string hidden = detail::Encipher("ftp://secret.example:21/");
  for (auto [lype, expected] : {std::pair<std::int16_t, std::string>{0, hidden}, {1, "secret.example"},
                                {7, "secret.example"}, {100, hidden}}) {
    lib.Lype(lype);
    lib.ServerName(hidden);
    EXPECT_EQ(lib.ServerName(), expected) << lype;
  }
}

TEST(Properties, ReplaceSettingMapsAndComplainsAboutUnknownValues) {
  auto ui = std::make_shared<RecordingUi>();
  FtpLibrary lib;
  lib.SetUserInterface(ui);
  lib.Title("My Title");
  for (auto [written, stored] : {std::pair<std::int16_t, std::int16_t>{0, 0}, {1, 3}, {2, 6}, {3, 8},
                                 {4, 4}, {5, 0}, {-1, 0}}) {
    lib.ReplaceSetting(2);
    lib.ReplaceSetting(written);
    EXPECT_EQ(lib.ReplaceSetting(), stored) << written;
  }
  ASSERT_EQ(ui->boxes.size(), 2u);  // for 5 and -1
  EXPECT_TRUE(ui->boxes[0].first.starts_with("Selectable Value of 'ReplaceSetting':"));
  EXPECT_EQ(ui->boxes[0].second, "My Title");
  lib.OverWrite(true);
  EXPECT_EQ(lib.ReplaceSetting(), 3);
  lib.OverWrite(false);
  EXPECT_EQ(lib.ReplaceSetting(), 6);
}

TEST(Properties, TextSettings) {
  FtpLibrary lib;
  lib.FileTypeAllow(" *.TXT;*.Doc,*.a|b ");
  EXPECT_EQ(lib.FileTypeAllow(), ".txt..doc..a.b");
  lib.FileTypeForbid("**");
  EXPECT_EQ(lib.FileTypeForbid(), "");
  lib.KeepAliveCommand("  noop ");
  EXPECT_EQ(lib.core().settings.keep_alive_command, "NOOP");
  lib.LocalPath("  //tmp//x\\y  ");
  EXPECT_EQ(lib.LocalPath(), "/tmp/x\\y");
  lib.UTF8(false);  // an explicit encoding ends automatic detection
  lib.AutoEncoding(true);
  lib.UTF8(true);
  EXPECT_FALSE(lib.core().settings.auto_encoding);
}

TEST(Properties, TextReplacesAllMessagesOrComplains) {
  auto ui = std::make_shared<RecordingUi>();
  FtpLibrary lib;
  lib.SetUserInterface(ui);
  const std::string original = lib.Text();
  for (int pieces : {50, 52}) {  // one too few, one too many
    std::string value = "m";
    for (int i = 1; i < pieces; ++i) value += "|m" + std::to_string(i);
    lib.Text(value);
    EXPECT_EQ(lib.Text(), original) << pieces;
  }
  lib.Text("");
  ASSERT_EQ(ui->boxes.size(), 2u);
  EXPECT_EQ(ui->boxes[0].first, "Invalid value for 'Text' Property");
  std::string translated = "Nom d'hote requis";
  for (int i = 1; i < 51; ++i) translated += "|t" + std::to_string(i);
  lib.Text(translated);
  FtpLibrary other;  // the table is shared by the thread
  EXPECT_EQ(other.Text(), translated);
}

}  // namespace
}  // namespace quorvi

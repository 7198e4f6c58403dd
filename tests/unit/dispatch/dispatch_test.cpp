// By-name access: lookup without case, conversions, defaults, refusals, events and entries.
#include <quorvi/dispatch.h>

#include <gtest/gtest.h>

#include "variant_printer.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace quorvi {
namespace {

TEST(Variant, ConvertsTheWayAScriptHostDoes) {
  struct Case { Variant from; VariantType to; std::optional<Variant> expected; } const cases[] = {
      {"True", VariantType::Bool, Variant(true)},
      {" false ", VariantType::Bool, Variant(false)},
      {"0", VariantType::Bool, Variant(false)},
      {"-1", VariantType::Bool, Variant(true)},
      {"yes", VariantType::Bool, std::nullopt},
      {" 12 ", VariantType::Int32, Variant(12)},
      {"+7", VariantType::Int32, Variant(7)},
      {"2.5", VariantType::Int16, Variant(std::int16_t(3))},
      {"1e3", VariantType::Int32, Variant(1000)},
      {"40000", VariantType::Int16, std::nullopt},
      {"12abc", VariantType::Int32, std::nullopt},
      {"", VariantType::Int32, std::nullopt},
      {"nan", VariantType::Double, std::nullopt},
      {true, VariantType::Int32, Variant(1)},
      {2147483648.0, VariantType::Int32, std::nullopt},
      {1.5, VariantType::String, Variant("1.5")},
      {3e6, VariantType::String, Variant("3000000")},
      {1e300, VariantType::String, Variant("1e+300")},
      {false, VariantType::String, Variant("False")},
      {Variant(), VariantType::String, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.from.ToText() + " -> " + std::string(TypeName(c.to)));
    EXPECT_EQ(c.from.ConvertTo(c.to), c.expected);
  }
}

TEST(Dispatch, FindsMembersAndEventsWithoutRegardToCase) {
  FtpLibrary ftp;
  for (const char* name : {"TimeOut", "timeout", "TIMEOUT"}) {
    const auto result = GetProperty(ftp, name);
    ASSERT_TRUE(result) << result.message;
    EXPECT_EQ(result.value, Variant(std::int16_t(30)));
  }
  EXPECT_EQ(Invoke(ftp, "getfilename", {"/a/b.txt"}).value, Variant("b.txt"));
  ASSERT_NE(FindMember("servername"), nullptr);
  EXPECT_EQ(FindMember("servername")->name, "ServerName");
  EXPECT_TRUE(PutProperty(ftp, "transfermode", "0"));  // an enumeration takes an Int32
  EXPECT_EQ(ftp.TransferMode(), FTP_ASCII_MODE);
  EXPECT_EQ(FindEvent(ftp, "onstatechange"), &ftp.OnStateChange());
  EXPECT_EQ(FindEvent(ftp, "OnClose"), nullptr);
  EXPECT_EQ(FindEvent(ftp, "TimeOut"), nullptr);
}

TEST(Dispatch, OmittedOptionalArgumentsTakeTheirDefaults) {
  FtpLibrary ftp;
  const auto dir = std::filesystem::temp_directory_path() /
                   ("quorvi-dispatch-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir / "sub");
  std::ofstream(dir / "sub" / "a.txt") << "x";
  const std::string folder = dir.string() + "/";
  const auto explicit_defaults = Invoke(ftp, "GetFolderFilePath", {folder, true, 2});
  ASSERT_TRUE(explicit_defaults) << explicit_defaults.message;
  EXPECT_NE(explicit_defaults.value.AsString().find("a.txt|0"), std::string::npos);
  EXPECT_EQ(Invoke(ftp, "GetFolderFilePath", {folder}).value, explicit_defaults.value);
  // An Empty argument is an omitted one, also before a given one.
  EXPECT_EQ(Invoke(ftp, "GetFolderFilePath", {folder, Variant(), "2"}).value,
            explicit_defaults.value);
  EXPECT_EQ(Invoke(ftp, "FormatTime", {3725}).value, Variant("01:02:05"));
  std::filesystem::remove_all(dir);
}

TEST(Dispatch, RefusesWrongAccessWithAReason) {
  enum class Op { Get, Put, Call };
  struct Case {
    Op op;
    const char* name;
    std::vector<Variant> args;
    DispatchError error;
    const char* message;
  } const cases[] = {
      {Op::Get, "MaxSpeed", {}, DispatchError::WriteOnly, "'MaxSpeed' is write-only"},
      {Op::Put, "version", {"1"}, DispatchError::ReadOnly, "'Version' is read-only"},
      {Op::Put, "Nope", {"1"}, DispatchError::UnknownMember, "unknown member 'Nope'"},
      {Op::Call, "TimeOut", {}, DispatchError::NotAMethod, "'TimeOut' is a property, not a method"},
      {Op::Get, "Connect", {}, DispatchError::NotAProperty, "'Connect' is a method, not a property"},
      {Op::Get, "OnError", {}, DispatchError::NotAProperty, "'OnError' is an event, not a property"},
      {Op::Call, "GetFileName", {}, DispatchError::ArgumentCount, "'GetFileName' needs argument 'FilePath'"},
      {Op::Call, "GetFileName", {"a", "b"}, DispatchError::ArgumentCount,
       "'GetFileName' takes 1 argument(s), 2 given"},
      {Op::Call, "FormatTime", {"soon"}, DispatchError::ArgumentType,
       "argument 'Seconds' of 'FormatTime': 'soon' is not Int32"},
      {Op::Put, "TimeOut", {70000}, DispatchError::ArgumentType, "'TimeOut': '70000' is not Int16"},
  };
  FtpLibrary ftp;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const DispatchResult result = c.op == Op::Get   ? GetProperty(ftp, c.name)
                                  : c.op == Op::Put ? PutProperty(ftp, c.name, c.args[0])
                                                    : Invoke(ftp, c.name, c.args);
    EXPECT_EQ(result.error, c.error);
    EXPECT_EQ(result.message, c.message);
    EXPECT_FALSE(result);
  }
  EXPECT_EQ(ftp.TimeOut(), 30);  // a refused put changes nothing
}

TEST(Dispatch, ReadsEntriesAndCollectionsByName) {
  CFtpFile file, dir;
  file.FileName("a b.txt");
  file.FileSize(5);
  file.LastWriteTime("2026-11-22 10:20:30");  // read back without the seconds
  file.FilePath("/pub/a b.txt");
  dir.FileName("pub");
  dir.IsDirectory(true);
  CFtpFiles files;
  files.Add(file, "A B.TXT");
  files.Add(dir, "pub");
  const Variant collection(files);
  EXPECT_EQ(GetProperty(collection, "count").value, Variant(2));
  const auto first = Invoke(collection, "Item", {1});
  ASSERT_TRUE(first) << first.message;
  EXPECT_EQ(GetProperty(Invoke(collection, "item", {"a b.txt"}).value, "FileSize").value,
            Variant(5.0));
  EXPECT_EQ(GetProperty(Invoke(collection, "ItemName", {"PUB"}).value, "IsDirectory").value,
            Variant(true));
  EXPECT_TRUE(Invoke(collection, "Item", {3}).value.empty());
  EXPECT_EQ(GetProperty(first.value, "Size").error, DispatchError::UnknownMember);
  EXPECT_EQ(GetProperty(Variant("text"), "Count").error, DispatchError::UnknownMember);

  EXPECT_EQ(first.value.ToText(),
            "FileName='a b.txt' FileSize=5 IsDirectory=False LastWriteTime='2026-11-22 10:20' "
            "Permissions='' Owner='' Group='' FilePath='/pub/a b.txt'");
  const std::string listing = collection.ToText();
  EXPECT_EQ(std::count(listing.begin(), listing.end(), '\n'), 1);  // one line per entry
}

}  // namespace
}  // namespace quorvi

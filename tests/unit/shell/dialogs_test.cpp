#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <quorvi/ftp_library.h>

#include "component/core.h"
#include "local/file_dialogs.h"
#include "local/top_most.h"
#include "test_support.h"

namespace quorvi::detail {
namespace {

using ::testing::_;
using ::testing::HasSubstr;
using ::testing::Return;

TEST(FileDialogRules, OpenFileFilter) {
  struct Case { const char* filter; const char* file_type; const char* list; };
  const Case cases[] = {
      {".txt,.log", "", "*.txt;*.log"},
      {"", "", "*.*"},
      {"", "jpg|png", "*.jpg;*.png"},
      {"jpg;png", "doc", "*.jpg;*.png"},
      {"*.*.txt", "", "*.txt"},
      {"*.txt|*.log", "", "*.txt;*.log"},
      {"..txt", "", "*.txt"},
  };
  for (const auto& c : cases) EXPECT_EQ(OpenFileFilter(c.filter, c.file_type), c.list) << c.filter;
}

TEST(FileDialogRules, SaveProposalAndBrowseAnswer) {
  EXPECT_EQ(SaveFileProposal("  /d/a.txt "), "a.txt");
  EXPECT_EQ(SaveFileProposal("a.txt|b.txt"), "a.txt");
  EXPECT_EQ(SaveFileProposal(std::string(254, 'n')).size(), 254u);
  const std::pair<const char*, const char*> folders[] = {{"/", "/"}, {"/d//", "/d/"}, {"", ""}};
  for (const auto& [in, out] : folders) EXPECT_EQ(BrowseFolderResult(in), out) << in;
}

class MockUi : public UserInterface {
 public:
  MOCK_METHOD(void, MessageBox, (const std::string&, const std::string&), (override));
  MOCK_METHOD(std::string, BrowseFolder, (const std::string&, const std::string&), (override));
  MOCK_METHOD(std::string, SaveFile, (const std::string&, const std::string&, const std::string&),
              (override));
  MOCK_METHOD(std::vector<std::string>, OpenFile, (const std::string&, const std::string&, bool),
              (override));
  MOCK_METHOD(void, SetTopMostByCaption, (const std::string&, bool), (override));
};

TEST(OnTopList, RaiseRaisesEachCaptionOnceThenEmpties) {
  MockUi ui;
  OnTopList list;
  list.Set("Save File||Browse for Folder");
  EXPECT_CALL(ui, SetTopMostByCaption("Save File", true));
  EXPECT_CALL(ui, SetTopMostByCaption("Browse for Folder", true));
  list.Raise(ui);
  EXPECT_TRUE(list.Empty());
  list.Raise(ui);  // nothing listed: no calls
}

class LibraryDialogTest : public ::testing::Test {
 protected:
  void SetUp() override { lib.SetUserInterface(ui); }
  quorvi::testing::TempDir dir;
  quorvi::testing::ScopedEnv registry{"QUORVI_REGISTRY", dir / "registry"};
  FtpLibrary lib;
  std::shared_ptr<MockUi> ui = std::make_shared<MockUi>();
};

TEST_F(LibraryDialogTest, OpenDialogUsesFileTypeAndListsItsCaption) {
  lib.FileType("txt,log");
  EXPECT_CALL(*ui, OpenFile("Select File", "*.txt;*.log", false)).WillOnce([&] {
    EXPECT_EQ(lib.core().on_top.Text(), "Select File");
    return std::vector<std::string>{"/d/a.txt", "/d/b.txt"};
  });
  EXPECT_EQ(lib.ShowOpenFileDialog("", false), "/d/a.txt|/d/b.txt");
  EXPECT_TRUE(lib.core().on_top.Empty());
}

TEST_F(LibraryDialogTest, BrowseDialogDefaultTitleAndSlash) {
  EXPECT_CALL(*ui, BrowseFolder("Select A Folder:", "/start")).WillOnce([&] {
    EXPECT_THAT(lib.core().on_top.Text(), HasSubstr("Browse for Folder"));
    return std::string("/d");
  });
  EXPECT_EQ(lib.ShowBrowseFolderDialog("", "/start"), "/d/");
  EXPECT_CALL(*ui, BrowseFolder("Pick", _)).WillOnce(Return(""));
  EXPECT_EQ(lib.ShowBrowseFolderDialog("Pick"), "");
}

TEST_F(LibraryDialogTest, SaveDialogFailureShowsMessageBox) {
  EXPECT_CALL(*ui, SaveFile(_, _, _)).Times(0);
  EXPECT_CALL(*ui, MessageBox(HasSubstr("ShowSaveFileDialog\n"), ""));
  EXPECT_EQ(lib.ShowSaveFileDialog("/d/" + std::string(300, 'x')), "");
  EXPECT_CALL(*ui, SaveFile("Save File", "a.txt", "*.*")).WillOnce(Return("/e/a.txt"));
  EXPECT_EQ(lib.ShowSaveFileDialog("/d/a.txt"), "/e/a.txt");
}

TEST_F(LibraryDialogTest, FoldersEndWithSlash) {
  quorvi::testing::ScopedEnv tmp("TMPDIR", dir.path().string());
  EXPECT_EQ(lib.GetTempPath(), dir.path().string() + "/");
  EXPECT_EQ(lib.GetShellFolder("Desktop").back(), '/');
}

}  // namespace
}  // namespace quorvi::detail

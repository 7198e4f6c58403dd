#include "transfer/transfer_lists.h"

#include <gtest/gtest.h>

#include "component/component_error.h"

using namespace quorvi::detail;

namespace {

TransferLists::FolderCounter CountOf(double files) {
  return [files](const std::string&) { return files; };
}

TEST(TransferLists, AppendsCountFilesAndFolderItems) {
  TransferLists l;
  l.ChangeTransferList("/a.txt", false, CountOf(0));
  l.ChangeTransferList("/a.txt", false, CountOf(0));
  l.ChangeTransferList("/tree/", false, CountOf(41.6));
  l.ChangeTransferList("/d/*.log", false, CountOf(3));
  EXPECT_EQ(l.TransferList(), "|/a.txt|/a.txt|/tree/|/d/*.log");
  EXPECT_EQ(l.queue_total, 1 + 1 + 42 + 3);
}

TEST(TransferLists, CanceledAndAbortedReadsAreTidyAndRepeatable) {
  TransferLists l;
  l.ChangeTransferList("/a", true, CountOf(0));
  l.ChangeTransferList("/x", false, CountOf(0));  // leaves a run of "|" behind
  l.ChangeTransferList("/b", true, CountOf(0));
  EXPECT_EQ(l.CanceledFileList(), "/a|/b");
  EXPECT_EQ(l.CanceledFileList(), "/a|/b");
  // Appending a canceled path (case ignored) only lifts the cancel.
  l.ChangeTransferList("/A", false, CountOf(0));
  EXPECT_EQ(l.CanceledFileList(), "/b");
  EXPECT_FALSE(l.IsCanceled("/a"));
  EXPECT_TRUE(l.IsCanceled("/B"));
  EXPECT_EQ(l.TransferList(), "|/x");
  EXPECT_EQ(l.queue_total, 1);
  l.RecordAborted("/r/1");
  l.RecordAborted("/r/1");
  EXPECT_EQ(l.AbortedFileList(), "/r/1|/r/1");
  l.ClearAborted();
  EXPECT_EQ(l.AbortedFileList(), "");
}

TEST(TransferLists, ResultListsKeepEachTransferredPathOnce) {
  TransferLists l;
  l.RecordTransferred("/l/a.txt", "/r/a.txt");
  l.RecordTransferred("/l/a.txt", "/r/a.txt");  // a retry of the same file
  l.RecordTransferred("/L/A.TXT", "/r/b.txt");  // another file: Linux names differ by case
  l.RecordTransferred("/l/c.txt", "/r/a.txt");
  l.RecordSkipped("/s");
  l.RecordSkipped("/s");
  EXPECT_EQ(l.TransferedLocalFiles(), "/l/a.txt|/L/A.TXT|/l/c.txt");
  EXPECT_EQ(l.TransferedRemoteFiles(), "/r/a.txt|/r/b.txt");
  EXPECT_EQ(l.SkippedFiles(), "/s|/s");
  EXPECT_EQ(l.transferred_count, 3);
  EXPECT_EQ(l.skipped_count, 2);
  l.queue_index = 3;
  l.queue_total = 9;
  l.ResetForClose();
  EXPECT_EQ(l.queue_index + l.queue_total, 0);
  EXPECT_EQ(l.TransferedLocalFiles() + l.SkippedFiles(), "");
  l.RecordTransferred("/l/a.txt", "/r/a.txt");  // a new job lists it again
  EXPECT_EQ(l.TransferedLocalFiles(), "/l/a.txt");
}

TEST(Admission, FileTypes) {
  struct Case { const char *path, *allowed, *forbidden; int error; };  // error 0: accepted
  const Case cases[] = {
      {"/p/photo.JPG", "jpg", "", 0},
      {"/p/notes.txt", "jpg", "", 20021},
      {"/p/README", "jpg", "", 20021},
      {"/p/a.gif", ".jpg..gif", "", 0},
      {"/p/setup.exe", "", "exe", 20022},
      {"/p/README", "", "exe", 0},
      {"/p/a.jpeg", "jpg", "", 20021},
      {"/p/a.pg", "jpg", "", 20021},
      {"/p/a.doc", "doc", "doc", 20022},
  };
  for (const Case& c : cases) {
    int got = 0;
    try {
      CheckFileType(c.path, c.allowed, c.forbidden, "UpLoad");
    } catch (const ComponentError& e) {
      got = e.number();
      EXPECT_EQ(e.source(), "UpLoad");
    }
    EXPECT_EQ(got, c.error) << c.path << " allow=" << c.allowed << " forbid=" << c.forbidden;
  }
  try {
    CheckFileType("/a.txt", "jpg.gif", "", "DownLoad");
    ADD_FAILURE() << "a.txt passed";
  } catch (const ComponentError& e) {
    EXPECT_EQ(e.text(), "This filetype is not allowed.Allowable File Types:[ jpg.gif ]");
  }
}

TEST(Admission, MaxSize) {
  constexpr double kMiB = 1048576;
  EXPECT_NO_THROW(CheckMaxSize(1e12, 0, "DownLoadOne"));  // 0: no limit
  EXPECT_NO_THROW(CheckMaxSize(kMiB, kMiB, "DownLoadOne"));
  EXPECT_THROW(CheckMaxSize(kMiB + 1, kMiB, "DownLoadOne"), ComponentError);
  EXPECT_EQ(MaxSizeText(kMiB), "Can't transfer files more than 1M");
  try {
    CheckMaxSize(3 * kMiB, 2.5 * kMiB, "UpLoadOne");
    ADD_FAILURE() << "above the limit passed";
  } catch (const ComponentError& e) {
    EXPECT_EQ(e.number(), 20003);
    EXPECT_EQ(e.text(), "Can't transfer files more than 2.5M");
  }
}

}  // namespace

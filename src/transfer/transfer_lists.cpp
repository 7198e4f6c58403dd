#include "transfer/transfer_lists.h"

#include <cmath>
#include <cstdio>

#include "component/component_error.h"
#include "component/error_numbers.h"
#include "local/formatters.h"
#include "platform/concat.h"

namespace quorvi::detail {
namespace {

std::string Lower(std::string s) {
  for (char& c : s) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return s;
}

std::string WithoutLeadingBar(std::string& stored) {
  if (!stored.empty() && stored.front() == '|') stored.erase(0, 1);
  return stored;
}

// Doubled separators collapsed, one separator removed at each end.
std::string Tidy(std::string copy) {
  std::string out;
  out.reserve(copy.size());
  for (char c : copy) {
    if (c == '|' && !out.empty() && out.back() == '|') continue;
    out += c;
  }
  if (!out.empty() && out.front() == '|') out.erase(0, 1);
  if (!out.empty() && out.back() == '|') out.pop_back();
  return out;
}

// Linux names differ by case: "A.txt" and "a.txt" are two files and both are listed.
bool AppendOnce(std::string& list, std::unordered_set<std::string>& seen, const std::string& path) {
  if (!seen.insert(path).second) return false;
  list.append("|").append(path);
  return true;
}

}  // namespace

void TransferLists::ChangeTransferList(const std::string& path, bool remove,
                                       const FolderCounter& count) {
  if (remove) {
    canceled_.append("|").append(path);
    return;
  }
  canceled_ += '|';
  const std::string enclosed = Concat("|", Lower(path), "|");
  const auto pos = Lower(canceled_).find(enclosed);
  if (pos != std::string::npos) {
    canceled_.replace(pos, enclosed.size(), 1, '|');
    return;
  }
  transfer_.append("|").append(path);
  const bool folder_item =
      (!path.empty() && path.back() == '/') || path.find_first_of("*?") != std::string::npos;
  queue_total += folder_item && count ? static_cast<std::int32_t>(std::lround(count(path))) : 1;
}

std::string TransferLists::TransferedLocalFiles() { return WithoutLeadingBar(transferred_local_); }
std::string TransferLists::TransferedRemoteFiles() {
  return WithoutLeadingBar(transferred_remote_);
}
std::string TransferLists::SkippedFiles() { return WithoutLeadingBar(skipped_); }
std::string TransferLists::FailedFiles() { return WithoutLeadingBar(failed_); }
std::string TransferLists::CanceledFileList() const { return Tidy(canceled_); }
std::string TransferLists::AbortedFileList() const { return Tidy(aborted_); }

void TransferLists::RecordTransferred(const std::string& local_path,
                                      const std::string& remote_path) {
  if (AppendOnce(transferred_local_, local_seen_, local_path)) ++transferred_count;
  AppendOnce(transferred_remote_, remote_seen_, remote_path);
}

bool TransferLists::IsCanceled(const std::string& path) const {
  if (canceled_.empty()) return false;
  return Lower(Concat(canceled_, "|")).find(Concat("|", Lower(path), "|")) != std::string::npos;
}

std::string TransferLists::TakeTransferList() {
  std::string taken;
  taken.swap(transfer_);
  return taken;
}

void TransferLists::ClearResults() {
  transferred_local_.clear();
  transferred_remote_.clear();
  skipped_.clear();
  failed_.clear();
  transferred_count = skipped_count = 0;
  local_seen_.clear();
  remote_seen_.clear();
}

void TransferLists::ResetForClose() {
  queue_index = 0;
  queue_total = 0;
  ClearResults();
}

std::string AdmissionExtension(const std::string& path) {
  const auto slash = path.find_last_of("/\\");
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const auto dot = name.rfind('.');
  return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

std::int32_t FileTypeRefusal(const std::string& path, const std::string& allowed,
                             const std::string& forbidden) {
  if (allowed.empty() && forbidden.empty()) return 0;
  const std::string ext = Lower(AdmissionExtension(path));
  const std::string dotted = "." + ext + ".";
  if (!allowed.empty() &&
      (ext.empty() || Lower("." + allowed + ".").find(dotted) == std::string::npos)) {
    return errors::kTypeNotAllowed;
  }
  if (!forbidden.empty() && !ext.empty() &&
      Lower("." + forbidden + ".").find(dotted) != std::string::npos) {
    return errors::kTypeForbidden;
  }
  return 0;
}

void CheckFileType(const std::string& path, const std::string& allowed,
                   const std::string& forbidden, const std::string& procedure) {
  switch (FileTypeRefusal(path, allowed, forbidden)) {
    case errors::kTypeNotAllowed:
      Fail(errors::kTypeNotAllowed, "This filetype is not allowed.Allowable File Types:[ " + allowed + " ]", procedure);
    case errors::kTypeForbidden:
      Fail(errors::kTypeForbidden, "This filetype is forbidden.Forbidden File Types:[ " + forbidden + " ]", procedure);
    default:
      break;
  }
}

std::string MaxSizeText(double limit_bytes) {
  char value[64];
  std::snprintf(value, sizeof value, "%.1f", limit_bytes / 1024.0 / 1024.0);
  std::string text = "Can't transfer files more than " + std::string(value) + "M";
  ReplaceAll(text, ".0", "");
  return text;
}

void CheckMaxSize(double size, double limit_bytes, const std::string& procedure) {
  if (limit_bytes <= 0 || size <= limit_bytes) return;
  Fail(errors::kTooLarge, MaxSizeText(limit_bytes), procedure);
}

}  // namespace quorvi::detail

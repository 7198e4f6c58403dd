#include <quorvi/ftp_file.h>

#include "ftp/ftp_text.h"
#include "local/case_folding.h"

namespace quorvi {

std::string CFtpFile::LastWriteTime() const {
  // Seconds are dropped: "2009-01-15 10:30:45" reads "2009-01-15 10:30", and a suffix after
  // the seconds ("AM") is kept after one space.
  const std::string& text = last_write_time_;
  const auto first = text.size() > 1 ? text.find(':', 1) : std::string::npos;
  if (first == std::string::npos) return text;
  const auto second = text.find(':', first + 1);
  if (second == std::string::npos) return text;
  std::string result = detail::ftp_text::Trim(std::string_view(text).substr(0, second));
  if (second + 3 < text.size()) {
    const std::string rest = detail::ftp_text::Trim(std::string_view(text).substr(second + 3));
    if (!rest.empty()) result += " " + rest;
  }
  return result;
}

CFtpFile* CFtpFiles::Add(CFtpFile oFtpFile, const std::string& vKey) {
  if (index_.count(vKey) != 0) return nullptr;
  index_.emplace(vKey, items_.size());
  folded_.emplace(detail::FoldCase(vKey), items_.size());  // keeps the first of a folded key
  keys_.push_back(vKey);
  items_.push_back(std::move(oFtpFile));
  return &items_.back();
}

void CFtpFiles::Reindex() {
  index_.clear();
  folded_.clear();
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    index_.emplace(keys_[i], i);
    folded_.emplace(detail::FoldCase(keys_[i]), i);
  }
}

CFtpFile* CFtpFiles::Item(std::int32_t vntIndexKey) {
  if (vntIndexKey < 1 || vntIndexKey > Count()) return nullptr;
  return &items_[static_cast<std::size_t>(vntIndexKey - 1)];
}

const CFtpFile* CFtpFiles::Item(std::int32_t vntIndexKey) const {
  return const_cast<CFtpFiles*>(this)->Item(vntIndexKey);
}

CFtpFile* CFtpFiles::Item(const std::string& vntKey) {
  if (const auto exact = index_.find(vntKey); exact != index_.end()) return &items_[exact->second];
  const auto found = folded_.find(detail::FoldCase(vntKey));
  return found == folded_.end() ? nullptr : &items_[found->second];
}

const CFtpFile* CFtpFiles::Item(const std::string& vntKey) const {
  return const_cast<CFtpFiles*>(this)->Item(vntKey);
}

const CFtpFile* CFtpFiles::ItemName(const std::string& vntName) const {
  for (const auto& item : items_)
    if (item.FileName() == vntName) return &item;
  const std::string name = detail::FoldCase(vntName);
  for (const auto& item : items_)
    if (detail::FoldCase(item.FileName()) == name) return &item;
  return nullptr;
}

bool CFtpFiles::Remove(std::int32_t vntIndexKey) {
  if (vntIndexKey < 1 || vntIndexKey > Count()) return false;
  const auto position = static_cast<std::size_t>(vntIndexKey - 1);
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position));
  keys_.erase(keys_.begin() + static_cast<std::ptrdiff_t>(position));
  Reindex();
  return true;
}

}  // namespace quorvi

#include "http/chunked_decoder.h"

#include <charconv>

namespace quorvi::detail {
namespace {

constexpr std::size_t kLongestLine = 4096;          // size line with extensions, trailer line
constexpr std::uint64_t kLargestChunk = 1ULL << 48;  // beyond any real body

}  // namespace

ChunkedDecoder::Status ChunkedDecoder::Fail(std::string reason) {
  error_ = "Bad chunked body: " + std::move(reason);
  status_ = Status::kError;
  return status_;
}

ChunkedDecoder::Status ChunkedDecoder::TakeSizeLine() {
  std::string_view size = line_;
  if (const std::size_t extension = size.find(';'); extension != std::string_view::npos)
    size = size.substr(0, extension);
  while (!size.empty() && (size.back() == ' ' || size.back() == '\t')) size.remove_suffix(1);
  std::uint64_t value = 0;
  const auto [end, ec] = std::from_chars(size.data(), size.data() + size.size(), value, 16);
  if (size.empty() || ec != std::errc() || end != size.data() + size.size() || value > kLargestChunk)
    return Fail("chunk size line \"" + line_.substr(0, 40) + "\"");
  line_.clear();
  remaining_ = value;
  part_ = value == 0 ? Part::kTrailer : Part::kData;
  return Status::kMore;
}

ChunkedDecoder::Status ChunkedDecoder::Feed(std::string_view piece, std::string& out) {
  std::size_t at = 0;
  while (at < piece.size() && status_ == Status::kMore) {
    switch (part_) {
      case Part::kSize:
      case Part::kTrailer: {
        const char c = piece[at++];
        if (c != '\n') {
          line_ += c;
          if (line_.size() > kLongestLine) return Fail("line longer than 4096 bytes");
          break;
        }
        if (!line_.empty() && line_.back() == '\r') line_.pop_back();
        if (part_ == Part::kSize) {
          if (TakeSizeLine() == Status::kError) return status_;
        } else if (line_.empty()) {
          status_ = Status::kDone;  // the empty line that ends the trailer
        } else {
          line_.clear();  // a trailer field: not used
        }
        break;
      }
      case Part::kData: {
        const std::size_t n =
            static_cast<std::size_t>(std::min<std::uint64_t>(remaining_, piece.size() - at));
        out.append(piece.substr(at, n));
        at += n;
        remaining_ -= n;
        if (remaining_ == 0) part_ = Part::kDataEnd;
        break;
      }
      case Part::kDataEnd: {
        const char c = piece[at++];
        if (c == '\r' && line_.empty()) {
          line_.assign(1, '\r');
        } else if (c == '\n') {
          line_.clear();
          part_ = Part::kSize;
        } else {
          return Fail("no line end after a chunk");
        }
        break;
      }
    }
  }
  return status_;
}

}  // namespace quorvi::detail

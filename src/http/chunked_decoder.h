// Transfer-Encoding: chunked, decoded as the bytes arrive in pieces of any size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quorvi::detail {

class ChunkedDecoder {
 public:
  enum class Status { kMore, kDone, kError };

  /// Decodes the next piece of the body: the payload bytes are appended to out. kDone once the
  /// last chunk and the trailer have been read (bytes after it are ignored); kError on bytes
  /// that are not chunked framing (Error() says what).
  Status Feed(std::string_view piece, std::string& out);
  Status status() const { return status_; }
  const std::string& Error() const { return error_; }

 private:
  enum class Part { kSize, kData, kDataEnd, kTrailer };
  Status Fail(std::string reason);
  /// A whole size line (without CR LF): the chunk's size, or kError.
  Status TakeSizeLine();

  Part part_ = Part::kSize;
  Status status_ = Status::kMore;
  std::string line_;            // the size or trailer line read so far
  std::uint64_t remaining_ = 0; // payload bytes left in the current chunk
  std::string error_;
};

}  // namespace quorvi::detail

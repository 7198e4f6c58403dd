// Line-end conversion of ASCII-mode (TYPE A) transfers: the wire carries CR LF, local text
// files end their lines with LF. Both converters keep state across blocks, so a CR LF split
// between two network reads or two file reads is converted like any other.
#pragma once

#include <string>
#include <string_view>

namespace quorvi::detail {

/// Download: every CR LF of the wire becomes LF; any other CR stays.
class AsciiToLocal {
 public:
  /// Appends the local bytes of the next wire block to out (a CR at its end is held back).
  void Feed(std::string_view wire, std::string& out);
  /// The held-back CR when the data has ended with it ("" otherwise); resets the state.
  std::string Finish();
  void Reset() { held_cr_ = false; }

 private:
  bool held_cr_ = false;
};

/// Upload: every LF that does not already follow a CR goes out as CR LF.
class AsciiToWire {
 public:
  /// Appends the wire bytes of the next local block to out.
  void Feed(std::string_view local, std::string& out);
  void Reset() { after_cr_ = false; }

 private:
  bool after_cr_ = false;
};

}  // namespace quorvi::detail

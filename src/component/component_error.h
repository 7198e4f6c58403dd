// The internal failure type: a numbered error that jumps to the failing procedure's own
// handler. It never crosses a public member of FtpLibrary.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace quorvi::detail {

class ComponentError : public std::exception {
 public:
  ComponentError(std::int32_t number, std::string text, std::string source = {})
      : number_(number), text_(std::move(text)), source_(std::move(source)) {}
  std::int32_t number() const noexcept { return number_; }
  const std::string& text() const noexcept { return text_; }
  const std::string& source() const noexcept { return source_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::int32_t number_;
  std::string text_;
  std::string source_;
};

/// Raises a numbered error; an empty text is filled from the error-text tables by the handler.
[[noreturn]] inline void Fail(std::int32_t number, std::string text = {}, std::string source = {}) {
  throw ComponentError(number, std::move(text), std::move(source));
}

}  // namespace quorvi::detail

// A value that crosses the by-name interface (quorvi/dispatch.h): nothing, a Boolean, a 32- or
// 16-bit integer, a double, a text, or a reference to a remote entry (CFtpFile) or a collection
// of entries (CFtpFiles). Objects are shared and read-only, so copying a Variant is cheap.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include <quorvi/ftp_file.h>

namespace quorvi {

/// The kinds a Variant holds, in the order of Variant::Value's alternatives.
enum class VariantType { Empty, Bool, Int32, Int16, Double, String, File, Files };

/// Name of a kind as the reference and the error texts show it ("Boolean", "Int16", ...).
std::string_view TypeName(VariantType type);

class Variant {
 public:
  using Value = std::variant<std::monostate, bool, std::int32_t, std::int16_t, double, std::string,
                             std::shared_ptr<const CFtpFile>, std::shared_ptr<const CFtpFiles>>;

  /// Empty: as an argument it means "omitted" (the member's default applies).
  Variant() = default;
  Variant(bool v) : value_(v) {}
  Variant(std::int32_t v) : value_(v) {}
  Variant(std::int16_t v) : value_(v) {}
  Variant(double v) : value_(v) {}
  Variant(std::string v) : value_(std::move(v)) {}
  Variant(std::string_view v) : value_(std::string(v)) {}
  Variant(const char* v) : value_(std::string(v)) {}
  Variant(CFtpFile v) : value_(std::make_shared<const CFtpFile>(std::move(v))) {}
  Variant(CFtpFiles v) : value_(std::make_shared<const CFtpFiles>(std::move(v))) {}
  Variant(std::shared_ptr<const CFtpFile> v) : value_(std::move(v)) {}
  Variant(std::shared_ptr<const CFtpFiles> v) : value_(std::move(v)) {}

  /// The kind held.
  VariantType type() const { return static_cast<VariantType>(value_.index()); }
  bool empty() const { return type() == VariantType::Empty; }
  /// The raw value, for std::get / std::visit.
  const Value& value() const { return value_; }

  /// The value as the given kind, converted the way a script host converts: texts "True",
  /// "False" (any case) and numbers become Booleans (non-zero is true); texts with a whole
  /// number become integers if they fit; numbers round to the nearest integer; anything but an
  /// object becomes text (ToText). Empty when the conversion is impossible.
  std::optional<Variant> ConvertTo(VariantType target) const;

  /// Display text: "" for Empty, "True"/"False", decimal numbers (doubles in their shortest
  /// exact form), the text itself; an entry as "FileName=... FileSize=..." pairs; a
  /// collection as its entries, one per line.
  std::string ToText() const;

  // Typed readers; each returns the zero value when the Variant holds another kind.
  bool AsBool() const { return Get<bool>(false); }
  std::int32_t AsInt32() const { return Get<std::int32_t>(0); }
  std::int16_t AsInt16() const { return Get<std::int16_t>(0); }
  double AsDouble() const { return Get<double>(0); }
  std::string AsString() const { return Get<std::string>({}); }
  std::shared_ptr<const CFtpFile> AsFile() const { return Get<std::shared_ptr<const CFtpFile>>({}); }
  std::shared_ptr<const CFtpFiles> AsFiles() const {
    return Get<std::shared_ptr<const CFtpFiles>>({});
  }

  friend bool operator==(const Variant& a, const Variant& b) { return a.value_ == b.value_; }

 private:
  template <typename T>
  T Get(T fallback) const {
    const T* p = std::get_if<T>(&value_);
    return p ? *p : std::move(fallback);
  }

  Value value_;
};

}  // namespace quorvi

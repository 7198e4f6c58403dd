// Variant conversions: the rules a script host applies when a value meets a member's type.
#include <quorvi/variant.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "component/dispatch/object_members.h"

namespace quorvi {

namespace {

std::string_view Trim(std::string_view s) {
  const auto first = s.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  const auto last = s.find_last_not_of(" \t");
  return s.substr(first, last - first + 1);
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

// A number written in full ("12", "-3", "+2.5", "1e3"); nothing else may follow.
std::optional<double> ParseNumber(std::string_view text) {
  text = Trim(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  double value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size() ||
      !std::isfinite(value))
    return std::nullopt;
  return value;
}

// The numeric value of a non-object, non-empty Variant; Booleans count as 1 and 0.
std::optional<double> NumberOf(const Variant& v) {
  switch (v.type()) {
    case VariantType::Bool: return v.AsBool() ? 1.0 : 0.0;
    case VariantType::Int32: return double(v.AsInt32());
    case VariantType::Int16: return double(v.AsInt16());
    case VariantType::Double: return v.AsDouble();
    case VariantType::String: return ParseNumber(v.AsString());
    default: return std::nullopt;
  }
}

template <typename Int>
std::optional<Variant> ToInteger(const Variant& v) {
  const auto number = NumberOf(v);
  if (!number) return std::nullopt;
  const double rounded = std::round(*number);
  if (rounded < double(std::numeric_limits<Int>::min()) ||
      rounded > double(std::numeric_limits<Int>::max()))
    return std::nullopt;
  return Variant(static_cast<Int>(rounded));
}

std::optional<Variant> ToBool(const Variant& v) {
  if (v.type() == VariantType::String) {
    const std::string_view text = Trim(v.AsString());
    if (EqualsNoCase(text, "true")) return Variant(true);
    if (EqualsNoCase(text, "false")) return Variant(false);
  }
  const auto number = NumberOf(v);
  if (!number) return std::nullopt;
  return Variant(*number != 0);
}

// Text of an entry property value: quoted like a shell word when it holds blanks or is empty,
// so that "FileName='a b.txt'" stays one readable pair.
std::string Quoted(const std::string& text) {
  if (!text.empty() && text.find_first_of(" \t'\"\\") == std::string::npos) return text;
  std::string out = "'";
  for (char c : text) {
    if (c == '\'') out += "'\\''";
    else out += c;
  }
  return out + "'";
}

std::string FileText(const CFtpFile& file) {
  std::string out;
  for (const auto name : FilePropertyNames()) {
    if (!out.empty()) out += ' ';
    out += name;
    out += '=';
    out += Quoted(detail::ReadFileProperty(file, name).ToText());
  }
  return out;
}

}  // namespace

std::string_view TypeName(VariantType type) {
  static constexpr std::string_view kNames[] = {"Empty",  "Boolean", "Int32",    "Int16",
                                                "Double", "String",  "CFtpFile", "CFtpFiles"};
  return kNames[static_cast<std::size_t>(type)];
}

std::optional<Variant> Variant::ConvertTo(VariantType target) const {
  if (type() == target) return *this;
  if (empty() || type() == VariantType::File || type() == VariantType::Files)
    return std::nullopt;
  switch (target) {
    case VariantType::Empty: return Variant();
    case VariantType::Bool: return ToBool(*this);
    case VariantType::Int32: return ToInteger<std::int32_t>(*this);
    case VariantType::Int16: return ToInteger<std::int16_t>(*this);
    case VariantType::Double: {
      const auto number = NumberOf(*this);
      if (!number) return std::nullopt;
      return Variant(*number);
    }
    case VariantType::String: return Variant(ToText());
    case VariantType::File:
    case VariantType::Files: return std::nullopt;
  }
  return std::nullopt;
}

std::string Variant::ToText() const {
  switch (type()) {
    case VariantType::Empty: return {};
    case VariantType::Bool: return AsBool() ? "True" : "False";
    case VariantType::Int32: return std::to_string(AsInt32());
    case VariantType::Int16: return std::to_string(AsInt16());
    case VariantType::Double: {
      // Sizes are doubles: whole numbers print in full ("3000000", never "3e+06").
      const double v = AsDouble();
      char buffer[64];
      const auto result = std::abs(v) < 1e15 && v == std::trunc(v)
                              ? std::to_chars(buffer, buffer + sizeof buffer, v,
                                              std::chars_format::fixed)
                              : std::to_chars(buffer, buffer + sizeof buffer, v);
      return std::string(buffer, result.ptr);
    }
    case VariantType::String: return AsString();
    case VariantType::File: {
      const auto file = AsFile();
      return file ? FileText(*file) : std::string();
    }
    case VariantType::Files: {
      std::string out;
      if (const auto files = AsFiles()) {
        for (const auto& file : *files) {
          if (!out.empty()) out += '\n';
          out += FileText(file);
        }
      }
      return out;
    }
  }
  return {};
}

}  // namespace quorvi

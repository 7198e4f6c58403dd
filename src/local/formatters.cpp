#include "local/formatters.h"

#include <cmath>
#include <cstdio>
#include <vector>
#include "platform/concat.h"

namespace quorvi::detail {
namespace {

constexpr double kMiB = 1048576.0;
constexpr double kKiB = 1024.0;

double RoundTo2(double v) { return std::round(v * 100.0) / 100.0; }

// Drops leading zeros of a clock part ("05" gives "5", "00" gives "0").
std::string WithoutLeadingZeros(const std::string& part) {
  const auto first = part.find_first_not_of('0');
  return first == std::string::npos ? "0" : part.substr(first);
}

std::string TwoDigits(std::int64_t v) { return Concat(v < 10 ? "0" : "", std::to_string(v)); }

}  // namespace

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t pos = text.find(from); pos != std::string::npos;
       pos = text.find(from, pos + to.size())) {
    text.replace(pos, from.size(), to);
  }
}

std::string NumberText(double value) {
  if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) < 1e18) {
    return std::to_string(static_cast<long long>(value));
  }
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.15g", value);
  return buf;
}

std::string FormatFileSize(double file_size) {
  std::string text;
  if (file_size >= kMiB) {
    // At most one decimal, halves away from zero; a whole value keeps its "." for now and
    // loses it with the ". " rule below, so 2 MiB reads "2 MB".
    const double tenths = std::round(RoundTo2(file_size / kMiB) * 10.0);
    const auto whole = static_cast<long long>(tenths) / 10;
    const auto decimal = static_cast<long long>(tenths) % 10;
    text = std::to_string(whole) + "." + (decimal ? std::to_string(decimal) : "") + " MB";
  } else if (file_size >= kKiB) {
    text = NumberText(std::round(RoundTo2(file_size / kKiB))) + " KB";
  } else {
    text = NumberText(file_size) + " Bytes";
  }
  ReplaceAll(text, ". ", " ");
  return text;
}

std::string FormatNumber(double size) {
  std::string s = NumberText(size);
  std::string out;
  while (s.size() >= 4) {
    out = s.substr(s.size() - 3) + "," + out;
    s.resize(s.size() - 3);
  }
  if (!s.empty()) out = s + "," + out;
  ReplaceAll(out, ",,", ",");
  if (!out.empty() && out.back() == ',') out.pop_back();
  return out;
}

std::string SecondsToTimeText(std::int32_t seconds) {
  if (seconds <= 0) return "00:00:00";
  const std::int64_t s = seconds;
  return TwoDigits(s / 3600) + ":" + TwoDigits(s % 3600 / 60) + ":" + TwoDigits(s % 60);
}

std::string FormatTime(std::int32_t seconds, std::int16_t time_type, const TimeUnitWords& units) {
  std::string t = SecondsToTimeText(seconds);
  if (t.rfind("00", 0) == 0) t.erase(0, 3);
  if (time_type != 1) return t;
  if (t.rfind("00", 0) == 0) t.erase(0, 3);
  std::vector<std::string> parts;
  for (std::size_t start = 0;;) {
    const auto colon = t.find(':', start);
    parts.push_back(WithoutLeadingZeros(t.substr(start, colon - start)));
    if (colon == std::string::npos) break;
    start = colon + 1;
  }
  const std::string* words[] = {&units.hours, &units.minutes, &units.seconds};
  const std::size_t first_word = 3 - parts.size();
  std::string out;
  for (std::size_t i = 0; i < parts.size(); ++i) out += parts[i] + *words[first_word + i];
  return out;
}

}  // namespace quorvi::detail

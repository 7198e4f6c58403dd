// The by-name table of FtpLibrary: one row per public member, with what the row needs to read,
// write or call it. Arguments reach `call` and `put` already converted to the member's types and
// completed with defaults (see dispatch.cpp).
#pragma once

#include <quorvi/dispatch.h>

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace quorvi::detail {

struct MemberRow {
  MemberInfo info;
  /// Method call, or property read (no arguments).
  std::function<Variant(FtpLibrary&, const std::vector<Variant>&)> call;
  /// Property write.
  std::function<void(FtpLibrary&, const Variant&)> put;
  /// Event accessor.
  Event& (FtpLibrary::*event)() = nullptr;
};

/// Every row, in the declaration order of FtpLibrary.
const std::vector<MemberRow>& MemberRows();
/// The row of that name (any case), or null.
const MemberRow* FindRow(std::string_view name);

}  // namespace quorvi::detail

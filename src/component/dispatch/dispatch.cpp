// By-name dispatch over FtpLibrary: finds the row, checks the kind of access, converts the
// arguments and fills in defaults, then runs the row. Nothing escapes to the host.
#include <quorvi/dispatch.h>

#include "component/dispatch/member_table.h"
#include "component/dispatch/object_members.h"
#include "platform/concat.h"

namespace quorvi {

namespace {

using detail::MemberRow;

DispatchResult Refused(DispatchError error, std::string message) {
  return {error, Variant(), std::move(message)};
}

std::string Quote(std::string_view name) { return Concat("'", name, "'"); }

std::string KindText(MemberKind kind) {
  switch (kind) {
    case MemberKind::Method: return "a method";
    case MemberKind::Property: return "a property";
    case MemberKind::Event: return "an event";
  }
  return "a member";
}

// Runs body, turning anything thrown into a Failed result.
template <typename Body>
DispatchResult Safely(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& e) {
    return Refused(DispatchError::Failed, e.what());
  } catch (...) {
    return Refused(DispatchError::Failed, "unknown failure");
  }
}

// The row of a name that must be of the given kind, or the refusal.
const MemberRow* Lookup(std::string_view name, MemberKind wanted, DispatchResult& refusal) {
  const MemberRow* row = detail::FindRow(name);
  if (!row) {
    refusal = Refused(DispatchError::UnknownMember, "unknown member " + Quote(name));
  } else if (row->info.kind != wanted) {
    refusal = Refused(wanted == MemberKind::Method ? DispatchError::NotAMethod
                                                   : DispatchError::NotAProperty,
                      Quote(row->info.name) + " is " + KindText(row->info.kind) + ", not " +
                          KindText(wanted));
    row = nullptr;
  }
  return row;
}

// The arguments converted to the parameter types, omitted ones replaced by their defaults.
std::optional<std::vector<Variant>> PrepareArguments(const MemberInfo& info,
                                                      const std::vector<Variant>& args,
                                                      DispatchResult& refusal) {
  const auto& params = info.params;
  if (args.size() > params.size()) {
    refusal = Refused(DispatchError::ArgumentCount,
                      Quote(info.name) + " takes " + std::to_string(params.size()) +
                          " argument(s), " + std::to_string(args.size()) + " given");
    return std::nullopt;
  }
  std::vector<Variant> ready;
  ready.reserve(params.size());
  for (std::size_t i = 0; i < params.size(); ++i) {
    const ParamInfo& param = params[i];
    if (i < args.size() && !args[i].empty()) {
      auto converted = args[i].ConvertTo(param.type);
      if (!converted) {
        refusal = Refused(DispatchError::ArgumentType,
                          "argument " + Quote(param.name) + " of " + Quote(info.name) + ": " +
                              Quote(args[i].ToText()) + " is not " +
                              std::string(TypeName(param.type)));
        return std::nullopt;
      }
      ready.push_back(std::move(*converted));
    } else if (param.default_value) {
      ready.push_back(*param.default_value);
    } else {
      refusal = Refused(DispatchError::ArgumentCount,
                        Quote(info.name) + " needs argument " + Quote(param.name));
      return std::nullopt;
    }
  }
  return ready;
}

}  // namespace

std::span<const MemberInfo> Members() {
  static const std::vector<MemberInfo> members = [] {
    std::vector<MemberInfo> out;
    for (const auto& row : detail::MemberRows()) out.push_back(row.info);
    return out;
  }();
  return members;
}

const MemberInfo* FindMember(std::string_view name) {
  const MemberRow* row = detail::FindRow(name);
  return row ? &row->info : nullptr;
}

DispatchResult Invoke(FtpLibrary& ftp, std::string_view name, std::vector<Variant> args) {
  return Safely([&] {
    DispatchResult refusal;
    const MemberRow* row = Lookup(name, MemberKind::Method, refusal);
    if (!row) return refusal;
    auto ready = PrepareArguments(row->info, args, refusal);
    if (!ready) return refusal;
    return DispatchResult{DispatchError::None, row->call(ftp, *ready), ""};
  });
}

DispatchResult GetProperty(FtpLibrary& ftp, std::string_view name) {
  return Safely([&] {
    DispatchResult refusal;
    const MemberRow* row = Lookup(name, MemberKind::Property, refusal);
    if (!row) return refusal;
    if (!row->info.readable)
      return Refused(DispatchError::WriteOnly, Quote(row->info.name) + " is write-only");
    return DispatchResult{DispatchError::None, row->call(ftp, {}), ""};
  });
}

DispatchResult PutProperty(FtpLibrary& ftp, std::string_view name, const Variant& value) {
  return Safely([&] {
    DispatchResult refusal;
    const MemberRow* row = Lookup(name, MemberKind::Property, refusal);
    if (!row) return refusal;
    if (!row->info.writable)
      return Refused(DispatchError::ReadOnly, Quote(row->info.name) + " is read-only");
    const auto converted = value.ConvertTo(row->info.type);
    if (!converted)
      return Refused(DispatchError::ArgumentType,
                     Quote(row->info.name) + ": " + Quote(value.ToText()) + " is not " +
                         std::string(TypeName(row->info.type)));
    row->put(ftp, *converted);
    return DispatchResult{};
  });
}

Event* FindEvent(FtpLibrary& ftp, std::string_view name) {
  const MemberRow* row = detail::FindRow(name);
  if (!row || row->info.kind != MemberKind::Event) return nullptr;
  return &(ftp.*(row->event))();
}

}  // namespace quorvi

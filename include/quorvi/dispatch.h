// The by-name interface of FtpLibrary, as a script host uses it: every public property (get and
// put) and method reachable by its name, names compared without regard to case, arguments and
// results as Variants, omitted optional arguments replaced by the member's default, events found
// by name. The properties of CFtpFile and CFtpFiles are readable by name too.
//
//   quorvi::FtpLibrary ftp;
//   quorvi::PutProperty(ftp, "servername", "127.0.0.1");
//   auto size = quorvi::Invoke(ftp, "GetFtpFileSize", {"/pub/a.txt"});
//   if (!size) std::cerr << size.message << "\n";   // a wrong name, type or argument count
//
// Nothing here throws. A failing dispatch (unknown name, wrong kind, wrong argument) is reported
// in the result; a member that runs and fails reports as usual through ErrorNumber/ErrorInfo.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <quorvi/event.h>
#include <quorvi/ftp_library.h>
#include <quorvi/variant.h>

namespace quorvi {

/// Why a dispatch did not run the member.
enum class DispatchError {
  None,           ///< the member ran (its own failure shows in ErrorNumber/ErrorInfo)
  UnknownMember,  ///< no member of that name
  NotAMethod,     ///< Invoke on a property or an event
  NotAProperty,   ///< GetProperty/PutProperty on a method or an event
  WriteOnly,      ///< GetProperty on a property that can only be written
  ReadOnly,       ///< PutProperty on a property that can only be read
  ArgumentCount,  ///< too many arguments, or a required one missing
  ArgumentType,   ///< an argument or value that does not convert to the member's type
  Failed,         ///< the member threw (it should not); the message says what
};

/// Outcome of a dispatch: the member's result (Empty for setters and for methods without one)
/// or why nothing ran.
struct DispatchResult {
  DispatchError error = DispatchError::None;
  Variant value;
  std::string message;  ///< "" on success, else a one-line explanation naming the member

  explicit operator bool() const { return error == DispatchError::None; }
};

enum class MemberKind { Method, Property, Event };

/// One parameter of a method.
struct ParamInfo {
  std::string_view name;
  VariantType type;
  std::optional<Variant> default_value;  ///< set for optional parameters
};

/// One public member of FtpLibrary as the by-name interface sees it.
struct MemberInfo {
  std::string_view name;   ///< as declared ("GetFtpFileSize")
  MemberKind kind;
  VariantType type;        ///< property type, or method result (Empty: none)
  bool readable = false;   ///< properties only
  bool writable = false;   ///< properties only
  std::vector<ParamInfo> params;  ///< methods only
  std::optional<Variant> initial;  ///< initial value of a writable property, when it is a plain value
};

/// Every member, in declaration order of the class.
std::span<const MemberInfo> Members();
/// The member of that name (any case), or null.
const MemberInfo* FindMember(std::string_view name);

/// Calls a method; arguments convert to the parameter types (see Variant::ConvertTo), missing
/// or Empty trailing optional arguments take their defaults.
DispatchResult Invoke(FtpLibrary& ftp, std::string_view name, std::vector<Variant> args = {});
/// Reads a property.
DispatchResult GetProperty(FtpLibrary& ftp, std::string_view name);
/// Writes a property; the value converts to the property's type.
DispatchResult PutProperty(FtpLibrary& ftp, std::string_view name, const Variant& value);
/// The event of that name (OnTransfer, OnServerMessage, OnStateChange, OnError; any case), or
/// null.
Event* FindEvent(FtpLibrary& ftp, std::string_view name);

/// Reads a property of an entry or a collection held by `object`: a CFtpFile's IsDirectory,
/// FileSize, LastWriteTime, FileName, FilePath, Permissions, Owner, Group; a CFtpFiles' Count.
DispatchResult GetProperty(const Variant& object, std::string_view name);
/// Calls a method of a collection: Item(index from 1, or key) and ItemName(name) give a
/// CFtpFile; Count gives the number of entries.
DispatchResult Invoke(const Variant& object, std::string_view name, std::vector<Variant> args = {});
/// The property names of CFtpFile in display order.
std::span<const std::string_view> FilePropertyNames();

}  // namespace quorvi

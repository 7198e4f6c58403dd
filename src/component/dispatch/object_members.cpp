// By-name access to CFtpFile and CFtpFiles: a table of CFtpFile's readers, and the collection's
// Count, Item and ItemName.
#include "component/dispatch/object_members.h"

#include <array>
#include <functional>
#include "platform/concat.h"

namespace quorvi {

namespace {

struct FileProperty {
  std::string_view name;
  Variant (*read)(const CFtpFile&);
};

constexpr std::array<FileProperty, 8> kFileProperties = {{
    {"FileName", [](const CFtpFile& f) { return Variant(f.FileName()); }},
    {"FileSize", [](const CFtpFile& f) { return Variant(f.FileSize()); }},
    {"IsDirectory", [](const CFtpFile& f) { return Variant(f.IsDirectory()); }},
    {"LastWriteTime", [](const CFtpFile& f) { return Variant(f.LastWriteTime()); }},
    {"Permissions", [](const CFtpFile& f) { return Variant(f.Permissions()); }},
    {"Owner", [](const CFtpFile& f) { return Variant(f.Owner()); }},
    {"Group", [](const CFtpFile& f) { return Variant(f.Group()); }},
    {"FilePath", [](const CFtpFile& f) { return Variant(f.FilePath()); }},
}};

constexpr std::array<std::string_view, kFileProperties.size()> kFilePropertyNames = [] {
  std::array<std::string_view, kFileProperties.size()> names{};
  for (std::size_t i = 0; i < names.size(); ++i) names[i] = kFileProperties[i].name;
  return names;
}();

DispatchResult Refused(DispatchError error, std::string message) {
  return {error, Variant(), std::move(message)};
}

DispatchResult NotAnObject(std::string_view name) {
  return Refused(DispatchError::UnknownMember,
                 Concat("'", name, "': the value is not a CFtpFile or CFtpFiles"));
}

DispatchResult CollectionItem(const CFtpFiles& files, std::string_view name,
                              const std::vector<Variant>& args) {
  if (args.size() != 1)
    return Refused(DispatchError::ArgumentCount,
                   Concat("'", name, "' takes 1 argument (", std::to_string(args.size()), " given)"));
  const CFtpFile* item = nullptr;
  if (detail::SameName(name, "ItemName")) {
    item = files.ItemName(args[0].ToText());
  } else if (args[0].type() == VariantType::String) {
    item = files.Item(args[0].AsString());  // a key
  } else if (const auto index = args[0].ConvertTo(VariantType::Int32)) {
    item = files.Item(index->AsInt32());
  } else {
    return Refused(DispatchError::ArgumentType, "'Item' needs a position or a key");
  }
  return {DispatchError::None, item ? Variant(*item) : Variant(), ""};
}

}  // namespace

std::span<const std::string_view> FilePropertyNames() { return kFilePropertyNames; }

namespace detail {

Variant ReadFileProperty(const CFtpFile& file, std::string_view name) {
  for (const auto& property : kFileProperties)
    if (SameName(property.name, name)) return property.read(file);
  return Variant();
}

}  // namespace detail

DispatchResult GetProperty(const Variant& object, std::string_view name) {
  try {
    if (const auto file = object.AsFile()) {
      for (const auto& property : kFileProperties)
        if (detail::SameName(property.name, name)) return {DispatchError::None, property.read(*file), ""};
      return Refused(DispatchError::UnknownMember, "CFtpFile has no property '" + std::string(name) + "'");
    }
    if (const auto files = object.AsFiles()) {
      if (detail::SameName(name, "Count")) return {DispatchError::None, Variant(files->Count()), ""};
      return Refused(DispatchError::UnknownMember, "CFtpFiles has no property '" + std::string(name) + "'");
    }
    return NotAnObject(name);
  } catch (const std::exception& e) {
    return Refused(DispatchError::Failed, e.what());
  }
}

DispatchResult Invoke(const Variant& object, std::string_view name, std::vector<Variant> args) {
  try {
    const auto files = object.AsFiles();
    if (!files) return object.AsFile() ? GetProperty(object, name) : NotAnObject(name);
    if (detail::SameName(name, "Item") || detail::SameName(name, "ItemName"))
      return CollectionItem(*files, name, args);
    if (detail::SameName(name, "Count")) return GetProperty(object, name);
    return Refused(DispatchError::UnknownMember, Concat("CFtpFiles has no method '", name, "'"));
  } catch (const std::exception& e) {
    return Refused(DispatchError::Failed, e.what());
  }
}

}  // namespace quorvi

// The profile (INI) text format: "[section]" lines followed by "key=value" lines, CR LF line
// ends. Pure text functions; CFile does the file input and output.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvi::detail {

/// Value of key in section (both compared without case, blanks around key and value ignored,
/// one pair of surrounding quotes removed); empty when absent.
std::optional<std::string> IniLookup(std::string_view text, std::string_view section,
                                     std::string_view key);
/// The text with key set to value: an existing key is replaced in place, a new key ends its
/// section, a new section ends the file. The result ends with CR LF.
std::string IniWithValue(std::string_view text, std::string_view section, std::string_view key,
                         std::string_view value);
/// Section names in file order.
std::vector<std::string> IniSectionNames(std::string_view text);
/// True when a line of the text is exactly "[section]".
bool IniHasSection(std::string_view text, std::string_view section);
/// The text without the section "[section]" and its lines (text as ReadFile returns it: lines
/// joined by CR LF); empty when the section is not there. Trailing line ends are dropped when
/// the removed section was the last one.
std::optional<std::string> IniWithoutSection(std::string_view text, std::string_view section);

}  // namespace quorvi::detail

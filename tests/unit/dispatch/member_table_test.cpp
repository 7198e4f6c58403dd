// The by-name table against the class it describes: every public member of
// include/quorvi/ftp_library.h has a row with the declared parameter names and defaults.
#include <quorvi/dispatch.h>

#include <gtest/gtest.h>

#include "variant_printer.h"

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace quorvi {
namespace {

struct Declaration {
  std::string result;  // as written ("std::string", "void", "Event&")
  std::vector<std::pair<std::string, std::string>> params;  // name, default text ("" if none)
};

std::string Trim(const std::string& s) {
  const auto first = s.find_first_not_of(" \t\n");
  if (first == std::string::npos) return {};
  return s.substr(first, s.find_last_not_of(" \t\n") - first + 1);
}

// The public member declarations of FtpLibrary, by name (a property has one or two).
std::multimap<std::string, Declaration> ParseHeader() {
  std::stringstream buffer;
  buffer << std::ifstream(std::string(QUORVI_SOURCE_DIR) + "/include/quorvi/ftp_library.h").rdbuf();
  std::string text = buffer.str();
  text = text.substr(text.find("class FtpLibrary {"));
  text = text.substr(0, text.find("\n private:"));
  text = std::regex_replace(text, std::regex("//[^\n]*"), "");
  text = std::regex_replace(text, std::regex("\\{[^{}]*\\}"), ";");  // inline bodies

  static const std::regex name_at_end("([A-Za-z_]\\w*)\\s*$");
  std::multimap<std::string, Declaration> members;
  std::stringstream statements(text);
  for (std::string statement; std::getline(statements, statement, ';');) {
    statement = Trim(statement);
    const auto open = statement.find('('), close = statement.rfind(')');
    std::smatch match;
    const std::string head = statement.substr(0, open);
    if (open == std::string::npos || close == std::string::npos ||
        !std::regex_search(head, match, name_at_end))
      continue;
    const auto line = head.rfind('\n') + 1;
    Declaration declaration{Trim(head.substr(line, match.position(0) - line)), {}};
    // No parameter type or default of the class contains a comma.
    std::stringstream params(statement.substr(open + 1, close - open - 1));
    for (std::string param; std::getline(params, param, ',');) {
      if (Trim(param).empty()) continue;
      const auto eq = param.find('=');
      const std::string declarator = Trim(param.substr(0, eq));
      const std::string name = declarator.substr(declarator.find_last_of(" &*") + 1);
      declaration.params.emplace_back(name, eq == std::string::npos ? "" : Trim(param.substr(eq + 1)));
    }
    members.emplace(match[1], declaration);
  }
  return members;
}

// Members of the C++ surface that a by-name host has no use for.
const std::set<std::string> kHostOnly = {"FtpLibrary", "SetUserInterface", "SetHostHook", "core"};

Variant HeaderDefault(const std::string& text, VariantType type) {
  if (text.size() >= 2 && text.front() == '"') return Variant(text.substr(1, text.size() - 2));
  if (text == "true" || text == "false") return Variant(text == "true");
  return Variant(text).ConvertTo(type).value_or(Variant("unreadable default " + text));
}

TEST(MemberTable, HasARowForEveryPublicMemberOfTheHeader) {
  const auto header = ParseHeader();
  ASSERT_GT(header.size(), 100u) << "the header parser found too little";
  std::set<std::string> declared, tabled;
  for (const auto& [name, declaration] : header)
    if (!kHostOnly.count(name)) declared.insert(name);
  for (const auto& member : Members()) tabled.insert(std::string(member.name));
  for (const auto& name : declared)
    EXPECT_TRUE(tabled.count(name)) << name << " is declared in ftp_library.h but has no row "
                                    << "in src/component/dispatch/member_table.cpp";
  for (const auto& name : tabled)
    EXPECT_TRUE(declared.count(name)) << name << " has a row but is not declared";
}

TEST(MemberTable, RowsMatchTheDeclarations) {
  const auto header = ParseHeader();
  for (const auto& member : Members()) {
    SCOPED_TRACE(std::string(member.name));
    const auto [first, last] = header.equal_range(std::string(member.name));
    ASSERT_NE(first, last);
    if (member.kind == MemberKind::Event) {
      EXPECT_EQ(first->second.result, "Event&");
      continue;
    }
    if (member.kind == MemberKind::Property) {
      bool getter = false, setter = false;
      for (auto it = first; it != last; ++it) {
        getter |= it->second.params.empty() && it->second.result != "void";
        setter |= it->second.params.size() == 1 && it->second.result == "void";
      }
      EXPECT_EQ(member.readable, getter);
      EXPECT_EQ(member.writable, setter);
      continue;
    }
    ASSERT_EQ(std::distance(first, last), 1) << "a method has one declaration";
    const auto& params = first->second.params;
    ASSERT_EQ(member.params.size(), params.size());
    for (std::size_t i = 0; i < params.size(); ++i) {
      EXPECT_EQ(member.params[i].name, params[i].first);
      if (params[i].second.empty()) {
        EXPECT_FALSE(member.params[i].default_value) << params[i].first << " is required";
      } else {
        ASSERT_TRUE(member.params[i].default_value) << params[i].first << " is optional";
        EXPECT_EQ(*member.params[i].default_value,
                  HeaderDefault(params[i].second, member.params[i].type))
            << params[i].first;
      }
    }
  }
}

}  // namespace
}  // namespace quorvi

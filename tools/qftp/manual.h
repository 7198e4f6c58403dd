// qftp's manual page and shell completions, made from the same CLI11 definitions as --help so
// that they never drift apart (`qftp --man`, `qftp --completion bash|zsh`).
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace qftp {

/// The manual page (roff, section 1): synopsis, description, each option group, the commands
/// and the footer of --help.
std::string ManPage(const CLI::App& app, const std::string& version);

/// A completion script for "bash" or "zsh": option names, command names, local files, and
/// the choices of --replace. Throws std::invalid_argument for another shell.
std::string Completion(const CLI::App& app, const std::string& shell);

}  // namespace qftp

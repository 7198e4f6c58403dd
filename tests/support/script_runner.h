// Runs a fixture script and captures what it prints, with a deadline.
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace quorvi::test {

struct ScriptResult {
  int exit_code = -1;  ///< -1 when it could not run or was killed at the deadline
  std::string out;     ///< standard output
  std::string err;     ///< standard error
};

/// Runs argv (argv[0] is a path) with extra environment variables; kills it (its process
/// group) when it has not finished within `limit`.
ScriptResult RunScript(const std::vector<std::string>& argv,
                       const std::vector<std::pair<std::string, std::string>>& env,
                       std::chrono::milliseconds limit);

}  // namespace quorvi::test

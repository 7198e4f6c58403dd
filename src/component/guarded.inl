// Implementation of Guarded(): the never-throw boundary of public members.
#pragma once

namespace quorvi::detail {

template <typename T, typename Body>
T Guarded(Core& core, const char* procedure, T fallback, Body&& body) noexcept {
  try {
    return body();
  } catch (const ComponentError& e) {
    try {
      core.ReportError(procedure, e.number(), e.text());
    } catch (...) {
    }
  } catch (const std::exception& e) {
    try {
      core.ReportError(procedure, 0, e.what());
    } catch (...) {
    }
  } catch (...) {
  }
  return fallback;
}

}  // namespace quorvi::detail

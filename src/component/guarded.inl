// Implementation of Guarded(): the never-throw boundary of public members.
#pragma once

#include <exception>

namespace quorvi::detail {

/// Reports the exception being handled under the procedure's name; never throws.
void ReportCurrentException(Core& core, const char* procedure) noexcept;

template <typename T, typename Body>
T Guarded(Core& core, const char* procedure, T fallback, Body&& body) noexcept {
  if (!core.OnOwnerThread()) {
    core.RefuseForeignThread(procedure);
    return fallback;
  }
  ActiveError active(*core.shared, core.error_object);
  try {
    return body();
  } catch (...) {
    ReportCurrentException(core, procedure);
  }
  return fallback;
}

template <typename Body>
void Guarded(Core& core, const char* procedure, Body&& body) noexcept {
  if (!core.OnOwnerThread()) {
    core.RefuseForeignThread(procedure);
    return;
  }
  ActiveError active(*core.shared, core.error_object);
  try {
    body();
  } catch (...) {
    ReportCurrentException(core, procedure);
  }
}

}  // namespace quorvi::detail

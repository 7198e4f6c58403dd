// CSocket's procedure boundary: every procedure handles its own failures.
#pragma once

#include <exception>

#include "component/component_error.h"
#include "component/error_object.h"

namespace quorvi::detail {

template <typename Body>
void CSocket::Protect(const char* procedure, Body&& body) noexcept {
  try {
    body();
  } catch (const ComponentError& e) {
    ReportFailure(procedure, e.number(), e.text());
  } catch (const std::exception& e) {
    ReportFailure(procedure, 0, e.what());
  } catch (...) {
    ReportFailure(procedure, 0, {});
  }
}

template <typename... Args, typename... Params>
void CSocket::Raise(const std::function<void(Params...)>& handler, Args... args) noexcept {
  if (!handler) return;
  try {
    handler(args...);
  } catch (const std::exception& e) {
    // A handler's failure is the owner's; it must not unwind through the socket layer.
    try {
      WriteLog("CSocket event handler failed: " + std::string(e.what()));
    } catch (...) {
    }
  } catch (...) {
  }
}

}  // namespace quorvi::detail

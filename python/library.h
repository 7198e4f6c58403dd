// quorviftp.FtpLibrary: one component, reached by member names through the by-name table, so
// the Python class has exactly the members `qftp script` has, under the same names.
#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <memory>
#include <string>
#include <thread>

#include <quorvi/dispatch.h>

namespace quorviftp {

namespace py = pybind11;

class PyLibrary {
 public:
  PyLibrary(bool raise_on_error, const py::kwargs& members);
  ~PyLibrary();
  PyLibrary(const PyLibrary&) = delete;
  PyLibrary& operator=(const PyLibrary&) = delete;

  /// A property's value, a method as a callable, or an event's handler (None when none).
  py::object GetAttribute(const std::string& name);
  /// Writes a property or sets an event's handler (None removes it); false when the name is not
  /// a member (the caller falls back to Python's own attributes).
  bool SetAttribute(const std::string& name, py::handle value);
  /// Runs a method with GIL released; raises FtpError under raise_on_error.
  py::object Call(const quorvi::MemberInfo& member, const py::args& args, const py::kwargs& kwargs);

  bool raise_on_error = false;
  /// The first exception an event handler raised during the last method call, or None.
  py::object callback_error = py::none();

  /// For the garbage collector: handlers often refer back to this object.
  int Traverse(visitproc visit, void* arg);
  void Clear();

 private:
  static constexpr std::size_t kEvents = 4;

  void CheckThread() const;
  void RunHandler(std::size_t event);
  void KeepHandlerError(py::error_already_set& error, py::handle handler);
  bool Failed(const quorvi::MemberInfo& member, const quorvi::Variant& result);

  std::unique_ptr<quorvi::FtpLibrary> ftp_;
  std::thread::id owner_ = std::this_thread::get_id();
  std::array<py::object, kEvents> handlers_;
  /// Set only by the owning thread while it holds the GIL, read by it without: the component
  /// raises events so often that taking the GIL for an event nobody listens to would cost.
  std::array<bool, kEvents> has_handler_{};
  /// Method calls under way (a handler may call methods too).
  int depth_ = 0;
  /// The handler exception of the call under way, and whether there is one (readable without
  /// the GIL).
  py::object pending_error_ = py::none();
  bool handler_failed_ = false;
};

/// Adds FtpLibrary, FtpError and the member table description to the module.
void RegisterLibrary(py::module_& m);

}  // namespace quorviftp

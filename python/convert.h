// Values between Python and the component's by-name interface: Variant <-> Python objects, and
// the Python classes of the entry types (CFtpFile, CFtpFiles) that Variants carry.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>

#include <quorvi/dispatch.h>

namespace quorviftp {

namespace py = pybind11;

/// One remote entry as Python sees it. Holds its entry (or, for an entry taken from a listing,
/// the whole listing) alive, so it stays valid after the listing object goes.
struct PyFile {
  std::shared_ptr<const quorvi::CFtpFile> file;
};

/// A listing as Python sees it: len(), iteration, files[0], files["name"], plus the collection's
/// own members (Count, Item from 1, ItemName) by name.
struct PyFiles {
  std::shared_ptr<const quorvi::CFtpFiles> files;
};

/// Python value of a Variant: None, bool, int, float, str, CFtpFile or CFtpFiles.
py::object ToPython(const quorvi::Variant& value);

/// Variant of a Python value: None is Empty (an omitted argument), bool, int (32-bit, else a
/// double), float, str, and the entry classes. Throws TypeError for anything else.
quorvi::Variant FromPython(py::handle value);

/// Raises the Python exception that corresponds to a refused dispatch (unknown name: an
/// AttributeError; wrong argument: TypeError; ...).
[[noreturn]] void RaiseRefusal(const quorvi::DispatchResult& refusal);

/// Adds CFtpFile and CFtpFiles to the module.
void RegisterEntryClasses(py::module_& m);

}  // namespace quorviftp

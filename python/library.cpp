#include "library.h"

#include <stdexcept>
#include <pybind11/eval.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "convert.h"

namespace quorviftp {

using quorvi::MemberInfo;
using quorvi::MemberKind;
using quorvi::Variant;
using quorvi::VariantType;

namespace {

bool SameName(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) {
           return lower(x) == lower(y);
         });
}

// The events in table order; a handler slot per event.
const std::vector<const MemberInfo*>& Events() {
  static const std::vector<const MemberInfo*> events = [] {
    std::vector<const MemberInfo*> out;
    for (const auto& member : quorvi::Members())
      if (member.kind == MemberKind::Event) out.push_back(&member);
    return out;
  }();
  return events;
}

std::size_t EventIndex(const MemberInfo& member) {
  const auto& events = Events();
  // FindMember and Members() give different copies of a row: compare names.
  const auto found = std::find_if(events.begin(), events.end(),
                                  [&](const MemberInfo* event) { return event->name == member.name; });
  return static_cast<std::size_t>(found - events.begin());
}

// Created once by RegisterLibrary and never freed: it must outlive every exception raised.
PyObject* ftp_error_type = nullptr;

// Raises an exception object as it is, its traceback included.
[[noreturn]] void Raise(py::object exception) {
  PyObject* traceback = PyException_GetTraceback(exception.ptr());
  PyObject* type = reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr()));
  Py_INCREF(type);
  PyErr_Restore(type, exception.release().ptr(), traceback);
  throw py::error_already_set();
}

[[noreturn]] void RaiseFtpError(std::int32_t number, const std::string& text, py::handle cause) {
  py::object error = py::reinterpret_borrow<py::object>(ftp_error_type)(number, ToPython(Variant(text)));
  if (cause && !cause.is_none()) PyException_SetCause(error.ptr(), cause.inc_ref().ptr());
  Raise(std::move(error));
}

// What a method of that result kind returns when it fails.
py::object FailureValue(VariantType type) {
  switch (type) {
    case VariantType::Bool: return py::bool_(false);
    case VariantType::Double: return py::float_(-1.0);
    case VariantType::Int16:
    case VariantType::Int32: return py::int_(0);
    case VariantType::String: return py::str("");
    default: return py::none();
  }
}

std::string KindName(MemberKind kind) {
  switch (kind) {
    case MemberKind::Method: return "method";
    case MemberKind::Property: return "property";
    case MemberKind::Event: return "event";
  }
  return "";
}

// "DownLoad(CreateFolder: Boolean = True) -> Boolean", the help text of a bound method.
std::string Signature(const MemberInfo& member) {
  std::string text = std::string(member.name) + "(";
  for (std::size_t i = 0; i < member.params.size(); ++i) {
    const auto& param = member.params[i];
    if (i) text += ", ";
    text += std::string(param.name) + ": " + std::string(quorvi::TypeName(param.type));
    if (param.default_value) text += " = " + std::string(py::repr(ToPython(*param.default_value)));
  }
  text += ")";
  if (member.type != VariantType::Empty) text += " -> " + std::string(quorvi::TypeName(member.type));
  return text;
}

// The positional arguments with the keyword ones put at their parameters' places; a gap is an
// Empty Variant, which the dispatch fills with the parameter's default.
std::vector<Variant> Arguments(const MemberInfo& member, const py::args& args,
                               const py::kwargs& kwargs) {
  std::vector<Variant> values;
  for (const auto arg : args) values.push_back(FromPython(arg));
  if (!kwargs) return values;
  for (const auto& [key, value] : kwargs) {
    const std::string name = py::str(key);
    const auto& params = member.params;
    const auto found = std::find_if(params.begin(), params.end(),
                                    [&](const auto& p) { return SameName(p.name, name); });
    if (found == params.end())
      throw py::type_error(std::string(member.name) + "() has no argument '" + name + "'");
    const auto index = static_cast<std::size_t>(found - params.begin());
    if (index < args.size())
      throw py::type_error(std::string(member.name) + "() got argument '" + name + "' twice");
    if (values.size() <= index) values.resize(index + 1);
    values[index] = FromPython(value);
  }
  return values;
}

}  // namespace

PyLibrary::PyLibrary(bool raise_on_error_flag, const py::kwargs& members)
    : raise_on_error(raise_on_error_flag), ftp_(std::make_unique<quorvi::FtpLibrary>()) {
  for (std::size_t i = 0; i < Events().size(); ++i) {
    handlers_[i] = py::none();
    // The subscription lives as long as the component, which this object owns.
    quorvi::FindEvent(*ftp_, Events()[i]->name)->Subscribe([this, i] { RunHandler(i); });
  }
  for (const auto& [key, value] : members) {
    const std::string name = py::str(key);
    if (!SetAttribute(name, value))
      throw py::type_error("FtpLibrary has no property or event '" + name + "'");
  }
}

PyLibrary::~PyLibrary() {
  has_handler_.fill(false);
  // Closing a session waits for the server's reply to QUIT: let other threads run meanwhile.
  py::gil_scoped_release nogil;
  ftp_.reset();
}

void PyLibrary::CheckThread() const {
  // The component's sockets, timers and shared objects belong to the thread that made it.
  if (std::this_thread::get_id() != owner_)
    throw std::runtime_error("an FtpLibrary is used only on the thread that created it");
}

py::object PyLibrary::GetAttribute(const std::string& name) {
  CheckThread();
  const MemberInfo* member = quorvi::FindMember(name);
  if (member && member->kind == MemberKind::Event) return handlers_[EventIndex(*member)];
  const auto result = quorvi::GetProperty(*ftp_, name);
  if (!result) RaiseRefusal(result);
  return ToPython(result.value);
}

bool PyLibrary::SetAttribute(const std::string& name, py::handle value) {
  const MemberInfo* member = quorvi::FindMember(name);
  if (!member) return false;
  CheckThread();
  if (member->kind == MemberKind::Event) {
    if (!value.is_none() && !PyCallable_Check(value.ptr()))
      throw py::type_error(std::string(member->name) + " takes a callable without arguments, or None");
    const std::size_t i = EventIndex(*member);
    handlers_[i] = py::reinterpret_borrow<py::object>(value);
    has_handler_[i] = !value.is_none();
    return true;
  }
  const auto result = quorvi::PutProperty(*ftp_, name, FromPython(value));
  if (!result) RaiseRefusal(result);
  return true;
}

// What the component returns when a method fails, by result kind; the component's error number
// must be set too, since "nothing" is a plain answer to some questions (an empty folder, a
// missing file) and helpers such as FormatFileSize leave the last error as it was.
// The questions (ExistFile, LocalFolderExists, ...) answer "no" with False and the reason in
// the error number: a "no" is no failure.
bool PyLibrary::Failed(const MemberInfo& member, const Variant& result) {
  if (ftp_->ErrorNumber() == 0) return false;
  if (member.name.starts_with("Exist") || member.name.ends_with("Exists")) return false;
  switch (member.type) {
    case VariantType::Empty: return false;
    case VariantType::Bool: return !result.AsBool();
    case VariantType::Double: return result.AsDouble() < 0;
    // Run gives a process id (0 on failure), Execute a shell code (32 and below on failure).
    case VariantType::Int32:
    case VariantType::Int16: return result.ConvertTo(VariantType::Int32)->AsInt32() <= 32;
    case VariantType::String: {
      // ExeFtpCmd's failure is a text of its own: "ExeFtpCmd:command not understood;...".
      const std::string text = result.AsString();
      return text.empty() || text.starts_with(std::string(member.name) + ":");
    }
    case VariantType::File:
    case VariantType::Files: return result.empty();
  }
  return false;
}

py::object PyLibrary::Call(const MemberInfo& member, const py::args& args, const py::kwargs& kwargs) {
  CheckThread();
  std::vector<Variant> values = Arguments(member, args, kwargs);
  // A handler may call methods itself: each call keeps the handler errors of its own span.
  py::object outer_error = std::exchange(pending_error_, py::none());
  const bool outer_failed = std::exchange(handler_failed_, false);
  ++depth_;
  quorvi::DispatchResult result;
  {
    py::gil_scoped_release nogil;
    result = quorvi::Invoke(*ftp_, member.name, std::move(values));
  }
  --depth_;
  handler_failed_ = outer_failed;
  py::object handler_error = std::exchange(pending_error_, std::move(outer_error));
  if (depth_ == 0) callback_error = handler_error;
  if (!result) RaiseRefusal(result);
  if (!handler_error.is_none()) {
    // Ctrl-C and sys.exit() in a handler stop the program, whatever the mode.
    const bool stops_program = !PyErr_GivenExceptionMatches(handler_error.ptr(), PyExc_Exception);
    if (raise_on_error && !stops_program && ftp_->ErrorNumber() != 0)
      RaiseFtpError(ftp_->ErrorNumber(), ftp_->ErrorInfo(), handler_error);
    if (raise_on_error || stops_program) Raise(std::move(handler_error));
    // The component may not stop at once (or at all, at a point where Abort does not apply)
    // and then returns its success value: the call failed all the same.
    return FailureValue(member.type);
  }
  if (raise_on_error && Failed(member, result.value))
    RaiseFtpError(ftp_->ErrorNumber(), ftp_->ErrorInfo(), py::none());
  return ToPython(result.value);
}

void PyLibrary::RunHandler(std::size_t event) {
  // Once a handler has raised, the call is being stopped: the rest of its events reach no
  // handler, which would most likely fail the same way.
  if (!has_handler_[event] || (depth_ > 0 && handler_failed_)) return;
  std::string failure;
  try {
    py::gil_scoped_acquire gil;
    const py::object handler = handlers_[event];
    if (handler.is_none()) return;
    try {
      handler();
    } catch (py::error_already_set& error) {
      failure = py::str(error.value()).cast<std::string>();
      failure = py::handle(error.type()).attr("__name__").cast<std::string>() +
                (failure.empty() ? "" : ": " + failure);
      KeepHandlerError(error, handler);
    } catch (const std::exception& e) {
      failure = e.what();
      PyErr_SetString(PyExc_RuntimeError, e.what());
      py::error_already_set error;
      KeepHandlerError(error, handler);
    }
  } catch (...) {
    // What could not be kept is lost, not fatal.
  }
  // The component logs a handler's failure under its own number (16012); it never unwinds
  // further than the event.
  if (!failure.empty()) throw std::runtime_error(failure);
}

// The error is kept for the call to report, and the call is asked to stop as Abort() would.
// Outside a call (no method is waiting) there is nothing to stop or report it to.
void PyLibrary::KeepHandlerError(py::error_already_set& error, py::handle handler) {
  if (depth_ == 0) return error.discard_as_unraisable(py::reinterpret_borrow<py::object>(handler));
  py::object exception = error.value();
  if (error.trace() && !error.trace().is_none())
    PyException_SetTraceback(exception.ptr(), error.trace().ptr());
  pending_error_ = exception;
  handler_failed_ = true;
  // Raised again by the call when it returns: shown then, not twice.
  if (!raise_on_error && error.matches(PyExc_Exception))
    error.discard_as_unraisable(py::reinterpret_borrow<py::object>(handler));
  py::gil_scoped_release nogil;
  ftp_->Abort();
}

int PyLibrary::Traverse(visitproc visit, void* arg) {
  for (const auto& handler : handlers_) Py_VISIT(handler.ptr());
  Py_VISIT(callback_error.ptr());
  Py_VISIT(pending_error_.ptr());
  return 0;
}

void PyLibrary::Clear() {
  has_handler_.fill(false);
  for (auto& handler : handlers_) handler = py::none();
  callback_error = py::none();
  pending_error_ = py::none();
}

namespace {

py::object BoundMethod(py::object self, const MemberInfo& member) {
  const MemberInfo* target = &member;  // the table lives as long as the program
  py::options options;                   // help() shows the member's own signature instead
  options.disable_function_signatures();
  return py::cpp_function(
      [self, target](const py::args& args, const py::kwargs& kwargs) {
        return self.cast<PyLibrary&>().Call(*target, args, kwargs);
      },
      py::name(std::string(member.name).c_str()), py::doc(Signature(member).c_str()));
}

py::dict Describe(const MemberInfo& member) {
  py::dict row;
  row["name"] = std::string(member.name);
  row["kind"] = KindName(member.kind);
  row["type"] = std::string(quorvi::TypeName(member.type));
  row["readable"] = member.readable;
  row["writable"] = member.writable;
  row["initial"] = member.initial ? ToPython(*member.initial) : py::none();
  py::list params;
  for (const auto& param : member.params) {
    py::dict p;
    p["name"] = std::string(param.name);
    p["type"] = std::string(quorvi::TypeName(param.type));
    p["optional"] = param.default_value.has_value();
    p["default"] = param.default_value ? ToPython(*param.default_value) : py::none();
    params.append(p);
  }
  row["params"] = params;
  return row;
}

// The handlers usually refer back to their component (lambda: print(ftp.Percent)): the garbage
// collector must see those references to free both.
void SetUpCollection(PyHeapTypeObject* heap_type) {
  auto* type = &heap_type->ht_type;
  type->tp_flags |= Py_TPFLAGS_HAVE_GC;
  type->tp_traverse = [](PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(Py_TYPE(self));
    auto* instance = reinterpret_cast<py::detail::instance*>(self);
    if (!instance->owned || !instance->get_value_and_holder().holder_constructed()) return 0;
    return py::cast<PyLibrary&>(py::handle(self)).Traverse(visit, arg);
  };
  type->tp_clear = [](PyObject* self) {
    auto* instance = reinterpret_cast<py::detail::instance*>(self);
    if (instance->owned && instance->get_value_and_holder().holder_constructed())
      py::cast<PyLibrary&>(py::handle(self)).Clear();
    return 0;
  };
}

}  // namespace

void RegisterLibrary(py::module_& m) {
  py::dict scope;
  scope["__name__"] = m.attr("__name__");
  py::exec(R"(
class FtpError(Exception):
    """A component method failed (raise_on_error mode): number and text are the component's
    ErrorNumber and ErrorInfo after the call."""

    def __init__(self, number, text):
        super().__init__(number, text)
        self.number = number
        self.text = text

    def __str__(self):
        return f"{self.number}: {self.text}"
)", scope);
  ftp_error_type = py::object(scope["FtpError"]).release().ptr();
  m.attr("FtpError") = py::handle(ftp_error_type);

  m.def("members", [] {
    py::list rows;
    for (const auto& member : quorvi::Members()) rows.append(Describe(member));
    return rows;
  }, "The member table: one dict per property, method and event of FtpLibrary, in order.");
  m.def("file_properties", [] {
    py::list names;
    for (const auto name : quorvi::FilePropertyNames()) names.append(std::string(name));
    return names;
  }, "The property names of CFtpFile.");

  py::class_<PyLibrary>(m, "FtpLibrary", py::custom_type_setup(&SetUpCollection),
                        "One FTP client component; its members are those of the by-name table "
                        "(see dir() and quorviftp.members()).")
      .def(py::init<bool, const py::kwargs&>(), py::arg("raise_on_error") = false)
      .def_readwrite("raise_on_error", &PyLibrary::raise_on_error,
                     "Raise FtpError when a method reports failure (default False).")
      .def_readonly("callback_error", &PyLibrary::callback_error,
                    "The first exception an event handler raised during the last method call.")
      .def("__getattr__", [](py::object self, const std::string& name) -> py::object {
        auto& library = self.cast<PyLibrary&>();
        const MemberInfo* member = quorvi::FindMember(name);
        if (member && member->kind == MemberKind::Method) return BoundMethod(self, *member);
        return library.GetAttribute(name);
      })
      .def("__setattr__", [](py::object self, const std::string& name, py::object value) {
        if (!self.cast<PyLibrary&>().SetAttribute(name, value))
          py::module_::import("builtins").attr("object").attr("__setattr__")(self, name, value);
      })
      .def("__dir__", [](py::object self) {
        py::list names = py::module_::import("builtins").attr("object").attr("__dir__")(self);
        for (const auto& member : quorvi::Members()) names.append(std::string(member.name));
        return names;
      })
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](py::object self, py::args) {
        auto close = self.attr("CloseConnection");
        if (py::bool_(self.attr("Connected"))) close();
        return false;
      });
}

}  // namespace quorviftp

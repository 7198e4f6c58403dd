#include "convert.h"

#include <cstdint>
#include <limits>
#include <string>

namespace quorviftp {

using quorvi::Variant;
using quorvi::VariantType;

py::object ToPython(const Variant& value) {
  switch (value.type()) {
    case VariantType::Empty: return py::none();
    case VariantType::Bool: return py::bool_(value.AsBool());
    case VariantType::Int32: return py::int_(value.AsInt32());
    case VariantType::Int16: return py::int_(value.AsInt16());
    case VariantType::Double: return py::float_(value.AsDouble());
    // Texts are UTF-8 on the component's side; a name the server sent in another encoding must
    // not make a listing unreadable, so undecodable bytes are escaped as Python's os module does.
    case VariantType::String: {
      const std::string text = value.AsString();
      PyObject* str = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()),
                                           "surrogateescape");
      if (!str) throw py::error_already_set();
      return py::reinterpret_steal<py::object>(str);
    }
    case VariantType::File: return py::cast(PyFile{value.AsFile()});
    case VariantType::Files: return py::cast(PyFiles{value.AsFiles()});
  }
  return py::none();
}

Variant FromPython(py::handle value) {
  if (value.is_none()) return Variant();
  // bool before int: True is an int to Python.
  if (py::isinstance<py::bool_>(value)) return Variant(value.cast<bool>());
  if (py::isinstance<py::int_>(value)) {
    // Sizes beyond 32 bits travel as doubles, as the component's own sizes do.
    int overflow = 0;
    const long long n = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (overflow == 0 && n >= std::numeric_limits<std::int32_t>::min() &&
        n <= std::numeric_limits<std::int32_t>::max())
      return Variant(static_cast<std::int32_t>(n));
    return Variant(PyLong_AsDouble(value.ptr()));
  }
  if (py::isinstance<py::float_>(value)) return Variant(value.cast<double>());
  if (py::isinstance<py::str>(value)) {
    PyObject* bytes = PyUnicode_AsEncodedString(value.ptr(), "utf-8", "surrogateescape");
    if (!bytes) throw py::error_already_set();
    return Variant(std::string(py::reinterpret_steal<py::bytes>(bytes)));
  }
  if (py::isinstance<PyFile>(value)) return Variant(value.cast<const PyFile&>().file);
  if (py::isinstance<PyFiles>(value)) return Variant(value.cast<const PyFiles&>().files);
  throw py::type_error("a " + std::string(py::str(value.get_type().attr("__name__"))) +
                       " cannot be passed to the component (None, bool, int, float, str)");
}

void RaiseRefusal(const quorvi::DispatchResult& refusal) {
  using quorvi::DispatchError;
  switch (refusal.error) {
    case DispatchError::ArgumentCount:
    case DispatchError::ArgumentType: throw py::type_error(refusal.message);
    case DispatchError::Failed: throw std::runtime_error(refusal.message);
    default: throw py::attribute_error(refusal.message);
  }
}

namespace {

py::object FileAttribute(const PyFile& self, const std::string& name) {
  const auto result = quorvi::GetProperty(Variant(self.file), name);
  if (!result) RaiseRefusal(result);
  return ToPython(result.value);
}

py::list FileNames() {
  py::list names;
  for (const auto name : quorvi::FilePropertyNames()) names.append(py::str(name.data(), name.size()));
  return names;
}

// The entry at a 0-based Python position (negative counts from the end), kept alive by its
// listing.
PyFile EntryAt(const PyFiles& self, py::ssize_t index) {
  const py::ssize_t count = self.files->Count();
  if (index < 0) index += count;
  if (index < 0 || index >= count) throw py::index_error("listing index out of range");
  // The component's positions start at 1.
  const quorvi::CFtpFile* entry = self.files->Item(static_cast<std::int32_t>(index + 1));
  return PyFile{std::shared_ptr<const quorvi::CFtpFile>(self.files, entry)};
}

// files[0] (from 0, negative from the end) or files["name"] (the key, any case).
PyFile Entry(const PyFiles& self, py::handle index_or_key) {
  if (py::isinstance<py::str>(index_or_key)) {
    const quorvi::CFtpFile* entry = self.files->Item(FromPython(index_or_key).AsString());
    if (!entry) throw py::key_error(py::str(index_or_key));
    return PyFile{std::shared_ptr<const quorvi::CFtpFile>(self.files, entry)};
  }
  if (py::isinstance<py::int_>(index_or_key) && !py::isinstance<py::bool_>(index_or_key))
    return EntryAt(self, index_or_key.cast<py::ssize_t>());
  throw py::type_error("a listing is indexed by a position (int) or a name (str)");
}

// Count, Item and ItemName by name, as a script host calls them (Item counts from 1).
py::object FilesAttribute(const PyFiles& self, const std::string& name) {
  const Variant object(self.files);
  if (const auto property = quorvi::GetProperty(object, name)) return ToPython(property.value);
  // Called without its argument a method of the collection refuses with ArgumentCount; only
  // an unknown name is refused as unknown.
  if (const auto probe = quorvi::Invoke(object, name, {});
      probe.error == quorvi::DispatchError::UnknownMember)
    RaiseRefusal(probe);
  return py::cpp_function([object, name](py::handle key) {
    const auto result = quorvi::Invoke(object, name, {FromPython(key)});
    if (!result) RaiseRefusal(result);
    return ToPython(result.value);
  });
}

}  // namespace

void RegisterEntryClasses(py::module_& m) {
  py::class_<PyFile>(m, "CFtpFile", "One remote directory entry; read-only.")
      .def("__getattr__", &FileAttribute)
      .def("__dir__", [](const PyFile&) { return FileNames(); })
      .def("__repr__", [](const PyFile& self) {
        return "<CFtpFile " + Variant(self.file).ToText() + ">";
      })
      .def("__eq__", [](const PyFile& a, const PyFile& b) {
        return Variant(*a.file).ToText() == Variant(*b.file).ToText();
      })
      .def("__hash__", [](const PyFile& self) { return py::hash(py::str(self.file->FilePath())); });

  py::class_<PyFiles>(m, "CFtpFiles",
                      "Entries of a listing: len(), iteration in order, files[i] from 0, "
                      "files['name'] by key (any case); Count, Item(from 1) and ItemName as the "
                      "component names them.")
      .def("__len__", [](const PyFiles& self) { return self.files->Count(); })
      .def("__iter__", [](const PyFiles& self) {
        py::list entries;
        for (py::ssize_t i = 0; i < self.files->Count(); ++i) entries.append(EntryAt(self, i));
        return py::iter(entries);
      })
      .def("__getitem__", &Entry)
      .def("__contains__", [](const PyFiles& self, py::handle key) {
        return py::isinstance<py::str>(key) &&
               self.files->Item(FromPython(key).AsString()) != nullptr;
      })
      .def("keys", [](const PyFiles& self) {
        py::list names;
        for (const auto& entry : *self.files) names.append(ToPython(Variant(entry.FileName())));
        return names;
      }, "The entries' names (their keys) in listing order.")
      .def("__getattr__", &FilesAttribute)
      .def("__dir__", [](const PyFiles&) {
        return py::make_tuple("Count", "Item", "ItemName", "keys");
      })
      .def("__repr__", [](const PyFiles& self) {
        return "<CFtpFiles of " + std::to_string(self.files->Count()) + " entries>";
      });
}

}  // namespace quorviftp

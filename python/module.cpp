// The quorviftp Python module: the component for script hosts written in Python.
#include <pybind11/pybind11.h>

#include "convert.h"
#include "library.h"

PYBIND11_MODULE(quorviftp, m) {
  m.doc() = "QuorviFtp, an FTP client component: FtpLibrary with the members of the by-name "
            "table, CFtpFile and CFtpFiles entries, and FtpError.";
  quorviftp::RegisterEntryClasses(m);
  quorviftp::RegisterLibrary(m);
  m.attr("__version__") = QUORVI_VERSION;
}

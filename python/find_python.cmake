# Included by the top-level CMakeLists.txt before QUORVI_PYTHON is decided: finds the
# interpreter, then pybind11 (which builds for the Python already found, so the order matters).
#
# Debian's python3-pybind11 and python3-pytest belong to the system's /usr/bin/python3, so that
# one is taken when present even if another python3 (pyenv, a venv) comes first on PATH;
# -DPython3_EXECUTABLE=... chooses another.
if(DEFINED QUORVI_PYTHON)
  if(NOT QUORVI_PYTHON STREQUAL AUTO AND NOT QUORVI_PYTHON)
    return()
  endif()
elseif(NOT quorvi_top_level)
  return()
endif()
if(NOT DEFINED CACHE{Python3_EXECUTABLE} AND EXISTS /usr/bin/python3)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "Python interpreter of the quorviftp module")
endif()
find_package(Python3 QUIET COMPONENTS Interpreter Development.Module)
if(Python3_FOUND)
  find_package(pybind11 CONFIG QUIET)
endif()

"""PEP 517 backend of the quorviftp module: configures the source tree above this folder with
CMake for the running interpreter, builds only the module and packs it with its stubs into a
wheel. Chosen over scikit-build-core or setuptools because those are not on every Debian 12
machine and pip cannot fetch them offline; the wheel format itself is a few lines of zip.
QUORVI_BUILD_DIR keeps the CMake build folder between runs (default: a temporary folder)."""
import base64
import hashlib
import os
import shutil
import re
import subprocess
import sys
import sysconfig
import tempfile
import zipfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
SOURCE = HERE.parent
NAME = "quorviftp"


def _version():
    text = (SOURCE / "CMakeLists.txt").read_text()
    return re.search(r"project\(QuorviFtp VERSION ([0-9.]+)", text).group(1)


def _tag():
    impl = f"cp{sys.version_info.major}{sys.version_info.minor}"
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"{impl}-{impl}-{platform}"


def _build_module(build_dir):
    configure = ["cmake", "-S", str(SOURCE), "-B", str(build_dir), "-DCMAKE_BUILD_TYPE=Release",
                 "-DQUORVI_TESTS=OFF", "-DQUORVI_TOOLS=OFF", "-DQUORVI_EXAMPLES=OFF",
                 "-DQUORVI_QT=OFF", "-DQUORVI_INSTALL=OFF", "-DQUORVI_PYTHON=ON",
                 "-DQUORVI_WERROR=OFF", f"-DPython3_EXECUTABLE={sys.executable}"]
    if shutil.which("ninja"):
        configure += ["-G", "Ninja"]
    subprocess.run(configure, check=True, stdout=sys.stderr)
    jobs = str(os.cpu_count() or 2)
    subprocess.run(["cmake", "--build", str(build_dir), "--target", "quorviftp_python", "-j", jobs],
                   check=True, stdout=sys.stderr)
    suffix = sysconfig.get_config_var("EXT_SUFFIX")
    return build_dir / "python" / f"{NAME}{suffix}"


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}"


def _write_wheel(wheel_directory, module):
    version = _version()
    dist_info = f"{NAME}-{version}.dist-info"
    files = {
        module.name: module.read_bytes(),
        f"{NAME}.pyi": (HERE / "quorviftp.pyi").read_bytes(),
        f"{dist_info}/METADATA": (f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {version}\n"
                                  "Summary: QuorviFtp: an FTP, FTPS and HTTP(S) client component\n"
                                  ).encode(),
        f"{dist_info}/WHEEL": (f"Wheel-Version: 1.0\nGenerator: {NAME} build_backend\n"
                               f"Root-Is-Purelib: false\nTag: {_tag()}\n").encode(),
    }
    record = [_record_line(name, data) for name, data in files.items()]
    record.append(f"{dist_info}/RECORD,,")
    files[f"{dist_info}/RECORD"] = ("\n".join(record) + "\n").encode()
    wheel_name = f"{NAME}-{version}-{_tag()}.whl"
    with zipfile.ZipFile(Path(wheel_directory) / wheel_name, "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data in files.items():
            wheel.writestr(name, data)
    return wheel_name


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    kept = os.environ.get("QUORVI_BUILD_DIR")
    if kept:
        return _write_wheel(wheel_directory, _build_module(Path(kept)))
    with tempfile.TemporaryDirectory(prefix="quorviftp-build-") as build_dir:
        return _write_wheel(wheel_directory, _build_module(Path(build_dir)))


def get_requires_for_build_wheel(config_settings=None):
    return []

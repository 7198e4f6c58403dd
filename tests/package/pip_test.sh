#!/usr/bin/env bash
# `pip install ./python` with nothing from an index (--no-index): into a fresh virtual
# environment of the system's interpreter, where that interpreter then imports the module; the
# installed stubs pass mypy --strict on a sample. Usage: pip_test.sh SOURCE
set -euo pipefail
SOURCE=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "pip: $*" >&2; exit 1; }
/usr/bin/python3 -m venv "$work/venv"
"$work/venv/bin/pip" install --no-index --quiet "$SOURCE/python" >"$work/log" 2>&1 ||
  { tail -30 "$work/log" >&2; fail "pip install failed"; }
version=$(sed -n 's/^project(QuorviFtp VERSION \([0-9.]*\).*/\1/p' "$SOURCE/CMakeLists.txt")
got=$("$work/venv/bin/python" -c 'import quorviftp; print(quorviftp.__version__)') ||
  fail "the installed module does not import"
[ "$got" = "$version" ] || fail "imported version $got, not $version"
site=$("$work/venv/bin/python" -c 'import sysconfig; print(sysconfig.get_path("platlib"))')
[ -f "$site/quorviftp.pyi" ] || fail "the stubs were not installed"
if [ -x /usr/bin/mypy ]; then
  cat >"$work/sample.py" <<'EOS'
import quorviftp

def names(host: str) -> list[str]:
    with quorviftp.FtpLibrary() as ftp:
        ftp.ServerName = host
        if not ftp.Connect():
            raise quorviftp.FtpError(ftp.ErrorNumber, ftp.ErrorInfo)
        files = ftp.GetFtpDirectoryInfo()
        return [f.FileName for f in files] if files is not None else []
EOS
  MYPYPATH=$site /usr/bin/mypy --strict --no-error-summary --cache-dir "$work/mypy" "$work/sample.py" ||
    fail "mypy --strict reports errors on the sample"
fi
echo "pip: quorviftp $got installed offline into a venv and imported"

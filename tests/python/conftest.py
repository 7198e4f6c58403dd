"""Fixtures of the quorviftp tests: a throw-away vsftpd on a free loopback port, started and
stopped by tests/fixtures/start-vsftpd.sh and stop.sh (by PID) as the C++ fixtures do, and
components logged in to it.

Without vsftpd or root the server tests are skipped; under CI (CI=true) they fail instead.
QUORVI_KEEP_FIXTURES=1 keeps the server's folder (its log is state/vsftpd.log).
"""
import contextlib
import os
import pwd
import shutil
import socket
import subprocess
import sys
import tempfile
from pathlib import Path

import pytest

import quorviftp

FIXTURES = Path(__file__).resolve().parent.parent / "fixtures"
VSFTPD = Path("/usr/sbin/vsftpd")
USER = PASSWORD = "ftptest"


def free_loopback_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Server:
    """A running vsftpd: its root folder (served as "/") and how to reach it."""

    def __init__(self, base, port, pid):
        self.base = base
        self.root = base / "root"
        self.log = base / "state" / "vsftpd.log"
        self.host = "127.0.0.1"
        self.port = port
        self.pid = pid

    def write(self, relative, data):
        """A file below the root, owned by the FTP user as if uploaded."""
        path = self.root / relative
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        user = pwd.getpwnam(USER)
        for p in [path, *path.relative_to(self.root).parents]:
            os.chown(self.root / p, user.pw_uid, user.pw_gid)
        return path

    def mkdir(self, relative):
        path = self.root / relative
        path.mkdir(parents=True, exist_ok=True)
        user = pwd.getpwnam(USER)
        os.chown(path, user.pw_uid, user.pw_gid)
        return path

    def stop(self):
        subprocess.run([str(FIXTURES / "stop.sh"), str(self.pid)], timeout=30, check=False)


def unavailable(reason):
    if os.environ.get("CI") == "true":
        pytest.fail(f"{reason} (missing servers fail under CI)")
    pytest.skip(reason)


def start_vsftpd():
    if not VSFTPD.exists():
        unavailable("vsftpd is not installed: run tests/fixtures/install.sh as root")
    if os.geteuid() != 0:
        unavailable("the vsftpd fixture needs root")
    problem = ""
    for _ in range(3):  # only a port taken between the probe and the start is tried again
        base = Path(tempfile.mkdtemp(prefix="quorvi-pytest-vsftpd-"))
        base.chmod(0o755)  # the server's users must be able to enter it
        port = free_loopback_port()
        env = dict(os.environ, STATE_DIR=str(base / "state"), BIND_IP="127.0.0.1")
        run = subprocess.run([str(FIXTURES / "start-vsftpd.sh"), str(base / "root"), str(port)],
                             env=env, capture_output=True, text=True, timeout=30)
        if run.returncode == 0 and run.stdout.strip().isdigit():
            return Server(base, port, int(run.stdout.strip()))
        shutil.rmtree(base, ignore_errors=True)
        problem = f"vsftpd did not start (exit {run.returncode}): {run.stderr.strip()}"
        if "already in use" not in run.stderr:
            break
    pytest.fail(problem)


@pytest.fixture(scope="session")
def server():
    running = start_vsftpd()
    yield running
    running.stop()
    if not os.environ.get("QUORVI_KEEP_FIXTURES"):
        shutil.rmtree(running.base, ignore_errors=True)


@pytest.fixture
def area(server, request):
    """A remote folder of the test's own, "/<test name>/", empty at the start."""
    name = request.node.name.translate(str.maketrans("[]-. /", "______"))
    shutil.rmtree(server.root / name, ignore_errors=True)
    server.mkdir(name)
    return f"/{name}/"


def logged_in(server, **options):
    ftp = quorviftp.FtpLibrary(**options)
    ftp.ServerName = server.host
    ftp.RemotePort = server.port
    ftp.UserName = USER
    ftp.PassWord = PASSWORD
    ftp.OverWrite = True
    # Full speed: the default pause paces transfers for GUI hosts.
    ftp.NotificationPause = 0
    return ftp


@pytest.fixture
def ftp(server):
    """A component set up for the server (not yet connected; methods log in as needed)."""
    component = logged_in(server)
    yield component
    component.OnTransfer = component.OnServerMessage = None
    component.OnStateChange = component.OnError = None
    component.CloseConnection()


@contextlib.contextmanager
def unraisable_hook():
    """Collects what reaches sys.unraisablehook inside the block (pytest's own hook is swapped
    in only around the test body, so a fixture could not do this)."""
    seen = []
    previous, sys.unraisablehook = sys.unraisablehook, seen.append
    try:
        yield seen
    finally:
        sys.unraisablehook = previous

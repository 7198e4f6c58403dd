"""Tree transfers with progress handlers, Abort from a handler, handler exceptions, and the GIL
released while the component waits."""
import os
import threading
import time
from pathlib import Path

import pytest

import quorviftp

from conftest import unraisable_hook

TREE = {  # relative path: size
    "top.txt": 10,
    "big.bin": 3 * 1024 * 1024,
    "a/one.txt": 1,
    "a/b/two.bin": 200_000,
    "a/b/c/empty.txt": 0,
}


def content(name, size):
    """Bytes that differ by file and by position, so a mix-up or a shifted block shows."""
    seed = name.encode()
    return ((seed + bytes(range(256))) * (size // (len(seed) + 256) + 1))[:size]


def files_below(folder):
    return {p.relative_to(folder).as_posix(): p.read_bytes()
            for p in Path(folder).rglob("*") if p.is_file()}


@pytest.fixture
def remote_tree(server, area):
    for name, size in TREE.items():
        server.write(area[1:] + "tree/" + name, content(name, size))
    return area + "tree/"


def test_tree_download_reports_progress(ftp, remote_tree, tmp_path):
    ftp.MaxSpeed = 8192  # KiB/s: the big file takes long enough for several progress reports
    reports = []
    ftp.OnTransfer = lambda: reports.append(
        (ftp.QueueIndex, ftp.Percent, ftp.TransferSize, ftp.FileSize, ftp.TransferredBytes))
    ftp.RemotePath = remote_tree
    ftp.LocalPath = f"{tmp_path}/copy/"
    assert ftp.DownLoad() is True, ftp.ErrorInfo
    assert files_below(tmp_path / "copy") == {n: content(n, s) for n, s in TREE.items()}
    assert ftp.TransferredFileCount == len(TREE)
    assert ftp.TransferredBytes == sum(TREE.values())
    assert all(0 <= percent <= 100 for _, percent, *_ in reports)
    # The big file was reported while it moved, ending at 100 %.
    big = [r for r in reports if r[3] == TREE["big.bin"]]
    assert len(big) > 1 and big[-1][1] == 100 and big[-1][2] == TREE["big.bin"]
    assert [r[2] for r in big] == sorted(r[2] for r in big)
    assert max(r[0] for r in reports) == len(TREE)


def test_tree_upload_reports_progress(server, ftp, area, tmp_path):
    local = tmp_path / "up"
    for name, size in TREE.items():
        (local / name).parent.mkdir(parents=True, exist_ok=True)
        (local / name).write_bytes(content(name, size))
    ftp.MaxSpeed = 8192
    percents = []
    ftp.OnTransfer = lambda: percents.append(ftp.Percent)
    ftp.LocalPath = f"{local}/"
    ftp.RemotePath = area
    assert ftp.UpLoad() is True, ftp.ErrorInfo
    assert files_below(server.root / area[1:]) == {n: content(n, s) for n, s in TREE.items()}
    assert percents and percents[-1] == 100 and all(0 <= p <= 100 for p in percents)


@pytest.mark.parametrize("raise_on_error", [False, True])
def test_abort_from_a_handler_ends_the_download(ftp, remote_tree, tmp_path, raise_on_error):
    ftp.raise_on_error = raise_on_error
    ftp.OnTransfer = lambda: ftp.Abort()
    ftp.RemotePath = remote_tree
    ftp.LocalPath = f"{tmp_path}/copy/"
    if raise_on_error:
        with pytest.raises(quorviftp.FtpError) as raised:
            ftp.DownLoad()
        assert raised.value.number == 16010 and raised.value.__cause__ is None
    else:
        assert ftp.DownLoad() is False
    assert ftp.ErrorNumber == 16010
    assert ftp.TransferredFileCount < len(TREE)
    assert ftp.callback_error is None


class Boom(Exception):
    pass


@pytest.mark.parametrize("event", ["OnTransfer", "OnServerMessage", "OnStateChange"])
@pytest.mark.parametrize("raise_on_error", [False, True])
def test_handler_exception_fails_the_call_and_is_reported(
        ftp, remote_tree, tmp_path, event, raise_on_error):
    calls = []

    def fail():
        calls.append(1)
        raise Boom("from the handler")

    ftp.raise_on_error = raise_on_error
    setattr(ftp, event, fail)
    ftp.RemotePath = remote_tree
    ftp.LocalPath = f"{tmp_path}/copy/"
    with unraisable_hook() as unraisable:
        if raise_on_error:
            # FtpError caused by the handler's exception when the component stopped with an
            # error; the handler's exception itself when it could not stop there.
            with pytest.raises((quorviftp.FtpError, Boom)) as raised:
                ftp.DownLoad()
        else:
            assert ftp.DownLoad() is False
    error = ftp.callback_error
    assert isinstance(error, Boom) and error.__traceback__ is not None
    if raise_on_error:
        assert raised.value is error or (raised.value.__cause__ is error and
                                          raised.value.number == ftp.ErrorNumber != 0)
        assert not unraisable  # raised, so not printed as well
    else:
        # Printed through sys.unraisablehook, not lost.
        assert [(u.exc_value, u.object) for u in unraisable] == [(error, fail)]
    # The call is being stopped: its later events reach no handler.
    assert calls == [1]
    # Nothing is wedged: without the handler the same download succeeds, and the kept error
    # belongs to the last call only.
    setattr(ftp, event, None)
    assert ftp.DownLoad() is True, ftp.ErrorInfo
    assert ftp.callback_error is None
    assert files_below(tmp_path / "copy") == {n: content(n, s) for n, s in TREE.items()}


@pytest.mark.parametrize("raise_on_error", [False, True])
def test_interrupt_in_a_handler_is_raised_again_in_any_mode(ftp, remote_tree, tmp_path,
                                                            raise_on_error):
    def interrupt():
        raise KeyboardInterrupt

    ftp.raise_on_error = raise_on_error
    ftp.OnTransfer = interrupt
    ftp.RemotePath = remote_tree
    ftp.LocalPath = f"{tmp_path}/copy/"
    with unraisable_hook() as unraisable, pytest.raises(KeyboardInterrupt) as raised:
        ftp.DownLoad()
    assert ftp.ErrorNumber == 16010 and ftp.callback_error is raised.value
    assert not unraisable


def test_a_handler_may_call_methods_and_their_errors_stay_theirs(ftp, remote_tree, tmp_path):
    seen = []

    def nested():
        if not seen:
            # A second exchange while the download runs is refused, and the download goes on.
            seen.append((ftp.GetFtpDirectoryInfo(remote_tree), ftp.ErrorNumber))

    ftp.OnTransfer = nested
    ftp.raise_on_error = False
    ftp.RemotePath = remote_tree
    ftp.LocalPath = f"{tmp_path}/copy/"
    assert ftp.DownLoad() is True, ftp.ErrorInfo
    assert seen == [(None, 16009)]
    assert ftp.TransferredFileCount == len(TREE)


def test_other_threads_run_while_the_component_waits(server, ftp, area, tmp_path):
    server.write(area[1:] + "slow.bin", os.urandom(2 * 1024 * 1024))
    ftp.NotificationPause = 20  # about a receive buffer per pause: a download of a second or so
    ftp.MaxSpeed = 2048
    ticks = []
    stop = threading.Event()

    def count():
        while not stop.is_set() and len(ticks) < 100_000:
            ticks.append(time.monotonic())
            time.sleep(0.001)

    thread = threading.Thread(target=count)
    ftp.RemotePath = area + "slow.bin"
    ftp.LocalPath = f"{tmp_path}/slow.bin"
    thread.start()
    started = time.monotonic()
    try:
        assert ftp.DownLoad() is True, ftp.ErrorInfo
    finally:
        ended = time.monotonic()
        stop.set()
        thread.join(10)
    during = [t for t in ticks if started < t < ended]
    assert ended - started > 0.3
    # With the GIL held through the call the counting thread could not run at all: the
    # component never hands the GIL over by itself.
    assert len(during) > 20

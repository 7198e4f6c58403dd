"""The Python examples do their jobs against vsftpd, as their .qftp twins do."""
import os
import subprocess
import sys
from pathlib import Path

from conftest import PASSWORD, USER

EXAMPLES = Path(__file__).resolve().parents[2] / "examples" / "python"


def run_example(server, name, **env):
    return subprocess.run(
        [sys.executable, str(EXAMPLES / name), "-H", server.host, "-P", str(server.port),
         "-u", USER, "-p", PASSWORD],
        env=dict(os.environ, **env), capture_output=True, text=True, timeout=120)


def test_download_tree_example(server, area, tmp_path):
    server.write(area[1:] + "tree/a.txt", b"a")
    server.write(area[1:] + "tree/sub/b.bin", b"b" * 70_000)
    run = run_example(server, "download_tree.py", REMOTE_DIR=area + "tree/",
                      LOCAL_DIR=f"{tmp_path}/copy/")
    assert run.returncode == 0, run.stderr
    assert (tmp_path / "copy/sub/b.bin").read_bytes() == b"b" * 70_000
    assert "OnTransfer QueueIndex=" in run.stdout and "OnError" not in run.stdout
    assert run.stdout.splitlines()[-1] == f"{area}tree/a.txt|{area}tree/sub/b.bin"


def test_upload_queue_example(server, area, tmp_path):
    (tmp_path / "first.bin").write_bytes(b"1" * 100_000)
    (tmp_path / "queued.txt").write_text("queued\n")
    run = run_example(server, "upload_queue.py", LOCAL_DIR=str(tmp_path), REMOTE_DIR=area)
    assert run.returncode == 0, run.stderr
    assert run.stdout.splitlines()[0] == "2"  # the queued file joined the running upload
    assert (server.root / area[1:] / "queued.txt").read_text() == "queued\n"

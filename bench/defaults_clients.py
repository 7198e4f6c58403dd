"""One 200-file tree down and up with defaults, by the quorviftp module or by ftplib.
usage: defaults_clients.py quorviftp|ftplib PORT REMOTE_TREE LOCAL_DOWN LOCAL_UP REMOTE_UP
Prints "down SECONDS" and "up SECONDS"."""
import ftplib
import os
import sys
import time

kind, port, remote, down, up_src, up_dst = sys.argv[1], int(sys.argv[2]), *sys.argv[3:7]


def timed(what, job):
    start = time.perf_counter()
    job()
    print(f"{what} {time.perf_counter() - start:.3f}")


def with_module():
    import quorviftp
    with quorviftp.FtpLibrary() as ftp:
        ftp.ServerName, ftp.RemotePort = "127.0.0.1", port
        ftp.UserName, ftp.PassWord = "ftptest", "ftptest"
        ftp.raise_on_error = True
        ftp.RemotePath, ftp.LocalPath = remote, down
        timed("down", lambda: ftp.DownLoad())
        ftp.RemotePath, ftp.LocalPath = up_dst, up_src
        timed("up", lambda: ftp.UpLoad())


def with_ftplib():
    ftp = ftplib.FTP()
    ftp.connect("127.0.0.1", port)
    ftp.login("ftptest", "ftptest")

    def walk(folder, target):
        os.makedirs(target, exist_ok=True)
        lines = []
        ftp.retrlines(f"LIST {folder}", lines.append)
        for line in lines:
            parts = line.split(None, 8)
            path = f"{folder.rstrip('/')}/{parts[8]}"
            if line.startswith("d"):
                walk(path, os.path.join(target, parts[8]))
            else:
                with open(os.path.join(target, parts[8]), "wb") as f:
                    ftp.retrbinary(f"RETR {path}", f.write)

    def put(source, folder):
        try:
            ftp.mkd(folder)
        except ftplib.error_perm:
            pass
        for entry in sorted(os.scandir(source), key=lambda e: e.name):
            path = f"{folder.rstrip('/')}/{entry.name}"
            if entry.is_dir():
                put(entry.path, path)
            else:
                with open(entry.path, "rb") as f:
                    ftp.storbinary(f"STOR {path}", f)

    timed("down", lambda: walk(remote.rstrip("/"), down))
    timed("up", lambda: put(up_src.rstrip("/"), up_dst))
    ftp.quit()


with_module() if kind == "quorviftp" else with_ftplib()

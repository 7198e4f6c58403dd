#!/usr/bin/env python3
"""Downloads a remote folder tree and prints the progress from OnTransfer.

    REMOTE_DIR=/pub/tree/ LOCAL_DIR=$PWD/copy/ \\
      python3 download_tree.py -H ftp.example.org -u USER -p PASSWORD

The connection comes from the options (the password also from QFTP_PASSWORD); REMOTE_DIR (a
remote folder ending with "/") and LOCAL_DIR (an absolute local folder ending with "/") from
the environment. The same job as examples/scripts/download_tree.qftp.
"""
import argparse
import os
import sys

import quorviftp


def connection_options(description):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("-H", "--host", required=True)
    parser.add_argument("-P", "--port", type=int, default=21)
    parser.add_argument("-u", "--user", default="anonymous")
    parser.add_argument("-p", "--password", default=os.environ.get("QFTP_PASSWORD", ""))
    return parser.parse_args()


def main():
    options = connection_options(__doc__.splitlines()[0])
    ftp = quorviftp.FtpLibrary(ServerName=options.host, RemotePort=options.port,
                               UserName=options.user, PassWord=options.password)
    ftp.RemotePath = os.environ["REMOTE_DIR"]
    ftp.LocalPath = os.environ["LOCAL_DIR"]
    # Replace files that are already there instead of resuming them.
    ftp.OverWrite = True
    ftp.RaiseErrorEvent = True

    # One line per progress report: file i of n, percent, bytes so far and the file's size.
    ftp.OnTransfer = lambda: print(
        f"OnTransfer QueueIndex={ftp.QueueIndex} QueueTotal={ftp.QueueTotal} "
        f"Percent={ftp.Percent} TransferSize={ftp.TransferSize:.0f} FileSize={ftp.FileSize:.0f}",
        flush=True)
    ftp.OnError = lambda: print(f"OnError ErrorNumber={ftp.ErrorNumber} ErrorInfo={ftp.ErrorInfo}")

    ok = ftp.DownLoad()
    print(ftp.TransferedRemoteFiles)
    ftp.CloseConnection()
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
"""Uploads one file and, while it runs, queues a second one from OnTransfer: the upload takes
the queued file when the first is done, in the same call.

    LOCAL_DIR=$PWD/outbox REMOTE_DIR=/pub/inbox/ \\
      python3 upload_queue.py -H ftp.example.org -u USER -p PASSWORD

LOCAL_DIR must hold first.bin and queued.txt; REMOTE_DIR is a remote folder ending with "/".
The same job as examples/scripts/upload_queue.qftp.
"""
import os
import sys

import quorviftp
from download_tree import connection_options


def main():
    options = connection_options(__doc__.splitlines()[0])
    local_dir = os.environ["LOCAL_DIR"]
    ftp = quorviftp.FtpLibrary(ServerName=options.host, RemotePort=options.port,
                               UserName=options.user, PassWord=options.password)
    ftp.LocalPath = f"{local_dir}/first.bin"
    ftp.RemotePath = os.environ["REMOTE_DIR"]
    ftp.RaiseErrorEvent = True

    def queue_once():
        # Once: appending the same file twice would upload it twice.
        ftp.OnTransfer = None
        ftp.AppendTransferList(f"{local_dir}/queued.txt")

    ftp.OnTransfer = queue_once
    ftp.OnError = lambda: print(f"OnError ErrorNumber={ftp.ErrorNumber} ErrorInfo={ftp.ErrorInfo}")

    ok = ftp.UpLoad()
    print(ftp.QueueTotal)
    print(ftp.TransferedLocalFiles)
    print(ftp.TransferedRemoteFiles)
    ftp.CloseConnection()
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())

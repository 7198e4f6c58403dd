#!/usr/bin/env python3
"""Downloads a file over HTTP; no FTP connection is needed, so no host option either.

    URL=http://127.0.0.1:8080/files/report.pdf LOCAL_DIR=$PWD/downloads/ \\
      python3 http_download.py

To go through an HTTP proxy set PROXY_SERVER (and PROXY_PORT). The same job as
examples/scripts/http_download.qftp.
"""
import os
import sys

import quorviftp


def main():
    ftp = quorviftp.FtpLibrary()
    ftp.RemotePath = os.environ["URL"]
    ftp.LocalPath = os.environ["LOCAL_DIR"]
    if os.environ.get("PROXY_SERVER"):
        ftp.ProxyServer = os.environ["PROXY_SERVER"]
        ftp.ProxyPort = int(os.environ.get("PROXY_PORT", "80"))
    ftp.RaiseErrorEvent = True

    ftp.OnTransfer = lambda: print(
        f"OnTransfer Percent={ftp.Percent} TransferSize={ftp.TransferSize:.0f} "
        f"FileSize={ftp.FileSize:.0f}", flush=True)
    ftp.OnError = lambda: print(f"OnError ErrorNumber={ftp.ErrorNumber} ErrorInfo={ftp.ErrorInfo}")

    ftp.DownloadHttpFile()
    print(ftp.ErrorNumber)
    return 0 if ftp.ErrorNumber == 0 else 1


if __name__ == "__main__":
    sys.exit(main())

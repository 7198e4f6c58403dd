"""Login, listings as objects and errors as return values or FtpError, against vsftpd."""
import pytest

import quorviftp

from conftest import logged_in


@pytest.mark.parametrize("password, ok", [("ftptest", True), ("wrong", False)])
def test_login(server, password, ok):
    ftp = logged_in(server)
    ftp.PassWord = password
    messages = []
    ftp.OnServerMessage = lambda: messages.append(ftp.MessageInfo)
    assert ftp.Connect() is ok
    assert ftp.Connected is ok
    assert (ftp.ErrorNumber == 0) is ok
    assert any(m.startswith("230") for m in messages) is ok
    ftp.CloseConnection()


@pytest.mark.parametrize("raise_on_error", [False, True])
def test_failed_login_is_a_return_value_or_an_ftp_error(server, raise_on_error):
    ftp = logged_in(server, raise_on_error=raise_on_error)
    ftp.PassWord = "wrong"
    if not raise_on_error:
        assert ftp.Connect() is False
        assert ftp.ErrorNumber == 16530 and ftp.ErrorInfo
        return
    with pytest.raises(quorviftp.FtpError) as raised:
        ftp.Connect()
    assert (raised.value.number, raised.value.text) == (ftp.ErrorNumber, ftp.ErrorInfo)
    assert raised.value.number == 16530


def test_listing_is_a_collection_of_entries(server, ftp, area):
    for name, size in [("b.txt", 3), ("A.bin", 1000), ("c d.txt", 0)]:
        server.write(area[1:] + name, b"x" * size)
    server.mkdir(area[1:] + "Sub")
    files = ftp.GetFtpDirectoryInfo(area)
    assert isinstance(files, quorviftp.CFtpFiles)
    # Sorted by name without regard to case, as the component sorts.
    assert [f.FileName for f in files] == ["A.bin", "b.txt", "c d.txt", "Sub"] == files.keys()
    assert len(files) == files.Count == 4
    first, last = files[0], files[-1]
    assert (first.FileName, first.FileSize, first.IsDirectory) == ("A.bin", 1000.0, False)
    assert first.FilePath == area + "A.bin"
    assert (last.FileName, last.IsDirectory) == ("Sub", True)
    # Keys in any case; the component's own Item counts from 1.
    assert files["a.BIN"] == first == files.Item(1) == files.Item("A.bin") == files.ItemName("a.bin")
    assert "B.TXT" in files and "nothing" not in files and 3 not in files
    assert files.Item(99) is None
    with pytest.raises(IndexError):
        files[4]
    with pytest.raises(KeyError):
        files["nothing"]
    with pytest.raises(AttributeError):
        files.NoSuchMember
    assert set(quorviftp.file_properties()) <= set(dir(first))
    assert first.Permissions.startswith("-") and first.Owner and first.LastWriteTime
    # An entry outlives its listing.
    del files
    assert first.FileName == "A.bin"


def test_single_entry_and_empty_folder(server, ftp, area):
    server.write(area[1:] + "one.txt", b"12345")
    info = ftp.GetFtpFileInfo(area + "one.txt")
    assert isinstance(info, quorviftp.CFtpFile) and info.FileSize == 5.0
    server.mkdir(area[1:] + "empty")
    ftp.raise_on_error = True
    # "Nothing" that is no failure raises nothing, even in raise_on_error mode.
    assert ftp.GetFtpDirectoryInfo(area + "empty/") is None and ftp.ErrorNumber == 0
    # A question's "no" is an answer (the component still records why, here 20007).
    assert ftp.ExistFile(area + "missing.txt") is False and ftp.ErrorNumber == 20007
    assert ftp.ExistDirectory(area + "missing") is False


@pytest.mark.parametrize("call, number", [
    (lambda f, a: f.GetFtpDirectoryInfo(a + "missing/"), 20008),
    (lambda f, a: f.DeleteFile(a + "missing.txt"), 16550),
    (lambda f, a: f.SetCurrentDirectory(a + "missing"), 16550),
])
@pytest.mark.parametrize("raise_on_error", [False, True])
def test_remote_failures(ftp, area, call, number, raise_on_error):
    ftp.raise_on_error = raise_on_error
    if raise_on_error:
        with pytest.raises(quorviftp.FtpError) as raised:
            call(ftp, area)
        assert raised.value.number == number
    else:
        assert call(ftp, area) in (None, False)
        assert ftp.ErrorNumber == number
    # The session stays usable.
    assert ftp.ExistDirectory(area) is True

"""The module without a server: the members are the table's, values convert both ways, and
wrong use is refused the Python way."""
import gc
import subprocess
import sys
import threading
import weakref
from pathlib import Path

import pytest

import quorviftp

ROOT = Path(__file__).resolve().parents[2]
MEMBERS = quorviftp.members()
PYTHON_TYPES = {"Boolean": bool, "Int16": int, "Int32": int, "Double": float, "String": str}


def test_every_member_of_the_table_is_listed_and_reachable():
    ftp = quorviftp.FtpLibrary()
    names = set(dir(ftp))
    assert {m["name"] for m in MEMBERS} <= names
    assert {"OnTransfer", "OnServerMessage", "OnStateChange", "OnError"} == {
        m["name"] for m in MEMBERS if m["kind"] == "event"}
    for member in MEMBERS:
        if member["kind"] == "method":
            assert callable(getattr(ftp, member["name"]))
        elif member["kind"] == "event":
            assert getattr(ftp, member["name"]) is None
        elif member["readable"]:
            getattr(ftp, member["name"])


@pytest.mark.parametrize("member", [m for m in MEMBERS if m["kind"] == "property" and m["readable"]],
                         ids=lambda m: m["name"])
def test_readable_properties_have_their_python_type(member):
    value = getattr(quorviftp.FtpLibrary(), member["name"])
    assert type(value) is PYTHON_TYPES[member["type"]]
    if member["writable"] and member["initial"] is not None:
        assert value == member["initial"]


def test_stub_file_matches_the_member_table():
    run = subprocess.run([sys.executable, str(ROOT / "python/gen_stubs.py"), "--check"],
                         capture_output=True, text=True, timeout=60)
    assert run.returncode == 0, run.stdout + run.stderr


@pytest.mark.parametrize("name, value, expected", [
    ("ServerName", "127.0.0.1", "127.0.0.1"),
    ("RemotePath", "/pub/Über grüße/", "/pub/Über grüße/"),
    # A name that is not UTF-8 survives the round trip as Python's os functions give it.
    ("LocalPath", "/tmp/caf\udce9/", "/tmp/caf\udce9/"),
    ("PassiveMode", False, False),
    ("PassiveMode", "True", True),       # converted as a script host converts
    ("TimeOut", 120, 120),
    ("TimeOut", 119.6, 120),             # rounded to the Int16 property
    ("TransferSize", 1.5, 1.5),
    ("TransferSize", 2**40, float(2**40)),  # beyond 32 bits an int travels as a double
    ("RemotePort", "2121", 2121),
])
def test_property_values_convert_both_ways(name, value, expected):
    ftp = quorviftp.FtpLibrary()
    setattr(ftp, name, value)
    got = getattr(ftp, name)
    assert got == expected and type(got) is type(expected)


@pytest.mark.parametrize("call, expected", [
    (lambda f: f.FormatFileSize(5 * 2**30), "5120 MB"),  # beyond 32 bits
    (lambda f: f.FormatTime(3725), "01:02:05"),
    (lambda f: f.FormatTime(3725, TimeType=1), "1 Hrs 2 Mins 5 Secs"),
    (lambda f: f.FormatTime(Seconds=3725, timetype=1), "1 Hrs 2 Mins 5 Secs"),  # any case
    (lambda f: f.GetFileName("/a/Über.txt"), "Über.txt"),
    (lambda f: f.AppendTransferList("/nothing/here"), None),  # no result: None
])
def test_methods_take_positional_and_keyword_arguments(call, expected):
    assert call(quorviftp.FtpLibrary()) == expected


@pytest.mark.parametrize("action, error, words", [
    (lambda f: f.NoSuchMember, AttributeError, "NoSuchMember"),
    (lambda f: f.MaxSpeed, AttributeError, "write-only"),
    (lambda f: setattr(f, "ErrorNumber", 1), AttributeError, "read-only"),
    (lambda f: setattr(f, "DownLoad", 1), AttributeError, "method"),
    (lambda f: setattr(f, "NoSuchMember", 1), AttributeError, "NoSuchMember"),
    (lambda f: setattr(f, "TimeOut", "soon"), TypeError, "TimeOut"),
    (lambda f: setattr(f, "ServerName", [1]), TypeError, "list"),
    (lambda f: setattr(f, "OnTransfer", 5), TypeError, "callable"),
    (lambda f: f.FormatFileSize(), TypeError, "FileSize"),
    (lambda f: f.FormatFileSize(1, 2), TypeError, "argument"),
    (lambda f: f.FormatFileSize(1, FileSize=2), TypeError, "twice"),
    (lambda f: f.FormatTime(1, Unit=2), TypeError, "Unit"),
    (lambda f: quorviftp.FtpLibrary(NoSuchMember=1), TypeError, "NoSuchMember"),
])
def test_wrong_use_is_refused_with_python_exceptions(action, error, words):
    with pytest.raises(error, match=words):
        action(quorviftp.FtpLibrary())


def test_constructor_sets_properties_events_and_the_error_mode():
    handler = lambda: None  # noqa: E731
    ftp = quorviftp.FtpLibrary(raise_on_error=True, ServerName="example.org", OnError=handler)
    assert (ftp.raise_on_error, ftp.ServerName, ftp.OnError) == (True, "example.org", handler)
    ftp.OnError = None
    assert ftp.OnError is None


def test_failure_of_a_local_method_raises_only_in_raise_mode(tmp_path):
    missing = str(tmp_path / "missing.txt")
    ftp = quorviftp.FtpLibrary()
    assert ftp.GetLocalFileSize(missing) < 0  # the component's own answer, no exception
    ftp.raise_on_error = True
    # A stale error number from an earlier failure does not make a later success raise.
    with pytest.raises(quorviftp.FtpError) as raised:
        ftp.Connect()  # no ServerName
    assert raised.value.number == ftp.ErrorNumber != 0
    assert raised.value.text == ftp.ErrorInfo and str(raised.value.number) in str(raised.value)
    assert ftp.FormatFileSize(10) == "10 Bytes"


def test_component_refuses_use_from_another_thread():
    ftp = quorviftp.FtpLibrary()
    failures = []

    def use():
        try:
            ftp.ServerName = "x"
        except RuntimeError as e:
            failures.append(e)

    thread = threading.Thread(target=use)
    thread.start()
    thread.join(10)
    assert len(failures) == 1 and ftp.ServerName == ""


def test_a_handler_that_refers_to_its_component_does_not_keep_it_alive():
    ftp = quorviftp.FtpLibrary()
    ftp.OnTransfer = lambda: print(ftp.Percent)
    gone = weakref.ref(ftp)
    del ftp
    gc.collect()
    assert gone() is None

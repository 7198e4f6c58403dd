#!/usr/bin/env python3
"""Writes docs/reference.md from the public headers and the by-name member table.

The header (include/quorvi/ftp_library.h) gives each member's sections, C++ signature and doc
comment; the member table (src/component/dispatch/member_table.cpp) gives what kind of member
it is for a script host (property with its access and initial value, method, event).

    python3 tools/gen_reference.py            # rewrite docs/reference.md
    python3 tools/gen_reference.py --check    # exit 1 when docs/reference.md is out of date
"""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
HEADER = ROOT / "include/quorvi/ftp_library.h"
ENTRY_HEADER = ROOT / "include/quorvi/ftp_file.h"
TABLE = ROOT / "src/component/dispatch/member_table.cpp"
OUTPUT = ROOT / "docs/reference.md"

TYPE_NAMES = {
    "std::string": "Text", "bool": "Boolean",
    "std::int16_t": "Int16", "std::int32_t": "Int32", "double": "Double", "void": "",
    "std::optional<CFtpFile>": "CFtpFile", "std::optional<CFtpFiles>": "CFtpFiles",
}


def type_name(cpp):
    cpp = re.sub(r"^const\s+|\s*[&*]$", "", cpp.strip())
    return TYPE_NAMES.get(cpp, cpp)


def literal(text):
    """A C++ literal of the table or header as the reference shows it."""
    text = text.strip()
    if text in ("true", "false"):
        return text.capitalize()
    if text == "kNoPlainValue":
        return "the message table"
    if re.fullmatch(r"-?\d+\.0", text):
        return text[:-2]
    return text


def read_table():
    """name -> (kind, access, initial) from the member table's rows."""
    rows = {}
    text = TABLE.read_text()
    for m in re.finditer(r'EventRow\("(\w+)"', text):
        rows[m.group(1)] = ("event", "", "")
    for m in re.finditer(r"QV_R\((\w+)\)", text):
        rows[m.group(1)] = ("property", "read", "")
    for m in re.finditer(r"QV_RW\((\w+), (.+?)\),\n", text):
        rows[m.group(1)] = ("property", "read/write", literal(m.group(2)))
    for m in re.finditer(r"QV_W\((\w+), [\w:]+, (.+?)\),\n", text):
        rows[m.group(1)] = ("property", "write", literal(m.group(2)))
    for m in re.finditer(r"QV_M\((\w+)", text):
        rows[m.group(1)] = ("method", "", "")
    return rows


def split_params(text):
    params, depth, current, quoted = [], 0, "", False
    for c in text:
        if c == '"':
            quoted = not quoted
        if not quoted and c in "<(":
            depth += 1
        if not quoted and c in ">)":
            depth -= 1
        if c == "," and depth == 0 and not quoted:
            params.append(current.strip())
            current = ""
        else:
            current += c
    if current.strip():
        params.append(current.strip())
    return params


def parse_class(path, class_name):
    """Sections of (title, [(name, result, params, doc)]) of the class's public part."""
    text = path.read_text()
    body = text[text.index(f"class {class_name} {{"):]
    body = body[: body.index("\n private:")] if "\n private:" in body else body
    sections, doc, statement = [("", [])], [], ""
    for line in body.splitlines()[1:]:
        stripped = line.strip()
        heading = re.match(r"// ---- (.+?) -+$", stripped)
        if heading:
            sections.append((heading.group(1), []))
            continue
        if stripped.startswith("///"):
            doc.append(stripped[3:].strip())
            continue
        if not stripped or stripped.startswith("//") or stripped.endswith(":"):
            continue
        statement += " " + stripped
        if not (statement.rstrip().endswith(";") or statement.rstrip().endswith("}")):
            continue
        m = re.match(r"\s*(.*?)\b(\w+)\s*\((.*)\)\s*(const)?\s*(?:noexcept)?\s*(;|\{.*\})", statement)
        statement = ""
        if m and doc is not None:
            params = []
            for p in split_params(m.group(3)):
                declarator, _, default = p.partition("=")
                name = re.split(r"[\s&*]+", declarator.strip())[-1]
                cpp = declarator.strip()[: -len(name)].strip()
                params.append((name, type_name(cpp), literal(default) if default else None))
            sections[-1][1].append((m.group(2), m.group(1).strip(), params, " ".join(doc)))
        doc = []
    return [s for s in sections if s[1]]


def escape(text):
    return text.replace("|", "\\|")


def member_rows(members, table):
    """Property, method and event lines of one section."""
    props, methods, events, seen = [], [], [], set()
    for name, result, params, doc in members:
        kind, access, initial = table.get(name, ("", "", ""))
        if kind == "property":
            if name in seen:  # the setter of a property already listed with its getter
                continue
            seen.add(name)
            cpp = result if result != "void" else params[0][1] if params else ""
            props.append(f"| `{name}` | {type_name(cpp)} | {access} | {escape(initial or '—')} "
                         f"| {escape(doc)} |")
        elif kind == "method":
            args = ", ".join(
                f"{p[0]} {p[1]}" + (f" = {p[2]}" if p[2] is not None else "") for p in params)
            methods.append(f"| `{name}` | {escape(args) or '—'} | {type_name(result) or '—'} "
                           f"| {escape(doc)} |")
        elif kind == "event":
            events.append(f"| `{name}` | {escape(doc)} |")
    return props, methods, events


def render():
    table = read_table()
    out = [
        "# FtpLibrary reference",
        "",
        "<!-- Generated by tools/gen_reference.py from include/quorvi/ftp_library.h and",
        "     src/component/dispatch/member_table.cpp. Do not edit by hand: run",
        "     `python3 tools/gen_reference.py`. -->",
        "",
        "Every member below is reachable from C++ (`ftp.TimeOut(60)`, `ftp.TimeOut()`) and by",
        "name (`quorvi::PutProperty(ftp, \"timeout\", 60)`, `qftp script`: `set TimeOut 60`);",
        "names are compared without regard to case. Access: *read/write*, *read* (read-only) or",
        "*write* (write-only). Optional arguments show their default after `=`. Types: Text is",
        "UTF-8 `std::string`, Int16/Int32 are `std::int16_t`/`std::int32_t`. Dates are",
        "`YYYY-MM-DD HH:MM:SS` local time and local paths are POSIX paths",
        "(see [paths-and-dates.md](paths-and-dates.md)); error numbers and texts are in",
        "[errors-and-log.md](errors-and-log.md).",
        "",
    ]
    for title, members in parse_class(HEADER, "FtpLibrary"):
        props, methods, events = member_rows(members, table)
        if not (props or methods or events):
            continue
        out += [f"## {title}", ""]
        if events:
            out += ["| Event | Raised when / what to read |", "|---|---|", *events, ""]
        if props:
            out += ["| Property | Type | Access | Initial value | What it does |",
                    "|---|---|---|---|---|", *props, ""]
        if methods:
            out += ["| Method | Arguments | Result | What it does |", "|---|---|---|---|",
                    *methods, ""]
    out += ["## Remote entries: CFtpFile and CFtpFiles", "",
            "`GetFtpFileInfo` returns one `CFtpFile` (Empty by name when there is none) and",
            "`GetFtpDirectoryInfo` a `CFtpFiles`. By name, a `CFtpFile`'s properties are read",
            "with `quorvi::GetProperty(entry, \"FileSize\")`; a `CFtpFiles` answers `Count`,",
            "`Item` (position from 1, or key) and `ItemName`. `qftp script` prints an entry as",
            "one line of `Name=value` pairs and a collection as one line per entry.", ""]
    for cls in ("CFtpFile", "CFtpFiles"):
        out += [f"### {cls}", "", "| Member | Type | What it does |", "|---|---|---|"]
        seen = set()
        for _, members in parse_class(ENTRY_HEADER, cls):
            for name, result, params, doc in members:
                if name in seen or name in ("begin", "end") or not doc:
                    continue
                seen.add(name)
                out.append(f"| `{name}` | {escape(type_name(result))} | {escape(doc)} |")
        out.append("")
    return "\n".join(out)


def main():
    text = render()
    if "--check" in sys.argv[1:]:
        current = OUTPUT.read_text() if OUTPUT.exists() else ""
        if current != text:
            print("docs/reference.md is out of date: run python3 tools/gen_reference.py")
            return 1
        return 0
    OUTPUT.write_text(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())

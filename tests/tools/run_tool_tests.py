#!/usr/bin/env python3
"""Runs the korvan tool on the example catalogue, on a catalogue of awkward
texts and on damaged input; checks exit codes and messages, and reads CSV, TSV
and JSON output back with Python's own csv and json modules.

usage: run_tool_tests.py TOOL EXAMPLE DATA_DIR VERSION
"""
import csv
import io
import json
import os
import pty
import re
import shutil
import subprocess
import sys
import tempfile
import unicodedata

TOOL, EXAMPLE, DATA, VERSION = sys.argv[1:5]
# A cross-built tool runs through this program (Wine). What only a POSIX
# process can be given - a terminal, FIFOs and devices, another user, a
# writer the tool can see running - is then left out.
RUNNER = [os.environ["KORVAN_TOOL_RUNNER"]] if os.environ.get("KORVAN_TOOL_RUNNER") else []
NATIVE = not RUNNER
TEXTS = os.path.join(DATA, "tool_texts.xml")
SELECT = "select designation, mass, height from i_beams where mass > 30 order by mass desc"
# The process locale must not matter: output is UTF-8 whatever it is.
ENV = dict(os.environ, LC_ALL="C", LANG="C")

failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
    return condition


def finish(args, code, out, err):
    what = " ".join(args)
    out, err = out.decode("utf-8"), err.decode("utf-8")  # strict: invalid UTF-8 raises
    check(code in (0, 1, 2), f"{what}: exit status {code}\n{err}")
    check("Sanitizer" not in err and "runtime error" not in err, f"{what}: sanitizer report\n{err}")
    if code == 1:
        check(err.startswith("korvan: "), f"{what}: no message of the tool's own\n{err}")
    return code, out, err


def run(*args, timeout=300, user=None):
    """Runs the tool; user is a (uid, gid) to run it as, for permission checks."""
    def drop_privileges():
        os.setgid(user[1])
        os.setuid(user[0])
    try:
        p = subprocess.run([*RUNNER, TOOL, *args], capture_output=True, env=ENV, timeout=timeout,
                           preexec_fn=drop_privileges if user else None)
    except subprocess.TimeoutExpired:
        check(False, f"{' '.join(args)}: still running after {timeout} s")
        return None, "", ""
    return finish(args, p.returncode, p.stdout, p.stderr)


def run_on_terminal(*args):
    """Runs with standard error on a terminal: the file is read table by table."""
    master, slave = pty.openpty()
    p = subprocess.run([TOOL, *args], stdout=subprocess.PIPE, stderr=slave, env=ENV, timeout=300)
    os.close(slave)
    err = b""
    while True:
        try:
            chunk = os.read(master, 65536)
        except OSError:
            break
        if not chunk:
            break
        err += chunk
    os.close(master)
    return finish(args, p.returncode, p.stdout, err)


def read_csv(text, **dialect):
    return list(csv.reader(io.StringIO(text, newline=""), **dialect))


def width(text):
    """Terminal columns: East Asian wide characters take two, combining marks none."""
    total = 0
    for c in text:
        if unicodedata.combining(c) or unicodedata.category(c) in ("Mn", "Me"):
            continue
        total += 2 if unicodedata.east_asian_width(c) in ("W", "F") else 1
    return total


def index_at(line, column):
    """The index of the character that starts at the display column, or None."""
    at = 0
    for i, c in enumerate(line):
        if at == column and not unicodedata.combining(c):
            return i
        if at > column:
            return None
        at += width(c)
    return len(line) if at == column else None


def table_form(cell):
    return cell.replace("\r", "\\r").replace("\n", "\\n").replace("\t", "\\t")


def check_aligned(what, out, header, rows, numeric):
    """Every cell of the aligned table starts (left-aligned) or ends
    (right-aligned) at its column's display position."""
    lines = out.split("\n")
    spans = [m.span() for m in re.finditer("-+", lines[1])]
    check(len(spans) == len(header), f"{what}: {len(spans)} columns\n{out}")
    for line, row in zip([lines[0]] + lines[2:], [header] + rows):
        for (start, end), cell, right in zip(spans, row, numeric):
            text = table_form(cell)
            if right:
                i = index_at(line, end)
                ok = i is not None and line[:i].endswith(text)
            else:
                i = index_at(line, start)
                ok = i is not None and line[i:].startswith(text)
            check(ok, f"{what}: {text!r} is not in its column in\n{line}")
    check(lines[2 + len(rows)] == f"({len(rows)} rows)", f"{what}: row count line\n{out}")


# ---------------------------------------------------------------------------
# Exit codes and messages.

work = tempfile.mkdtemp(prefix="korvan-tool-")
example_bytes = open(EXAMPLE, "rb").read()
TRUNCATED = os.path.join(work, "truncated.xml")
open(TRUNCATED, "wb").write(example_bytes[: len(example_bytes) // 2])
NOT_XML = os.path.join(work, "notxml.xml")
open(NOT_XML, "wb").write(b"designation,mass\nIPE 100,8.1\n")
NOT_DATABASE = os.path.join(work, "catalogue.txt")
open(NOT_DATABASE, "wb").write(example_bytes)
MISSING = os.path.join(work, "missing.xml")

CASES = [
    # arguments, exit code, text in standard output, text in standard error
    (["--version"], 0, f"korvan {VERSION}", ""),
    (["--help"], 0, "Examples:", ""),
    (["tables", "--help"], 0, "korvan tables catalogue.xml", ""),
    (["schema", "--help"], 0, "a single argument is the file", ""),
    (["query", "--help"], 0, "with one argument it is the sql", ""),
    (["export", "--help"], 0, "korvan export catalogue.xml parts --format csv -o parts.csv", ""),
    (["find", "--help"], 0, "korvan find channels", ""),
    (["join", "--help"], 0, "korvan join catalogue.xml orders parts part=id", ""),
    (["import", "--help"], 0, "korvan import catalogue.xml parts parts.csv --key id", ""),
    (["log", "--help"], 0, "korvan log catalogue.xml", ""),
    ([], 2, "", "subcommand"),
    (["frobnicate"], 2, "", ""),
    (["query"], 2, "", "SQL"),
    (["query", "--format", "xml", "i_beams"], 2, "", "xml"),
    (["query", "--limit", "-1", "i_beams"], 2, "", ""),
    (["tables", EXAMPLE, "extra.xml"], 2, "", ""),
    (["--example", "tables", EXAMPLE], 2, "", "--example"),
    (["tables", MISSING], 1, "", f"Invalid source file '{MISSING}': No such file or directory"),
    (["query", EXAMPLE, ""], 2, "", "empty argument"),
    (["schema", EXAMPLE, ""], 2, "", "empty argument"),
    (["tables", ""], 2, "", "empty argument"),
    (["export", "i_beams", "-o", ""], 2, "", "empty argument"),
    (["tables", NOT_XML], 1, "", "Korvan exception thrown"),
    (["tables", TRUNCATED], 1, "", "Korvan exception thrown"),
    (["tables", NOT_DATABASE], 1, "", "not a database file"),
    (["query", "select nothing from i_beams"], 1, "",
     "SQL Analyze - no 'nothing' field found in 'i_beams' table"),
    (["query", "select * from nowhere"], 1, "", "SQL Analyze - no table 'nowhere' found"),
    (["query", "nowhere"], 1, "", "SQL Analyze - table 'nowhere' not found"),
    (["query", "select designation from i_beams where mass >"], 1, "",
     "SQL Analyze - invalid condintion 'mass >'"),
    (["schema", "nowhere"], 1, "", "no table 'nowhere'"),
    (["export", "nowhere"], 1, "", "no table 'nowhere'"),
    (["export", "i_beams", "--format", "xml"], 2, "", "xml"),
    (["find", "i_beams"], 2, "", "CONDITION is required"),
    (["find", "nowhere", "mass > 1"], 1, "", "no table 'nowhere'"),
    (["find", "i_beams", "weight > 1"], 1, "", "SQL Analyze - invalid condition 'weight > 1'"),
    (["join", "i_beams", "channels"], 2, "", "FIELD is required"),
    (["join", "i_beams", "nowhere", "height"], 1, "", "no table 'nowhere'"),
    (["join", "i_beams", "channels", "depth"], 1, "", "no field 'depth' in table 'i_beams'"),
    (["import", "x.xml", "t"], 2, "", "DATA"),
    (["schema", "i_beams"], 0, "designation", ""),
    (["-v", "query", SELECT], 0, "designation", "SQL Analyze - ok"),
    (["query", SELECT, "--verbose"], 0, "designation", "processed in"),
    (["log"], 0, "parsed in", ""),
    (["log", SELECT], 0, "SQL Analyze - ok", ""),
    (["log", "select * from nowhere"], 1, "SQL Analyze - failed", "the query failed"),
]
for args, want_code, want_out, want_err in CASES:
    code, out, err = run(*args)
    what = " ".join(args)
    check(code == want_code, f"{what}: exit {code}, expected {want_code}\n{err}")
    check(want_out.lower() in out.lower(), f"{what}: {want_out!r} not in output\n{out}")
    check(want_err in err, f"{what}: {want_err!r} not in standard error\n{err}")

# No input makes the tool crash: cut the example anywhere.
for tenth in range(1, 10):
    open(TRUNCATED, "wb").write(example_bytes[: len(example_bytes) * tenth // 10])
    run("tables", TRUNCATED)
    if NATIVE:
        run_on_terminal("tables", TRUNCATED)

# ---------------------------------------------------------------------------
# Only regular files are catalogues: anything else is refused at once (the
# timeout catches a tool that waits for a FIFO's writer or reads /dev/zero
# forever), with the library's message and then the reason in plain words.

FOLDER = os.path.join(work, "folder.xml")
os.mkdir(FOLDER)
refused = [(FOLDER, "Is a directory"), (os.path.join(work, "missing.mdb"), "No such file or directory")]
if NATIVE:
    FIFO = os.path.join(work, "fifo.xml")
    os.mkfifo(FIFO)
    ZERO = os.path.join(work, "zero.xml")
    os.symlink("/dev/zero", ZERO)
    refused += [(FIFO, "not a regular file"), (ZERO, "not a regular file"),
                ("/dev/zero", "not a regular file")]
for path, reason in refused:
    shown = path  # the tool reads .mdb files themselves
    for args in (["tables", path], ["query", path, "i_beams"]):
        code, _, err = run(*args, timeout=20)
        check(code == 1 and f"Invalid source file '{shown}': {reason}" in err,
              f"{args}: {code}\n{err}")

# Permissions, checked as an unprivileged user when the tests run as root
# (who may read and write anything) and that user can reach the tool.
user = (65534, 65534) if os.geteuid() == 0 else None
private = os.path.join(work, "private")
os.mkdir(private)
UNREADABLE = os.path.join(private, "unreadable.xml")
open(UNREADABLE, "wb").write(example_bytes)
READ_ONLY = os.path.join(private, "read-only")
os.mkdir(READ_ONLY)
KEPT = os.path.join(READ_ONLY, "kept.csv")
open(KEPT, "w").write("keep")
for path in (private, UNREADABLE, READ_ONLY, KEPT):
    if user:
        os.chown(path, *user)
os.chmod(work, 0o755)
os.chmod(UNREADABLE, 0o000)
os.chmod(READ_ONLY, 0o555)
if not NATIVE:
    pass
elif run("tables", EXAMPLE, user=user)[0] != 0:
    print("skipped: permission checks (the unprivileged user cannot run the tool here)",
          file=sys.stderr)
else:
    code, _, err = run("tables", UNREADABLE, user=user)
    check(code == 1 and f"Invalid source file '{UNREADABLE}': Permission denied" in err,
          f"unreadable file: {code}\n{err}")
    for target in (KEPT, os.path.join(READ_ONLY, "new.csv")):
        code, _, err = run("export", EXAMPLE, "i_beams", "-o", target, user=user)
        check(code == 1 and f"cannot write '{target}': Permission denied" in err,
              f"export into a read-only directory: {code}\n{err}")
    check(open(KEPT).read() == "keep" and os.listdir(READ_ONLY) == ["kept.csv"],
          f"read-only directory changed: {os.listdir(READ_ONLY)}")

# ---------------------------------------------------------------------------
# The example catalogue: the query agrees with the whole table.

code, whole, _ = run("export", "i_beams", "--format", "csv")
table = read_csv(whole)
header, body = table[0], table[1:]
d, m, h = (header.index(name) for name in ("designation", "mass", "height"))
expected = [[r[d], r[m], r[h]] for r in body if float(r[m]) > 30]
code, out, _ = run("query", "--format", "csv", SELECT)
answer = read_csv(out)
check(answer[0] == ["designation", "mass", "height"], f"query header {answer[0]}")
check(sorted(answer[1:]) == sorted(expected), f"query rows {answer[1:]} != {expected}")
masses = [float(r[1]) for r in answer[1:]]
check(masses == sorted(masses, reverse=True), f"not ordered by mass: {masses}")
check(len(expected) > 1, "the example has too few beams over 30 to test ordering")
check(out.endswith("\r\n") and "\n" not in out.replace("\r\n", ""), "CSV lines must end in CRLF")

code, out, _ = run("query", "--limit", "2", "--format", "json", SELECT)
check(json.loads(out) == [dict(zip(["designation", "mass", "height"], [r[0], float(r[1]), float(r[2])]))
                          for r in answer[1:3]], f"limited JSON\n{out}")

# Reading table by table (standard error on a terminal) gives the same answers.
for args in (["tables"], ["query", SELECT], ["schema"]) if NATIVE else ():
    check(run_on_terminal(*args)[1] == run(*args)[1], f"{args}: differs on a terminal")

code, out, _ = run("tables", "--format", "json")
entries = {t["table"]: t for t in json.loads(out)}
check({"Header", "Properties", "i_beams"} <= set(entries), f"tables: {sorted(entries)}")
check(entries["i_beams"]["type"] == "TABLE" and entries["i_beams"]["rows"] == len(body)
      and entries["i_beams"]["fields"] == len(header), f"tables: {entries.get('i_beams')}")

# export -o writes the same bytes, atomically.
target = os.path.join(work, "out", "i_beams.csv")
os.mkdir(os.path.dirname(target))
check(run("export", "i_beams", "--format", "csv", "-o", target)[0] == 0, "export -o failed")
check(open(target, "rb").read().decode("utf-8") == whole, "export -o differs from standard output")
umask = os.umask(0)
os.umask(umask)
check(os.stat(target).st_mode & 0o777 == 0o666 & ~umask, "export -o: file mode")
open(target, "w").write("keep")
check(run("export", "nowhere", "-o", target)[0] == 1, "export of an unknown table")
check(open(target).read() == "keep", "a failed export replaced the file")
check(os.listdir(os.path.dirname(target)) == ["i_beams.csv"], "export left a temporary file")
code, _, err = run("export", "i_beams", "-o", os.path.join(work, "no", "such.csv"))
check(code == 1 and "cannot write" in err and "No such file or directory" in err,
      f"export into a missing directory: {code} {err}")

# A writer killed mid-export leaves "OUT.tmpPID-N"; the next export to OUT
# removes it once that process is gone, and keeps a running writer's.
finished = subprocess.Popen(["true"])
finished.wait()
stale = f"{target}.tmp{finished.pid}-0"
running = f"{target}.tmp{os.getpid()}-0"
for path in (stale, running) if NATIVE else (stale,):
    open(path, "w").write("left over")
check(run("export", "i_beams", "-o", target)[0] == 0, "export beside left-over temporaries")
kept = ["i_beams.csv", os.path.basename(running)] if NATIVE else ["i_beams.csv"]
check(sorted(os.listdir(os.path.dirname(target))) == sorted(kept),
      f"temporaries after export: {os.listdir(os.path.dirname(target))}")
if NATIVE:
    os.remove(running)

# ---------------------------------------------------------------------------
# Awkward texts: quoting, empty texts, escapes, wide and combining
# characters. Cells as the tool prints them.

TEXT_COLUMNS = ["id", "label", "note", "ok", "ratio"]
TEXT_ROWS = [
    ["1", "plain", "", "true", "0.5"],
    ["2", "東京タワー", "comma, inside", "false", "1E+20"],
    ["3", "e\u0301te\u0301 caf\u00e9", 'say "hi"', "true", "-2.25"],
    ["4", "한국어 ｶﾀｶﾅ", "two\r\nlines", "false", "3"],
    ["5", "tab\there", "back\\slash \\u0041", "true", "0"],
    ["6", "", "semi;colon and 'single'", "false", "0.125"],
]

code, out, _ = run("query", TEXTS, "texts", "--format", "csv")
check(read_csv(out) == [TEXT_COLUMNS] + TEXT_ROWS, f"CSV\n{out}")
for line in ('1,plain,"",true,0.5\r\n', '3,e\u0301te\u0301 caf\u00e9,"say ""hi""",true,-2.25\r\n',
             '4,한국어 ｶﾀｶﾅ,"two\r\nlines",false,3\r\n', "5,tab\there,back\\slash \\u0041,true,0\r\n",
             "6,\"\",semi;colon and 'single',false,0.125\r\n"):
    check(line in out, f"CSV lacks {line!r}\n{out}")

code, out, _ = run("query", TEXTS, "texts", "--format", "tsv")
check(read_csv(out, delimiter="\t") == [TEXT_COLUMNS] + TEXT_ROWS, f"TSV\n{out}")
check('5\t"tab\there"\tback' in out and '6\t""\t' in out, f"TSV quoting\n{out}")

code, out, _ = run("query", TEXTS, "texts", "--format", "json")
want = [{"id": int(r[0]), "label": r[1], "note": r[2], "ok": r[3] == "true", "ratio": float(r[4])}
        for r in TEXT_ROWS]
got = json.loads(out)
check(got == want, f"JSON\n{got}\n!=\n{want}")
check(all(type(g["id"]) is int and type(g["ok"]) is bool for g in got), f"JSON types\n{out}")

code, out, _ = run("query", TEXTS, "texts")
check_aligned("table", out, TEXT_COLUMNS, TEXT_ROWS, [True, False, False, False, True])

code, out, _ = run("schema", TEXTS, "texts", "--format", "json")
check([(f["field"], f["type"], f["key"]) for f in json.loads(out)] ==
      [("id", "long", True), ("label", "text", False), ("note", "text", False),
       ("ok", "boolean", False), ("ratio", "double", False)], f"schema\n{out}")

# ---------------------------------------------------------------------------
# The library's text export: names and values separated by "| ", line feeds
# ending lines, and of that text's UTF-16LE encoding the first half.


def run_raw(*args):
    p = subprocess.run([*RUNNER, TOOL, *args], capture_output=True, env=ENV, timeout=300)
    finish(args, p.returncode, b"", p.stderr)
    return p.returncode, p.stdout


def types_of(*args):
    return [f["type"] for f in json.loads(run("schema", *args, "--format", "json")[1])]


def library_export(header, rows, types):
    """The bytes DbRecordset::ExportCVS writes for rows as the CSV gives them."""
    def value(text, kind):
        if kind == "boolean":
            return "-1" if text == "true" else "0"
        return text.replace("\n", " ")
    lines = ["| ".join(header)] + ["| ".join(value(v, k) for v, k in zip(r, types)) for r in rows]
    utf16 = "".join(line + "\n" for line in lines).encode("utf-16-le")
    return utf16[: len(utf16) // 2]


i_beam_types = types_of("i_beams")
code, raw = run_raw("export", "i_beams")
check(code == 0 and raw == library_export(header, body, i_beam_types), f"text export\n{raw[:200]!r}")
target = os.path.join(work, "out", "i_beams.txt")
check(run("export", EXAMPLE, "i_beams", "-o", target)[0] == 0, "text export -o failed")
check(open(target, "rb").read() == raw, "text export -o differs from standard output")
code, raw = run_raw("export", TEXTS, "texts")
check(raw == library_export(TEXT_COLUMNS, TEXT_ROWS, types_of(TEXTS, "texts")),
      f"text export of awkward texts\n{raw!r}")

# ---------------------------------------------------------------------------
# find walks the rows that meet a condition; join seeks one table for the
# other's rows.

code, out, _ = run("find", "i_beams", "mass > 30", "--format", "csv")
check(read_csv(out) == [header] + [r for r in body if float(r[m]) > 30], f"find\n{out}")
code, out, _ = run("find", EXAMPLE, "i_beams", "mass > 30 and (height < 400 or width = 220)",
                   "-n", "2", "--format", "csv")
w = header.index("width")
want = [r for r in body if float(r[m]) > 30 and (float(r[h]) < 400 or float(r[w]) == 220)][:2]
check(read_csv(out) == [header] + want and len(want) == 2, f"find with a limit\n{out}")
code, out, _ = run("find", "i_beams", "mass > 1000", "--format", "csv")
check(code == 0 and read_csv(out) == [header], f"find without a match\n{out}")

channels = read_csv(run("export", "channels", "--format", "csv")[1])
ch = channels[0].index("height")
by_height = {float(c[ch]): c for c in channels[1:]}
check(len(by_height) == len(channels) - 1, "channel heights must differ for the join test")
code, out, _ = run("join", "i_beams", "channels", "height", "--format", "csv")
joined = read_csv(out)
check(joined[0] == ["i_beams." + n for n in header] + ["channels." + n for n in channels[0]],
      f"join header {joined[0]}")
# i_beams has more rows: it is scanned, channels sought.
check(joined[1:] == [r + by_height[float(r[h])] for r in body if float(r[h]) in by_height],
      f"join rows\n{out}")
defaults = {"text": "", "double": "0", "long": "0", "boolean": "false"}
by_beam = {float(r[h]): r for r in body}
code, out, _ = run("join", "i_beams", "channels", "height=height", "--right", "--format", "csv")
want = [by_beam.get(float(c[ch]), [defaults[t] for t in i_beam_types]) + c for c in channels[1:]]
check(read_csv(out)[1:] == want, f"right join rows\n{out}")

# ---------------------------------------------------------------------------
# import: new tables typed from their values, rows added to existing ones,
# and nothing saved unless every line went in.

imported = os.path.join(work, "imported.xml")
data = os.path.join(work, "parts.csv")
open(data, "w", newline="").write(
    'id,name,price,stock,ok\r\n1,bolt,0.25,100,true\r\n2,"nut, hex",0.1,,false\r\n'
    '3,"washer ""flat""",0.05,5000,TRUE\r\n\r\n4,"two\r\nlines",1e3,-7,false\r\n')
code, out, err = run("import", imported, "parts", data, "--key", "id")
check(code == 0 and "4 rows imported into 'parts' (a new table)" in out, f"import\n{out}{err}")
schema = json.loads(run("schema", imported, "parts", "--format", "json")[1])
check([(f["field"], f["type"], f["key"]) for f in schema] ==
      [("id", "long", True), ("name", "text", False), ("price", "double", False),
       ("stock", "long", False), ("ok", "boolean", False)], f"imported schema\n{schema}")
parts = [["1", "bolt", "0.25", "100", "true"], ["2", "nut, hex", "0.1", "0", "false"],
         ['3', 'washer "flat"', "0.05", "5000", "true"], ["4", "two\r\nlines", "1000", "-7", "false"]]
code, out, _ = run("query", imported, "parts", "--format", "csv")
check(read_csv(out) == [["id", "name", "price", "stock", "ok"]] + parts, f"imported rows\n{out}")
check(run("import", imported, "parts", data)[0] == 0, "import into an existing table")
code, out, _ = run("query", imported, "parts", "--format", "csv")
check(read_csv(out)[1:] == parts + parts, f"appended rows\n{out}")
run("import", imported, "sizes", data, "--types", "id=text,PRICE=float")
check(types_of(imported, "sizes") == ["text", "text", "float", "long", "boolean"], "--types by name")
run("import", imported, "texts", data, "--types", "text,text,text,text,text")
check(types_of(imported, "texts") == ["text"] * 5, "--types by position")

before = open(imported, "rb").read()
BAD = [
    (b"id,name\n1,x\n2\n", "line 3: 1 fields where the header has 2"),
    (b'id,name\n1,x\n"2,y\n', "line 3: a quoted field is not closed"),
    (b'id,name\n1,x\n2,"y"z\n', "line 3: text after the closing quote"),
    (b'id,name\n1,x\n2,y"\n', "line 3: a quote inside a field that is not quoted"),
    (b"id,name\n1,\xff\n", "line 2: the text is not UTF-8"),
    (b'id,name\n1,x\n"two\nlines",y\n', "line 3: 'two\nlines' is not a long value for field 'id'"),
    (b"id,name\n1,x\n99999999999,y\n", "line 3: '99999999999' is not a long value"),
    (b"id,ok\n1,yes\n", "line 2: 'yes' is not a boolean value for field 'ok'"),
    (b"id,color\n1,x\n", "line 1: no field 'color' in table 'parts'"),
    (b"id,ID\n1,2\n", "line 1: field names must be given and differ"),
    (b"", "no header line"),
]
bad = os.path.join(work, "bad.csv")
for content, message in BAD:
    open(bad, "wb").write(content)
    code, _, err = run("import", imported, "parts", bad)
    check(code == 1 and message in err, f"import of {content!r}: {code} {err}")
    check(open(imported, "rb").read() == before, f"import of {content!r} changed the file")
for args in (["parts", data, "--types", "long"], ["new", data, "--types", "long,text"],
             ["new", data, "--types", "id=money"], ["new", data, "--key", "nothing"],
             ["new", data, "--types", "id=long,text"]):
    code, _, err = run("import", imported, *args)
    check(code == 2, f"import {args}: {code} {err}")
    check(open(imported, "rb").read() == before, f"import {args} changed the file")
code, _, err = run("import", imported, "parts", os.path.join(work, "missing.csv"))
check(code == 1 and "cannot read" in err, f"import of a missing file: {err}")

# ---------------------------------------------------------------------------
# Access files read directly through ODBC (the driver registered for the test
# run), and whole databases converted to XML and through ODBC to SQLite.

MDB = os.path.join(DATA, "mdb", "testV1997.mdb")
code, out, err = run("query", MDB, "select A, E, G, H, I from Table1", "--format", "csv")
check(code == 0 and read_csv(out) == [["A", "E", "G", "H", "I"], ["a", "0", "1981-12-12 00:00:00",
                                       "0.0000", "false"],
                                      ["abcdefg", "333333333", "1974-09-21 00:00:00", "3.5000",
                                       "true"]], f"mdb query\n{out}{err}")
code, out, _ = run("tables", MDB, "--format", "json")
check([(t["table"], t["rows"]) for t in json.loads(out)] ==
      [("Header", 1), ("Properties", 1), ("Table1", 2), ("Table2", 0), ("Table3", 0), ("Table4", 0)],
      f"mdb tables\n{out}")
code, out, _ = run("schema", MDB, "Table3", "--format", "csv")
check(read_csv(out)[1:] == [["Table3", "a", "long", "false", ""], ["Table3", "b", "text", "false", ""]],
      f"mdb schema of an empty table\n{out}")
broken = os.path.join(work, "broken.mdb")
open(broken, "wb").write(b"x" * 8192)
code, _, err = run("tables", broken)
check(code == 1 and "broken.mdb" in err, f"damaged mdb: {code} {err}")

converted = os.path.join(work, "converted.xml")
code, out, _ = run("convert", MDB, converted)
check(code == 0 and re.fullmatch(r"6 tables, 4 rows in \d+\.\d\d s\n", out), f"convert to xml\n{out}")
check(run("query", converted, "select A, E, G, H, I from Table1")[1] ==
      run("query", MDB, "select A, E, G, H, I from Table1")[1], "the XML copy differs")
sqlite = os.path.join(work, "copy.sqlite")
for source in (EXAMPLE, converted):
    code, out, err = run("convert", source, sqlite, "--odbc", "Driver={SQLite3};Database=%s")
    check(code == 0 and " tables, " in out, f"convert {source} to SQLite: {code}\n{out}{err}")
if NATIVE:
    code, _, err = run_on_terminal("convert", EXAMPLE, sqlite, "--odbc", "Driver={SQLite3};Database=%s")
    check(code == 0 and "7/7" in err and "[####" in err, f"no progress bar on a terminal\n{err}")
code, _, err = run("convert", MDB, sqlite, "--odbc", "Driver={No Such Driver};Database=%s")
check(code == 1 and "No Such Driver" in err and "copy.sqlite" in err, f"missing driver: {err}")
code, _, err = run("convert", MDB, os.path.join(work, "out.mdb"))
check(code == 2 and "--odbc" in err, f"convert to mdb without --odbc: {code} {err}")


os.chmod(READ_ONLY, 0o755)
shutil.rmtree(work)
for failure in failures:
    print("FAIL:", failure, file=sys.stderr)
print(f"{len(failures)} failures", file=sys.stderr)
sys.exit(1 if failures else 0)

#!/usr/bin/env python3
"""Runs zorbel-xmi as a user would: stats, convert and roundtrip on a real file, on a
file that is no XMI, and with bad command lines. Usage: check_tool.py TOOL LIBRARY_UML"""
import os
import subprocess
import sys
import tempfile


def run(*args):
    return subprocess.run(list(args), capture_output=True, text=True)


def main():
    tool, library = sys.argv[1], sys.argv[2]
    if not os.path.exists(library):
        print(f"skipped: no model file at {library}")
        return 77
    failures = []

    def check(condition, what):
        if not condition:
            failures.append(what)

    out = run(tool, "stats", library)
    check(out.returncode == 0, f"stats exit {out.returncode}: {out.stderr}")
    text = out.stdout
    check(": Eclipse dialect, 1 root element(s), 34 elements, 34 ids" in text, "summary line")
    check("        3  Class\n" in text, "classes counted")
    check("       11  Property\n" in text, "properties counted")
    check("        4  stereotype application Ecore:EReference\n" in text, "stereotypes counted")
    check("unresolved references (5):\n" in text, "unresolved counted")
    check("  line 6: Property.type -> pathmap://UML_LIBRARIES/EcorePrimitiveTypes.library.uml#EString\n"
          in text, "unresolved listed with line")

    with tempfile.TemporaryDirectory() as scratch:
        bad = os.path.join(scratch, "bad.uml")
        with open(bad, "w") as f:
            f.write('<uml:Model xmlns:uml="http://www.omg.org/spec/UML/20131001">\n<x>\n')
        out = run(tool, "stats", bad)
        check(out.returncode == 1, f"bad file exit {out.returncode}")
        check(out.stderr == f"zorbel-xmi: {bad}: line 2, column 4: malformed XML: "
                           "Start-end tags mismatch\n", f"bad file message: {out.stderr!r}")
        out = run(tool, "stats", os.path.join(scratch, "missing.uml"))
        check(out.returncode == 1 and "cannot open" in out.stderr, f"missing file: {out.stderr!r}")

        # convert writes the other dialect, which reads back; roundtrip finds no difference.
        omg = os.path.join(scratch, "library.xmi")
        out = run(tool, "convert", library, omg, "--dialect", "omg")
        check(out.returncode == 0 and out.stderr == "", f"convert: {out.returncode} {out.stderr!r}")
        with open(omg, encoding="utf-8") as f:
            check('xmlns:uml="http://www.omg.org/spec/UML/20161101"' in f.read(), "converted dialect")
        out = run(tool, "stats", omg)
        check(out.returncode == 0 and ": OMG dialect, 1 root element(s), 34 elements" in out.stdout,
              f"stats of the converted file: {out.stdout!r}")
        out = run(tool, "roundtrip", omg)
        check(out.returncode == 0 and out.stdout.endswith(": 34 elements, 0 difference(s) after writing "
                                                          + out.stdout.split("after writing ")[-1]),
              f"roundtrip: {out.returncode} {out.stdout!r}")
        out = run(tool, "convert", bad, omg)
        check(out.returncode == 1 and "malformed XML" in out.stderr, f"convert of a bad file: {out.stderr!r}")

    for args in ([], ["stats"], ["convert", "a"], ["convert", "a", "b", "--dialect", "uml"],
                 ["roundtrip"], ["roundtrip", "a", "--dialect"]):
        out = run(tool, *args)
        check(out.returncode == 2 and out.stderr.startswith("usage: zorbel-xmi stats FILE"),
              f"usage for {args}: {out.returncode} {out.stderr!r}")

    for failure in failures:
        print("FAILED:", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

"""The command line of zorbel-meta: options, exit codes and messages.

Run on the kernel's package "Kelpa", which the kernel builds in every process, so
that it does not depend on the library's own package.

    python3 check_cli.py <path of zorbel-meta>
"""

import json
import subprocess
import sys
import unittest

TOOL = None


def run(*args):
    done = subprocess.run([TOOL, *args], capture_output=True, text=True, timeout=120)
    return done.returncode, done.stdout, done.stderr


class Options(unittest.TestCase):
    def test_help_goes_to_stdout(self):
        for option in ("--help", "-h"):
            code, out, err = run(option)
            self.assertEqual((code, err), (0, ""))
            self.assertTrue(out.startswith("usage: zorbel-meta "), out)

    def test_bad_command_lines_exit_2_with_usage(self):
        for args, message in ((["--bogus"], "unknown option --bogus"),
                              (["Class", "Comment"], "give at most one type name"),
                              (["--json", "Class"], "give no type name with it"),
                              (["--package"], "--package needs a name")):
            with self.subTest(args=args):
                code, out, err = run(*args)
                self.assertEqual((code, out), (2, ""))
                first = err.splitlines()[0] if err else ""
                self.assertTrue(first.startswith("zorbel-meta: ") and first.endswith(message), err)
                self.assertIn("usage: zorbel-meta", err)

    def test_missing_package_exits_1(self):
        code, out, err = run("--package", "NoSuchPackage")
        self.assertEqual((code, out), (1, ""))
        self.assertIn('no package "NoSuchPackage"', err)

    def test_library_package_is_the_default(self):
        code, out, err = run()
        if code == 1:  # a library that builds no package yet says so
            self.assertIn('no package "zorbel"', err)
        else:
            self.assertEqual((code, err), (0, ""))
            self.assertTrue(out.startswith("package zorbel  kelpa:zorbel\n"), out[:200])


class KernelPackage(unittest.TestCase):
    def test_unknown_name_exits_2_with_suggestions(self):
        code, out, err = run("--package", "Kelpa", "ClassObjec")
        self.assertEqual((code, out), (2, ""))
        self.assertEqual(err, 'zorbel-meta: no metaclass named "ClassObjec"\n'
                              "did you mean: ClassObject?\n")
        code, out, err = run("--package", "Kelpa", "Kelpa.Strin")
        self.assertEqual(err, 'zorbel-meta: no metaclass named "Kelpa.Strin"\n'
                              "did you mean: String?\n")
        code, out, err = run("--package", "Kelpa", "Qwertyuiop")
        self.assertEqual((code, err), (2, 'zorbel-meta: no metaclass named "Qwertyuiop"\n'))

    def test_one_class_by_qualified_name(self):
        code, out, err = run("--package", "Kelpa", "Kelpa.FactoryObject")
        self.assertEqual((code, err), (0, ""))
        self.assertTrue(out.startswith("abstract class Kelpa.FactoryObject  #23\n"
                                       "bases: ClassObject\n\nproperties: 0 own, 5 inherited\n"), out)
        container = [line for line in out.splitlines() if line.startswith("  + container ")]
        self.assertEqual(len(container), 1, out)
        self.assertTrue(container[0].endswith("{readOnly}  ^ ClassObject"), container)

    def test_outline(self):
        code, out, err = run("--package=Kelpa")
        self.assertEqual((code, err), (0, ""))
        self.assertTrue(out.startswith("package Kelpa  kelpa:Kelpa\n"
                                       "2 classes, 0 enumerations, 2 primitives\n"), out)
        self.assertIn("\n  abstract FactoryObject  #23  : ClassObject\n", out)

    def test_json_is_valid_and_in_id_order(self):
        code, out, err = run("--package", "Kelpa", "--json")
        self.assertEqual((code, err), (0, ""))
        data = json.loads(out)
        self.assertEqual(list(data), ["package", "classes", "enumerations", "primitives"])
        self.assertEqual(data["package"], "Kelpa")
        self.assertEqual([(c["name"], c["typeId"], c["bases"]) for c in data["classes"]],
                         [("ClassObject", 13, []), ("FactoryObject", 23, ["ClassObject"])])
        props = data["classes"][0]["properties"]
        self.assertEqual([(p["index"], p["name"]) for p in props],
                         [(1, "appliedStereotypeInstance"), (2, "externalId"), (3, "container"),
                          (4, "model"), (5, "externalToolInfo")])
        self.assertEqual(props[0]["upper"], -1)
        self.assertIsNone(props[0]["default"])
        self.assertEqual(data["primitives"], [{"name": "String", "typeId": 1},
                                              {"name": "ExternalToolInfo", "typeId": 2}])


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit("usage: check_cli.py <zorbel-meta> [unittest options]")
    TOOL = sys.argv.pop(1)
    unittest.main()

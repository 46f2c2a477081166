"""Checks what `zorbel-meta --json` prints of the library's package against the data
in metamodel/, as the generator's model loads it: every metaclass, enumeration and
primitive with its type id, and every property with its index, type, multiplicity,
flags, default, association, opposite and documentation.

    python3 check_meta_json.py --tool <zorbel-meta> --root <repository>

Exit status 0 if they agree; 1 with the differences listed otherwise.
"""

import argparse
import json
import subprocess
import sys
from pathlib import Path

TOP_KEYS = ["package", "classes", "enumerations", "primitives"]
CLASS_KEYS = ["name", "qualifiedName", "typeId", "abstract", "bases", "documentation", "properties"]
PROPERTY_KEYS = ["index", "name", "type", "lower", "upper", "readOnly", "derived", "derivedUnion",
                 "composite", "ordered", "default", "association", "opposite", "documentation"]


def expected_property(prop):
    if prop.opposite is not None:
        opposite = {"class": prop.opposite.owner.name, "property": prop.opposite.name}
    elif prop.opposite_end:
        opposite = {"end": prop.opposite_end}
    else:
        opposite = None
    return {
        "index": prop.index,
        "name": prop.name,
        "type": prop.type_name,
        "lower": prop.lower,
        "upper": -1 if prop.upper is None else prop.upper,
        "readOnly": prop.read_only,
        "derived": prop.derived,
        "derivedUnion": prop.derived_union,
        "composite": prop.composite,
        "ordered": prop.ordered,
        "default": prop.default or None,
        "association": prop.association,
        "opposite": opposite,
        "documentation": " ".join(prop.doc),
    }


def expected_class(model, cls):
    return {
        "name": cls.name,
        "qualifiedName": f"{model.package}.{cls.name}",
        "typeId": cls.type_id,
        "abstract": cls.abstract,
        "bases": list(cls.base_names),
        "documentation": " ".join(cls.doc),
        "properties": [expected_property(p) for p in cls.properties],
    }


class Comparison:
    def __init__(self):
        self.errors = []

    def expect(self, ok, text):
        if not ok:
            self.errors.append(text)
        return ok

    def same_names(self, what, got, expected):
        """Both lists name the same things; reports those missing and those extra."""
        missing = [n for n in expected if n not in got]
        extra = [n for n in got if n not in expected]
        self.expect(not missing, f"{what} missing from the tool: {', '.join(missing)}")
        self.expect(not extra, f"{what} the metamodel does not have: {', '.join(extra)}")
        self.expect(len(set(got)) == len(got), f"{what} listed twice: "
                    + ", ".join(sorted({n for n in got if got.count(n) > 1})))

    def keys(self, where, got, keys):
        self.expect(list(got) == keys, f"{where}: keys {list(got)}, expected {keys}")

    def fields(self, where, got, expected):
        for key, value in expected.items():
            if key in got and key != "properties":
                self.expect(got[key] == value,
                            f"{where}.{key}: tool has {got[key]!r}, metamodel {value!r}")


def compare(model, data):
    c = Comparison()
    c.keys("top level", data, TOP_KEYS)
    c.expect(data.get("package") == model.package,
             f"package: tool has {data.get('package')!r}, metamodel {model.package!r}")

    classes = data.get("classes", [])
    c.same_names("metaclasses", [k.get("name") for k in classes], list(model.metaclasses))
    ids = [k.get("typeId") for k in classes]
    c.expect(all(isinstance(i, int) for i in ids) and ids == sorted(ids),
             "classes are not in type-id order")
    properties = 0
    for got in classes:
        cls = model.metaclasses.get(got.get("name"))
        if cls is None:
            continue
        c.keys(cls.name, got, CLASS_KEYS)
        want = expected_class(model, cls)
        c.fields(cls.name, got, want)
        got_props = got.get("properties", [])
        c.expect([p.get("name") for p in got_props] == [p["name"] for p in want["properties"]],
                 f"{cls.name}.properties: tool has {[p.get('name') for p in got_props]}, "
                 f"metamodel {[p['name'] for p in want['properties']]}")
        for got_prop, want_prop in zip(got_props, want["properties"]):
            where = f"{cls.name}.{want_prop['name']}"
            c.keys(where, got_prop, PROPERTY_KEYS)
            c.fields(where, got_prop, want_prop)
            properties += 1

    enumerations = data.get("enumerations", [])
    c.same_names("enumerations", [e.get("name") for e in enumerations], list(model.enumerations))
    for got in enumerations:
        enum = model.enumerations.get(got.get("name"))
        if enum is None:
            continue
        c.fields(enum.name, got, {
            "typeId": enum.type_id,
            "literals": [{"name": name, "value": enum.value_of(name)} for name in enum.literals]})

    primitives = data.get("primitives", [])
    c.same_names("primitives", [p.get("name") for p in primitives], list(model.primitives))
    for got in primitives:
        prim = model.primitives.get(got.get("name"))
        if prim is not None:
            c.fields(prim.name, got, {"typeId": prim.type_id})

    all_ids = [t.get("typeId") for t in classes + enumerations + primitives]
    c.expect(len(set(all_ids)) == len(all_ids), "a type id is given to two types")
    c.expect(all(isinstance(i, int) and 0 <= i < len(model.type_table)
                 and i not in model.type_table.null_ids for i in all_ids),
             f"a type id outside the table of {len(model.type_table)} or at an empty entry")
    return c.errors, (len(classes), properties, len(enumerations), len(primitives))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--tool", required=True, help="the built zorbel-meta")
    parser.add_argument("--root", required=True, help="the repository, with generator/ and metamodel/")
    args = parser.parse_args()

    root = Path(args.root)
    sys.path.insert(0, str(root / "generator"))
    from zorbel_model import load_metamodel  # noqa: E402

    done = subprocess.run([args.tool, "--json"], capture_output=True, text=True, timeout=300)
    if done.returncode != 0:
        print(f"FAIL: `zorbel-meta --json` exited with {done.returncode}:\n{done.stderr.rstrip()}\n"
              "The library builds the package \"zorbel\" in the meta-registry when it is loaded; "
              "without it there is nothing to check.")
        return 1
    try:
        data = json.loads(done.stdout)
    except json.JSONDecodeError as e:
        print(f"FAIL: `zorbel-meta --json` printed no valid JSON: {e}")
        return 1

    errors, (classes, properties, enumerations, primitives) = compare(
        load_metamodel(root / "metamodel"), data)
    if errors:
        shown = 60
        print(f"FAIL: `zorbel-meta --json` differs from metamodel/ in {len(errors)} places:")
        for error in errors[:shown]:
            print("  " + error)
        if len(errors) > shown:
            print(f"  ... and {len(errors) - shown} more")
        return 1
    print(f"ok: `zorbel-meta --json` matches metamodel/: {classes} metaclasses, {properties} "
          f"properties, {enumerations} enumerations, {primitives} primitives")
    return 0


if __name__ == "__main__":
    sys.exit(main())

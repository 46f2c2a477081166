"""Reading the metamodel directory into a Metamodel, with every check that the
data can be given on its own. A fault raises MetamodelError naming the file,
the class and the property."""

import json
import re
from pathlib import Path

from . import ends, hierarchy, members, naming
from .model import (
    BODY_KINDS, PRIMITIVE_NAMES, TRAITS, Body, EndRecord, Enumeration, HandProperty,
    KernelClass, Metaclass, Metamodel, MetamodelError, Operation, OperationsOfClass,
    Primitive, Property, TypeTable, where,
)

CLASS_KEYS = {"name", "id", "abstract", "bases", "doc", "properties"}
PROPERTY_KEYS = {"name", "type", "mult", "traits", "default", "association", "opposite",
                 "oppositeEnd", "oppositeEndDoc", "doc"}
MAX_DOC_LINES = 5
MULTIPLICITY = re.compile(r"^(\d+)\.\.(\d+|\*)$")


def read_json(path, shown):
    try:
        text = path.read_text(encoding="utf-8")
    except OSError as err:
        raise MetamodelError(f"{shown}: cannot read: {err.strerror}") from None
    try:
        return json.loads(text)
    except json.JSONDecodeError as err:
        raise MetamodelError(f"{shown}: line {err.lineno} column {err.colno}: {err.msg}") from None


def expect(condition, place, message):
    if not condition:
        raise MetamodelError(f"{place}: {message}")


def check_keys(obj, allowed, required, place):
    expect(isinstance(obj, dict), place, "expected an object")
    unknown = sorted(set(obj) - allowed)
    expect(not unknown, place, f"unknown field {', '.join(unknown)}")
    missing = [k for k in required if k not in obj]
    expect(not missing, place, f"missing field {', '.join(missing)}")


def doc_lines(value, place):
    if value is None:
        return ()
    lines = (value,) if isinstance(value, str) else tuple(value)
    expect(all(isinstance(l, str) and l for l in lines), place, "doc must be a text or a list of texts")
    expect(len(lines) <= MAX_DOC_LINES, place, f"doc has more than {MAX_DOC_LINES} lines")
    return lines


def load_metamodel(directory):
    """Load and check the metamodel in `directory` (the metamodel/ folder)."""
    return Loader(Path(directory).resolve()).load()


class Loader:
    def __init__(self, root):
        self.root = root
        self.metaclasses = {}
        self.enumerations = {}
        self.primitives = {}
        self.kernel = {}
        self.by_id = {}

    def path(self, name):
        """A file of the metamodel as messages name it: metamodel/<name>."""
        return Path(self.root.name) / name

    def read(self, shown):
        return read_json(self.root.parent / shown, shown)

    def load(self):
        types_file = self.path("types.json")
        types = self.read(types_file)
        self.read_types(types, types_file)
        self.read_enumerations(self.path("enumerations.json"))
        catalogue = sorted((self.root / "catalogue").glob("*.json"))
        expect(catalogue, self.path("catalogue"), "no catalogue files")
        for file in catalogue:
            self.read_catalogue(self.path("catalogue") / file.name)
        self.link_classes()
        table = self.type_table(types["typeTableSize"], types_file)
        ordered = dict(sorted(self.metaclasses.items(), key=lambda kv: kv[1].type_id))
        model = Metamodel(
            package=types["package"], kernel_package=types["kernelPackage"], type_table=table, metaclasses=ordered,
            enumerations=dict(sorted(self.enumerations.items(), key=lambda kv: kv[1].type_id)),
            primitives=dict(sorted(self.primitives.items(), key=lambda kv: kv[1].type_id)),
            kernel=self.kernel, create_arguments={}, getys_ends={}, getys_odd=frozenset(),
            getys_not_in_table=(), union_rows={}, operations={},
        )
        self.read_creation(model, self.path("creation.json"))
        self.read_opposites(model, self.path("opposites.json"))
        self.read_unions(model, self.path("unions.json"))
        self.read_operations(model, self.path("operations.json"))
        self.check_rules(model)
        members.link_operations(model, self.path("operations.json"))
        return model

    def check_rules(self, model):
        """Checks that need our rules: every property has an accessor family, and
        every stored composite without a navigable opposite has an end for its getYs."""
        for prop in model.all_properties():
            try:
                naming.accessor_family(model, prop)
            except ValueError as err:
                raise MetamodelError(f"{where(prop.owner.file, prop.owner.name, prop.name)}: {err}") from None
        for prop in ends.unlisted_composites(model):
            raise MetamodelError(f"{where(self.path('opposites.json'), prop.owner.name, prop.name)}: "
                                 "a stored composite without a navigable opposite needs an end for its getYs")

    # -- types -----------------------------------------------------------

    def claim_id(self, type_id, obj, place):
        expect(isinstance(type_id, int) and type_id >= 0, place, "type id must be a non-negative number")
        other = self.by_id.get(type_id)
        expect(other is None, place, f"type id {type_id} is also {getattr(other, 'name', '')}")
        self.by_id[type_id] = obj

    def claim_name(self, name, place):
        expect(isinstance(name, str) and re.match(r"^[A-Za-z]\w*$", name or ""), place, "bad name")
        taken = name in self.metaclasses or name in self.enumerations or name in self.primitives
        expect(not taken, place, f"{name} is defined twice")

    def read_types(self, data, file):
        keys = ["package", "kernelPackage", "typeTableSize", "primitives", "kernelClasses"]
        check_keys(data, set(keys), keys, file)
        for entry in data["primitives"]:
            place = where(file, entry.get("name"))
            check_keys(entry, {"name", "id"}, ["name", "id"], place)
            expect(entry["name"] in PRIMITIVE_NAMES, place, "not a primitive of ours")
            self.claim_name(entry["name"], place)
            prim = Primitive(entry["name"], entry["id"])
            self.claim_id(prim.type_id, prim, place)
            self.primitives[prim.name] = prim
        for entry in data["kernelClasses"]:
            place = where(file, entry.get("name"))
            check_keys(entry, {"name", "bases", "typeId", "properties"}, ["name", "bases"], place)
            indices = {p["name"]: p["index"] for p in entry.get("properties", [])}
            self.kernel[entry["name"]] = KernelClass(entry["name"], tuple(entry["bases"]),
                                                     entry.get("typeId"), indices)
        for kc in self.kernel.values():
            for name in kc.base_names:
                expect(name in self.kernel, where(file, kc.name), f"unknown kernel base {name}")
                kc.bases.append(self.kernel[name])

    def read_enumerations(self, file):
        data = self.read(file)
        check_keys(data, {"enumerations"}, ["enumerations"], file)
        for entry in data["enumerations"]:
            place = where(file, entry.get("name"))
            check_keys(entry, {"name", "id", "literals"}, ["name", "id", "literals"], place)
            self.claim_name(entry["name"], place)
            literals = tuple(entry["literals"])
            expect(literals and len(set(literals)) == len(literals), place, "literals must be distinct and not empty")
            enum = Enumeration(entry["name"], entry["id"], literals)
            self.claim_id(enum.type_id, enum, place)
            self.enumerations[enum.name] = enum

    def type_table(self, size, file):
        expect(isinstance(size, int) and all(i < size for i in self.by_id), file,
               f"a type id does not fit a table of {size}")
        return TypeTable(self.by_id.get(i) for i in range(size))

    # -- catalogue -------------------------------------------------------

    def read_catalogue(self, file):
        data = self.read(file)
        check_keys(data, {"group", "metaclasses"}, ["group", "metaclasses"], file)
        shown = file
        for entry in data["metaclasses"]:
            cls_place = where(shown, entry.get("name") if isinstance(entry, dict) else None)
            check_keys(entry, CLASS_KEYS, ["name", "id", "abstract", "bases", "properties"], cls_place)
            self.claim_name(entry["name"], cls_place)
            expect(isinstance(entry["abstract"], bool), cls_place, "abstract must be true or false")
            expect(entry["bases"], cls_place, "a metaclass needs a base")
            cls = Metaclass(entry["name"], entry["id"], entry["abstract"], tuple(entry["bases"]),
                            doc_lines(entry.get("doc"), cls_place), [], str(shown))
            self.claim_id(cls.type_id, cls, cls_place)
            for number, raw in enumerate(entry["properties"], start=1):
                prop = self.read_property(raw, cls, shown)
                prop.index = number
                cls.properties.append(prop)
            self.metaclasses[cls.name] = cls

    def read_property(self, raw, cls, file):
        place = where(file, cls.name, raw.get("name") if isinstance(raw, dict) else None)
        check_keys(raw, PROPERTY_KEYS, ["name", "type", "mult"], place)
        expect(cls.own(raw["name"]) is None, place, "defined twice in its class")
        match = MULTIPLICITY.match(str(raw["mult"]))
        expect(match, place, f"bad multiplicity {raw['mult']!r}, expected as 0..1 or 1..*")
        lower = int(match.group(1))
        upper = None if match.group(2) == "*" else int(match.group(2))
        expect(upper is None or (upper >= 1 and upper >= lower), place, f"bad multiplicity {raw['mult']}")
        traits = raw.get("traits", [])
        bad = [t for t in traits if t not in TRAITS]
        expect(not bad, place, f"unknown trait {', '.join(bad)}")
        expect(len(set(traits)) == len(traits), place, "a trait is repeated")
        expect(not ("opposite" in raw and "oppositeEnd" in raw), place,
               "an opposite is either a navigable property or an end of the association, not both")
        expect(("opposite" in raw or "oppositeEnd" in raw) <= ("association" in raw), place,
               "an opposite needs an association")
        expect("oppositeEndDoc" not in raw or "oppositeEnd" in raw, place, "oppositeEndDoc without oppositeEnd")
        expect("derivedUnion" not in traits or "derived" in traits, place, "a derived union is derived")
        return Property(
            name=raw["name"], type_name=raw["type"], lower=lower, upper=upper,
            traits=frozenset(traits), default=raw.get("default"), association=raw.get("association"),
            opposite_name=raw.get("opposite"), opposite_end=raw.get("oppositeEnd"),
            opposite_end_doc=raw.get("oppositeEndDoc"), doc=doc_lines(raw.get("doc"), place), owner=cls,
        )

    def link_classes(self):
        for cls in self.metaclasses.values():
            for name in cls.base_names:
                base = self.metaclasses.get(name) or self.kernel.get(name)
                expect(base is not None, where(cls.file, cls.name), f"unknown base {name}")
                expect(base not in cls.bases, where(cls.file, cls.name), f"base {name} is repeated")
                cls.bases.append(base)
        for cls in self.metaclasses.values():
            hierarchy.linearisation(cls)  # raises on a cycle
            for prop in cls.properties:
                self.link_property(prop)
        for cls in self.metaclasses.values():
            for prop in cls.properties:
                self.check_opposite(prop)

    def link_property(self, prop):
        place = where(prop.owner.file, prop.owner.name, prop.name)
        prop.type = (self.metaclasses.get(prop.type_name) or self.enumerations.get(prop.type_name)
                     or self.primitives.get(prop.type_name))
        expect(prop.type is not None, place, f"unknown type {prop.type_name}")
        if prop.default is not None:
            check_default(prop, place)
        if not prop.type.is_metaclass:
            expect(prop.association is None, place, "a value-typed property has no association")
        if prop.opposite_name is not None:
            cls_name, _, name = prop.opposite_name.partition(".")
            other = self.metaclasses.get(cls_name)
            prop.opposite = other.own(name) if other else None
            expect(prop.opposite is not None, place, f"unknown opposite {prop.opposite_name}")

    def check_opposite(self, prop):
        if prop.opposite is None:
            return
        place = where(prop.owner.file, prop.owner.name, prop.name)
        other = prop.opposite
        expect(other.opposite is prop, place, f"{other.qualified} does not name {prop.qualified} as its opposite")
        expect(other.association == prop.association, place,
               f"association {prop.association} differs from {other.association} of {other.qualified}")
        expect(hierarchy.conforms(prop.owner, other.type) or hierarchy.conforms(other.type, prop.owner), place,
               f"{other.qualified} is of type {other.type_name}, which {prop.owner.name} is not")

    # -- the tables that our rules do not derive -----------------------

    def read_creation(self, model, file):
        data = self.read(file)
        check_keys(data, {"createArguments"}, ["createArguments"], file)
        for cls_name, args in data["createArguments"].items():
            place = where(file, cls_name)
            cls = self.metaclasses.get(cls_name)
            expect(cls is not None, place, "unknown metaclass")
            expect(cls.concrete, place, "an abstract metaclass has no create")
            for arg in args:
                expect(arg in self.metaclasses, place, f"unknown argument type {arg}")
            model.create_arguments[cls_name] = tuple(args)

    def end_record(self, raw, place):
        check_keys(raw, {"record", "index", "name"}, ["record", "index", "name"], place)
        record = self.metaclasses.get(raw["record"]) or self.kernel.get(raw["record"])
        expect(record is not None, place, f"unknown record {raw['record']}")
        if record.is_kernel:
            index = record.property_indices.get(raw["name"])
        else:
            prop = record.own(raw["name"])
            index = prop.index if prop else None
        expect(index == raw["index"], place,
               f"{raw['record']} index {raw['index']} is not {raw['name']}")
        return EndRecord(record, raw["index"], raw["name"])

    def class_property(self, ref, place):
        cls_name, dot, name = ref.partition(".")
        cls = self.metaclasses.get(cls_name)
        expect(dot and cls is not None, place, f"{ref} does not name Class.property")
        return cls, hierarchy.resolve_feature(cls, name, place)

    def read_opposites(self, model, file):
        data = self.read(file)
        check_keys(data, {"about", "groups", "oddities", "notInTable"}, ["groups", "oddities", "notInTable"], file)
        entries = [(g["end"], ref, False) for g in data["groups"] for ref in g["properties"]]
        entries += [(o["end"], o["property"], True) for o in data["oddities"]]
        odd = set()
        for raw_end, ref, is_odd in entries:
            cls, prop = self.class_property(ref, where(file, ref.partition(".")[0], ref.partition(".")[2]))
            place = where(file, cls.name, prop.name)
            expect(prop.multi and prop.type.is_metaclass, place, "only a multi-valued reference has a getYs end")
            end = self.end_record(raw_end, place)
            key = (cls.name, prop.name)
            expect(key not in model.getys_ends, place, "listed twice")
            model.getys_ends[key] = end
            if is_odd:
                odd.add(key)
        model.getys_odd = frozenset(odd)
        not_listed = []
        for ref in data["notInTable"]["properties"]:
            cls, prop = self.class_property(ref, where(file, ref.partition(".")[0], ref.partition(".")[2]))
            expect((cls.name, prop.name) not in model.getys_ends, where(file, cls.name, prop.name),
                   "marked as not in the table, but listed")
            not_listed.append(prop)
        model.getys_not_in_table = tuple(not_listed)

    def read_unions(self, model, file):
        data = self.read(file)
        check_keys(data, {"about", "contributors"}, ["contributors"], file)
        for union_ref, rows in data["contributors"].items():
            _, union = self.class_property(union_ref, where(file, union_ref))
            expect(union.derived_union and union.multi, where(file, union.owner.name, union.name),
                   "not a multi-valued derived union")
            for cls_name, refs in rows.items():
                place = where(file, cls_name, union.name)
                cls = self.metaclasses.get(cls_name)
                expect(cls is not None, place, "unknown metaclass")
                expect(hierarchy.conforms(cls, union.owner), place, f"{cls_name} has no {union.qualified}")
                contributors = []
                for ref in refs:
                    prop = hierarchy.resolve_feature(cls, ref, place)
                    expect(not prop.derived_union, place, f"{ref} is a union itself")
                    expect(prop.type.is_metaclass and hierarchy.conforms(prop.type, union.type), place,
                           f"{ref} of type {prop.type_name} cannot be in a union of {union.type_name}")
                    expect(prop not in contributors, place, f"{ref} is repeated")
                    contributors.append(prop)
                model.union_rows[(union, cls_name)] = contributors

    def read_operations(self, model, file):
        data = self.read(file)
        check_keys(data, {"about", "classes"}, ["classes"], file)
        for cls_name, raw in data["classes"].items():
            place = where(file, cls_name)
            cls = self.metaclasses.get(cls_name)
            expect(cls is not None, place, "unknown metaclass")
            check_keys(raw, {"handFile", "operations", "properties", "accessorOverrides"}, ["handFile"], place)
            operations = []
            for op in raw.get("operations", []):
                op_place = f"{place}: operation {op.get('name')}"
                check_keys(op, {"name", "params", "result", "body"}, ["name", "body"], op_place)
                expect(("params" in op) == ("result" in op), op_place, "give params and result together")
                expect(all(o.name != op["name"] for o in operations), op_place, "declared twice")
                params = tuple(op["params"]) if "params" in op else None
                operations.append(Operation(cls, op["name"], params, op.get("result"),
                                            read_body(op["body"], op_place)))
            properties = {}
            for prop_name, accessors in raw.get("properties", {}).items():
                prop_place = where(file, cls_name, prop_name)
                prop = cls.own(prop_name)
                expect(prop is not None, prop_place, "not a property of this class")
                expect(prop.derived and not prop.derived_union, prop_place,
                       "only a derived property that is no union is written by hand")
                accessors = dict(accessors)
                family = accessors.pop("accessorFamily", None)
                bodies = {name: read_body(body, f"{prop_place}: accessor {name}")
                          for name, body in accessors.items()}
                properties[prop_name] = HandProperty(prop, bodies, family)
            overrides = {name: read_body(body, f"{place}: accessor {name}")
                         for name, body in raw.get("accessorOverrides", {}).items()}
            model.operations[cls_name] = OperationsOfClass(cls, raw["handFile"], operations, properties, overrides)


def read_body(raw, place):
    if isinstance(raw, str):
        expect(raw in BODY_KINDS and raw not in ("constant", "delegate"), place, f"unknown body {raw!r}")
        return Body(raw)
    expect(isinstance(raw, dict), place, "a body is a word or an object")
    if "constant" in raw:
        check_keys(raw, {"constant"}, [], place)
        return Body("constant", value=raw["constant"])
    check_keys(raw, {"delegate", "convertArgumentTo", "convertResultTo"}, ["delegate"], place)
    return Body("delegate", target=raw["delegate"], convert_argument_to=raw.get("convertArgumentTo"),
                convert_result_to=raw.get("convertResultTo"))


def check_default(prop, place):
    text = prop.default
    kind = prop.type
    if kind.is_metaclass:
        raise MetamodelError(f"{place}: a reference has no default")
    if kind.is_enumeration:
        expect(text in kind.literals, place, f"default {text!r} is no literal of {kind.name}")
    elif kind.name == "Boolean":
        expect(text in ("true", "false"), place, f"default {text!r} is not true or false")
    elif kind.name in ("Integer", "UnlimitedNatural"):
        expect(re.match(r"^-?\d+$", text) or (kind.name == "UnlimitedNatural" and text == "*"), place,
               f"default {text!r} is not a number")

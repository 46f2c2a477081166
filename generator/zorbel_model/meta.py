"""The records that describe the metamodel to the kernel: one descriptor per
property and the parent list of each metaclass."""

from dataclasses import dataclass, field
from typing import Dict, List, Optional, Tuple

from . import creation, hierarchy, naming, storage

UNLIMITED_UPPER = 0xFFFFFFFF  # the all-ones upper bound


@dataclass(frozen=True)
class Descriptor:
    name: str
    type_id: int
    doc: Tuple[str, ...]
    flags: int
    default: str
    lower: int
    upper: int
    index: int
    association: Optional[str]
    has_opposite: bool
    opposite_type_id: int
    opposite_index: int
    opposite_end: Optional[str]
    opposite_end_doc: Optional[str]


def descriptor(prop):
    """The descriptor of a property; an opposite that is not navigable has type id
    and index 0."""
    opposite = prop.opposite
    return Descriptor(
        name=prop.name,
        type_id=prop.type.type_id,
        doc=prop.doc,
        flags=storage.flags(prop),
        default=storage.descriptor_default(prop),
        lower=prop.lower,
        upper=UNLIMITED_UPPER if prop.upper is None else prop.upper,
        index=prop.index,
        association=prop.association,
        has_opposite=opposite is not None,
        opposite_type_id=opposite.owner.type_id if opposite else 0,
        opposite_index=opposite.index if opposite else 0,
        opposite_end=prop.opposite_end,
        opposite_end_doc=prop.opposite_end_doc,
    )


def parents(model, cls):
    """The parent list of a metaclass: pairs of (package, type id) in the order of
    its bases; a kernel base names the kernel's package."""
    return [(model.kernel_package if b.is_kernel else model.package, b.type_id) for b in cls.bases]


# -- the eight property functions and the records of the package --------------------------

FUNCTIONS = ("getSingleValued", "hasSingleValued", "setSingleValued", "setOnlySingleValued",
             "removeSingleValued", "removeOnlySingleValued", "getMultiValued", "getOnlyMultiValued")


@dataclass
class Case:
    index: int
    code: str  # the statement that handles the index


@dataclass
class PropertyRecord:
    var: str  # the C++ name of the descriptor
    d: Descriptor


@dataclass
class ClassMeta:
    name: str
    interface: str
    qualified: str
    type_id: int
    abstract: bool
    doc: List[str]
    path: str  # where the eight functions raise
    properties: List[PropertyRecord]
    parents: List[tuple]  # (package function, type id)
    bases: List[str]  # metaclass bases, for the update pass
    cases: Dict[str, List[Case]] = field(default_factory=dict)


PACKAGE_FN = {"zorbel": "&get_zorbel_PackageIntrospectiveMethods",
              "Kelpa": "&get_Kelpa_PackageIntrospectiveMethods"}


def _cases(model, cls):
    """What each function does with each own property: the accessor it calls, by role."""
    cases = {f: [] for f in FUNCTIONS}
    for prop in cls.properties:
        roles = {a.role: a.name for a in naming.accessors(model, prop)}
        i = prop.index
        t = prop.type.name
        if prop.multi:
            if "getAll" in roles:
                cases["getMultiValued"].append(Case(i, f"return meta::generic(self->{roles['getAll']}(d), d);"))
            if "getAllWithoutAssociation" in roles:
                cases["getOnlyMultiValued"].append(
                    Case(i, f"return meta::generic(self->{roles['getAllWithoutAssociation']}(d), d);"))
            continue
        cases["getSingleValued"].append(Case(i, f"return meta::toObject(self->{roles['get']}(d));"))
        if storage.is_stored(prop) and prop.lower == 1:
            cases["hasSingleValued"].append(Case(i, "return true;"))
        elif "has" in roles:
            cases["hasSingleValued"].append(Case(i, f"return self->{roles['has']}(d);"))
        for function, role in (("setSingleValued", "set"), ("setOnlySingleValued", "setOnly")):
            if role in roles:
                cases[function].append(Case(i, f"return self->{roles[role]}(d, meta::fromObject<{t}>(value));"))
        for function, role in (("removeSingleValued", "remove"), ("removeOnlySingleValued", "removeOnly")):
            if role in roles:
                cases[function].append(Case(i, f"return self->{roles[role]}(d);"))
    return cases


def class_meta(model, cls):
    props = [PropertyRecord(f"k{cls.name}_{prop.name}", descriptor(prop)) for prop in cls.properties]
    return ClassMeta(
        name=cls.name, interface=cls.name + "Intf", qualified=f"{model.package}.{cls.name}",
        type_id=cls.type_id, abstract=cls.abstract, doc=list(cls.doc),
        path=f"zorbel/NSMetaRegistry/{cls.name}MetaRegistry",
        properties=props,
        parents=[(PACKAGE_FN[p], i) for p, i in parents(model, cls)],
        bases=[b.name for b in hierarchy.metaclass_bases(cls)],
        cases=_cases(model, cls),
    )


def type_table_entries(model):
    """The C++ of each entry of the package table, by type id."""
    entries = []
    for entry in model.type_table:
        if entry is None:
            entries.append("nullptr")
        elif entry.is_metaclass:
            entries.append(f"&NSInterface::{entry.name}Intf::sIntrospectiveMethods")
        else:
            entries.append(f"&g{entry.name}Methods")
    return entries


def construction_order(model):
    """The meta package's order of construction, as names: enumerations, primitives, classes."""
    order = creation.meta_creation_order(model)
    return {
        "enumerations": [t.name for t in order if getattr(t, "is_enumeration", False)],
        "primitives": [t.name for t in order if getattr(t, "is_primitive", False)],
        "classes": [t.name for t in order if t.is_metaclass],
    }


def registered_names(model):
    """The names registered at start-up, in order, each with how it is registered: a value
    type's own name as its meta type, the names of iterators (and the Factory's name) with
    an iterator description, those of sequences with a sequence description."""
    p = model.package
    values = {f"{p}.{t.name}": t.name for t in list(model.enumerations.values()) + list(model.primitives.values())}
    found = []
    for name in creation.registered_type_names(model):
        if name in values:
            found.append((name, "meta", values[name]))
        elif name.endswith("Iterator") or name == f"{p}.Factory":
            found.append((name, "iterator", None))
        else:
            found.append((name, "sequence", None))
    return found

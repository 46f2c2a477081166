"""The objects that the metamodel data loads into.

These classes hold what the data says and nothing more. Everything that
follows from it by rule (names, orders, storage, linearisations) lives in the
other modules of this package, as plain functions over these objects.
"""

from dataclasses import dataclass, field
from typing import Dict, List, Optional, Tuple, Union


class MetamodelError(Exception):
    """Bad or inconsistent metamodel data; the text names the file, class and property."""


def where(file, cls=None, prop=None):
    """The place of a fault, as "file: class C: property p"."""
    text = str(file)
    if cls is not None:
        text += f": class {cls}"
    if prop is not None:
        text += f": property {prop}"
    return text


PRIMITIVE_NAMES = ("Integer", "Boolean", "String", "UnlimitedNatural")
TRAITS = ("readOnly", "derived", "derivedUnion", "composite", "ordered")


@dataclass(eq=False)
class Primitive:
    name: str
    type_id: int

    is_metaclass = False
    is_enumeration = False
    is_primitive = True

    def __repr__(self):
        return f"Primitive({self.name})"


@dataclass(eq=False)
class Enumeration:
    name: str
    type_id: int
    literals: Tuple[str, ...]

    is_metaclass = False
    is_enumeration = True
    is_primitive = False

    def value_of(self, literal):
        """The number of a literal: its position in the list."""
        return self.literals.index(literal)

    def __repr__(self):
        return f"Enumeration({self.name})"


@dataclass(eq=False)
class KernelClass:
    """A class of the kernel that a metaclass derives from, as ClassObject."""

    name: str
    base_names: Tuple[str, ...]
    type_id: Optional[int] = None
    property_indices: Dict[str, int] = field(default_factory=dict)
    bases: List["KernelClass"] = field(default_factory=list)

    is_kernel = True
    is_metaclass = False
    is_enumeration = False
    is_primitive = False

    @property
    def interface(self):
        return self.name + "Intf"

    def __repr__(self):
        return f"KernelClass({self.name})"


UNLIMITED = None


@dataclass(eq=False)
class Property:
    name: str
    type_name: str
    lower: int
    upper: Optional[int]  # None is unlimited
    traits: frozenset
    default: Optional[str]
    association: Optional[str]
    opposite_name: Optional[str]  # "Class.property" of a navigable opposite
    opposite_end: Optional[str]  # name of an end that the association owns
    opposite_end_doc: Optional[str]
    doc: Tuple[str, ...]
    owner: "Metaclass" = None
    index: int = 0  # position in its class, from 1
    type: Union["Metaclass", Enumeration, Primitive] = None
    opposite: Optional["Property"] = None

    @property
    def read_only(self):
        return "readOnly" in self.traits

    @property
    def derived(self):
        return "derived" in self.traits

    @property
    def derived_union(self):
        return "derivedUnion" in self.traits

    @property
    def composite(self):
        return "composite" in self.traits

    @property
    def ordered(self):
        return "ordered" in self.traits

    @property
    def multi(self):
        return self.upper is UNLIMITED or self.upper > 1

    @property
    def multiplicity(self):
        upper = "*" if self.upper is UNLIMITED else str(self.upper)
        return f"{self.lower}..{upper}"

    @property
    def qualified(self):
        return f"{self.owner.name}.{self.name}"

    def __repr__(self):
        return f"Property({self.qualified})"


@dataclass(eq=False)
class Metaclass:
    name: str
    type_id: int
    abstract: bool
    base_names: Tuple[str, ...]
    doc: Tuple[str, ...]
    properties: List[Property]
    file: str
    bases: List[Union["Metaclass", KernelClass]] = field(default_factory=list)

    is_kernel = False
    is_metaclass = True
    is_enumeration = False
    is_primitive = False

    @property
    def concrete(self):
        return not self.abstract

    @property
    def interface(self):
        return self.name + "Intf"

    def own(self, name):
        """The property of this class with that name, or None."""
        for prop in self.properties:
            if prop.name == name:
                return prop
        return None

    def __repr__(self):
        return f"Metaclass({self.name})"


@dataclass(frozen=True)
class Body:
    """What a hand-maintained operation or accessor does.

    kind is one of: stub, constant, delegate, identity, composedSetter,
    defaultValue, generated (the ordinary generated accessor).
    """

    kind: str
    value: Optional[str] = None  # the literal of a constant
    target: Optional[str] = None  # the operation a delegate calls
    convert_argument_to: Optional[str] = None
    convert_result_to: Optional[str] = None


BODY_KINDS = ("stub", "constant", "delegate", "identity", "composedSetter", "defaultValue")


@dataclass(eq=False)
class Operation:
    """A query operation declared (or redeclared) by a metaclass."""

    owner: Metaclass
    name: str
    params: Optional[Tuple[str, ...]]  # None on a redeclaration: the ancestor's
    result: Optional[str]
    body: Body
    overrides: Optional["Operation"] = None

    @property
    def signature_params(self):
        return self.params if self.overrides is None else self.overrides.signature_params

    @property
    def signature_result(self):
        return self.result if self.overrides is None else self.overrides.signature_result

    @property
    def qualified(self):
        return f"{self.owner.name}.{self.name}"

    def __repr__(self):
        return f"Operation({self.qualified})"


@dataclass(eq=False)
class HandProperty:
    """A derived property whose accessors are written by hand."""

    prop: Property
    bodies: Dict[str, Body]  # accessor name -> body
    accessor_family: Optional[str] = None  # set where the data overrides our rule


@dataclass(eq=False)
class OperationsOfClass:
    cls: Metaclass
    hand_file: bool
    operations: List[Operation]
    properties: Dict[str, HandProperty]
    accessor_overrides: Dict[str, Body]


@dataclass(frozen=True)
class EndRecord:
    """An end as the generated code addresses it: a record and an index."""

    record: Union[Metaclass, KernelClass]
    index: int
    name: str

    def __str__(self):
        return f"{self.record.name} index {self.index} ({self.name})"


class TypeTable:
    """The package's type table: one entry per type id, None for an empty id."""

    def __init__(self, entries):
        self.entries = list(entries)

    def __len__(self):
        return len(self.entries)

    def __getitem__(self, type_id):
        return self.entries[type_id]

    def __iter__(self):
        return iter(self.entries)

    @property
    def null_ids(self):
        return [i for i, entry in enumerate(self.entries) if entry is None]


@dataclass(eq=False)
class Metamodel:
    package: str
    kernel_package: str
    type_table: TypeTable
    metaclasses: Dict[str, Metaclass]  # by name, in type id order
    enumerations: Dict[str, Enumeration]
    primitives: Dict[str, Primitive]
    kernel: Dict[str, KernelClass]
    create_arguments: Dict[str, Tuple[str, ...]]  # as the data writes them
    getys_ends: Dict[Tuple[str, str], EndRecord]  # (class, property) -> end, as written
    getys_odd: frozenset  # keys of getys_ends that the data marks as oddities
    getys_not_in_table: Tuple[Property, ...]
    union_rows: Dict[Tuple[Property, str], List[Property]]  # (union, class) -> contributors
    operations: Dict[str, OperationsOfClass]

    def metaclass(self, name):
        try:
            return self.metaclasses[name]
        except KeyError:
            raise MetamodelError(f"no metaclass {name}") from None

    def type_named(self, name):
        for table in (self.metaclasses, self.enumerations, self.primitives):
            if name in table:
                return table[name]
        return None

    def prop(self, qualified):
        cls_name, _, prop_name = qualified.partition(".")
        prop = self.metaclass(cls_name).own(prop_name)
        if prop is None:
            raise MetamodelError(f"no property {qualified}")
        return prop

    @property
    def concrete(self):
        return [c for c in self.metaclasses.values() if c.concrete]

    def all_properties(self):
        for cls in self.metaclasses.values():
            yield from cls.properties

    def operations_of(self, cls):
        entry = self.operations.get(cls.name)
        return entry.operations if entry else []

    def hand_property(self, prop):
        entry = self.operations.get(prop.owner.name)
        return entry.properties.get(prop.name) if entry else None

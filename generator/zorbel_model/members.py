"""Operations and accessors of the interface classes: which are written by hand
and what they do, the texts of the stubs, and the order in which a class
declares its members."""

from dataclasses import dataclass
from typing import Optional

from . import hierarchy, naming
from .model import Body, MetamodelError
from .storage import is_container_end

GENERATED = Body("generated")
HAND_FILE = "zorbel/NSHandMaintained/{}ImplHand"


def link_operations(model, file):
    """Tie each redeclared operation to the one it redeclares, and check the
    hand-written accessors against our families."""
    for entry in model.operations.values():
        cls = entry.cls
        for op in entry.operations:
            op.overrides = inherited_operation(model, cls, op.name)
            place = f"{file}: class {cls.name}: operation {op.name}"
            if op.params is None and op.overrides is None:
                raise MetamodelError(f"{place}: no signature, and no ancestor declares it")
            if op.params is not None and op.overrides is not None:
                raise MetamodelError(f"{place}: repeats the signature of {op.overrides.qualified}")
        for name, hand in entry.properties.items():
            place = f"{file}: class {cls.name}: property {name}"
            if hand.accessor_family is not None and hand.accessor_family not in naming.FAMILIES:
                raise MetamodelError(f"{place}: unknown accessor family {hand.accessor_family}")
            expected = [a.name for a in naming.accessors(model, hand.prop)]
            if sorted(hand.bodies) != sorted(expected):
                raise MetamodelError(f"{place}: the accessors are {', '.join(expected)}, "
                                     f"not {', '.join(hand.bodies)}")
        for name in entry.accessor_overrides:
            if inherited_accessor(model, cls, name) is None:
                raise MetamodelError(f"{file}: class {cls.name}: accessor {name}: no ancestor has it")


def inherited_operation(model, cls, name):
    """The nearest declaration of an operation `name` among cls's ancestors."""
    for c in hierarchy.linearisation(cls)[1:]:
        if c.is_metaclass:
            for op in model.operations_of(c):
                if op.name == name:
                    return op
    return None


def inherited_accessor(model, cls, name):
    for c in hierarchy.linearisation(cls)[1:]:
        if c.is_metaclass:
            for prop in c.properties:
                for acc in naming.accessors(model, prop):
                    if acc.name == name:
                        return acc
    return None


def resolve_operation(model, cls, name):
    """The operation that a call of `name` on cls reaches: the nearest
    declaration in cls's linearisation."""
    for c in hierarchy.linearisation(cls):
        if c.is_metaclass:
            for op in model.operations_of(c):
                if op.name == name:
                    return op
    return None


def accessor_body(model, accessor):
    """What an accessor of a property's own family does: hand-written or generated."""
    hand = model.hand_property(accessor.prop)
    if hand is None:
        return GENERATED
    return hand.bodies[accessor.name]


# -- texts of the stubs ---------------------------------------------------------

def operation_message(cls_name, feature):
    return f"The {cls_name}.{feature} operation is not yet implemented!"


def property_message(cls_name, feature):
    return f"The {cls_name}.{feature} derived property is not yet implemented!"


@dataclass(frozen=True)
class Stub:
    """One text of a stub and the functions that raise it."""

    cls: object
    feature: str
    kind: str  # operation or property
    raisers: tuple
    prop: object = None  # the derived property of a property's stub

    @property
    def message(self):
        if self.kind == "operation":
            return operation_message(self.cls.name, self.feature)
        return property_message(self.cls.name, self.feature)

    @property
    def source(self):
        return HAND_FILE.format(self.cls.name)


def stubs(model):
    """Every stub, by class in type id order: operations, then properties."""
    found = []
    for cls in model.metaclasses.values():
        entry = model.operations.get(cls.name)
        if entry is None:
            continue
        for op in entry.operations:
            if op.body.kind == "stub":
                found.append(Stub(cls, op.name, "operation", (op.name,)))
        for prop in cls.properties:
            hand = entry.properties.get(prop.name)
            if hand is None:
                continue
            raisers = tuple(a.name for a in naming.accessors(model, prop) if hand.bodies[a.name].kind == "stub")
            if raisers:
                found.append(Stub(cls, naming.feature_name(prop), "property", raisers, prop))
    return found


# -- order of declaration ----------------------------------------------------------

@dataclass(frozen=True)
class Member:
    """A virtual operation as it is declared in its class."""

    name: str
    kind: str  # query, accessor, deviantPair
    body: Body
    prop: Optional[object] = None
    overrides: bool = False


def without_own_storage(prop):
    """Derived properties (unions too) and the ends kept in the container."""
    return prop.derived or is_container_end(prop)


def declared_members(model, cls):
    """cls's own block in declaration order: its query operations, then the
    accessors of its properties without storage of their own, then those of its
    stored properties, each group in catalogue order, then the pair
    getReadDeviantI, getWriteDeviantI. A redeclared accessor follows the family of
    the property that redefines it, or else the last accessor."""
    entry = model.operations.get(cls.name)
    block = [Member(op.name, "query", op.body, None, op.overrides is not None)
             for op in model.operations_of(cls)]
    overrides = dict(entry.accessor_overrides) if entry else {}
    ordered = ([p for p in cls.properties if without_own_storage(p)]
               + [p for p in cls.properties if not without_own_storage(p)])
    for prop in ordered:
        for acc in naming.accessors(model, prop):
            block.append(Member(acc.name, "accessor", accessor_body(model, acc), prop))
        redefined = [name for name in overrides
                     if inherited_accessor(model, cls, name).prop.name == prop.name]
        for name in redefined:
            block.append(Member(name, "accessor", overrides.pop(name), None, True))
    for name, body in overrides.items():
        block.append(Member(name, "accessor", body, None, True))
    block.append(Member("getReadDeviantI", "deviantPair", GENERATED))
    block.append(Member("getWriteDeviantI", "deviantPair", GENERATED))
    return block


def interface_blocks(model, cls):
    """The blocks of cls's primary table after the kernel's, from Element down:
    pairs of (class on the first-base chain, its declared members)."""
    return [(c, declared_members(model, c)) for c in reversed(hierarchy.first_base_chain(cls))]

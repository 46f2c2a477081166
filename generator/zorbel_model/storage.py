"""What a state object stores, in which order, with which presence bits,
descriptor flags and initial values."""

from dataclasses import dataclass
from typing import Optional

from . import hierarchy

# Bits of the descriptor's flag word.
# The kernel classes below the metaclasses: elements, and the factory.
ELEMENT_ROOT = "ClassObject"
FACTORY_ROOT = "FactoryObject"

FLAG_BITS = {"readOnly": 0, "derived": 1, "derivedUnion": 2, "composite": 3, "ordered": 4, "unique": 5, "multi": 6}


def flags(prop):
    """The flag word of a property's descriptor; unique is set on every property."""
    word = 1 << FLAG_BITS["unique"]
    for trait in prop.traits:
        word |= 1 << FLAG_BITS[trait]
    if prop.multi:
        word |= 1 << FLAG_BITS["multi"]
    return word


def is_container_end(prop):
    """An end whose navigable opposite is composite: it is the kernel's container."""
    return prop.opposite is not None and prop.opposite.composite


def is_stored(prop):
    """Stored unless derived (derived unions included) or kept in the container."""
    return not prop.derived and not is_container_end(prop)


def storage_reason(prop):
    """Why a property is or is not stored, in one word."""
    if prop.derived_union:
        return "derivedUnion"
    if prop.derived:
        return "derived"
    if is_container_end(prop):
        return "container"
    return "stored"


def member_kind(prop):
    if prop.multi:
        return "multiReference" if prop.type.is_metaclass else "multiValue"
    if prop.type.is_metaclass:
        return "reference"
    if prop.type.is_enumeration:
        return "enumeration"
    return "string" if prop.type.name == "String" else "primitive"


def has_presence_bit(prop):
    return is_stored(prop) and not prop.multi and prop.lower == 0


@dataclass(frozen=True)
class Member:
    """One member of a state class: a stored property, or the kernel's model or container."""

    kind: str  # a member_kind, or "model", "container"
    prop: object = None
    bit: Optional[int] = None  # position of its presence bit, None if it has none

    @property
    def name(self):
        return self.prop.name if self.prop is not None else self.kind


def state_classes(model):
    """Concrete metaclasses with a state class of their own: all but Factory."""
    return [c for c in model.concrete if not derives_from_kernel(c, FACTORY_ROOT)]


def derives_from_kernel(cls, name):
    return any(b.is_kernel and b.name == name for b in cls.bases)


def storage_members(cls):
    """The members of cls's state: own stored properties, those of the first-base
    chain up to Element, the kernel's model and container, then those of the
    further bases in our storage walk; presence bits in member order."""
    members = []
    bit = 0

    def add(kind, prop=None, with_bit=False):
        nonlocal bit
        members.append(Member(kind, prop, bit if with_bit else None))
        if with_bit:
            bit += 1

    for c in hierarchy.storage_walk(cls):
        for prop in c.properties:
            if is_stored(prop):
                add(member_kind(prop), prop, has_presence_bit(prop))
        if derives_from_kernel(c, ELEMENT_ROOT):
            add("model")
            add("container", with_bit=True)
    return members


def presence_bits(cls):
    return [m for m in storage_members(cls) if m.bit is not None]


def descriptor_default(prop):
    """The default literal of the descriptor: the catalogue's, or the empty text."""
    return prop.default if prop.default is not None else ""


def initial_value(prop):
    """The value a stored member has after construction, as a literal; None for a
    reference (null) and for a sequence (empty)."""
    if prop.multi or prop.type.is_metaclass:
        return None
    if prop.type.name == "String":
        return ""
    if prop.type.is_enumeration:
        return prop.default if prop.default is not None else prop.type.literals[0]
    if prop.default is not None:
        return prop.default
    return "false" if prop.type.name == "Boolean" else "0"

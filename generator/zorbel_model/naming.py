"""Our rules for accessor names: stems, plurals, qualification, families."""

import re
from dataclasses import dataclass

from . import hierarchy

QUALIFIER = "Zorbel_"


def capitalise(name):
    return name[:1].upper() + name[1:]


def lower_first(name):
    return name[:1].lower() + name[1:]


def pluralise(word):
    """y -> ies, s -> es, a word ending in ed stays, anything else takes s."""
    if word.endswith("y"):
        return word[:-1] + "ies"
    if word.endswith("s"):
        return word + "es"
    if word.endswith("ed"):
        return word
    return word + "s"


def hidden_ancestors(prop):
    """The ancestors of the property's class that have a property of the same name."""
    return [a for a in hierarchy.ancestors(prop.owner) if a.own(prop.name) is not None]


def qualifier(prop):
    """"Zorbel_<Class>_" once for each ancestor with a property of the same name."""
    return (QUALIFIER + prop.owner.name + "_") * len(hidden_ancestors(prop))


def is_qualified(prop):
    return bool(hidden_ancestors(prop))


def stem(prop):
    """The Y of getY, hasY, ...: capitalised, plural if multi-valued, qualified."""
    word = capitalise(prop.name)
    if prop.multi:
        word = pluralise(word)
    return qualifier(prop) + word


def singular_stem(prop):
    return qualifier(prop) + capitalise(prop.name)


def feature_name(prop):
    """The property's name as the texts of its stubs spell it: its name, with the
    qualifier in front and the first letter small when it is qualified."""
    return lower_first(singular_stem(prop))


def is_boolean_reader(prop):
    """A single-valued Boolean named isX with a capital X, and not qualified,
    is read by its own name."""
    return (prop.type.name == "Boolean" and not prop.multi and not is_qualified(prop)
            and re.match(r"^is[A-Z]", prop.name) is not None)


def reader(prop):
    return prop.name if is_boolean_reader(prop) else "get" + stem(prop)


# The families of accessors, each in the order in which they stand in a class.
FAMILIES = {
    "full": ("has", "remove", "set", "get", "removeOnly", "setOnly"),
    "primitive": ("has", "remove", "set", "get"),
    "multiValued": ("getAll", "getAllWithoutAssociation"),
    "derivedReference": ("has", "remove", "get", "removeOnly"),
    "derivedRequired": ("get",),
    "derivedString": ("has", "remove", "get"),
    "derivedBoolean": ("set", "get"),
}


def rule_family(prop):
    """The accessor family that our rules give a property."""
    if prop.multi:
        return "multiValued"
    if prop.derived_union:
        return "full"  # owner, namespace, superGroup: views of the container
    if prop.read_only and prop.derived:
        if prop.lower == 1:
            return "derivedRequired"
        if prop.type.name == "String":
            return "derivedString"
        if prop.type.is_metaclass:
            return "derivedReference"
        raise ValueError(f"{prop.qualified}: no accessor family for a read-only derived {prop.type_name}")
    if prop.derived and prop.type.name == "Boolean" and prop.lower == 1:
        return "derivedBoolean"
    if prop.type.is_primitive:
        return "primitive"
    return "full"


def accessor_family(model, prop):
    hand = model.hand_property(prop)
    if hand is not None and hand.accessor_family is not None:
        return hand.accessor_family
    return rule_family(prop)


@dataclass(frozen=True)
class Accessor:
    role: str  # has, remove, set, get, removeOnly, setOnly, getAll, getAllWithoutAssociation
    name: str
    prop: object

    @property
    def const(self):
        return self.role in ("has", "get", "getAllWithoutAssociation")


def accessor_name(prop, role):
    s = stem(prop)
    if role == "get":
        return reader(prop)
    if role == "getAll":
        return "get" + s
    if role == "getAllWithoutAssociation":
        return "get" + s + "WithoutAssociation"
    return role + s


def accessors(model, prop):
    """The accessors of a property, in the order in which they stand."""
    family = accessor_family(model, prop)
    return [Accessor(role, accessor_name(prop, role), prop) for role in FAMILIES[family]]

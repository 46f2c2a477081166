"""How each metaclass keeps its links: the record and index of every end, the
opposite that an end's maintenance writes, the container ends, the contributors of
the unions, and the table of composites and ends that containment and
destruction walk. The C++ rules are written once in the kernel; this module gives
them their data."""

from dataclasses import dataclass, field
from typing import List, Optional

from . import ends, hierarchy, storage

KERNEL_RECORD = "Kelpa::NSInterface::ClassObjectIntf::sIntrospectiveMethods"

# The single-valued unions that are the container seen through a type, with the
# union of the partner that lists the element.
CONTAINER_UNIONS = {
    "Element.owner": "Element.ownedElement",
    "NamedElement.namespace": "Namespace.ownedMember",
    "ActivityGroup.superGroup": "ActivityGroup.subgroup",
}

# Derived subsets read as a type filter over a superset of the same class.
FILTERED_SUBSETS = {
    "Package.ownedType": "packagedElement",
    "Package.nestedPackage": "packagedElement",
    "Profile.ownedStereotype": "packagedElement",
    "EncapsulatedClassifier.ownedPort": "ownedAttribute",
}


def optional_prop(model, qualified):
    """The property named, or None in a metamodel without it."""
    owner, name = qualified.split(".")
    cls = model.metaclasses.get(owner)
    return cls.own(name) if cls is not None else None


def record_of(cls):
    """The C++ expression of a class's IntrospectiveMethods record."""
    if cls.is_kernel:
        return KERNEL_RECORD
    return f"NSInterface::{cls.name}Intf::sIntrospectiveMethods"


@dataclass
class End:
    record: str
    index: int
    multi: bool

    @property
    def cxx(self):
        return f"{{&{self.record}, {self.index}, {'true' if self.multi else 'false'}}}"


NO_END = End("", 0, False)


def end_of_prop(prop):
    return End(record_of(prop.owner), prop.index, prop.multi)


def end_of_record(model, rec):
    """An EndRecord of the data as an End; multi follows from the property it names."""
    if rec.record.is_kernel:
        return End(KERNEL_RECORD, rec.index, False)
    prop = next(p for p in rec.record.properties if p.index == rec.index)
    return End(record_of(rec.record), rec.index, prop.multi)


def kept_opposite(prop):
    """The navigable opposite whose value is stored too, or None."""
    opp = prop.opposite
    if opp is None or not storage.is_stored(opp) or not storage.is_stored(prop):
        return None
    return opp


# -- the ends of one accessor body ------------------------------------------------

@dataclass
class SequenceEnd:
    """What getYs of a stored multi-valued reference keeps."""
    own: End
    opposite: Optional[End]
    composite: bool


def sequence_end(model, cls, prop):
    own = end_of_prop(prop)
    rec = ends.getys_end(model, cls, prop)
    if rec is None:
        return SequenceEnd(own, None, prop.composite)
    return SequenceEnd(own, end_of_record(model, rec), prop.composite)


@dataclass
class ReferenceEnd:
    """A stored single-valued reference: its own end, the kept opposite, whether it
    contains its value."""
    own: End
    opposite: Optional[End]
    composite: bool


def reference_end(prop):
    opp = kept_opposite(prop)
    return ReferenceEnd(end_of_prop(prop), end_of_prop(opp) if opp is not None else None, prop.composite)


@dataclass
class ContainerEndView:
    type: str  # the partner's metaclass
    opposite: End  # the partner's end that lists the element


def container_end(model, prop):
    """The container end of prop (an end whose opposite is composite, or one of the
    single-valued unions of the container), or None."""
    if prop.qualified in CONTAINER_UNIONS and optional_prop(model, CONTAINER_UNIONS[prop.qualified]):
        union = model.prop(CONTAINER_UNIONS[prop.qualified])
        return ContainerEndView(prop.type.name, end_of_prop(union))
    if storage.is_container_end(prop):
        return ContainerEndView(prop.type.name, end_of_prop(prop.opposite))
    return None


def is_multi_union(prop):
    return prop.derived_union and prop.multi and prop.type.is_metaclass


# -- the table of one concrete class ------------------------------------------------

@dataclass
class Contributor:
    end: End
    opposite: Optional[End]  # for a single-valued contributor: the end its association keeps
    composite: bool
    lower: int
    type: str


@dataclass
class UnionTable:
    name: str  # C++ identifier
    union: End
    element_type: str
    contributors: List[Contributor]


@dataclass
class ClassLinks:
    composites: List[End] = field(default_factory=list)
    navigable: List[tuple] = field(default_factory=list)  # (own End, opposite End)
    one_way: List[End] = field(default_factory=list)
    unions: List[UnionTable] = field(default_factory=list)
    owned_elements: Optional[int] = None  # the place of the ownedElement table in unions


def stored_properties(cls):
    return [m.prop for m in storage.storage_members(cls) if m.prop is not None]


def contributor(model, cls, prop):
    opposite = None
    if not prop.multi:
        owner = optional_prop(model, "Element.owner")
        if prop.composite and owner is not None:
            opposite = end_of_prop(owner)
        else:
            opp = kept_opposite(prop)
            opposite = end_of_prop(opp) if opp is not None else None
    return Contributor(end_of_prop(prop), opposite, prop.composite, prop.lower, prop.type.name)


def class_links(model, cls):
    links = ClassLinks()
    stored = stored_properties(cls)
    owned = optional_prop(model, ends.OWNED_ELEMENT)
    ordered = []
    if owned is not None and hierarchy.conforms(cls, owned.owner):
        ordered = [p for p in ends.union_contributors(model, cls, owned) if p in stored and p.composite]
    ordered += [p for p in stored if p.composite and p.type.is_metaclass and p not in ordered]
    links.composites = [end_of_prop(p) for p in ordered]
    singles, multis = [], []
    for p in stored:
        if not p.type.is_metaclass or p.composite:
            continue
        opp = kept_opposite(p)
        if opp is not None:
            (multis if p.multi else singles).append((end_of_prop(p), end_of_prop(opp)))
        else:
            links.one_way.append(end_of_prop(p))
    links.navigable = singles + multis
    for union in ends.unions(model):
        if not is_multi_union(union) or not hierarchy.conforms(cls, union.owner):
            continue
        contributors = [contributor(model, cls, p) for p in ends.union_contributors(model, cls, union)]
        name = f"k{cls.name}_{union.owner.name}_{union.name}"
        links.unions.append(UnionTable(name, end_of_prop(union), union.type.name, contributors))
        if union is owned:
            links.owned_elements = len(links.unions) - 1
    return links

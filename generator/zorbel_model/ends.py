"""Association ends: the end that each getYs keeps, and the contributors of
the derived unions."""

from dataclasses import dataclass

from . import hierarchy
from .model import EndRecord, MetamodelError
from .storage import is_stored

OWNED_ELEMENT = "Element.ownedElement"
OWNED_MEMBER = "Namespace.ownedMember"


def unions(model):
    return [p for p in model.all_properties() if p.derived_union]


# -- derived unions -----------------------------------------------------------

def union_contributors(model, cls, union_prop):
    """The properties whose values cls's readers of a multi-valued union combine,
    in order. A class with its own row takes it; one without takes the rows of its
    bases, merged in declaration order, and for ownedElement appends its own
    stored composites (but those kept by the container end)."""
    if not hierarchy.conforms(cls, union_prop.owner):
        raise MetamodelError(f"class {cls.name} has no union {union_prop.qualified}")
    row = model.union_rows.get((union_prop, cls.name))
    if row is not None:
        return list(row)
    merged = inherited_contributors(model, cls, union_prop)
    if union_prop.qualified == OWNED_ELEMENT:
        for prop in cls.properties:
            if prop.composite and prop.type.is_metaclass and is_stored(prop) and not ends_at_container(model, prop):
                merged.append(prop)
    return merged


def inherited_contributors(model, cls, union_prop):
    """The contributors of cls's bases, merged in declaration order, each once."""
    merged = []
    for base in hierarchy.metaclass_bases(cls):
        if hierarchy.conforms(base, union_prop.owner):
            merged += [p for p in union_contributors(model, base, union_prop) if p not in merged]
    return merged


def ends_at_container(model, prop):
    end = model.getys_ends.get((prop.owner.name, prop.name))
    return end is not None and end.record.is_kernel


def classes_with_rule_rows(model, union_prop):
    """The classes whose contributors of a union come from our rule and add to
    what their bases give: where the data has no row of its own."""
    found = []
    for cls in model.metaclasses.values():
        if not hierarchy.conforms(cls, union_prop.owner) or (union_prop, cls.name) in model.union_rows:
            continue
        if union_contributors(model, cls, union_prop) != inherited_contributors(model, cls, union_prop):
            found.append(cls)
    return found


# -- the end of a getYs -----------------------------------------------------------

def end_of(prop):
    return EndRecord(prop.owner, prop.index, prop.name)


def container_end(model):
    kernel = model.kernel["ClassObject"]
    return EndRecord(kernel, kernel.property_indices["container"], "container")


def rule_getys_end(model, prop):
    """The end that our rule gives the association sequence of prop's getYs:
    its navigable opposite; for a composite without one, the namespace if it is
    a contributor of its class's ownedMember, the owner if of its ownedElement,
    and the kernel's container otherwise; None for a plain one-way reference."""
    if not prop.multi or not prop.type.is_metaclass:
        return None
    if prop.opposite is not None:
        return end_of(prop.opposite)
    if not prop.composite or prop.derived:
        return None
    cls = prop.owner
    member = model.prop(OWNED_MEMBER)
    if hierarchy.conforms(cls, member.owner) and prop in union_contributors(model, cls, member):
        return end_of(model.prop("NamedElement.namespace"))
    owned = model.prop(OWNED_ELEMENT)
    if prop in union_contributors(model, cls, owned):
        return end_of(model.prop("Element.owner"))
    return container_end(model)


def getys_end(model, cls, prop):
    """The end that cls's getYs of prop keeps: the data's where it names one for
    cls or for the declaring class, our rule otherwise."""
    for c in hierarchy.linearisation(cls):
        if c.is_metaclass and hierarchy.conforms(c, prop.owner):
            end = model.getys_ends.get((c.name, prop.name))
            if end is not None and hierarchy.resolve_feature(c, prop.name, c.name) is prop:
                return end
    return rule_getys_end(model, prop)


@dataclass(frozen=True)
class EndDifference:
    cls: object
    prop: object
    written: EndRecord
    by_rule: EndRecord
    odd: bool


def getys_end_differences(model):
    """Where the ends that the data writes differ from our rule."""
    found = []
    for (cls_name, prop_name), written in model.getys_ends.items():
        cls = model.metaclass(cls_name)
        prop = hierarchy.resolve_feature(cls, prop_name, cls_name)
        by_rule = rule_getys_end(model, prop)
        if by_rule != written:
            found.append(EndDifference(cls, prop, written, by_rule, (cls_name, prop_name) in model.getys_odd))
    return found


def unlisted_composites(model):
    """Stored multi-valued composites without a navigable opposite that the data
    neither lists nor marks as not in its table."""
    listed = {(p.owner.name, p.name) for p in model.getys_not_in_table} | set(model.getys_ends)
    return [p for p in model.all_properties()
            if p.multi and p.type.is_metaclass and p.composite and is_stored(p) and p.opposite is None
            and (p.owner.name, p.name) not in listed]

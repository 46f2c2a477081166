"""Creation: the create overloads with required references, the Factory's
creation order and name table, and the orders of meta construction and of
type registration."""

from dataclasses import dataclass

from . import hierarchy
from .storage import FACTORY_ROOT, derives_from_kernel


def is_hidden_in(cls, prop):
    """True if cls, or an ancestor of cls below prop's class, declares a
    property of the same name."""
    for c in [cls] + hierarchy.ancestors(cls):
        if c is not prop.owner and hierarchy.is_ancestor(prop.owner, c) and c.own(prop.name) is not None:
            return True
    return False


def required_references(cls):
    """The arguments of cls's create overload, in order: every property that is
    not derived, has a metaclass type and multiplicity 1..1, in our storage
    walk (own first), without those hidden by a more derived declaration."""
    found = []
    for c in hierarchy.storage_walk(cls):
        for prop in c.properties:
            if (not prop.derived and prop.type.is_metaclass and prop.lower == 1 and prop.upper == 1
                    and not is_hidden_in(cls, prop)):
                found.append(prop)
    return found


def creatable_classes(model):
    """The concrete metaclasses with create: all but Factory, in the Factory's order."""
    return [c for c in leading_last(model, model.concrete) if not derives_from_kernel(c, FACTORY_ROOT)]


def create_overloads(model):
    """Class -> the properties of its create overload with arguments, for the
    creatable classes that have one, in the Factory's order."""
    result = {}
    for cls in creatable_classes(model):
        props = required_references(cls)
        if props:
            result[cls] = props
    return result


@dataclass(frozen=True)
class OverloadDifference:
    cls_name: str
    written: tuple
    by_rule: tuple


def create_overload_differences(model):
    """Where the argument types our rule gives differ from the written table."""
    computed = {c.name: tuple(p.type.name for p in props) for c, props in create_overloads(model).items()}
    found = []
    for name in sorted(set(computed) | set(model.create_arguments)):
        written = model.create_arguments.get(name, ())
        by_rule = computed.get(name, ())
        if written != by_rule:
            found.append(OverloadDifference(name, written, by_rule))
    return found


# -- orders over the type table ------------------------------------------------

def value_types(model):
    return [t for t in model.type_table if t is not None and not t.is_metaclass]


def leading_last(model, classes):
    """Classes in type-table order, but those whose ids come before every value
    type go after the others, and Factory stays last."""
    first_value_id = min(t.type_id for t in value_types(model))
    ordered = sorted(classes, key=lambda c: c.type_id)
    factory = [c for c in ordered if derives_from_kernel(c, FACTORY_ROOT)]
    leading = [c for c in ordered if c.type_id < first_value_id and c not in factory]
    rest = [c for c in ordered if c not in leading and c not in factory]
    return rest + leading + factory


def factory_order(model):
    """The Factory's numbering: creatable classes, then enumerations, then primitives."""
    enums = sorted(model.enumerations.values(), key=lambda t: t.type_id)
    prims = sorted(model.primitives.values(), key=lambda t: t.type_id)
    return creatable_classes(model) + enums + prims


def factory_name_table(model):
    """Each name of the Factory's order under two keys, plain and with the package."""
    table = {}
    for number, t in enumerate(factory_order(model)):
        table[t.name] = number
        table[f"{model.package}.{t.name}"] = number
    return table


def factory_create_operations(model):
    """The creation operations of the Factory's interface, in slot order: a pair
    (class, with required references) per overload."""
    overloads = create_overloads(model)
    ops = []
    for cls in creatable_classes(model):
        ops.append((cls, False))
        if cls in overloads:
            ops.append((cls, True))
    return ops


def meta_creation_order(model):
    """The order in which the meta package is built: value types by descending
    id, then the metaclasses. These are taken in type-table order; one that is
    not yet built brings its missing ancestors first, each after its bases, the
    smallest type id first among those whose bases are all built."""
    order = sorted(value_types(model), key=lambda t: -t.type_id)
    done = []
    for cls in model.metaclasses.values():
        missing = [c for c in [cls] + hierarchy.ancestors(cls) if c not in done]
        while missing:
            ready = [c for c in missing if all(b in done for b in hierarchy.metaclass_bases(c))]
            first = min(ready, key=lambda c: c.type_id)
            done.append(first)
            missing.remove(first)
    return order + done


VALUE_TYPE_NAMES = ("{p}.{v}", "{p}.{v}Iterator", "{p}.{v}ImmutableIterator", "{p}.SequenceOf{v}",
                    "{p}.ImmutableSequenceOf{v}")
CLASS_NAMES = ("{p}.Immutable{x}ImmutableIterator", "{p}.{x}ImmutableIterator", "{p}.Immutable{x}Iterator",
               "{p}.{x}Iterator", "{p}.ImmutableSequenceOfImmutable{x}", "{p}.ImmutableSequenceOf{x}",
               "{p}.SequenceOfImmutable{x}", "{p}.SequenceOf{x}")


def registered_type_names(model):
    """Every name registered at start-up, in order: the Factory's own name, the
    five names of each value type, the eight of each metaclass."""
    p = model.package
    factory = [c for c in model.metaclasses.values() if derives_from_kernel(c, FACTORY_ROOT)]
    names = [f"{p}.{c.name}" for c in factory]
    for t in sorted(value_types(model), key=lambda t: t.type_id):
        names += [form.format(p=p, v=t.name) for form in VALUE_TYPE_NAMES]
    for cls in leading_last(model, model.metaclasses.values()):
        names += [form.format(p=p, x=cls.name) for form in CLASS_NAMES]
    return names

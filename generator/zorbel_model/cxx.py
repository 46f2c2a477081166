"""The C++ spelling of the model: for each metaclass, what its interface, handle,
identity and state classes declare, in which order, and which shape of body each
operation has.

The templates print what this module gives them. A body is named by a `shape`
from a small fixed vocabulary (SHAPES); the template holds the C++ of each shape
once. Which shape an operation takes, which names it calls, which arguments it
reads, along which bases a pointer is converted: all of that is decided here.
"""

import functools
import re
import textwrap
from types import SimpleNamespace
from dataclasses import dataclass, field
from typing import List, Optional, Tuple

from . import creation, hierarchy, links, members, meta, naming, storage
from .model import MetamodelError, where

DEVIANT = "Kelpa::Deviant"
HAND_PATH = "zorbel/NSHandMaintained/{}ImplHand"
# What the stubbed queries answer when the data says only "sequence handle".
SEQUENCE_HANDLE = "Kelpa::ImmutableSequence<Kelpa::ImmutableClassObject>"
VALUE_TYPES = ("Boolean", "Integer", "String", "UnlimitedNatural")

CXX_KEYWORDS = frozenset("""
alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t
char32_t class compl concept const consteval constexpr constinit const_cast continue co_await
co_return co_yield decltype default delete do double dynamic_cast else enum explicit export extern
false float for friend goto if inline int long mutable namespace new noexcept not not_eq nullptr
operator or or_eq private protected public register reinterpret_cast requires return short signed
sizeof static static_assert static_cast struct switch template this thread_local throw true try
typedef typeid typename union unsigned using virtual void volatile wchar_t while xor xor_eq
""".split())

# The shapes of a body in an interface class (XIntf).
SHAPES = {
    # shape: (reads the Deviant, reads the other arguments)
    "read": (True, True),             # the state's operation of that name, on the read state
    "write": (True, True),            # the state's operation named target, on the write state
    "setValue": (True, True),         # compare with the read state, then write
    "setRequired": (True, True),      # the same for a value that is always present
    "alwaysPresent": (False, False),  # a value that is always present
    "nothing": (False, False),        # a removal of a value that is always present
    "hasReference": (True, False),    # a partner that exists in the deviant
    "setReference": (True, True),     # the set of an end: a removal, no change, or setOnly
    "removeReference": (True, False),
    "stub": (False, False),           # a hand-maintained feature that raises
    "constant": (False, False),
    "defaultValue": (False, False),
    "identity": (False, True),
    "delegate": (True, True),
    "forward": (True, True),          # the same operation, reached along one base
    "deviantSequence": (True, False),      # the stored view, resolved on each use
    "associationSequence": (True, False),  # the stored view that keeps the opposite end
    "refSet": (True, True),           # the four writers of a stored single-valued reference
    "refSetOnly": (True, True),
    "refRemove": (True, False),
    "refRemoveOnly": (True, False),
    "containerHas": (True, False),    # the six accessors of an end kept as the container
    "containerGet": (True, False),
    "containerSet": (True, True),
    "containerSetOnly": (True, True),
    "containerRemove": (True, False),
    "containerRemoveOnly": (True, False),
    "union": (True, False),           # a union built from the object's class's contributors
    "filtered": (True, False),        # a derived subset: a type filter over its superset
}


def escape(text):
    return text.replace("\\", "\\\\").replace('"', '\\"')


def comment(lines, width=96):
    """Documentation lines as the lines of a // comment, wrapped."""
    out = []
    for line in lines:
        out += textwrap.wrap(line, width) or [""]
    return out


# Names that the body of a create overload uses beside its parameters.
CREATE_LOCALS = frozenset({"model", "id", "d", "created"})


def parameter_name(name):
    return name + "_" if name in CXX_KEYWORDS or name in CREATE_LOCALS else name


def capitalise(name):
    return name[:1].upper() + name[1:]


# -- types -------------------------------------------------------------------

def interface_name(c):
    """The interface of a class, as code in namespace zorbel names it."""
    if c.is_metaclass:
        return f"NSInterface::{c.name}Intf"
    if c.name == "ReferenceCounting":
        return "Kelpa::ReferenceCountingIntf"
    return f"Kelpa::NSInterface::{c.name}Intf"


def value_type(t):
    """The C++ type of one value of a property type: a handle, a value type or an enumeration."""
    return t.name


def enumeration_literal(enum, literal):
    return f"{enum.name}::k{capitalise(literal)}"


def literal(type_text, text):
    """A C++ expression of the value `text` of a type named by `type_text`."""
    if type_text == "bool":
        return text
    if type_text in ("Boolean", "Integer", "String"):
        return f'{type_text}("{escape(text)}")' if type_text == "String" else f"{type_text}({text})"
    if type_text == "UnlimitedNatural":
        return "UnlimitedNatural::unlimited()" if text == "*" else f"UnlimitedNatural({text}u)"
    raise ValueError(f"no literal of {type_text}")


def member_initialiser(prop):
    """The brace initialiser of a stored value with a default in the catalogue, or None."""
    if prop.default is None or prop.type.name == "String":
        return None
    if prop.type.is_enumeration:
        return enumeration_literal(prop.type, prop.default)
    if prop.type.name == "UnlimitedNatural":
        return "UnlimitedNatural::kUnlimited" if prop.default == "*" else prop.default + "u"
    return prop.default


def result_type(text):
    """The C++ result of a query as the data writes it."""
    return SEQUENCE_HANDLE if text == "sequence handle" else text


TYPE_WORD = re.compile(r"(?<![:\w])([A-Z]\w*)(?![\w:])")


def named_types(texts):
    """The zorbel types that C++ type texts name (handles, value types, enumerations)."""
    found = []
    for text in texts:
        for word in TYPE_WORD.findall(text):
            if word not in found:
                found.append(word)
    return found


# -- signatures ----------------------------------------------------------------

@dataclass(frozen=True)
class Param:
    type: str
    name: str


@dataclass
class Signature:
    result: str
    name: str
    params: Tuple[Param, ...]  # after the Deviant, unless with_deviant is false
    const: bool
    with_deviant: bool = True

    def all_params(self):
        first = (Param(DEVIANT, "d"),) if self.with_deviant else ()
        return first + tuple(self.params)

    def declared(self):
        return ", ".join(f"{p.type} {p.name}" for p in self.all_params())

    def defined(self, uses_deviant, uses_args):
        """The parameter list of a definition: names only where the body reads them."""
        out = []
        for p in self.all_params():
            used = uses_deviant if p.name == "d" and self.with_deviant else uses_args
            out.append(f"{p.type} {p.name}" if used else p.type)
        return ", ".join(out)

    def arguments(self):
        return ", ".join(p.name for p in self.all_params())

    def type_texts(self):
        return [self.result] + [p.type for p in self.params]


def accessor_signature(acc):
    prop, role = acc.prop, acc.role
    t = value_type(prop.type)
    result = {"has": "bool", "remove": "void", "set": "void", "removeOnly": "void", "setOnly": "void",
              "get": t, "getAll": f"Kelpa::Sequence<{t}>", "getAllWithoutAssociation": f"Kelpa::Sequence<{t}>"}[role]
    params = (Param(f"const {t}&", "value"),) if role in ("set", "setOnly") else ()
    return Signature(result, acc.name, params, acc.const)


def operation_signature(op):
    params = tuple(Param(text, f"arg{i}") for i, text in enumerate(op.signature_params, start=1))
    return Signature(result_type(op.signature_result), op.name, params, True)


def find_operation(model, cls, name):
    for op in model.operations_of(cls):
        if op.name == name:
            return op
    raise MetamodelError(f"{where(cls.file, cls.name)}: no operation {name}")


def find_accessor(model, prop, name):
    for acc in naming.accessors(model, prop):
        if acc.name == name:
            return acc
    raise MetamodelError(f"{where(prop.owner.file, prop.owner.name, prop.name)}: no accessor {name}")


def member_signature(model, cls, member):
    """The signature of a member of a class's own block (members.declared_members)."""
    if member.kind == "query":
        return operation_signature(find_operation(model, cls, member.name))
    if member.prop is not None:
        return accessor_signature(find_accessor(model, member.prop, member.name))
    return accessor_signature(members.inherited_accessor(model, cls, member.name))


# The virtual operations of the kernel's interfaces that a class with several
# bases reaches over each of them, and therefore declares again. cast,
# getVisitMethod and getRuvoName are declared by every class; the pairs
# getReadDeviantI and getWriteDeviantI come with the levels.
def _kernel(result, name, params=(), const=False, pure=False):
    return (Signature(result, name, tuple(Param(t, n) for t, n in params), const, with_deviant=False), pure)


_D = (DEVIANT, "d")
_NAME = ("const Kelpa::String&", "name")
_PROPERTY = ("const Kelpa::MetaHandle<Kelpa::NSInterface::PropertyIntf>&", "property")
_VALUE = ("const Kelpa::Object&", "value")
# The reflective operations, each by name and by property.
_REFLECTION = [
    _kernel(result, name, [_D, key] + extra, const)
    for result, name, extra, const in [
        ("Kelpa::Object", "get", [], True),
        ("Kelpa::Object", "getOne", [], True),
        ("bool", "has", [], True),
        ("void", "setOrAdd", [_VALUE], False),
        ("void", "setOrAddOnly", [_VALUE], False),
        ("void", "remove", [_VALUE], False),
        ("void", "remove", [], False),
        ("void", "removeOnly", [_VALUE], False),
        ("void", "removeOne", [], False),
        ("void", "removeOneOnly", [], False),
    ]
    for key in (_NAME, _PROPERTY)
]
KERNEL_OPERATIONS = [
    _kernel("void", "incRef"),
    _kernel("void", "decRef"),
    _kernel("int", "numRef", const=True),
    _kernel("void", "getListOfReferences", [("std::vector<const Kelpa::ReferenceCountingIntf*>&", "out")], True),
    _kernel("void", "destroyLinks", [_D]),
    _kernel("void", "destroyObject", [_D, ("bool", "destroyState")]),
    _kernel("void", "destroy", [_D]),
    _kernel("bool", "deviant_isValid", [_D], True),
    _kernel("void", "deviant_destroyState", [("Kelpa::NSInterface::ObjectIntf*", "state")]),
    _kernel("void", "deviant_markModelDestroyed"),
    _kernel("void", "deviant_commitTransientState", [_D]),
    _kernel("Kelpa::NSInterface::ObjectIntf*", "deviant_getCopyOfDeviation", [_D]),
    _kernel("Kelpa::NSInterface::ObjectIntf*", "internal_getDeviation", [_D], True),
    _kernel("void", "internal_setDeviation", [_D, ("Kelpa::NSInterface::ObjectIntf*", "state")]),
    _kernel("Kelpa::NSInterface::ObjectIntf*", "internal_createDeviation", [_D]),
    _kernel("void", "internal_destroyDeviation", [_D]),
    _kernel("void", "internal_deviationAssign",
            [(DEVIANT, "target"), ("Kelpa::NSInterface::ObjectIntf*", "source"), (DEVIANT, "sourceDeviant")]),
    _kernel("Kelpa::Deviant", "getRootDeviant", const=True),
    _kernel("Kelpa::String", "toString", [_D], True),
    _kernel("Kelpa::Object", "getEmptyValue", pure=True),
    _kernel("Kelpa::MetaHandle<Kelpa::NSInterface::TypeIntf>", "getMetaType", [_D], True),
    _kernel("Kelpa::MetaHandle<Kelpa::NSInterface::ClassIntf>", "getMetaClass", const=True),
    _kernel("const Kelpa::NSInterface::ClassIntf*", "getMetaClassPtr", const=True),
    _kernel("const Kelpa::ElementEnds*", "getElementEnds", const=True),
    _kernel("Kelpa::Sequence<Kelpa::ClassObject>", "getContaineeKelpas", [_D]),
    _kernel("Kelpa::Sequence<Kelpa::ClassObject>", "getContaineeKelpasWithoutAssociation", [_D], True),
    _kernel("bool", "hasId", const=True, pure=True),
    _kernel("void", "removeId", pure=True),
    _kernel("void", "setId", [("const Kelpa::Integer&", "id")], pure=True),
    _kernel("Kelpa::Integer", "getId", const=True, pure=True),
    _kernel("bool", "hasAppliedStereotypeInstances", [_D], True),
    _kernel("Kelpa::Sequence<Kelpa::StereotypeObject>", "getAppliedStereotypeInstances", [_D]),
    _kernel("Kelpa::Sequence<Kelpa::StereotypeObject>", "getAppliedStereotypeInstancesWithoutAssociation",
            [_D], True),
    _kernel("Kelpa::ExternalToolInfo", "getExternalToolInfo", [_D, ("const Kelpa::String&", "toolName")], True),
    _kernel("void", "setExternalToolInfo", [_D, ("const Kelpa::ExternalToolInfo&", "info")]),
    _kernel("void", "removeExternalToolInfo", [_D, ("const Kelpa::ExternalToolInfo&", "info")]),
    *_REFLECTION,
    _kernel("bool", "hasUri", [_D], True),
    _kernel("void", "removeUri", [_D]),
    _kernel("void", "setUri", [_D, ("const Kelpa::String&", "uri")]),
    _kernel("Kelpa::String", "getUri", [_D], True),
    _kernel("bool", "hasModelKelpa", [_D], True),
    _kernel("void", "removeModelKelpa", [_D]),
    _kernel("void", "setModelKelpa", [_D, ("const Kelpa::Model&", "model")]),
    _kernel("Kelpa::Model", "getModelKelpa", [_D], True),
    _kernel("void", "removeOnlyModelKelpa", [_D]),
    _kernel("void", "setOnlyModelKelpa", [_D, ("const Kelpa::Model&", "model")]),
    _kernel("bool", "hasContainerKelpa", [_D], True),
    _kernel("void", "removeContainerKelpa", [_D]),
    _kernel("void", "setContainerKelpa", [_D, ("const Kelpa::ClassObject&", "container")]),
    _kernel("Kelpa::ClassObject", "getContainerKelpa", [_D], True),
    _kernel("void", "removeOnlyContainerKelpa", [_D]),
    _kernel("void", "setOnlyContainerKelpa", [_D, ("const Kelpa::ClassObject&", "container")]),
    _kernel("bool", "hasRootModel", [_D], True),
    _kernel("void", "removeRootModel", [_D]),
    _kernel("Kelpa::Model", "getRootModel", [_D], True),
    _kernel("void", "removeOnlyRootModel", [_D]),
    _kernel("bool", "hasExternalId", [_D], True),
    _kernel("void", "removeExternalId", [_D]),
    _kernel("void", "setExternalId", [_D, ("const Kelpa::String&", "id")]),
    _kernel("Kelpa::String", "getExternalId", [_D], True),
    _kernel("bool", "hasExternalToolInfos", [_D], True),
    _kernel("Kelpa::Sequence<Kelpa::ExternalToolInfo>", "getExternalToolInfos", [_D]),
    _kernel("Kelpa::Sequence<Kelpa::ExternalToolInfo>", "getExternalToolInfosWithoutAssociation", [_D], True),
]


# -- paths along the bases ------------------------------------------------------

def reaches(c, target):
    return c is target or any(reaches(b, target) for b in c.bases)


def base_path(cls, target):
    """The classes from cls to target, each a direct base of the one before; at each
    step the earliest declared base that leads there."""
    path = [cls]
    while path[-1] is not target:
        path.append(next(b for b in path[-1].bases if reaches(b, target)))
    return path


def path_count(cls, target):
    """The number of distinct base paths from cls to target: more than one, and a pointer
    conversion from cls to target is ambiguous."""
    if cls is target:
        return 1
    return sum(path_count(b, target) for b in cls.bases)


def on_first_base_chain(path):
    return all(step.bases[0] is nxt for step, nxt in zip(path, path[1:]))


@dataclass
class Conversion:
    """How a pointer to a class's interface becomes one to an ancestor's: at the
    same address along the first-base chain, or along `path` (the bases after the
    class itself) with the real adjustment."""

    target: str  # the ancestor's interface
    path: Optional[List[str]]  # None on the first-base chain


def conversion(cls, target):
    path = base_path(cls, target)
    if on_first_base_chain(path):
        return Conversion(interface_name(target), None)
    return Conversion(interface_name(target), [interface_name(c) for c in path[1:]])


# -- the members of an interface ---------------------------------------------------

@dataclass
class Operation:
    """One virtual operation as a class declares and defines it."""

    sig: Signature
    shape: Optional[str]  # None for a declaration without a body of this class (pure)
    override: bool = False
    doc: List[str] = field(default_factory=list)
    target: Optional[str] = None  # the operation called: state's, delegate's, or the base of a forwarder
    message: Optional[str] = None
    path: Optional[str] = None  # the source path a raise names
    value: Optional[str] = None  # a constant's C++ expression
    convert_argument: Optional[str] = None
    convert_result: Optional[str] = None
    accessors: SimpleNamespace = None  # the names of the property's accessors, by role
    link: object = None  # the ends of a link shape (links.SequenceEnd, ReferenceEnd, ContainerEndView, End)
    element: Optional[str] = None  # the value type of the property
    constant: Optional[str] = None  # the C++ name of the link's constant
    define: bool = False  # this operation's body is the first to use the constant

    @property
    def name(self):
        return self.sig.name

    @property
    def declared_params(self):
        return self.sig.declared()

    @property
    def defined_params(self):
        if self.shape is None:
            return self.sig.declared()
        uses_deviant, uses_args = SHAPES[self.shape]
        return self.sig.defined(uses_deviant, uses_args)

    @property
    def const(self):
        return self.sig.const

    @property
    def result(self):
        return self.sig.result


CONTAINER_SHAPES = {"has": "containerHas", "get": "containerGet", "set": "containerSet",
                    "setOnly": "containerSetOnly", "remove": "containerRemove", "removeOnly": "containerRemoveOnly"}
REFERENCE_SHAPES = {"set": "refSet", "setOnly": "refSetOnly", "remove": "refRemove", "removeOnly": "refRemoveOnly"}


def superset_accessor(cls, name):
    """The WithoutAssociation reader of the property `name` that cls sees."""
    for c in [cls] + hierarchy.ancestors(cls):
        found = c.own(name) if c.is_metaclass else None
        if found is not None:
            return naming.accessor_name(found, "getAllWithoutAssociation")
    raise MetamodelError(f"{where(cls.file, cls.name)}: no property {name}")


def link_shape(model, cls, acc):
    """The shape of an accessor of a link (a container end, a union, a derived subset,
    a stored reference or sequence) with the data its body uses, or None."""
    prop, role = acc.prop, acc.role
    end = links.container_end(model, prop)
    if end is not None:
        return CONTAINER_SHAPES[role], end
    if links.is_multi_union(prop):
        return "union", links.end_of_prop(prop)
    if prop.qualified in links.FILTERED_SUBSETS:
        return "filtered", superset_accessor(cls, links.FILTERED_SUBSETS[prop.qualified])
    if not storage.is_stored(prop):
        return None
    if prop.multi:
        seq = links.sequence_end(model, cls, prop)
        if role == "getAll" and seq.opposite is not None and prop.type.is_metaclass:
            return "associationSequence", seq
        return "deviantSequence", seq
    if storage.member_kind(prop) == "reference" and role in REFERENCE_SHAPES:
        return REFERENCE_SHAPES[role], links.reference_end(prop)
    return None


def generated_shape(model, acc):
    """The shape of the interface's body of an accessor of our rules."""
    prop, role = acc.prop, acc.role
    if not storage.is_stored(prop):
        raise MetamodelError(f"{where(prop.owner.file, prop.owner.name, prop.name)}: "
                             "a derived feature without a generated or hand-written body")
    kind = storage.member_kind(prop)
    with_bit = storage.has_presence_bit(prop)
    if kind == "reference":
        return {"has": ("hasReference", None), "remove": ("removeReference", None),
                "set": ("setReference", None), "get": ("read", acc.name),
                "removeOnly": ("write", naming.accessor_name(prop, "remove")),
                "setOnly": ("write", naming.accessor_name(prop, "set"))}[role]
    if kind == "enumeration":
        return {"has": ("read", acc.name), "remove": ("write", acc.name), "set": ("setValue", None),
                "get": ("read", acc.name), "removeOnly": ("write", naming.accessor_name(prop, "remove")),
                "setOnly": ("write", naming.accessor_name(prop, "set"))}[role]
    if with_bit:
        return {"has": ("read", acc.name), "remove": ("write", acc.name), "set": ("setValue", None),
                "get": ("read", acc.name)}[role]
    return {"has": ("alwaysPresent", None), "remove": ("nothing", None), "set": ("setRequired", None),
            "get": ("read", acc.name)}[role]


def body_operation(model, cls, sig, body, feature_message, prop=None):
    """An operation of a hand-maintained body kind."""
    op = Operation(sig, body.kind)
    if body.kind == "stub":
        op.message = feature_message
        op.path = HAND_PATH.format(cls.name)
    elif body.kind == "constant":
        op.value = (enumeration_literal(prop.type, body.value) if prop is not None and prop.type.is_enumeration
                    and sig.result != "bool" else literal(sig.result, body.value))
    elif body.kind == "delegate":
        op.target = body.target
        if body.convert_argument_to:
            op.convert_argument = "Immutable" + body.convert_argument_to
        if body.convert_result_to:
            op.convert_result = body.convert_result_to
    elif body.kind == "composedSetter":
        op.shape = "setReference"
    return op


def own_operations(model, cls):
    """The operations of a class's own block, in declaration order, with their bodies;
    the level pair last."""
    ops = []
    documented = set()
    defined = set()  # the constants of the link shapes, each defined before its first use
    for member in members.declared_members(model, cls):
        if member.kind == "deviantPair":
            continue
        sig = member_signature(model, cls, member)
        if member.kind == "query":
            source = find_operation(model, cls, member.name)
            op = body_operation(model, cls, sig, member.body,
                                members.operation_message(cls.name, member.name))
            op.override = source.overrides is not None
        elif member.prop is None:
            acc = members.inherited_accessor(model, cls, member.name)
            op = body_operation(model, cls, sig, member.body,
                                members.property_message(cls.name, naming.feature_name(acc.prop)), acc.prop)
            op.override = True
        else:
            prop = member.prop
            acc = find_accessor(model, prop, member.name)
            linked = link_shape(model, cls, acc) if member.body.kind == "generated" else None
            if linked is not None:
                op = Operation(sig, linked[0], link=linked[1], element=value_type(prop.type),
                               constant=f"k{cls.name}_{prop.name}End", path=f"zorbel/NSImplementation/{cls.name}Impl")
                if linked[0] in ("refSet", "refSetOnly", "refRemove", "refRemoveOnly", "containerHas", "containerGet",
                                 "containerSet", "containerSetOnly", "containerRemove", "containerRemoveOnly"):
                    op.define = op.constant not in defined
                    defined.add(op.constant)
            elif member.body.kind == "generated":
                shape, target = generated_shape(model, acc)
                op = Operation(sig, shape, target=target)
            else:
                op = body_operation(model, cls, sig, member.body,
                                    members.property_message(cls.name, naming.feature_name(prop)), prop)
            op.accessors = SimpleNamespace(**{a.role: a.name for a in naming.accessors(model, prop)})
            if prop not in documented:
                documented.add(prop)
                op.doc = comment(prop.doc[:1])
        ops.append(op)
    return ops


# -- classes with several bases ------------------------------------------------------

@functools.lru_cache(maxsize=None)
def declared(model, cls):
    """members.declared_members, once per class: the forwarders ask for it over and over."""
    return tuple(members.declared_members(model, cls))


def names_through(model, base):
    """The names of the operations that a base brings: its own blocks and its ancestors'."""
    names = set()
    if base.is_metaclass:
        for c in [base] + hierarchy.ancestors(base):
            names.update(m.name for m in declared(model, c) if m.kind != "deviantPair")
    return names


def declaring_class(model, cls, name):
    """The nearest class in cls's linearisation (cls excluded) that declares `name`,
    and its member."""
    for c in hierarchy.linearisation(cls)[1:]:
        if c.is_metaclass:
            for m in declared(model, c):
                if m.name == name:
                    return c, m
    return None, None


def forwarders(model, cls):
    """The operations that cls declares again because it reaches them over several of
    its bases: each calls the one body along the earliest base that leads to it."""
    if len(cls.bases) < 2:
        return []
    own = {m.name for m in declared(model, cls)}
    through = [names_through(model, b) for b in cls.bases]
    ambiguous = {n for n in set().union(*through) if sum(n in t for t in through) > 1} - own
    found = []
    for owner in hierarchy.linearisation(cls)[1:]:
        if not owner.is_metaclass:
            continue
        for member in declared(model, owner):
            if member.name not in ambiguous or any(f.name == member.name for f in found):
                continue
            decl_cls, decl = declaring_class(model, cls, member.name)
            if decl_cls is not owner:
                continue
            base = next((b for b in cls.bases if b.is_metaclass
                         and declaring_class_from(model, b, member.name) is owner), None)
            if base is None:
                raise MetamodelError(f"{where(cls.file, cls.name)}: no base reaches {owner.name}.{member.name}, "
                                     "the operation nearest in the linearisation")
            op = Operation(member_signature(model, owner, decl), "forward", override=True,
                           target=interface_name(base))
            found.append(op)
    first = interface_name(cls.bases[0])
    for sig, pure in KERNEL_OPERATIONS:
        found.append(Operation(sig, None if pure else "forward", override=True, target=first))
    return found


def declaring_class_from(model, base, name):
    """The class that a call of `name` on base reaches: base itself or the nearest declaring ancestor."""
    if any(m.name == name for m in declared(model, base)):
        return base
    return declaring_class(model, base, name)[0]


# -- views of one class -------------------------------------------------------------------

@dataclass
class Level:
    """One pair getReadDeviantI/getWriteDeviantI, by the interface of its level."""

    interface: str
    conversion: Optional[Conversion] = None  # how an identity turns its state into this level


@dataclass
class LinearEntry:
    interface: str
    path: Optional[List[str]]  # None: the caster of the first-base chain; else the bases after the class


@dataclass
class StateMember:
    kind: str  # value, reference, sequence
    type: str  # the C++ type of the member
    name: str  # fY
    init: Optional[str]
    bit: Optional[int]
    value: str  # the C++ type of one value
    prop: object


@dataclass
class StateOverride:
    shape: str  # hasBit, hasAlways, removeValue, removeReference, setValue, setReference, getValue,
    #             getReference, getSequence
    sig: Signature
    member: StateMember


@dataclass
class CreateOverload:
    params: List[Param]
    setters: List[Tuple[str, str]]  # (setter, argument) in order


@dataclass
class ClassView:
    cls: object
    name: str
    interface: str  # XIntf
    doc: List[str]
    abstract: bool
    bases: List[str]  # the interfaces of the bases, qualified from namespace zorbel
    base_headers: List[str]
    handle_base: str  # the immutable handle of the first base
    handle_header: str
    operations: List[Operation]
    forwarders: List[Operation]
    levels: List[Level]  # the pairs this interface declares (one, or all for several bases)
    using_base: Optional[str]  # the base whose pairs a class with one base brings in
    linearisation: List[LinearEntry]
    forward_types: List[str]
    value_headers: List[str]
    group: str
    has_state: bool
    state_members: List[StateMember] = field(default_factory=list)
    state_overrides: List[StateOverride] = field(default_factory=list)
    presence_count: int = 0
    container_bit: Optional[int] = None
    assign_steps: List[Tuple[str, Optional[StateMember]]] = field(default_factory=list)
    impl_levels: List[Level] = field(default_factory=list)
    create_overload: Optional[CreateOverload] = None
    factory: Optional["FactoryView"] = None
    links: Optional[object] = None  # links.ClassLinks of a class with state


@dataclass
class FactoryOp:
    """One creation operation of the Factory: createX, plain or with required references."""
    cls: str
    params: List[Param]


@dataclass
class FactoryView:
    ops: List[FactoryOp]  # in slot order
    creatable: List[str]  # the classes, by their number in the name table
    values: List[str]  # the enumerations and primitives that follow them, qualified
    names: List[Tuple[str, int]]  # the name table: each key and its number


def group_of(cls):
    """The source a class's code goes to: the catalogue file of its group, in CamelCase."""
    stem = cls.file.replace("\\", "/").rsplit("/", 1)[-1].removesuffix(".json")
    return "".join(capitalise(w) for w in stem.split("_"))


def state_member(prop, bit):
    kind = storage.member_kind(prop)
    t = value_type(prop.type)
    name = "f" + naming.singular_stem(prop)
    if kind == "reference":
        return StateMember("reference", f"detail::CountedRef<{interface_name(prop.type)}>", name, None, bit, t, prop)
    if kind == "multiReference":
        return StateMember("sequence", f"Kelpa::MultiIndexImpl<{t}>", name, None, None, t, prop)
    if kind == "multiValue":
        return StateMember("sequence", f"detail::ValueSequence<{t}>", name, None, None, t, prop)
    return StateMember("value", t, name, member_initialiser(prop), bit, t, prop)


def state_shapes(m):
    """The accessors that a state overrides for a member, with their shapes."""
    prop = m.prop
    if m.kind == "sequence":
        return [("getAll", "getSequence"), ("getAllWithoutAssociation", "getSequence")]
    if m.kind == "reference":
        shapes = [("remove", "removeReference"), ("set", "setReference"), ("get", "getReference")]
        return ([("has", "hasBit")] if m.bit is not None else []) + shapes
    if m.bit is not None:
        return [("has", "hasBit"), ("remove", "removeValue"), ("set", "setValue"), ("get", "getValue")]
    if prop.type.is_enumeration:
        return [("has", "hasAlways"), ("remove", "removeValue"), ("set", "setValue"), ("get", "getValue")]
    return [("set", "setValue"), ("get", "getValue")]


# Bits in Kelpa::PresenceBits, which Kelpa::ElementState holds for every state.
PRESENCE_CAPACITY = 16


def assign_step(m):
    """The step of a state assignment that copies member m."""
    if m.kind == "sequence":
        return "sequence"
    if m.kind == "reference":
        return "requiredRef" if m.bit is None else "optionalRef"
    return "required" if m.bit is None else "optional"


def state_view(model, cls):
    members_, overrides, steps = [], [], []
    bits = storage.presence_bits(cls)
    for member in storage.storage_members(cls):
        if member.prop is None:
            if member.kind == "model":  # the kernel's steps, model and container among them
                steps.append(("kernel", None))
            continue
        m = state_member(member.prop, member.bit)
        members_.append(m)
        steps.append((assign_step(m), m))
        for role, shape in state_shapes(m):
            acc = naming.Accessor(role, naming.accessor_name(member.prop, role), member.prop)
            overrides.append(StateOverride(shape, accessor_signature(acc), m))
    container = next(m.bit for m in storage.storage_members(cls) if m.kind == "container")
    if len(bits) > PRESENCE_CAPACITY:
        raise ValueError(f"{cls.name}: {len(bits)} presence bits, more than the "
                         f"{PRESENCE_CAPACITY} that Kelpa::PresenceBits holds")
    return members_, overrides, len(bits), container, steps


def levels_of(cls):
    """The metaclass levels of an interface's pairs: the class and every ancestor."""
    return [cls] + hierarchy.ancestors(cls)


def impl_levels(cls):
    """The pairs an identity overrides, with the conversion of its state to each level."""
    levels = []
    for c in hierarchy.linearisation(cls):
        if c.is_metaclass:
            levels.append(Level(interface_name(c), None if c is cls else conversion(cls, c)))
    return levels


def create_overload(model, cls):
    props = creation.create_overloads(model).get(cls)
    if not props:
        return None
    params = [Param(value_type(p.type), parameter_name(p.name)) for p in props]
    setters = [(naming.accessor_name(p, "set"), param.name) for p, param in zip(props, params)]
    return CreateOverload(params, setters)


def factory_view(model):
    ops = []
    for cls, with_references in creation.factory_create_operations(model):
        params = create_overload(model, cls).params if with_references else []
        ops.append(FactoryOp(cls.name, params))
    order = creation.factory_order(model)
    creatable = [t.name for t in order if t.is_metaclass]
    values = [f"{model.package}.{t.name}" for t in order if not t.is_metaclass]
    return FactoryView(ops, creatable, values, sorted(creation.factory_name_table(model).items()))


def class_view(model, cls):
    metabases = hierarchy.metaclass_bases(cls)
    operations = own_operations(model, cls)
    fwd = forwarders(model, cls)
    several = len(cls.bases) > 1
    if several:
        levels = [Level(interface_name(c)) for c in levels_of(cls)]
        levels += [Level("Kelpa::NSInterface::ClassObjectIntf"), Level("Kelpa::NSInterface::ObjectIntf")]
    else:
        levels = [Level(interface_name(cls))]
    texts = []
    for op in operations + fwd:
        texts += op.sig.type_texts()
    if cls.concrete and not storage.derives_from_kernel(cls, storage.FACTORY_ROOT):
        overload = create_overload(model, cls)
        if overload:
            texts += [p.type for p in overload.params]
    else:
        overload = None
    factory = factory_view(model) if storage.derives_from_kernel(cls, storage.FACTORY_ROOT) else None
    if factory:
        texts += [op.cls for op in factory.ops] + [p.type for op in factory.ops for p in op.params]
        texts += ["String", "Integer"]
    referenced = [t for t in named_types(texts) if t not in (cls.name, "Immutable" + cls.name)]
    values = [t for t in referenced if t in VALUE_TYPES or t in model.enumerations]
    has_state = cls in storage.state_classes(model)
    view = ClassView(
        cls=cls, name=cls.name, interface=cls.name + "Intf", doc=comment(cls.doc[:1]), abstract=cls.abstract,
        bases=[interface_name(b) for b in cls.bases],
        base_headers=[f"zorbel/NSInterface/{b.name}Intf.h" for b in metabases],
        handle_base=("Immutable" + metabases[0].name) if metabases else "Kelpa::ImmutableClassObject",
        handle_header=(f"zorbel/{metabases[0].name}.h" if metabases else "Kelpa/Handles.h"),
        operations=operations, forwarders=fwd, levels=levels,
        using_base=None if several else interface_name(cls.bases[0]),
        linearisation=[LinearEntry(interface_name(c), conversion(cls, c).path) for c in hierarchy.linearisation(cls)],
        forward_types=referenced, value_headers=[f"zorbel/{t}.h" for t in values],
        group=group_of(cls), has_state=has_state, create_overload=overload, factory=factory,
    )
    if has_state:
        (view.state_members, view.state_overrides, view.presence_count,
         view.container_bit, view.assign_steps) = state_view(model, cls)
        view.impl_levels = impl_levels(cls)
        view.links = links.class_links(model, cls)
    return view


# -- the package as a whole -----------------------------------------------------------------

def class_views(model):
    return [class_view(model, cls) for cls in model.metaclasses.values()]


def groups(views):
    """The views by the source they go to, in the order of their first class's type id."""
    by_group = {}
    for view in views:
        by_group.setdefault(view.group, []).append(view)
    return by_group


def bound_names(model):
    """The visitor names of every interface, in the order of the binder: "zorbel.ImmutableX",
    then "zorbel.X", class by class."""
    found = []
    for cls in creation.leading_last(model, model.metaclasses.values()):
        found.append((f"{model.package}.Immutable{cls.name}", interface_name(cls)))
        found.append((f"{model.package}.{cls.name}", interface_name(cls)))
    return found


def value_sequence_types(model):
    """The value types that a stored multi-valued property holds."""
    found = []
    for prop in model.all_properties():
        if storage.is_stored(prop) and storage.member_kind(prop) == "multiValue" and prop.type.name not in found:
            found.append(prop.type.name)
    return sorted(found)


# -- the generated tests ---------------------------------------------------------------------

def creatable(model, t):
    """The first class in the Factory's order whose elements are of type t and can be
    created, or None."""
    states = storage.state_classes(model)
    for cls in creation.leading_last(model, model.metaclasses.values()):
        if cls in states and hierarchy.conforms(cls, t):
            return cls
    return None


def partner(model, t):
    """An expression that creates a new element of type t in `model`, or None if no class
    makes such elements."""
    cls = creatable(model, t)
    if cls is None:
        return None
    made = f"{cls.name}::create(model)"
    return made if cls is t else f"{t.name}({made})"


def sample_value(prop, number):
    """A value of a property's type that differs from its initial value; number makes it
    differ from the other properties' too where the type allows."""
    t = prop.type
    if t.is_enumeration:
        initial = storage.initial_value(prop)
        other = t.literals[1] if initial == t.literals[0] else t.literals[0]
        return f"{t.name}({enumeration_literal(t, other)})"
    if t.name == "String":
        return f'String("{prop.qualified}")'
    if t.name == "Boolean":
        return "Boolean(false)" if storage.initial_value(prop) == "true" else "Boolean(true)"
    if t.name == "Integer":
        return f"Integer({1000 + number})"
    return f"UnlimitedNatural({2000 + number}u)"


@dataclass
class SweepCheck:
    kind: str  # value, reference, sequence, emptySequence
    name: str  # Class.property
    type: str
    accessors: SimpleNamespace
    prop: str = ""  # the property's own name, as reflection finds it
    owner: str = ""  # the class that declares it
    hidden: bool = False  # a property of a more specific class has the same name
    required: bool = False  # lower bound 1: reflection answers has at once
    presence: Optional[str] = None  # of a value: optional, required, requiredRemoved
    initial: Optional[str] = None
    sample: Optional[str] = None
    first: Optional[str] = None  # a partner, or the first value of a sequence
    second: Optional[str] = None
    composite: bool = False  # a contained value: it leaves the model's root objects when set

    @property
    def counted_step(self):
        """How the partner's count moves when it is set: our state's count, less the root
        objects' for a value that the element contains."""
        return 0 if self.composite else 1

    @property
    def present_after_remove(self):
        return "false" if self.presence == "optional" else "true"

    @property
    def removed(self):
        """The value after a removal: a required primitive keeps its value."""
        return self.sample if self.presence == "required" else f"{self.type}()"


@dataclass
class Partner:
    name: str
    type: str
    made: str


def sweep_checks(model, cls):
    """One check per stored property of a class's elements, in storage order, and the
    partners that the checks of references use."""
    checks, partners = [], []

    def new_partner(t):
        made = partner(model, t)
        if made is None:
            return None
        partners.append(Partner(f"p{len(partners) + 1}", value_type(t), made))
        return partners[-1].name

    for number, member in enumerate(m for m in storage.storage_members(cls) if m.prop is not None):
        prop = member.prop
        start = len(checks)
        names = SimpleNamespace(**{role: naming.accessor_name(prop, role) for role in naming.FAMILIES["full"]
                                   + naming.FAMILIES["multiValued"]})
        t = value_type(prop.type)
        kind = storage.member_kind(prop)
        if kind == "multiReference":
            first = new_partner(prop.type)
            if first is None:
                checks.append(SweepCheck("emptySequence", prop.qualified, t, names))
            else:
                checks.append(SweepCheck("sequence", prop.qualified, t, names, first=first,
                                         second=new_partner(prop.type)))
        elif kind == "multiValue":
            first, second = (("Boolean(true)", "Boolean(false)") if t == "Boolean"
                             else ('String("first")', 'String("second")'))
            checks.append(SweepCheck("sequence", prop.qualified, t, names, first=first, second=second))
        elif kind == "reference":
            first = new_partner(prop.type)
            if first is None:
                raise MetamodelError(f"{where(cls.file, cls.name, prop.name)}: a reference of a type that no class makes")
            checks.append(SweepCheck("reference", prop.qualified, t, names, first=first, composite=prop.composite))
        else:
            presence = ("optional" if member.bit is not None
                        else "requiredRemoved" if prop.type.is_enumeration else "required")
            init = member_initialiser(prop)
            checks.append(SweepCheck("value", prop.qualified, t, names, presence=presence,
                                     initial=f"{t}({init})" if init else f"{t}()",
                                     sample=sample_value(prop, number)))
        for check in checks[start:]:
            check.prop, check.owner, check.required = prop.name, prop.owner.name, prop.lower == 1
            check.hidden = any(c is not prop.owner and c.own(prop.name) is not None
                               and prop.owner in hierarchy.ancestors(c)
                               for c in [cls] + hierarchy.ancestors(cls))
    return checks, partners


@dataclass
class OverloadCheck:
    arguments: List[Tuple[str, str, str]]  # (type, creation, getter)
    available: bool  # false while an argument is an end kept by the container


def overload_check(model, cls):
    props = creation.create_overloads(model).get(cls)
    if not props:
        return None
    arguments = [(value_type(p.type), partner(model, p.type), naming.accessor_name(p, "get")) for p in props]
    if any(made is None for _, made, _ in arguments):
        raise MetamodelError(f"{where(cls.file, cls.name)}: a required reference of a type that no class makes")
    return OverloadCheck(arguments, all(storage.is_stored(p) for p in props))


@dataclass
class CastCheck:
    interface: str
    at: str  # same: the object's own address; static: where the compiler puts it; other: elsewhere


def cast_checks(cls):
    """What a cast to each class of the linearisation must give: the address of the object
    on the first-base chain, the address that a static conversion gives where that is
    unambiguous, another address otherwise."""
    checks = []
    for c in hierarchy.linearisation(cls):
        if conversion(cls, c).path is None:
            checks.append(CastCheck(interface_name(c), "same"))
        else:
            checks.append(CastCheck(interface_name(c), "static" if path_count(cls, c) == 1 else "other"))
    return checks


@dataclass
class SweepClass:
    name: str
    interface: str
    checks: List[SweepCheck]
    partners: List[Partner]
    casts: List[CastCheck]  # the classes of the linearisation
    overload: Optional[OverloadCheck]


def sweep_groups(model):
    """The concrete classes with state, by group, with what the sweep checks of them."""
    by_group = {}
    for cls in storage.state_classes(model):
        checks, partners = sweep_checks(model, cls)
        view = SweepClass(cls.name, interface_name(cls), checks, partners, cast_checks(cls),
                          overload_check(model, cls))
        by_group.setdefault(group_of(cls), []).append(view)
    return by_group


# -- the sweep of the stubs ---------------------------------------------------------------

def effective_member(model, cls, name):
    """The class whose body a call of `name` on an element of cls runs, and its member:
    the nearest declaration in cls's linearisation (the forwarders of a class with several
    bases lead there too)."""
    for c in hierarchy.linearisation(cls):
        if c.is_metaclass:
            for m in declared(model, c):
                if m.name == name and m.kind != "deviantPair":
                    return c, m
    return None, None


def argument(type_text):
    """A default-constructed argument of a parameter type as a signature writes it."""
    return type_text.removeprefix("const ").removesuffix("&") + "()"


# Each reflective operation of the kernel on an element, with the function of the record
# it comes out at for a single-valued and for a multi-valued property.
REFLECTIVE_OPERATIONS = (
    ("get", "getSingleValued", "getMultiValued"),
    ("has", "hasSingleValued", "getOnlyMultiValued"),
    ("setOrAdd", "setSingleValued", "getMultiValued"),
    ("setOrAddOnly", "setOnlySingleValued", "getOnlyMultiValued"),
    ("remove", "removeSingleValued", "getMultiValued"),
    ("removeOnly", "removeOnlySingleValued", "getOnlyMultiValued"),
)
RECORD_CALL = re.compile(r"self->(\w+)\(")


@functools.lru_cache(maxsize=None)
def record_cases(model, cls):
    return meta.class_meta(model, cls).cases


def record_reaches(model, prop):
    """The accessor that each reflective operation reaches through the record of the
    property's class, by operation; an operation without a case for it is left out."""
    cases = record_cases(model, prop.owner)
    reached = {}
    for operation, single, multi in REFLECTIVE_OPERATIONS:
        case = next((k for k in cases[multi if prop.multi else single] if k.index == prop.index), None)
        called = RECORD_CALL.search(case.code) if case else None
        if called:
            reached[operation] = called.group(1)
    return reached


@dataclass
class StubCall:
    stub: int  # the row of the table of stubs
    function: str  # the function that raises, or the reflective operation
    call: str  # the C++ statement
    reached: str = ""  # of a reflective call: the accessor the record calls
    property: str = ""  # of a reflective call: Class.property, by its declaring class


@dataclass
class StubClass:
    name: str
    calls: List[StubCall]  # every raising function of the class, through its interface
    reflective: List[StubCall]  # its stubbed properties through the kernel's reflection
    properties: List[Tuple[str, str, str]]  # (variable, declaring class, property) of the reflective calls


def stub_class(model, cls, table, rows):
    calls, reflective, properties = [], [], []
    seen = set()
    stubbed = {}  # property stub row -> the raising functions the class has
    for c in hierarchy.linearisation(cls):
        if not c.is_metaclass:
            continue
        for m in declared(model, c):
            if m.kind == "deviantPair" or m.name in seen:
                continue
            seen.add(m.name)
            owner, member = effective_member(model, cls, m.name)
            if member.body.kind != "stub":
                continue
            row = rows.get((owner.name, m.name))
            if row is None:
                raise MetamodelError(f"{where(owner.file, owner.name)}: {m.name} raises, "
                                     "and the table of stubs does not know it")
            sig = member_signature(model, owner, member)
            args = "".join(", " + argument(p.type) for p in sig.params)
            void = "" if sig.result == "void" else "(void)"
            calls.append(StubCall(row, m.name, f"{void}x->{m.name}(root{args})"))
            if table[row].kind == "property":
                stubbed.setdefault(row, set()).add(m.name)
    for row, functions in stubbed.items():
        prop = table[row].prop
        var = f"p{len(properties) + 1}"
        if prop.multi or prop.type.is_metaclass:
            value = "Kelpa::Object()"  # a null handle for a reference; a sequence raises before
        else:
            value = f"Kelpa::Object({value_type(prop.type)}())"
        for operation, reached in record_reaches(model, prop).items():
            if reached not in functions:
                continue  # the record calls an accessor with a body of its own
            void = "(void)" if operation in ("get", "has") else ""
            # removeOnly of the element takes a value, which a single-valued property ignores.
            value_arg = f", {value}" if operation.startswith("set") or operation == "removeOnly" else ""
            reflective.append(StubCall(row, operation, f"{void}x->{operation}(root, {var}{value_arg})", reached,
                                      prop.qualified))
        if any(k.stub == row for k in reflective):
            properties.append((var, prop.owner.name, prop.name))
    return StubClass(cls.name, calls, reflective, properties)


@dataclass
class StubGroup:
    classes: List[StubClass]
    pairs: int  # the (class, raising function) pairs of the group, counted from the table

    @property
    def reflective(self):
        return sum(len(c.reflective) for c in self.classes)


def stub_pairs(model, table, cls):
    """How many raising functions of the table an element of cls has, counted from the
    table: each function of each stub that the class does not override."""
    return sum(effective_member(model, cls, raiser)[0] is stub.cls
               for stub in table for raiser in stub.raisers)


def stub_sweep(model):
    """The table of stubs, and by group the concrete classes with state that have a
    raising function, each with its calls."""
    table = members.stubs(model)
    rows = {(stub.cls.name, raiser): i for i, stub in enumerate(table) for raiser in stub.raisers}
    by_group = {}
    for cls in storage.state_classes(model):
        group = by_group.setdefault(group_of(cls), StubGroup([], 0))
        view = stub_class(model, cls, table, rows)
        if view.calls:
            group.classes.append(view)
        group.pairs += stub_pairs(model, table, cls)
    return table, {name: group for name, group in by_group.items() if group.classes or group.pairs}

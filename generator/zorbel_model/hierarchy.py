"""Walks over the class tree: ancestors, chains, linearisation, joins."""

from collections import deque

from .model import MetamodelError


def metaclass_bases(cls):
    """The declared bases that are metaclasses, in declaration order."""
    return [b for b in cls.bases if b.is_metaclass]


def ancestors(cls):
    """Every metaclass reached through the bases, each once, depth first."""
    seen = []
    stack = list(reversed(metaclass_bases(cls)))
    while stack:
        base = stack.pop()
        if base in seen:
            continue
        seen.append(base)
        stack.extend(reversed(metaclass_bases(base)))
    return seen


def is_ancestor(ancestor, cls):
    return ancestor in ancestors(cls)


def conforms(cls, to):
    """True if cls is `to` or one of its descendants."""
    return cls is to or is_ancestor(to, cls)


def first_base_chain(cls):
    """The class, its first base, that one's first base and so on, metaclasses only."""
    chain = [cls]
    while chain[-1].bases and chain[-1].bases[0].is_metaclass:
        chain.append(chain[-1].bases[0])
    return chain


def storage_walk(cls):
    """The class and its ancestors in our storage order: depth first, bases in
    declaration order, each class once. The first-base chain comes first."""
    walk = []

    def visit(c):
        if c in walk:
            return
        walk.append(c)
        for base in metaclass_bases(c):
            visit(base)

    visit(cls)
    return walk


def linearisation(cls):
    """The class, then each ancestor (kernel classes included) once and after
    all of its descendants among them.

    A first-in-first-out walk: a base is queued when the last of its
    descendants within the set has been emitted, bases in declaration order.
    """
    nodes = [cls]
    i = 0
    while i < len(nodes):
        for base in nodes[i].bases:
            if base not in nodes:
                nodes.append(base)
        i += 1
    waiting = {id(n): 0 for n in nodes}
    for node in nodes:
        for base in node.bases:
            waiting[id(base)] += 1
    order = []
    queue = deque([cls])
    while queue:
        node = queue.popleft()
        order.append(node)
        for base in node.bases:
            waiting[id(base)] -= 1
            if waiting[id(base)] == 0:
                queue.append(base)
    if len(order) != len(nodes):
        raise MetamodelError(f"class {cls.name}: the bases form a cycle")
    return order


def joined_ancestors(cls):
    """Ancestors that cls reaches through two or more of its direct bases.

    Their operations are ambiguous in cls's interface, which therefore
    redeclares them with a forwarder to the one body.
    """
    reach = {}
    for base in cls.bases:
        reachable = [base] + (ancestors(base) if base.is_metaclass else [])
        for a in reachable:
            if a.is_metaclass:
                reach.setdefault(a, set()).add(id(base))
    return [a for a in ancestors(cls) if len(reach.get(a, ())) > 1]


def declaring_classes(cls, name):
    """The classes among cls and its ancestors that declare a property `name`,
    without those hidden by a declaration in a descendant among them."""
    found = [c for c in [cls] + ancestors(cls) if c.own(name) is not None]
    return [c for c in found if not any(d is not c and is_ancestor(c, d) for d in found)]


def resolve_feature(cls, ref, place):
    """The property that `ref` names in cls: "name" for the nearest declaration,
    or "Class.name" for the declaration of that class (cls or an ancestor)."""
    if "." in ref:
        owner_name, _, name = ref.partition(".")
        for c in [cls] + ancestors(cls):
            if c.name == owner_name:
                prop = c.own(name)
                if prop is None:
                    raise MetamodelError(f"{place}: {owner_name} has no property {name}")
                return prop
        raise MetamodelError(f"{place}: {owner_name} is not {cls.name} or one of its ancestors")
    owners = declaring_classes(cls, ref)
    if not owners:
        raise MetamodelError(f"{place}: {cls.name} has no property {ref}")
    if len(owners) > 1:
        names = ", ".join(f"{o.name}.{ref}" for o in owners)
        raise MetamodelError(f"{place}: {ref} is ambiguous in {cls.name} ({names}); qualify it")
    return owners[0].own(ref)

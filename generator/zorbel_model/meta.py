"""The records that describe the metamodel to the kernel: one descriptor per
property and the parent list of each metaclass."""

from dataclasses import dataclass
from typing import Optional, Tuple

from . import storage

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

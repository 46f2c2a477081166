"""The metamodel of zorbel as Python objects, and every rule that the code
generator needs: names, orders, storage, ends, creation and the hand-maintained
features.

    from zorbel_model import load_metamodel
    model = load_metamodel("metamodel")
"""

from .load import load_metamodel
from .model import (
    Body, EndRecord, Enumeration, HandProperty, KernelClass, Metaclass, Metamodel, MetamodelError,
    Operation, Primitive, Property, TypeTable,
)

__all__ = [
    "load_metamodel", "Body", "EndRecord", "Enumeration", "HandProperty", "KernelClass", "Metaclass",
    "Metamodel", "MetamodelError", "Operation", "Primitive", "Property", "TypeTable",
]

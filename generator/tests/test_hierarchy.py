"""Linearisation, storage walk and the ancestors that several bases join."""

import unittest

from zorbel_model import hierarchy

from .support import model

KERNEL_TAIL = ["ClassObjectIntf", "ObjectIntf", "ReferenceCountingIntf"]


def interfaces(name):
    return [c.interface for c in hierarchy.linearisation(model().metaclass(name))]


class Linearisation(unittest.TestCase):
    def test_leaf_and_root(self):
        self.assertEqual(interfaces("Comment"), ["CommentIntf", "ElementIntf"] + KERNEL_TAIL)
        self.assertEqual(interfaces("Element"), ["ElementIntf"] + KERNEL_TAIL)

    def test_two_bases(self):
        self.assertEqual(interfaces("Property"), [
            "PropertyIntf", "StructuralFeatureIntf", "ConnectableElementIntf", "FeatureIntf",
            "MultiplicityElementIntf", "TypedElementIntf", "RedefinableElementIntf", "NamedElementIntf",
            "ElementIntf"] + KERNEL_TAIL)

    def test_repeated_bases(self):
        self.assertEqual(interfaces("Class"), [
            "ClassIntf", "BehavioredClassifierIntf", "EncapsulatedClassifierIntf", "StructuredClassifierIntf",
            "ClassifierIntf", "RedefinableElementIntf", "NamespaceIntf", "TypeIntf", "PackageableElementIntf",
            "NamedElementIntf", "ElementIntf"] + KERNEL_TAIL)

    def test_factory_ends_with_the_kernel_factory(self):
        self.assertEqual(interfaces("Factory"), ["FactoryIntf", "FactoryObjectIntf"] + KERNEL_TAIL)

    def test_every_class(self):
        for cls in model().metaclasses.values():
            order = hierarchy.linearisation(cls)
            self.assertIs(order[0], cls)
            self.assertEqual(len(order), len(set(map(id, order))), cls.name)
            metaclasses = [c for c in order if c.is_metaclass]
            self.assertEqual(set(metaclasses[1:]), set(hierarchy.ancestors(cls)), cls.name)
            self.assertEqual(order[:len(metaclasses)], metaclasses, f"{cls.name}: kernel classes come last")
            self.assertEqual([c.interface for c in order[-3:]], KERNEL_TAIL, cls.name)
            for position, c in enumerate(order):
                for base in c.bases:
                    self.assertGreater(order.index(base), position, f"{cls.name}: {base.name} before {c.name}")


class Walks(unittest.TestCase):
    def test_storage_walk_starts_with_the_first_base_chain(self):
        walk = [c.name for c in hierarchy.storage_walk(model().metaclass("Property"))]
        self.assertEqual(walk, ["Property", "StructuralFeature", "Feature", "RedefinableElement", "NamedElement",
                                "Element", "TypedElement", "MultiplicityElement", "ConnectableElement"])

    def test_first_base_chain(self):
        chain = [c.name for c in hierarchy.first_base_chain(model().metaclass("Pin"))]
        self.assertEqual(chain, ["Pin", "ObjectNode", "ActivityNode", "RedefinableElement", "NamedElement", "Element"])


class JoinedAncestors(unittest.TestCase):
    def joined(self, ancestor):
        a = model().metaclass(ancestor)
        return sorted(c.name for c in model().metaclasses.values() if a in hierarchy.joined_ancestors(c))

    def test_element_is_joined_in_every_class_with_several_bases(self):
        several = sorted(c.name for c in model().metaclasses.values() if len(c.bases) > 1)
        self.assertEqual(self.joined("Element"), several)

    def test_named_element(self):
        self.assertEqual(self.joined("NamedElement"), [
            "AssociationClass", "BehavioralFeature", "Class", "Classifier", "Interaction", "InteractionOperand",
            "MessageOccurrenceSpecification", "ObjectNode", "Package", "Property", "StructuralFeature",
            "ValueSpecification"])

    def test_namespace_and_classifier(self):
        self.assertEqual(self.joined("Namespace"), ["AssociationClass", "Class"])
        self.assertEqual(self.joined("Classifier"), ["AssociationClass", "Class"])

"""State classes: what is stored, in which order, presence bits, first values."""

import unittest

from zorbel_model import storage

from .support import model


def members(name):
    return storage.storage_members(model().metaclass(name))


class StoredOrNot(unittest.TestCase):
    def test_reasons(self):
        m = model()
        self.assertEqual(storage.storage_reason(m.prop("Element.owner")), "derivedUnion")
        self.assertEqual(storage.storage_reason(m.prop("NamedElement.qualifiedName")), "derived")
        self.assertEqual(storage.storage_reason(m.prop("Property.class")), "container")
        self.assertEqual(storage.storage_reason(m.prop("Package.nestingPackage")), "container")
        self.assertEqual(storage.storage_reason(m.prop("ElementImport.importingNamespace")), "container")
        self.assertEqual(storage.storage_reason(m.prop("Property.association")), "stored")
        self.assertEqual(storage.storage_reason(m.prop("Class.ownedAttribute")), "stored")


class Order(unittest.TestCase):
    def test_property(self):
        expected = [
            # own
            "isDerived", "isReadOnly", "isDerivedUnion", "aggregation", "redefinedProperty", "defaultValue",
            "subsettedProperty", "association", "qualifier",
            "isReadOnly",  # StructuralFeature
            "isStatic",  # Feature
            "isLeaf",  # RedefinableElement
            "name", "visibility", "clientDependency",  # NamedElement
            "ownedComment",  # Element
            "model", "container",
            "type",  # TypedElement
            "isOrdered", "isUnique", "upperValue", "lowerValue",  # MultiplicityElement
        ]
        self.assertEqual([m.name for m in members("Property")], expected)

    def test_a_property_met_twice_is_stored_once(self):
        for cls in storage.state_classes(model()):
            props = [m.prop for m in storage.storage_members(cls) if m.prop is not None]
            self.assertEqual(len(props), len(set(map(id, props))), cls.name)

    def test_factory_has_no_state(self):
        self.assertEqual(members("Factory"), [])


class PresenceBits(unittest.TestCase):
    def test_property(self):
        with_bit = [(m.name, m.bit) for m in members("Property") if m.bit is not None]
        self.assertEqual(with_bit, [("defaultValue", 0), ("association", 1), ("name", 2), ("visibility", 3),
                                    ("container", 4), ("type", 5), ("upperValue", 6), ("lowerValue", 7)])

    def test_only_optional_single_values_and_the_container(self):
        for cls in storage.state_classes(model()):
            for m in storage.storage_members(cls):
                if m.prop is None:
                    self.assertEqual(m.bit is not None, m.kind == "container", cls.name)
                else:
                    self.assertEqual(m.bit is not None, m.prop.lower == 0 and not m.prop.multi, m.prop.qualified)

    def test_required_reference_and_string_have_none(self):
        self.assertIsNone(next(m for m in members("ActionExecutionSpecification") if m.name == "action").bit)
        self.assertIsNone(next(m for m in members("Package") if m.name == "URI").bit)


class FirstValues(unittest.TestCase):
    def value(self, qualified):
        return storage.initial_value(model().prop(qualified))

    def test_values(self):
        self.assertEqual(self.value("Package.URI"), "")  # a string starts empty, whatever its default
        self.assertEqual(self.value("MultiplicityElement.isUnique"), "true")
        self.assertEqual(self.value("MultiplicityElement.isOrdered"), "false")
        self.assertEqual(self.value("Generalization.isSubstitutable"), "false")
        self.assertEqual(self.value("LiteralInteger.value"), "0")
        self.assertEqual(self.value("TimeConstraint.firstEvent"), "true")
        self.assertEqual(self.value("NamedElement.visibility"), "public")
        self.assertEqual(self.value("Property.aggregation"), "none")
        self.assertIsNone(self.value("GeneralOrdering.before"))

    def test_descriptor_default_keeps_the_text(self):
        self.assertEqual(storage.descriptor_default(model().prop("Package.URI")), "false")
        self.assertEqual(storage.descriptor_default(model().prop("Comment.body")), "")

    def test_member_kinds(self):
        kinds = {m.name: m.kind for m in members("OpaqueExpression")}
        self.assertEqual((kinds["body"], kinds["behavior"], kinds["name"], kinds["visibility"]),
                         ("multiValue", "reference", "string", "enumeration"))

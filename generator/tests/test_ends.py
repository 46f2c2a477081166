"""The ends kept by the getYs sequences, and the contributors of the unions."""

import unittest

from zorbel_model import ends

from .support import model


def end(cls, prop):
    m = model()
    cls = m.metaclass(cls)
    found = ends.getys_end(m, cls, m.prop(prop))
    return None if found is None else (found.record.name, found.index, found.name)


def contributors(cls, union):
    m = model()
    return [p.qualified for p in ends.union_contributors(m, m.metaclass(cls), m.prop(union))]


class GetYsEnds(unittest.TestCase):
    def test_navigable_opposite(self):
        self.assertEqual(end("Activity", "Activity.edge"), ("ActivityEdge", 1, "activity"))
        self.assertEqual(end("Class", "Class.ownedAttribute"), ("Property", 7, "class"))

    def test_composites_without_navigable_opposite(self):
        self.assertEqual(end("Package", "Package.packagedElement"), ("NamedElement", 4, "namespace"))
        self.assertEqual(end("Element", "Element.ownedComment"), ("Element", 2, "owner"))
        self.assertEqual(end("Stereotype", "Stereotype.icon"), ("ClassObject", 3, "container"))
        self.assertEqual(end("Signal", "Signal.ownedAttribute"), ("Feature", 2, "featuringClassifier"))

    def test_inherited_and_odd(self):
        self.assertEqual(end("Association", "Association.memberEnd"), ("Property", 14, "association"))
        self.assertEqual(end("Extension", "Association.memberEnd"), ("Property", 9, "owningAssociation"))
        self.assertEqual(end("AssociationClass", "Association.memberEnd"), ("Property", 14, "association"))
        self.assertEqual(end("Operation", "Operation.precondition"), ("Constraint", 3, "context"))
        self.assertEqual(end("Activity", "Behavior.precondition"), ("ClassObject", 3, "container"))

    def test_plain_reference_has_none(self):
        self.assertIsNone(end("Comment", "Comment.annotatedElement"))
        self.assertIsNone(end("OpaqueExpression", "OpaqueExpression.body"))

    def test_composites_not_in_the_table_take_the_rule(self):
        self.assertEqual(end("Classifier", "Classifier.ownedUseCase"), ("NamedElement", 4, "namespace"))
        self.assertEqual(end("BehavioralFeature", "BehavioralFeature.ownedParameter"), ("NamedElement", 4, "namespace"))
        self.assertEqual(end("Profile", "Profile.metaclassReference"), ("ClassObject", 3, "container"))

    def test_where_the_table_departs_from_the_rule(self):
        found = sorted((d.cls.name, d.prop.name, d.odd) for d in ends.getys_end_differences(model()))
        self.assertEqual(found, [
            ("Association", "navigableOwnedEnd", True), ("Extension", "memberEnd", True),
            ("Interface", "ownedReception", False), ("Operation", "postcondition", True),
            ("Operation", "precondition", True), ("Signal", "ownedAttribute", False),
            ("StructuredClassifier", "ownedConnector", False)])


class Unions(unittest.TestCase):
    def test_count(self):
        self.assertEqual(len(ends.unions(model())), 22)

    def test_owned_element_rows(self):
        self.assertEqual(contributors("Comment", "Element.ownedElement"), ["Element.ownedComment"])
        self.assertEqual(contributors("Property", "Element.ownedElement"),
                         ["Element.ownedComment", "MultiplicityElement.upperValue", "MultiplicityElement.lowerValue",
                          "Property.defaultValue", "Property.qualifier"])
        interaction = contributors("Interaction", "Element.ownedElement")
        self.assertEqual(interaction[13:], ["Behavior.ownedParameter", "Interaction.formalGate", "Interaction.lifeline",
                                            "Interaction.message", "Interaction.fragment",
                                            "BehavioredClassifier.interfaceRealization", "Interaction.action"])
        self.assertIn("Class.ownedAttribute", interaction)
        self.assertNotIn("StructuredClassifier.ownedAttribute", interaction)

    def test_the_nearest_declaration_is_named(self):
        self.assertEqual(contributors("DurationConstraint", "Element.ownedElement"),
                         ["Element.ownedComment", "DurationConstraint.specification"])
        self.assertEqual(contributors("Operation", "Namespace.ownedMember"),
                         ["Namespace.ownedRule", "Operation.ownedParameter"])

    def test_classes_without_a_row_take_their_bases(self):
        self.assertEqual(contributors("Model", "Element.ownedElement"), contributors("Package", "Element.ownedElement"))
        self.assertEqual(contributors("Pin", "Element.ownedElement"),
                         ["Element.ownedComment", "MultiplicityElement.upperValue", "MultiplicityElement.lowerValue"])
        self.assertEqual(contributors("ExtensionEnd", "RedefinableElement.redefinedElement"), ["Property.redefinedProperty"])
        self.assertEqual(contributors("AssociationClass", "Classifier.feature")[-1], "Association.ownedEnd")
        self.assertEqual(contributors("Generalization", "Relationship.relatedElement"), [])

    def test_own_composites_are_appended_where_no_row_is_given(self):
        self.assertEqual(contributors("SendObjectAction", "Element.ownedElement"),
                         ["Element.ownedComment", "InvocationAction.argument", "SendObjectAction.target",
                          "SendObjectAction.request"])
        self.assertEqual(contributors("CreateLinkAction", "Element.ownedElement"),
                         ["Element.ownedComment", "LinkAction.inputValue"])  # endData ends at the container

    def test_member_reads_the_imported_members_after_the_stored(self):
        imported, inherited = "Namespace.importedMember", "Classifier.inheritedMember"
        for cls in ("Namespace", "Package"):
            self.assertEqual(contributors(cls, "Namespace.member")[-1], imported, cls)
        for cls in ("Classifier", "Class", "Association", "Extension"):
            self.assertEqual(contributors(cls, "Namespace.member")[-2:], [imported, inherited], cls)
        self.assertNotIn(imported, contributors("AssociationClass", "Namespace.member"))

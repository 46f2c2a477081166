"""Accessor names: plurals, qualification, readers and families."""

import unittest

from zorbel_model import members, naming

from .support import model

QUALIFIED = [
    "Class.isAbstract", "Class.ownedAttribute", "CreateLinkAction.endData", "DestroyLinkAction.endData",
    "DurationConstraint.specification", "DurationInterval.min", "DurationInterval.max",
    "ExecutionOccurrenceSpecification.event", "ExtensionEnd.lower", "ExtensionEnd.type", "Extension.ownedEnd",
    "IntervalConstraint.specification", "OccurrenceSpecification.covered", "Operation.ownedParameter",
    "Operation.raisedException", "PackageableElement.visibility", "Property.isReadOnly", "StateInvariant.covered",
    "TimeConstraint.specification", "TimeInterval.max", "TimeInterval.min",
]


def accessor_names(qualified):
    return [a.name for a in naming.accessors(model(), model().prop(qualified))]


class Plurals(unittest.TestCase):
    def test_rules(self):
        self.assertEqual(naming.pluralise("ClientDependency"), "ClientDependencies")
        self.assertEqual(naming.pluralise("CoveredBy"), "CoveredBies")
        self.assertEqual(naming.pluralise("Class"), "Classes")
        self.assertEqual(naming.pluralise("Required"), "Required")
        self.assertEqual(naming.pluralise("EndData"), "EndDatas")

    def test_names_of_the_metamodel(self):
        self.assertEqual(accessor_names("Lifeline.coveredBy"), ["getCoveredBies", "getCoveredBiesWithoutAssociation"])
        self.assertEqual(accessor_names("InteractionFragment.covered")[0], "getCovered")
        self.assertEqual(accessor_names("LinkAction.endData")[0], "getEndDatas")
        self.assertEqual(accessor_names("NamedElement.clientDependency")[0], "getClientDependencies")
        self.assertEqual(accessor_names("OpaqueExpression.body")[0], "getBodies")
        self.assertEqual(accessor_names("DurationObservation.firstEvent")[0], "getFirstEvents")


class Qualification(unittest.TestCase):
    def test_the_qualified_properties(self):
        found = sorted(p.qualified for p in model().all_properties() if naming.is_qualified(p))
        self.assertEqual(found, sorted(QUALIFIED))

    def test_once_per_ancestor(self):
        m = model()
        self.assertEqual(naming.stem(m.prop("PackageableElement.visibility")), "Zorbel_PackageableElement_Visibility")
        self.assertEqual(naming.stem(m.prop("DurationConstraint.specification")),
                         "Zorbel_DurationConstraint_Zorbel_DurationConstraint_Specification")
        self.assertEqual(naming.stem(m.prop("Class.ownedAttribute")), "Zorbel_Class_OwnedAttributes")

    def test_inherited_accessors_keep_their_names(self):
        self.assertEqual(accessor_names("NamedElement.visibility")[2], "setVisibility")
        self.assertEqual(accessor_names("PackageableElement.visibility")[2], "setZorbel_PackageableElement_Visibility")

    def test_feature_name_of_the_texts(self):
        self.assertEqual(naming.feature_name(model().prop("ExtensionEnd.lower")), "zorbel_ExtensionEnd_Lower")
        self.assertEqual(naming.feature_name(model().prop("Namespace.importedMember")), "importedMember")


class Readers(unittest.TestCase):
    def test_is_booleans(self):
        self.assertEqual(accessor_names("RedefinableElement.isLeaf"), ["hasIsLeaf", "removeIsLeaf", "setIsLeaf", "isLeaf"])
        self.assertEqual(accessor_names("Extension.isRequired"), ["isRequired"])

    def test_booleans_with_other_names(self):
        for qualified in ("Continuation.setting", "LiteralBoolean.value", "TimeConstraint.firstEvent",
                          "TimeObservation.firstEvent"):
            prop = model().prop(qualified)
            self.assertEqual(naming.reader(prop), "get" + naming.capitalise(prop.name), qualified)

    def test_qualified_boolean_is_read_with_get(self):
        self.assertEqual(naming.reader(model().prop("Class.isAbstract")), "getZorbel_Class_IsAbstract")


class Families(unittest.TestCase):
    def family(self, qualified):
        return naming.accessor_family(model(), model().prop(qualified))

    def test_rows_of_the_families(self):
        expected = {
            "GeneralOrdering.before": "full", "NamedElement.visibility": "full", "Element.owner": "full",
            "ActivityGroup.superGroup": "full", "Property.opposite": "full", "Comment.body": "primitive",
            "MultiplicityElement.upper": "primitive", "Class.ownedAttribute": "multiValued",
            "Action.context": "derivedReference", "ConnectorEnd.definingEnd": "derivedReference",
            "Message.signature": "derivedReference", "OpaqueExpression.result": "derivedReference",
            "Message.messageKind": "derivedRequired", "Extension.metaclass": "derivedRequired",
            "Extension.isRequired": "derivedRequired", "NamedElement.qualifiedName": "derivedString",
            "Operation.isOrdered": "derivedBoolean", "Operation.isUnique": "derivedBoolean",
            "Property.isComposite": "derivedBoolean",
        }
        self.assertEqual({q: self.family(q) for q in expected}, expected)

    def test_behavior_context_has_all_six(self):
        self.assertEqual(naming.rule_family(model().prop("Behavior.context")), "derivedReference")
        self.assertEqual(accessor_names("Behavior.context"),
                         ["hasContext", "removeContext", "setContext", "getContext", "removeOnlyContext", "setOnlyContext"])

    def test_comment_block(self):
        block = members.declared_members(model(), model().metaclass("Comment"))
        self.assertEqual([b.name for b in block],
                         ["hasBody", "removeBody", "setBody", "getBody", "getAnnotatedElements",
                          "getAnnotatedElementsWithoutAssociation", "getReadDeviantI", "getWriteDeviantI"])

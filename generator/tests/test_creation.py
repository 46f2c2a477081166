"""Create overloads, the Factory's numbering and the orders of start-up."""

import re
import unittest

from zorbel_model import creation

from .support import model, names

# The order in which start-up builds the meta package.
META_CREATION = """
MessageSort MessageKind InteractionOperatorKind ConnectorKind CallConcurrencyKind VisibilityKind
ParameterDirectionKind AggregationKind UnlimitedNatural String Boolean Integer Element NamedElement
RedefinableElement Feature Namespace BehavioralFeature MultiplicityElement TypedElement StructuralFeature
ConnectableElement Property Port PackageableElement Package Comment Relationship DirectedRelationship
ValueSpecification OpaqueExpression LiteralSpecification LiteralInteger LiteralString LiteralBoolean LiteralNull
Constraint ElementImport Type Classifier Generalization Parameter InstanceSpecification Slot PackageImport
StructuredClassifier BehavioredClassifier EncapsulatedClassifier Class Operation DataType Enumeration
EnumerationLiteral PrimitiveType Association InstanceValue LiteralUnlimitedNatural Expression AssociationClass
Model ExtensionEnd Stereotype Profile ProfileApplication Extension Image ConnectorEnd Connector Interface
Dependency Abstraction Realization InterfaceRealization Usage Substitution Behavior OpaqueBehavior
FunctionBehavior Event MessageEvent CallEvent ChangeEvent Trigger Reception Signal SignalEvent TimeEvent
AnyReceiveEvent Component ComponentRealization TimeExpression Duration Interval DurationInterval
IntervalConstraint TimeConstraint TimeInterval DurationConstraint Observation TimeObservation
DurationObservation ActivityNode Action CreateObjectAction DestroyObjectAction TestIdentityAction
ReadSelfAction StructuralFeatureAction ReadStructuralFeatureAction WriteStructuralFeatureAction
ClearStructuralFeatureAction RemoveStructuralFeatureValueAction AddStructuralFeatureValueAction LinkAction
LinkEndData ReadLinkAction LinkEndCreationData WriteLinkAction CreateLinkAction DestroyLinkAction
ClearAssociationAction InvocationAction BroadcastSignalAction SendObjectAction LinkEndDestructionData
ValueSpecificationAction ObjectNode ControlNode ActivityEdge ControlFlow ObjectFlow InitialNode
ActivityFinalNode ActivityGroup ActivityParameterNode Pin Activity InputPin ValuePin OpaqueAction OutputPin
CallAction SendSignalAction CallOperationAction CallBehaviorAction InteractionFragment InteractionUse
PartDecomposition InteractionOperand InteractionConstraint MessageEnd Gate CombinedFragment Interaction
Lifeline Continuation ConsiderIgnoreFragment Message GeneralOrdering ExecutionSpecification
OccurrenceSpecification StateInvariant ActionExecutionSpecification BehaviorExecutionSpecification
ExecutionEvent CreationEvent DestructionEvent SendOperationEvent SendSignalEvent MessageOccurrenceSpecification
ExecutionOccurrenceSpecification ReceiveOperationEvent ReceiveSignalEvent Actor Extend Include UseCase
ExtensionPoint Factory
""".split()


class CreateOverloads(unittest.TestCase):
    def test_the_rule_gives_the_table(self):
        self.assertEqual(len(creation.create_overloads(model())), 67)
        self.assertEqual(len(model().create_arguments), 67)
        self.assertEqual(creation.create_overload_differences(model()), [])

    def overload(self, name):
        return [p.qualified for p in creation.required_references(model().metaclass(name))]

    def test_own_first_then_the_storage_walk(self):
        self.assertEqual(self.overload("ActionExecutionSpecification"),
                         ["ActionExecutionSpecification.action", "ExecutionSpecification.start",
                          "ExecutionSpecification.finish"])
        self.assertEqual(self.overload("ReadStructuralFeatureAction"),
                         ["ReadStructuralFeatureAction.result", "StructuralFeatureAction.structuralFeature",
                          "StructuralFeatureAction.object"])

    def test_hidden_properties_are_dropped(self):
        self.assertEqual(self.overload("ExecutionOccurrenceSpecification"),
                         ["ExecutionOccurrenceSpecification.execution", "ExecutionOccurrenceSpecification.event",
                          "OccurrenceSpecification.covered"])
        self.assertEqual(self.overload("DurationInterval"), ["DurationInterval.min", "DurationInterval.max"])
        self.assertEqual(self.overload("TimeConstraint"), ["TimeConstraint.specification"])

    def test_derived_required_references_are_left_out(self):
        self.assertEqual(self.overload("Extension"), ["Extension.ownedEnd"])

    def test_a_changed_table_is_reported(self):
        m = model()
        saved = m.create_arguments["Slot"]
        m.create_arguments["Slot"] = ("StructuralFeature", "InstanceSpecification")
        try:
            [difference] = creation.create_overload_differences(m)
        finally:
            m.create_arguments["Slot"] = saved
        self.assertEqual((difference.cls_name, difference.by_rule), ("Slot", ("InstanceSpecification", "StructuralFeature")))


class Factory(unittest.TestCase):
    def test_order(self):
        order = names(creation.factory_order(model()))
        self.assertEqual(len(order), 140)
        self.assertEqual(order[:3], ["Comment", "OpaqueExpression", "LiteralInteger"])
        self.assertEqual(order[124:129], ["ExtensionPoint", "BehavioralFeature", "Port", "Package", "AggregationKind"])
        self.assertEqual(order[135:], ["MessageSort", "Integer", "Boolean", "String", "UnlimitedNatural"])
        self.assertNotIn("Factory", order)

    def test_name_table(self):
        table = creation.factory_name_table(model())
        self.assertEqual(len(table), 280)
        self.assertEqual((table["Comment"], table["zorbel.Comment"]), (0, 0))
        self.assertEqual(table["zorbel.Pin"], 86)
        self.assertEqual(table["Integer"], 136)
        self.assertNotIn("Element", table)

    def test_creation_operations(self):
        ops = creation.factory_create_operations(model())
        self.assertEqual(len(ops), 195)
        self.assertEqual([(c.name, with_args) for c, with_args in ops[:3]],
                         [("Comment", False), ("OpaqueExpression", False), ("LiteralInteger", False)])
        slot = [i for i, (c, _) in enumerate(ops) if c.name == "Slot"]
        self.assertEqual([ops[i][1] for i in slot], [False, True])


class StartUp(unittest.TestCase):
    def test_meta_creation_order(self):
        self.assertEqual(names(creation.meta_creation_order(model())), META_CREATION)

    def test_registered_names(self):
        registered = creation.registered_type_names(model())
        self.assertEqual(len(registered), 1397)
        self.assertEqual(len(set(registered)), 1397)
        self.assertEqual(registered[:3], ["zorbel.Factory", "zorbel.Integer", "zorbel.IntegerIterator"])
        self.assertIn("zorbel.SequenceOfComment", registered)
        self.assertIn("zorbel.ImmutableCommentIterator", registered)
        classes = [re.sub(r"^zorbel\.ImmutableSequenceOfImmutable", "", n) for n in registered
                   if n.startswith("zorbel.ImmutableSequenceOfImmutable")]
        self.assertEqual(classes[0], "Element")
        self.assertEqual(classes[-4:], ["BehavioralFeature", "Port", "Package", "Factory"])

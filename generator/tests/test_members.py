"""Operations and hand-maintained accessors: stubs, their texts, redeclarations
and the order in which a class declares its members."""

import unittest

from zorbel_model import members

from .support import model


def block(name):
    return [m.name for m in members.declared_members(model(), model().metaclass(name))]


class Stubs(unittest.TestCase):
    def test_counts(self):
        stubs = members.stubs(model())
        self.assertEqual(len(stubs), 73)
        self.assertEqual(sum(s.kind == "operation" for s in stubs), 42)
        self.assertEqual(sum(s.kind == "property" for s in stubs), 31)
        self.assertEqual(sum(len(s.raisers) for s in stubs), 113)
        self.assertEqual(len({s.message for s in stubs}), 73)

    def stub(self, cls, feature):
        return next(s for s in members.stubs(model()) if s.cls.name == cls and s.feature == feature)

    def test_texts(self):
        context = self.stub("Action", "context")
        self.assertEqual(context.message, "The Action.context derived property is not yet implemented!")
        self.assertEqual(context.raisers, ("removeContext", "getContext", "removeOnlyContext"))
        self.assertEqual(context.source, "zorbel/NSHandMaintained/ActionImplHand")
        self.assertEqual(self.stub("Classifier", "allParents").message,
                         "The Classifier.allParents operation is not yet implemented!")
        self.assertEqual(self.stub("Classifier", "conformsTo_on_zorbel_Classifier").message,
                         "The Classifier.conformsTo_on_zorbel_Classifier operation is not yet implemented!")
        self.assertEqual(self.stub("ExtensionEnd", "zorbel_ExtensionEnd_Lower").message,
                         "The ExtensionEnd.zorbel_ExtensionEnd_Lower derived property is not yet implemented!")

    def test_composed_setter_is_no_stub(self):
        self.assertEqual(self.stub("Behavior", "context").raisers,
                         ("removeContext", "getContext", "removeOnlyContext", "setOnlyContext"))

    def test_hand_files(self):
        self.assertEqual(sum(e.hand_file for e in model().operations.values()), 29)


class Redeclarations(unittest.TestCase):
    def reached(self, cls, name):
        op = members.resolve_operation(model(), model().metaclass(cls), name)
        return op.qualified, op.body.kind

    def test_nearest_body(self):
        self.assertEqual(self.reached("AssociationClass", "inherit"), ("Class.inherit", "stub"))
        self.assertEqual(self.reached("Interface", "inherit"), ("Classifier.inherit", "identity"))
        self.assertEqual(self.reached("Enumeration", "inherit"), ("DataType.inherit", "stub"))
        self.assertEqual(self.reached("Port", "isConsistentWith"), ("Property.isConsistentWith", "stub"))
        self.assertEqual(self.reached("Reception", "isConsistentWith"), ("RedefinableElement.isConsistentWith", "constant"))
        self.assertEqual(self.reached("Model", "mustBeOwned"), ("Package.mustBeOwned", "constant"))

    def test_signature_comes_from_the_ancestor(self):
        op = members.resolve_operation(model(), model().metaclass("BehavioralFeature"), "isDistinguishableFrom")
        self.assertEqual(op.owner.name, "BehavioralFeature")
        self.assertEqual(op.signature_params, ("const ImmutableNamedElement&", "const ImmutableNamespace&"))
        self.assertEqual(op.signature_result, "Boolean")

    def test_bodies_of_accessors(self):
        m = model()
        lower = {m_.name: m_.body for m_ in members.declared_members(m, m.metaclass("ExtensionEnd"))}
        self.assertEqual((lower["getLower"].kind, lower["getLower"].target), ("delegate", "getZorbel_ExtensionEnd_Lower"))
        self.assertEqual(lower["getZorbel_ExtensionEnd_Lower"].value, "0")
        self.assertEqual(lower["hasZorbel_ExtensionEnd_Type"].kind, "generated")


class DeclarationOrder(unittest.TestCase):
    def test_named_element(self):
        self.assertEqual(block("NamedElement")[:9], [
            "allNamespaces", "isDistinguishableFrom", "separator", "allOwningPackages",
            "hasQualifiedName", "removeQualifiedName", "getQualifiedName", "hasNamespace", "removeNamespace"])

    def test_multiplicity_element(self):
        self.assertEqual(block("MultiplicityElement")[7:16], [
            "hasUpper", "removeUpper", "setUpper", "getUpper", "hasLower", "removeLower", "setLower", "getLower",
            "hasIsOrdered"])

    def test_ends_in_the_container_come_with_the_derived(self):
        order = block("Operation")
        self.assertLess(order.index("getUpper"), order.index("getClass"))
        self.assertLess(order.index("getDatatype"), order.index("getType"))
        self.assertLess(order.index("getType"), order.index("getInterface"))
        self.assertLess(order.index("getInterface"), order.index("isQuery"))
        message = block("Message")
        self.assertEqual(message[:2], ["getMessageKind", "hasInteraction"])

    def test_redeclared_accessors_follow_the_redefining_family(self):
        order = block("ExtensionEnd")
        self.assertEqual(order[:9], ["lowerBound", "hasZorbel_ExtensionEnd_Lower", "removeZorbel_ExtensionEnd_Lower",
                                     "setZorbel_ExtensionEnd_Lower", "getZorbel_ExtensionEnd_Lower", "hasLower",
                                     "removeLower", "setLower", "getLower"])
        self.assertEqual(block("Class")[-4:-2], ["getGenerals", "getGeneralsWithoutAssociation"])

    def test_interface_blocks_go_down_the_first_base_chain(self):
        blocks = members.interface_blocks(model(), model().metaclass("Comment"))
        self.assertEqual([c.name for c, _ in blocks], ["Element", "Comment"])
        self.assertEqual(blocks[0][1][0].name, "allOwnedElements")

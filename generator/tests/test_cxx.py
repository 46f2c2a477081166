"""The C++ view of the metaclasses: shapes of the bodies, forwarders, conversions along
the bases, states, creation and the tables of names."""

import functools
import unittest

from zorbel_model import cxx

from .support import model


@functools.lru_cache(maxsize=None)
def view(name):
    return cxx.class_view(model(), model().metaclass(name))


def operation(cls, name):
    return next(op for op in view(cls).operations if op.name == name)


def shapes(cls, *names):
    return [(operation(cls, n).shape, operation(cls, n).target) for n in names]


class Shapes(unittest.TestCase):
    def test_optional_string(self):
        self.assertEqual(shapes("Comment", "hasBody", "removeBody", "setBody", "getBody"),
                         [("read", "hasBody"), ("write", "removeBody"), ("setValue", None), ("read", "getBody")])

    def test_required_primitive_never_asks_the_state_for_presence(self):
        self.assertEqual(shapes("RedefinableElement", "hasIsLeaf", "removeIsLeaf", "setIsLeaf", "isLeaf"),
                         [("alwaysPresent", None), ("nothing", None), ("setRequired", None), ("read", "isLeaf")])

    def test_reference_goes_through_its_only_accessors(self):
        self.assertEqual(shapes("TypedElement", "hasType", "removeType", "setType", "getType", "removeOnlyType",
                                "setOnlyType"),
                         [("hasReference", None), ("refRemove", None), ("refSet", None),
                          ("read", "getType"), ("refRemoveOnly", None), ("refSetOnly", None)])
        accessors = operation("TypedElement", "setType").accessors
        self.assertEqual((accessors.has, accessors.get, accessors.setOnly, accessors.remove),
                         ("hasType", "getType", "setOnlyType", "removeType"))

    def test_enumeration(self):
        self.assertEqual(shapes("NamedElement", "hasVisibility", "setVisibility", "setOnlyVisibility"),
                         [("read", "hasVisibility"), ("setValue", None), ("write", "setVisibility")])

    def test_stored_sequence_reads_both_views(self):
        self.assertEqual(shapes("Comment", "getAnnotatedElements", "getAnnotatedElementsWithoutAssociation"),
                         [("deviantSequence", None), ("deviantSequence", None)])
        ordering = operation("OccurrenceSpecification", "getToAfters")
        self.assertEqual((ordering.shape, ordering.link.opposite.record, ordering.link.opposite.index),
                         ("associationSequence", "NSInterface::GeneralOrderingIntf::sIntrospectiveMethods", 1))
        self.assertEqual(operation("Comment", "getAnnotatedElements").result, "Kelpa::Sequence<Element>")
        self.assertFalse(operation("Comment", "getAnnotatedElements").const)
        self.assertTrue(operation("Comment", "getAnnotatedElementsWithoutAssociation").const)

    def test_links_take_the_kernels_shapes(self):
        owned = operation("Element", "getOwnedElements")
        self.assertEqual((owned.shape, owned.link.record, owned.link.multi),
                         ("union", "NSInterface::ElementIntf::sIntrospectiveMethods", True))
        get_class = operation("Operation", "getClass")
        self.assertEqual((get_class.shape, get_class.link.type, get_class.link.opposite.record),
                         ("containerGet", "Class", "NSInterface::ClassIntf::sIntrospectiveMethods"))
        self.assertEqual(operation("Package", "getOwnedTypes").shape, "filtered")
        self.assertEqual(operation("Package", "getOwnedTypes").link, "getPackagedElementsWithoutAssociation")
        self.assertEqual(operation("Element", "setOwner").shape, "containerSet")

    def test_no_feature_waits_for_a_later_step(self):
        for c in cxx.class_views(model()):
            self.assertFalse([op.name for op in c.operations if op.shape == "notYet"], c.name)

    def test_hand_maintained_bodies(self):
        context = operation("Action", "getContext")
        self.assertEqual((context.shape, context.path, context.message),
                         ("stub", "zorbel/NSHandMaintained/ActionImplHand",
                          "The Action.context derived property is not yet implemented!"))
        self.assertEqual(operation("Action", "hasContext").value, "false")
        self.assertEqual(operation("NamedElement", "separator").value, 'String("::")')
        self.assertEqual(operation("Element", "mustBeOwned").value, "Boolean(true)")
        self.assertEqual(operation("Message", "getMessageKind").value, "MessageKind::kUnknown")
        self.assertEqual(operation("Operation", "getUpper").value, "UnlimitedNatural(1u)")
        self.assertEqual(operation("Behavior", "setContext").shape, "setReference")
        self.assertEqual(operation("ValueSpecification", "integerValue").shape, "defaultValue")
        self.assertEqual(operation("Classifier", "inherit").shape, "identity")

    def test_delegates_convert_where_the_data_says(self):
        conforms = operation("Classifier", "conformsTo")
        self.assertEqual((conforms.target, conforms.convert_argument), ("conformsTo_on_zorbel_Classifier",
                                                                        "ImmutableClassifier"))
        generals = operation("Class", "getGenerals")
        self.assertEqual((generals.target, generals.convert_result, generals.override),
                         ("getSuperClasses", "Classifier", True))
        self.assertEqual(operation("ExtensionEnd", "setLower").target, "setZorbel_ExtensionEnd_Lower")

    def test_definitions_name_only_what_the_body_reads(self):
        self.assertEqual(operation("Action", "getContext").defined_params, "Kelpa::Deviant")
        self.assertEqual(operation("Classifier", "inherit").defined_params,
                         "Kelpa::Deviant, const Kelpa::ImmutableSequence<ImmutableNamedElement>& arg1")
        self.assertEqual(operation("Comment", "setBody").defined_params, "Kelpa::Deviant d, const String& value")
        self.assertEqual(operation("Comment", "setBody").declared_params, "Kelpa::Deviant d, const String& value")

    def test_redeclared_operations_override(self):
        self.assertTrue(operation("Package", "mustBeOwned").override)
        self.assertFalse(operation("Element", "mustBeOwned").override)
        self.assertEqual(operation("Element", "allOwnedElements").result,
                         cxx.SEQUENCE_HANDLE)


class Forwarders(unittest.TestCase):
    def forwarded(self, cls):
        return {f.name: f.target for f in view(cls).forwarders}

    def test_only_classes_with_several_bases_forward(self):
        for cls in model().metaclasses.values():
            self.assertEqual(bool(view(cls.name).forwarders), len(cls.bases) > 1, cls.name)

    def test_element_operations_in_every_class_with_several_bases(self):
        for cls in model().metaclasses.values():
            if len(cls.bases) > 1:
                forwarded = self.forwarded(cls.name)
                self.assertIn("allOwnedElements", forwarded, cls.name)
                self.assertIn("getOwnedComments", forwarded, cls.name)
                self.assertEqual(forwarded["incRef"], f"NSInterface::{cls.bases[0].name}Intf", cls.name)

    def test_a_class_keeps_its_own_redeclaration(self):
        self.assertNotIn("mustBeOwned", self.forwarded("Package"))
        self.assertIn("mustBeOwned", self.forwarded("Property"))

    def test_namespace_operations_where_namespace_is_joined(self):
        with_namespace = sorted(c.name for c in model().metaclasses.values()
                                if "getNamesOfMember" in self.forwarded(c.name))
        self.assertEqual(with_namespace, ["AssociationClass", "Class"])

    def test_the_nearest_redeclaration_is_reached(self):
        self.assertEqual(self.forwarded("AssociationClass")["inherit"], "NSInterface::ClassIntf")
        self.assertEqual(self.forwarded("AssociationClass")["getGenerals"], "NSInterface::ClassIntf")
        # Reached over Association only among the bases of AssociationClass.
        self.assertNotIn("getMemberEnds", self.forwarded("AssociationClass"))

    def test_pure_kernel_operations_stay_pure(self):
        pure = [f.name for f in view("Property").forwarders if f.shape is None]
        self.assertEqual(pure, ["getEmptyValue", "hasId", "removeId", "setId", "getId"])

    def test_a_joined_property_keeps_its_signature(self):
        get = next(f for f in view("Property").forwarders if f.name == "getType")
        self.assertEqual((get.result, get.declared_params, get.const, get.target),
                         ("Type", "Kelpa::Deviant d", True, "NSInterface::StructuralFeatureIntf"))


class Conversions(unittest.TestCase):
    def entries(self, cls):
        return [(e.interface, e.path) for e in view(cls).linearisation]

    def test_comment_is_all_first_bases(self):
        self.assertEqual(self.entries("Comment"), [
            ("NSInterface::CommentIntf", None), ("NSInterface::ElementIntf", None),
            ("Kelpa::NSInterface::ClassObjectIntf", None), ("Kelpa::NSInterface::ObjectIntf", None),
            ("Kelpa::ReferenceCountingIntf", None)])

    def test_property_adjusts_along_the_earliest_base(self):
        entries = dict(self.entries("Property"))
        self.assertEqual(entries["NSInterface::ConnectableElementIntf"], ["NSInterface::ConnectableElementIntf"])
        self.assertEqual(entries["NSInterface::TypedElementIntf"],
                         ["NSInterface::StructuralFeatureIntf", "NSInterface::TypedElementIntf"])
        self.assertIsNone(entries["NSInterface::NamedElementIntf"])

    def test_identity_levels(self):
        levels = {l.interface: l.conversion for l in view("Property").impl_levels}
        self.assertIsNone(levels["NSInterface::PropertyIntf"])
        self.assertIsNone(levels["NSInterface::ElementIntf"].path)
        self.assertEqual(levels["NSInterface::MultiplicityElementIntf"].path,
                         ["NSInterface::StructuralFeatureIntf", "NSInterface::MultiplicityElementIntf"])
        self.assertEqual(len(levels), 9)

    def test_factory(self):
        self.assertEqual([e.interface for e in view("Factory").linearisation][:2],
                         ["NSInterface::FactoryIntf", "Kelpa::NSInterface::FactoryObjectIntf"])
        self.assertFalse(view("Factory").has_state)
        self.assertEqual(view("Factory").handle_base, "Kelpa::ImmutableClassObject")


class States(unittest.TestCase):
    def test_comment(self):
        c = view("Comment")
        self.assertEqual([(m.name, m.type, m.bit) for m in c.state_members], [
            ("fBody", "String", 0), ("fAnnotatedElement", "Kelpa::MultiIndexImpl<Element>", None),
            ("fOwnedComment", "Kelpa::MultiIndexImpl<Comment>", None)])
        self.assertEqual((c.presence_count, c.container_bit), (2, 1))

    def test_property_members_and_shapes(self):
        p = view("Property")
        members = {m.name: m for m in p.state_members}
        self.assertEqual(members["fZorbel_Property_IsReadOnly"].init, "false")
        self.assertEqual(members["fType"].type, "detail::CountedRef<NSInterface::TypeIntf>")
        self.assertEqual(members["fAggregation"].init, "AggregationKind::kNone")
        self.assertEqual(members["fIsUnique"].init, "true")
        self.assertEqual((p.presence_count, p.container_bit), (8, 4))
        by_member = {}
        for o in p.state_overrides:
            by_member.setdefault(o.member.name, []).append((o.sig.name, o.shape))
        self.assertEqual(by_member["fType"], [("hasType", "hasBit"), ("removeType", "removeReference"),
                                              ("setType", "setReference"), ("getType", "getReference")])
        self.assertEqual(by_member["fIsUnique"], [("setIsUnique", "setValue"), ("isUnique", "getValue")])
        self.assertEqual(by_member["fAggregation"], [("hasAggregation", "hasAlways"),
                                                     ("removeAggregation", "removeValue"),
                                                     ("setAggregation", "setValue"), ("getAggregation", "getValue")])

    def test_required_reference_has_no_bit(self):
        members = {m.name: m for m in view("ActionExecutionSpecification").state_members}
        self.assertIsNone(members["fAction"].bit)

    def test_value_sequences(self):
        self.assertEqual(cxx.value_sequence_types(model()), ["Boolean", "String"])
        members = {m.name: m.type for m in view("OpaqueExpression").state_members}
        self.assertEqual(members["fBody"], "detail::ValueSequence<String>")


class Creation(unittest.TestCase):
    def test_overloads(self):
        with_overload = [c for c in model().metaclasses.values() if view(c.name).create_overload]
        self.assertEqual(len(with_overload), 67)
        overload = view("ActionExecutionSpecification").create_overload
        self.assertEqual([(p.type, p.name) for p in overload.params],
                         [("Action", "action"), ("OccurrenceSpecification", "start"),
                          ("OccurrenceSpecification", "finish")])
        self.assertEqual(view("DurationInterval").create_overload.setters,
                         [("setZorbel_DurationInterval_Min", "min"), ("setZorbel_DurationInterval_Max", "max")])

    def test_parameter_names_avoid_keywords_and_locals(self):
        self.assertEqual(cxx.parameter_name("class"), "class_")
        self.assertEqual(cxx.parameter_name("model"), "model_")
        self.assertEqual(cxx.parameter_name("action"), "action")


class Tables(unittest.TestCase):
    def test_bound_names(self):
        names = [n for n, _ in cxx.bound_names(model())]
        self.assertEqual(len(names), 334)
        self.assertEqual(names[:4], ["zorbel.ImmutableElement", "zorbel.Element", "zorbel.ImmutableComment",
                                     "zorbel.Comment"])
        self.assertEqual(names[-10:], [
            "zorbel.ImmutableExtensionPoint", "zorbel.ExtensionPoint", "zorbel.ImmutableBehavioralFeature",
            "zorbel.BehavioralFeature", "zorbel.ImmutablePort", "zorbel.Port", "zorbel.ImmutablePackage",
            "zorbel.Package", "zorbel.ImmutableFactory", "zorbel.Factory"])

    def test_groups(self):
        groups = cxx.groups(cxx.class_views(model()))
        self.assertEqual(len(groups), 12)
        self.assertEqual(sum(map(len, groups.values())), 167)
        self.assertEqual(view("Comment").group, "RootAndNamespaces")

    def test_forward_declarations_name_zorbel_types_only(self):
        self.assertEqual(cxx.named_types(["Kelpa::Sequence<Comment>", "const ImmutableNamedElement&",
                                          "Kelpa::ImmutableSequence<Kelpa::ImmutableClassObject>"]),
                         ["Comment", "ImmutableNamedElement"])


class Sweep(unittest.TestCase):
    def test_partners_are_made_by_a_class_that_can_be_created(self):
        self.assertEqual(cxx.partner(model(), model().metaclass("Comment")), "Comment::create(model)")
        self.assertEqual(cxx.partner(model(), model().metaclass("Element")), "Element(Comment::create(model))")
        self.assertIsNone(cxx.partner(model(), model().metaclass("ActivityGroup")))

    def test_samples_differ_from_the_first_values(self):
        m = model()
        self.assertEqual(cxx.sample_value(m.prop("Property.aggregation"), 0), "AggregationKind(AggregationKind::kShared)")
        self.assertEqual(cxx.sample_value(m.prop("MultiplicityElement.isUnique"), 0), "Boolean(false)")
        self.assertEqual(cxx.sample_value(m.prop("Comment.body"), 0), 'String("Comment.body")')

    def test_every_stored_property_is_checked(self):
        groups = cxx.sweep_groups(model())
        self.assertEqual(sum(len(c.checks) for g in groups.values() for c in g),
                         sum(len([v for v in cxx.storage.storage_members(c) if v.prop is not None])
                             for c in cxx.storage.state_classes(model())))
        self.assertEqual(sum(len(g) for g in groups.values()), 128)


@functools.lru_cache(maxsize=None)
def stub_sweep():
    return cxx.stub_sweep(model())


class StubSweep(unittest.TestCase):
    def sweep(self):
        table, groups = stub_sweep()
        classes = {c.name: c for g in groups.values() for c in g.classes}
        return table, groups, classes

    def calls(self, cls):
        table, _, classes = self.sweep()
        return {k.function: (table[k.stub].cls.name, table[k.stub].feature) for k in classes[cls].calls}

    def test_every_raising_function_is_called_from_some_class(self):
        # A stub that every concrete class overrides, or that no concrete class has, would
        # drop out of the sweep unseen; a property's raiser, likewise out of its reflection.
        table, _, classes = self.sweep()
        called = {(k.stub, k.function) for c in classes.values() for k in c.calls}
        reflected = {(k.stub, k.reached) for c in classes.values() for k in c.reflective}
        for row, stub in enumerate(table):
            for raiser in stub.raisers:
                self.assertIn((row, raiser), called, f"{stub.cls.name}.{raiser}")
                if stub.kind == "property":
                    self.assertIn((row, raiser), reflected, f"{stub.cls.name}.{raiser}")

    def test_the_walk_of_the_classes_agrees_with_the_table(self):
        # The C++ test compares the calls it makes with the count from the table.
        _, groups, _ = self.sweep()
        for name, group in groups.items():
            self.assertEqual(sum(len(c.calls) for c in group.classes), group.pairs, name)
        self.assertEqual(sum(g.pairs for g in groups.values()), 1409)

    def test_the_nearest_body_gives_the_text(self):
        operation = self.calls("Operation")
        self.assertEqual(operation["isDistinguishableFrom"], ("BehavioralFeature", "isDistinguishableFrom"))
        self.assertEqual(operation["isConsistentWith"], ("Operation", "isConsistentWith"))
        self.assertEqual(self.calls("Port")["isConsistentWith"], ("Property", "isConsistentWith"))
        self.assertNotIn("isConsistentWith", self.calls("Reception"))
        # ExtensionEnd's lower accessors lead to its own family, whose writers raise.
        extension_end = self.calls("ExtensionEnd")
        self.assertNotIn("removeLower", extension_end)
        self.assertEqual(extension_end["setZorbel_ExtensionEnd_Lower"], ("ExtensionEnd", "zorbel_ExtensionEnd_Lower"))
        self.assertEqual(extension_end["lowerBound"], ("ExtensionEnd", "lowerBound"))
        self.assertEqual(extension_end["upperBound"], ("MultiplicityElement", "upperBound"))

    def test_reflection_reaches_only_raising_functions(self):
        _, _, classes = self.sweep()
        reached = {(k.property, k.function): k.reached for name in ("Property", "Interface")
                   for k in classes[name].reflective}
        # getUpper delegates to upperBound: a read of upper reaches no stub of upper.
        self.assertNotIn(("MultiplicityElement.upper", "get"), reached)
        self.assertEqual(reached[("MultiplicityElement.upper", "setOrAdd")], "setUpper")
        self.assertEqual(reached[("Property.opposite", "setOrAddOnly")], "setOnlyOpposite")
        self.assertNotIn(("Property.opposite", "setOrAdd"), reached)  # the composed setter
        # A multi-valued property is read, written and tested through its getters.
        self.assertEqual(reached[("Classifier.general", "setOrAdd")], "getGenerals")
        self.assertEqual(reached[("Classifier.general", "has")], "getGeneralsWithoutAssociation")
        call = next(k.call for k in classes["Property"].reflective if k.function == "setOrAdd"
                    and k.property == "MultiplicityElement.upper")
        self.assertIn("Kelpa::Object(UnlimitedNatural())", call)


if __name__ == "__main__":
    unittest.main()

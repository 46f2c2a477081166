"""The catalogue as loaded: counts, type table, and rows of the hardest classes."""

import unittest

from zorbel_model import meta, storage

from .support import model, names


class Counts(unittest.TestCase):
    def test_types(self):
        m = model()
        self.assertEqual(len(m.metaclasses), 167)
        self.assertEqual(len(m.enumerations), 8)
        self.assertEqual(len(m.primitives), 4)
        self.assertEqual(len(m.type_table), 181)
        self.assertEqual(m.type_table.null_ids, [0, 180])

    def test_concrete(self):
        self.assertEqual(len(model().concrete), 129)
        self.assertEqual(len(storage.state_classes(model())), 128)

    def test_derived_properties(self):
        props = list(model().all_properties())
        self.assertEqual(len(props), 368)
        self.assertEqual(sum(p.derived_union for p in props), 22)
        self.assertEqual(sum(p.derived and not p.derived_union for p in props), 37)

    def test_interfaces_with_several_bases(self):
        several = {c.name: names(c.bases) for c in model().metaclasses.values() if len(c.bases) > 1}
        self.assertEqual(len(several), 18)
        self.assertEqual(several["Classifier"], ["RedefinableElement", "Namespace", "Type"])
        self.assertEqual(several["StructuralFeature"], ["Feature", "TypedElement", "MultiplicityElement"])
        self.assertEqual(several["Pin"], ["ObjectNode", "MultiplicityElement"])
        self.assertEqual(several["Extend"], several["Include"])


class TypeTable(unittest.TestCase):
    def test_ids(self):
        table = model().type_table
        self.assertEqual([table[i].name for i in (1, 2, 3, 4, 7, 8, 47, 173, 178, 179)],
                         ["BehavioralFeature", "Port", "Package", "Integer", "UnlimitedNatural", "Element",
                          "AggregationKind", "MessageSort", "ExtensionPoint", "Factory"])

    def test_literal_values_are_positions(self):
        kinds = model().enumerations
        self.assertEqual(kinds["MessageKind"].value_of("unknown"), 3)
        self.assertEqual(kinds["InteractionOperatorKind"].value_of("consider"), 11)
        self.assertEqual(kinds["ParameterDirectionKind"].literals, ("in", "inout", "out", "return"))

    def test_kernel_parents(self):
        m = model()
        self.assertEqual(meta.parents(m, m.metaclass("Element")), [("Kelpa", 13)])
        self.assertEqual(meta.parents(m, m.metaclass("Factory")), [("Kelpa", 23)])
        self.assertEqual(meta.parents(m, m.metaclass("Package")), [("zorbel", 12), ("zorbel", 40)])


class Rows(unittest.TestCase):
    def test_property(self):
        cls = model().metaclass("Property")
        self.assertEqual(cls.type_id, 33)
        self.assertEqual(names(cls.bases), ["StructuralFeature", "ConnectableElement"])
        self.assertEqual(len(cls.properties), 17)
        qualifier = cls.own("qualifier")
        self.assertEqual((qualifier.index, qualifier.multiplicity, qualifier.opposite.qualified),
                         (15, "0..*", "Property.associationEnd"))
        self.assertEqual(sorted(qualifier.traits), ["composite", "ordered"])
        self.assertEqual(cls.own("aggregation").default, "none")
        self.assertEqual(cls.own("opposite").opposite_end, "property")

    def test_duration_constraint(self):
        cls = model().metaclass("DurationConstraint")
        interval, first = cls.properties
        self.assertEqual((interval.type_name, interval.multiplicity, interval.opposite_end),
                         ("DurationInterval", "1..1", "durationConstraint"))
        self.assertTrue(first.multi)
        self.assertTrue(first.doc[0].startswith("The value of firstEvent[i] is related to constrainedElement[i]"))

    def test_extension_end(self):
        lower, type_ = model().metaclass("ExtensionEnd").properties
        self.assertEqual((lower.default, lower.multiplicity, sorted(lower.traits)), ("0", "0..1", ["derived"]))
        self.assertEqual((type_.type_name, type_.association), ("Stereotype", "A_type_extensionEnd"))

    def test_texts_are_kept(self):
        m = model()
        self.assertEqual(m.metaclass("Comment").doc, ("A comment is a textual annotation that can be attached to a set of elements.",))
        self.assertEqual(m.prop("Comment.annotatedElement").doc, ("References the Element(s) being commented.",))
        self.assertEqual(m.prop("Package.URI").doc, ())
        self.assertEqual(m.prop("Package.URI").default, "false")

    def test_only_one_opposite_end_is_documented(self):
        documented = [p.qualified for p in model().all_properties() if p.opposite_end_doc]
        self.assertEqual(documented, ["Dependency.supplier"])
        self.assertEqual(model().prop("Dependency.supplier").opposite_end_doc,
                         "Indicates the dependencies that reference the supplier.")

    def test_defaults_and_bounds_that_occur(self):
        props = list(model().all_properties())
        self.assertEqual({p.default for p in props if p.default},
                         {"false", "true", "0", "1", "public", "sequential", "seq", "unknown", "synchCall", "in", "none"})
        self.assertEqual({p.lower for p in props}, {0, 1, 2})
        self.assertEqual({p.upper for p in props}, {1, 2, None})


class Descriptors(unittest.TestCase):
    def test_flags(self):
        m = model()
        self.assertEqual(storage.flags(m.prop("Comment.body")), 0b0100000)  # unique only
        self.assertEqual(storage.flags(m.prop("Element.ownedElement")), 0b1101111)
        self.assertEqual(storage.flags(m.prop("Class.ownedAttribute")), 0b1111000)

    def test_descriptor(self):
        d = meta.descriptor(model().prop("GeneralOrdering.before"))
        self.assertEqual((d.type_id, d.index, d.upper, d.default), (158, 1, 1, ""))
        self.assertEqual((d.has_opposite, d.opposite_type_id, d.opposite_index), (True, 158, 2))
        self.assertEqual(meta.descriptor(model().prop("Comment.annotatedElement")).upper, 0xFFFFFFFF)


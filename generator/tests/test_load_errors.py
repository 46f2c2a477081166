"""Faulty data is refused with a message that names the file, class and property."""

import shutil
import tempfile
import unittest
from pathlib import Path

from zorbel_model import MetamodelError, load_metamodel

from .support import METAMODEL


class Faults(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.root = Path(self.tmp.name) / "metamodel"
        shutil.copytree(METAMODEL, self.root)

    def tearDown(self):
        self.tmp.cleanup()

    def error(self, file, old, new):
        """Replace the one occurrence of `old` in `file` and return the loader's message."""
        path = self.root / file
        text = path.read_text(encoding="utf-8")
        self.assertEqual(text.count(old), 1, f"{old!r} must occur once in {file}")
        path.write_text(text.replace(old, new), encoding="utf-8")
        with self.assertRaises(MetamodelError) as caught:
            load_metamodel(self.root)
        return str(caught.exception)

    def test_the_copy_loads(self):
        self.assertEqual(len(load_metamodel(self.root).metaclasses), 167)

    def test_unknown_type(self):
        message = self.error("catalogue/time.json", '"specification", "type": "DurationInterval"',
                             '"specification", "type": "DurationIntervall"')
        self.assertEqual(message, "metamodel/catalogue/time.json: class DurationConstraint: property specification: "
                                  "unknown type DurationIntervall")

    def test_bad_multiplicity(self):
        message = self.error("catalogue/root_and_namespaces.json", '"name": "body", "type": "String", "mult": "0..1"',
                             '"name": "body", "type": "String", "mult": "1..0"')
        self.assertIn("root_and_namespaces.json: class Comment: property body: bad multiplicity 1..0", message)

    def test_misspelt_field(self):
        message = self.error("catalogue/root_and_namespaces.json", '"name": "body", "type": "String", "mult"',
                             '"name": "body", "type": "String", "mutl"')
        self.assertIn("class Comment: property body: unknown field mutl", message)

    def test_broken_json(self):
        message = self.error("unions.json", '"Element": ["ownedComment"],', '"Element": ["ownedComment"]')
        self.assertRegex(message, r"^metamodel/unions\.json: line \d+ column \d+: ")

    def test_one_sided_opposite(self):
        message = self.error("catalogue/interactions.json", '"opposite": "OccurrenceSpecification.toAfter"',
                             '"opposite": "OccurrenceSpecification.toBefore"')
        self.assertIn("interactions.json: class ", message)
        self.assertIn("does not name", message)

    def test_duplicate_type_id(self):
        message = self.error("catalogue/root_and_namespaces.json", '"name": "Comment",\n      "id": 9,',
                             '"name": "Comment",\n      "id": 8,')
        self.assertIn("class Comment: type id 8 is also Element", message)

    def test_unknown_contributor(self):
        message = self.error("unions.json", '"Abstraction": ["ownedComment", "mapping"]',
                             '"Abstraction": ["ownedComment", "mappings"]')
        self.assertEqual(message, "metamodel/unions.json: class Abstraction: property ownedElement: "
                                  "Abstraction has no property mappings")

    def test_composite_without_an_end(self):
        message = self.error("opposites.json", ', "Stereotype.icon"]', "]")
        self.assertEqual(message, "metamodel/opposites.json: class Stereotype: property icon: a stored composite "
                                  "without a navigable opposite needs an end for its getYs")

    def test_wrong_end_index(self):
        message = self.error("opposites.json", '"record": "Element", "index": 2', '"record": "Element", "index": 3')
        self.assertIn("Element index 3 is not owner", message)

    def test_hand_accessors_must_be_the_family(self):
        message = self.error("operations.json", '"getMetaclass": "stub"', '"getMetaClass": "stub"')
        self.assertEqual(message, "metamodel/operations.json: class Extension: property metaclass: "
                                  "the accessors are getMetaclass, not getMetaClass")

    def test_redeclaration_of_nothing(self):
        message = self.error("operations.json", '{"name": "lowerBound", "body": "stub"}',
                             '{"name": "lowerBounds", "body": "stub"}')
        self.assertIn("class ExtensionEnd: operation lowerBounds: no signature, and no ancestor declares it", message)

"""The generator end to end on a tiny metamodel: the files it writes, what they hold, and
how it treats files on a second run and bad data."""

import contextlib
import io
import json
import tempfile
import unittest
from pathlib import Path

import generate

TYPES = {
    "package": "zorbel", "kernelPackage": "Kelpa", "typeTableSize": 12,
    "primitives": [{"name": "Integer", "id": 4}, {"name": "Boolean", "id": 5}, {"name": "String", "id": 6},
                   {"name": "UnlimitedNatural", "id": 7}],
    "kernelClasses": [
        {"name": "ReferenceCounting", "bases": []},
        {"name": "Object", "bases": ["ReferenceCounting"]},
        {"name": "ClassObject", "bases": ["Object"], "typeId": 13, "properties": [{"name": "container", "index": 3}]},
        {"name": "FactoryObject", "bases": ["ClassObject"], "typeId": 23},
    ],
}

CLASSES = [
    {"name": "Element", "id": 8, "abstract": True, "bases": ["ClassObject"], "doc": "The root.", "properties": [
        {"name": "note", "type": "Note", "mult": "0..*", "doc": "Notes on the element."}]},
    {"name": "Note", "id": 9, "abstract": False, "bases": ["Element"], "properties": [
        {"name": "body", "type": "String", "mult": "0..1"},
        {"name": "isDraft", "type": "Boolean", "mult": "1..1", "default": "true"},
        {"name": "kind", "type": "Kind", "mult": "1..1", "default": "loud"},
        {"name": "subject", "type": "Element", "mult": "0..1"}]},
    {"name": "Named", "id": 1, "abstract": True, "bases": ["Element"], "properties": [
        {"name": "name", "type": "String", "mult": "0..1"}]},
    {"name": "Typed", "id": 2, "abstract": True, "bases": ["Element"], "properties": [
        {"name": "type", "type": "Note", "mult": "1..1"}]},
    {"name": "Feature", "id": 10, "abstract": False, "bases": ["Named", "Typed"], "properties": [
        {"name": "size", "type": "UnlimitedNatural", "mult": "1..1", "default": "*"}]},
    {"name": "Factory", "id": 11, "abstract": False, "bases": ["FactoryObject"], "properties": []},
]

FILES = {
    "types.json": TYPES,
    "enumerations.json": {"enumerations": [{"name": "Kind", "id": 3, "literals": ["quiet", "loud"]}]},
    "catalogue/tiny.json": {"group": "Tiny", "metaclasses": CLASSES},
    "creation.json": {"createArguments": {"Feature": ["Note"]}},
    "opposites.json": {"groups": [], "oddities": [], "notInTable": {"properties": []}},
    "unions.json": {"contributors": {}},
    "operations.json": {"classes": {"Element": {"handFile": True, "operations": [
        {"name": "isRoot", "params": [], "result": "Boolean", "body": "stub"},
        {"name": "weight", "params": ["Integer"], "result": "Integer", "body": {"constant": "3"}}]}}},
}


class TinyMetamodel(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.metamodel = Path(self.tmp.name) / "metamodel"
        for name, data in FILES.items():
            path = self.metamodel / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(json.dumps(data), encoding="utf-8")
        self.out = Path(self.tmp.name) / "out"

    def tearDown(self):
        self.tmp.cleanup()

    def run_generator(self, *args):
        stdout, stderr = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(stdout), contextlib.redirect_stderr(stderr):
            code = generate.main(["--metamodel", str(self.metamodel), *args])
        return code, stdout.getvalue(), stderr.getvalue()

    def generated(self):
        code, _, err = self.run_generator("--out", str(self.out))
        self.assertEqual(code, 0, err)
        return {p.relative_to(self.out).as_posix(): p.read_text(encoding="utf-8")
                for p in self.out.rglob("*") if p.is_file()}

    def assertHas(self, text, *snippets):
        for snippet in snippets:
            self.assertIn(snippet, text)

    def test_list_names_what_is_written(self):
        code, listed, _ = self.run_generator("--list")
        self.assertEqual(code, 0)
        files = self.generated()
        self.assertEqual(sorted(listed.split()), sorted(files))
        self.assertIn("zorbel/generated/Tiny.cpp", files)
        self.assertIn("zorbel/NSInterface/FeatureIntf.h", files)
        self.assertIn("zorbel/Factory.h", files)
        for name, text in files.items():
            self.assertTrue(text.startswith(generate.BANNER + "\n"), name)

    def test_interface(self):
        text = self.generated()["zorbel/NSInterface/NoteIntf.h"]
        self.assertHas(
            text,
            "#include <zorbel/NSInterface/ElementIntf.h>",
            "class NoteIntf : public NSInterface::ElementIntf {",
            "  virtual bool hasBody(Kelpa::Deviant d) const;\n"
            "  virtual void removeBody(Kelpa::Deviant d);\n"
            "  virtual void setBody(Kelpa::Deviant d, const String& value);\n"
            "  virtual String getBody(Kelpa::Deviant d) const;\n"
            "  virtual bool hasIsDraft(Kelpa::Deviant d) const;\n",
            "  virtual Boolean isDraft(Kelpa::Deviant d) const;\n",
            "  virtual void setOnlySubject(Kelpa::Deviant d, const Element& value);\n",
            "  virtual NSInterface::NoteIntf* getReadDeviantI(Kelpa::Deviant d, const NSInterface::NoteIntf*) const;\n",
            "  using NSInterface::ElementIntf::getReadDeviantI;\n")
        element = self.generated()["zorbel/NSInterface/ElementIntf.h"]
        self.assertHas(element, "// The root.\nclass ElementIntf : public Kelpa::NSInterface::ClassObjectIntf {",
                       "  virtual Boolean isRoot(Kelpa::Deviant d) const;\n"
                       "  virtual Integer weight(Kelpa::Deviant d, Integer arg1) const;\n"
                       "  // Notes on the element.\n"
                       "  virtual Kelpa::Sequence<Note> getNotes(Kelpa::Deviant d);\n")

    def test_class_with_two_bases(self):
        files = self.generated()
        header = files["zorbel/NSInterface/FeatureIntf.h"]
        self.assertHas(
            header,
            "class FeatureIntf : public NSInterface::NamedIntf, public NSInterface::TypedIntf {",
            "  Kelpa::Sequence<Note> getNotes(Kelpa::Deviant d) override;",
            "  void incRef() override;",
            "  bool hasId() const override = 0;",
            "  NSInterface::TypedIntf* getReadDeviantI(Kelpa::Deviant d, const NSInterface::TypedIntf*) const override;",
            "  Kelpa::NSInterface::ObjectIntf* getWriteDeviantI(Kelpa::Deviant d, "
            "const Kelpa::NSInterface::ObjectIntf*) const override;")
        self.assertNotIn("getName(Kelpa::Deviant d) const override", header)  # one path only
        self.assertNotIn("using NSInterface::", header)
        source = files["zorbel/generated/Tiny.cpp"]
        self.assertHas(
            source,
            "Kelpa::Sequence<Note> FeatureIntf::getNotes(Kelpa::Deviant d) {\n"
            "  return NSInterface::NamedIntf::getNotes(d);\n}",
            "    {&CV::classInfoOf<NSInterface::TypedIntf>,\n"
            "     &detail::castAlong<NSInterface::FeatureIntf, NSInterface::TypedIntf>},",
            "    {&CV::classInfoOf<NSInterface::NamedIntf>, &detail::sameObject},",
            "    return detail::stateAlong<NSInterface::TypedIntf>(readState(d));",
            "    return Kelpa::primary_cast<NSInterface::ElementIntf>(writeState(d));")

    def test_meta_registry(self):
        files = self.generated()
        source = files["zorbel/NSMetaRegistry/TinyMetaRegistry.cpp"]
        self.assertHas(
            source,
            # a descriptor: the multiplicity 1..1 and the default of isDraft, flags unique only
            'nullptr, "isDraft", &get_zorbel_PackageIntrospectiveMethods, 5, 0,\n'
            '    {nullptr, nullptr, nullptr, nullptr, nullptr},\n    0x20, "true", 0, 1, 1, 2, 0,',
            # unlimited upper bound and the multi flag of Element.note
            '0x60, "", 0, 0, -1, 1, 0,',
            # a required stored value answers has at once; an optional one asks
            "      case 2: return true;",
            "      case 1: return self->hasBody(d);",
            # strings have no setOnly form, enumerations do
            "      case 3: return self->setOnlyKind(d, meta::fromObject<Kind>(value));",
            "      case 1: return meta::generic(self->getNotes(d), d);",
            # Feature's bases are both metaclasses; Element's parent is the kernel's
            "const meta::ClassRecord* const kFeatureBases[] = {&kNamedRecord, &kTypedRecord, nullptr};",
            "const Kelpa::TypeRef kElementParents[] = {{&get_Kelpa_PackageIntrospectiveMethods, 13}, {nullptr, 0}};")
        self.assertNotIn("case 1: return self->setOnlyBody", source)
        package = files["zorbel/NSMetaRegistry/ZorbelMetaPackage.cpp"]
        self.assertHas(package, "    &gKindMethods,", "    &NSInterface::NoteIntf::sIntrospectiveMethods,",
                       "const char* const kKindLiterals[] = {\"quiet\", \"loud\"};")

    def test_bodies_and_state(self):
        source = self.generated()["zorbel/generated/Tiny.cpp"]
        self.assertHas(
            source,
            # interface bodies, by shape
            "void NoteIntf::setBody(Kelpa::Deviant d, const String& value) {\n"
            "  detail::setValue(this, d, value, &NoteIntf::hasBody, &NoteIntf::getBody,\n"
            "                   &NoteIntf::setBody);\n}",
            "bool NoteIntf::hasIsDraft(Kelpa::Deviant) const {\n  return true;\n}",
            "bool NoteIntf::hasSubject(Kelpa::Deviant d) const {\n"
            "  return detail::isPresent(getSubject(d));\n}",
            "void NoteIntf::removeOnlySubject(Kelpa::Deviant d) {\n"
            "  Kelpa::detail::referenceRemoveOnly(detail::self(this), d, kNote_subjectEnd);\n}",
            "Boolean ElementIntf::isRoot(Kelpa::Deviant) const {\n"
            "  Kelpa::raiseUnImplemented(Kelpa::Where{\"zorbel/NSHandMaintained/ElementImplHand\"}, __LINE__,\n"
            "                            \"The Element.isRoot operation is not yet implemented!\");\n}",
            "Integer ElementIntf::weight(Kelpa::Deviant, Integer) const {\n  return Integer(3);\n}",
            # the state
            "  bool hasBody(Deviant) const override { return fPresent.has(0); }",
            "  void setIsDraft(Deviant, const Boolean& value) override {\n    fIsDraft = value;\n  }",
            "  bool hasKind(Deviant) const override { return true; }",
            "  void removeKind(Deviant) override {\n    fKind = Kind();\n  }",
            "  void setSubject(Deviant, const Element& value) override {\n"
            "    fSubject.reset(value.get());\n"
            "    fPresent.assign(1, fSubject.get() != nullptr);\n  }",
            "  Element getSubject(Deviant d) const override { return Element(fSubject.get(), d); }",
            "  String fBody;\n  Boolean fIsDraft{true};\n  Kind fKind{Kind::kLoud};\n"
            "  detail::CountedRef<NSInterface::ElementIntf> fSubject;\n  Kelpa::MultiIndexImpl<Note> fNote;\n",
            # three presence bits in the state's base, the container's last
            "    \"no root deviant passed to NoteImpl::createRootDeviation\",\n    2,\n    &staticGetNoteMeta,\n    &kNoteEnds,\n};",
            "UnlimitedNatural fSize{UnlimitedNatural::kUnlimited};",
            "\"no root deviant passed to NoteImpl::createRootDeviation\"",
            # creation with the required reference
            "Feature Feature::createWithId(Kelpa::Model model, const Kelpa::Integer& id, Note type) {\n"
            "  Feature created = createWithId(model, id);\n"
            "  const Deviant d = model.getDeviant();\n"
            "  created->setType(d, type);\n")
        self.assertNotIn("FactoryImpl", source)

    def test_handles_and_tables(self):
        files = self.generated()
        self.assertHas(files["zorbel/Feature.h"],
                       "class ImmutableFeature : public ImmutableNamed {",
                       "  static Feature create(Kelpa::Model model, Note type);")
        self.assertHas(files["zorbel/Factory.h"], "class ImmutableFactory : public Kelpa::ImmutableClassObject {")
        self.assertNotIn("create", files["zorbel/Factory.h"].split("class Factory ")[1])
        names = files["zorbel/generated/ClassNames.cpp"]
        order = [line.split('"')[1] for line in names.splitlines() if line.startswith('    {"')]
        self.assertEqual(order, ["zorbel.ImmutableElement", "zorbel.Element", "zorbel.ImmutableNote", "zorbel.Note",
                                 "zorbel.ImmutableFeature", "zorbel.Feature", "zorbel.ImmutableNamed", "zorbel.Named",
                                 "zorbel.ImmutableTyped", "zorbel.Typed", "zorbel.ImmutableFactory", "zorbel.Factory"])
        self.assertHas(files["zorbel/AllClasses.h"], "#include <zorbel/Note.h>\n")

    def test_files_are_written_only_when_they_change(self):
        self.generated()
        stale = self.out / "zorbel" / "Old.h"
        stale.write_text(generate.BANNER + "\n#pragma once\n", encoding="utf-8")
        foreign = self.out / "zorbel" / "Kept.h"
        foreign.write_text("#pragma once\n", encoding="utf-8")
        code, said, _ = self.run_generator("--out", str(self.out))
        self.assertEqual(code, 0)
        self.assertIn(" 0 of ", said)
        self.assertFalse(stale.exists())
        self.assertTrue(foreign.exists())

    def test_bad_data_names_file_class_and_property(self):
        path = self.metamodel / "catalogue" / "tiny.json"
        path.write_text(path.read_text(encoding="utf-8").replace('"type": "Note", "mult": "1..1"',
                                                                  '"type": "Notes", "mult": "1..1"'))
        code, _, err = self.run_generator("--list")
        self.assertEqual(code, 1)
        self.assertIn("metamodel/catalogue/tiny.json: class Typed: property type: unknown type Notes", err)


if __name__ == "__main__":
    unittest.main()

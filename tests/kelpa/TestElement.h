#pragma once
// A minimal metaclass built on the kernel's element templates, so the kernel can be
// tested without the metamodel: "Note", with one optional integer "weight" and a
// stored list of other notes.
#include <Kelpa/ElementBase.h>
#include <Kelpa/MultiIndexImpl.h>

namespace test {

class TestDomain {
 public:
  virtual ~TestDomain() = default;
};

class Note;

class NoteIntf : public Kelpa::NSInterface::ClassObjectIntf {
 public:
  using Domain = TestDomain;
  Kelpa::ReferenceCountingIntf* cast(const ClassInfo& info) const override;
  std::string getRuvoName(bool) const override { return "test.NoteIntf"; }

  virtual bool hasWeight(Kelpa::Deviant d) const;
  virtual void setWeight(Kelpa::Deviant d, const Kelpa::Integer& w);
  virtual void removeWeight(Kelpa::Deviant d);
  virtual Kelpa::Integer getWeight(Kelpa::Deviant d) const;
  virtual Kelpa::Sequence<Note> getLinks(Kelpa::Deviant d);

  virtual NoteIntf* getReadDeviantI(Kelpa::Deviant, const NoteIntf*) const { return nullptr; }
  virtual NoteIntf* getWriteDeviantI(Kelpa::Deviant, const NoteIntf*) const { return nullptr; }
  using ClassObjectIntf::getReadDeviantI;
  using ClassObjectIntf::getWriteDeviantI;
};

class Note : public Kelpa::ImmutableClassObject {
 public:
  using Intf = NoteIntf;
  static constexpr const char* sequenceTypeName() { return "test.SequenceOfNote"; }
  Note() = default;
  Note(NoteIntf* p, Kelpa::Deviant d) : ImmutableClassObject(p, d) {}
  explicit Note(const Kelpa::ImmutableObject& o)
      : Note(Kelpa::detail::castTo<NoteIntf>(o.get()), o.getDeviant()) {}
  NoteIntf* operator->() const { return Kelpa::primary_cast<NoteIntf>(checked()); }
  NoteIntf* get() const { return Kelpa::primary_cast<NoteIntf>(fPtr); }
  static Note create(const Kelpa::Model& model);
};

// Number of Note identities alive.
int liveNotes();

}  // namespace test

namespace test {
// Builds the package "test" with Note in the meta-registry (once).
void registerNoteMeta();
}  // namespace test

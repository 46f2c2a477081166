#include "TestElement.h"

#include <Kelpa/Visitor.h>

namespace test {

namespace CV = Kelpa::CooperativeVisitor::internal;
using Kelpa::Deviant;

namespace {
int gLiveNotes = 0;

Kelpa::ReferenceCountingIntf* self(const Kelpa::ReferenceCountingIntf* p) {
  return const_cast<Kelpa::ReferenceCountingIntf*>(p);
}
}  // namespace

int liveNotes() {
  return gLiveNotes;
}

Kelpa::ReferenceCountingIntf* NoteIntf::cast(const ClassInfo& info) const {
  if (info == CV::classInfoOf<NoteIntf>() ||
      info == CV::classInfoOf<Kelpa::NSInterface::ClassObjectIntf>() ||
      info == CV::classInfoOf<Kelpa::NSInterface::ObjectIntf>() ||
      info == CV::classInfoOf<Kelpa::ReferenceCountingIntf>())
    return self(this);
  return nullptr;
}

bool NoteIntf::hasWeight(Deviant d) const {
  return Kelpa::requireState(getReadDeviantI(d, this))->hasWeight(d);
}
void NoteIntf::setWeight(Deviant d, const Kelpa::Integer& w) {
  Kelpa::requireState(getWriteDeviantI(d, this))->setWeight(d, w);
}
void NoteIntf::removeWeight(Deviant d) {
  Kelpa::requireState(getWriteDeviantI(d, this))->removeWeight(d);
}
Kelpa::Integer NoteIntf::getWeight(Deviant d) const {
  return Kelpa::requireState(getReadDeviantI(d, this))->getWeight(d);
}
Kelpa::Sequence<Note> NoteIntf::getLinks(Deviant d) {
  return Kelpa::requireState(getReadDeviantI(d, this))->getLinks(d);
}

extern const Kelpa::ElementOps kNoteOps;

class NoteState final : public Kelpa::ElementState<NoteIntf, kNoteOps> {
 public:
  bool hasWeight(Deviant) const override { return fHas; }
  void setWeight(Deviant, const Kelpa::Integer& w) override {
    fWeight = w;
    fHas = true;
  }
  void removeWeight(Deviant) override {
    fWeight = Kelpa::Integer();
    fHas = false;
  }
  Kelpa::Integer getWeight(Deviant) const override { return fWeight; }
  Kelpa::Sequence<Note> getLinks(Deviant d) override { return Kelpa::Sequence<Note>(&fLinks, d); }

 private:
  Kelpa::Integer fWeight;
  bool fHas = false;
  Kelpa::MultiIndexImpl<Note> fLinks;
};

class NoteImpl final : public Kelpa::ElementIdentity<NoteIntf, kNoteOps> {
 public:
  NoteImpl() { ++gLiveNotes; }
  ~NoteImpl() override { --gLiveNotes; }
  using ElementIdentity::getReadDeviantI;
  using ElementIdentity::getWriteDeviantI;
  NoteIntf* getReadDeviantI(Deviant d, const NoteIntf*) const override { return readState(d); }
  NoteIntf* getWriteDeviantI(Deviant d, const NoteIntf*) const override { return writeState(d); }
};

const Kelpa::ElementOps kNoteOps{
    &CV::classInfoOf<NoteIntf>,
    [] { return static_cast<Kelpa::NSInterface::ObjectIntf*>(new NoteState()); },
    [](const Kelpa::NSInterface::ObjectIntf* s) {
      return static_cast<Kelpa::NSInterface::ObjectIntf*>(
          new NoteState(*static_cast<const NoteState*>(s)));
    },
    "test.Note",
    "test.ImmutableNote",
    "test/NoteImpl",
    "test/NoteDeviantImpl",
    "no root deviant passed to NoteImpl::createRootDeviation",
};

Note Note::create(const Kelpa::Model& model) {
  const Deviant d = model.getDeviant();
  auto* impl = new NoteImpl();
  impl->enterModel(d);
  Note note(impl, d);
  Kelpa::ClassObject asObject(impl, d);
  model->bindObjectId(d, asObject, model->nextObjectId(d));
  impl->setModelKelpa(d, model);
  model->getRootObjects(d).push_back(asObject);
  return note;
}

}  // namespace test

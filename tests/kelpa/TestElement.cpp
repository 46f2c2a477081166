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
  NoteState() = default;
  ~NoteState() override { releaseKernel(); }
  void internal_deviationAssign(Deviant, Kelpa::NSInterface::ObjectIntf* source, Deviant) override {
    const NoteState* s = sourceState<NoteState>(source);
    if (!s || s == this) return;
    Kelpa::assignment::optional(fPresent, fWeight, s->fPresent, s->fWeight, kWeightBit);
    Kelpa::assignment::sequence(fLinks, s->fLinks);
    assignKernel(*s);
  }

  bool hasWeight(Deviant) const override { return fPresent.has(kWeightBit); }
  void setWeight(Deviant, const Kelpa::Integer& w) override {
    fWeight = w;
    fPresent.set(kWeightBit);
  }
  void removeWeight(Deviant) override {
    fWeight = Kelpa::Integer();
    fPresent.clear(kWeightBit);
  }
  Kelpa::Integer getWeight(Deviant) const override { return fWeight; }
  Kelpa::Sequence<Note> getLinks(Deviant d) override { return Kelpa::Sequence<Note>(&fLinks, d); }

 private:
  static constexpr unsigned kWeightBit = 1;  // the container's is 0
  Kelpa::Integer fWeight;
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
    "test.Note",
    "test.ImmutableNote",
    "test/NoteImpl",
    "test/NoteDeviantImpl",
    "no root deviant passed to NoteImpl::createRootDeviation",
    0,
    nullptr,
    nullptr,
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

// ---------------------------------------------------------------- Note described to the kernel

#include <Kelpa/Meta.h>

namespace test {

namespace {
using Kelpa::Object;
using Kelpa::NSInterface::ClassObjectIntf;

enum : std::uint32_t { kNoteId = 1, kIntegerId = 2 };
const Kelpa::PackageIntrospectiveMethods* testPackage();

NoteIntf* asNote(const ClassObjectIntf* o) {
  return Kelpa::detail::castTo<NoteIntf>(o);
}

Object getSingle(const ClassObjectIntf* o, Deviant d, unsigned int index) {
  if (index == 1) return asNote(o)->getWeight(d);
  if (index == 3) return Kelpa::Integer(asNote(o)->getLinks(d).size());
  Kelpa::raise(Kelpa::Where{"test/NoteMetaRegistry"}, __LINE__, "illegal property");
}
bool hasSingle(const ClassObjectIntf* o, Deviant d, unsigned int index) {
  return index == 1 && asNote(o)->hasWeight(d);
}
void setSingle(ClassObjectIntf* o, Deviant d, unsigned int index, const Object& v) {
  if (index == 1) asNote(o)->setWeight(d, Tovi::any_cast<Kelpa::Integer>(*Kelpa::valueOf(v)));
}
void removeSingle(ClassObjectIntf* o, Deviant d, unsigned int index) {
  if (index == 1) asNote(o)->removeWeight(d);
}
Kelpa::Sequence<Object> getMulti(ClassObjectIntf* o, Deviant d, unsigned int index) {
  if (index == 2) return Kelpa::Sequence<Object>(asNote(o)->getLinks(d).get(), d);
  return {};
}

Kelpa::MetaPropertyDescription describe(const char* name, std::uint32_t type, std::uint64_t flags,
                                        std::int32_t upper, std::uint32_t index) {
  Kelpa::MetaPropertyDescription p{};
  p.name = name;
  p.typePackage = &testPackage;
  p.typeId = type;
  p.flags = flags | Kelpa::MetaFlag::unique |
            (upper != 1 ? std::uint64_t{Kelpa::MetaFlag::multi} : std::uint64_t{0});
  p.defaultValue = "";
  p.upper = upper;
  p.index = index;
  return p;
}

Kelpa::MetaPropertyDescription gWeight = describe("weight", kIntegerId, 0, 1, 1);
Kelpa::MetaPropertyDescription gLinks = describe("links", kNoteId, 0, -1, 2);
Kelpa::MetaPropertyDescription gTotal =
    describe("total", kIntegerId, Kelpa::MetaFlag::readOnly | Kelpa::MetaFlag::derived, 1, 3);
Kelpa::MetaPropertyDescription* gNoteTable[] = {nullptr, &gWeight, &gLinks, &gTotal};
const Kelpa::TypeRef kNoteParents[] = {{&Kelpa::getKelpaPackageIntrospectiveMethods, 13},
                                       {nullptr, 0}};
Kelpa::IntrospectiveMethods gNoteMethods{&getSingle,    &hasSingle,    &setSingle, &setSingle,
                                         &removeSingle, &removeSingle, &getMulti,  &getMulti,
                                         gNoteTable,    kNoteParents,  nullptr,    nullptr};
Kelpa::IntrospectiveMethods gIntegerMethods{};
const Kelpa::IntrospectiveMethods* gTypes[] = {nullptr, &gNoteMethods, &gIntegerMethods};
const Kelpa::PackageIntrospectiveMethods kPackage{gTypes, 3};
const Kelpa::PackageIntrospectiveMethods* testPackage() {
  return &kPackage;
}
}  // namespace

void registerNoteMeta() {
  static const bool done = [] {
    const Kelpa::Factory factory = Kelpa::DomainRegistry::instance().getMetaRegistryFactory();
    const Deviant d = factory.getDeviant();
    const Kelpa::Package package(factory->createPackage(d), d);
    package->setName("test");
    Kelpa::NSInterface::PrimitiveTypeIntf* integer = factory->createPrimitiveType(d);
    integer->setName("Integer");
    package->addOwnedType(integer);
    gIntegerMethods.metaclass = integer;
    Kelpa::NSInterface::ClassIntf* note = nullptr;
    Kelpa::staticCreateMetaClass(note, factory, package, gNoteTable, 3, "Note", "test.Note", false,
                                 nullptr);
    gNoteMethods.metaclass = note;
    Kelpa::staticUpdateMeta(note, factory, package, gNoteTable, 3, "Note", "test.Note",
                            &gNoteMethods);
    return true;
  }();
  (void)done;
}

}  // namespace test

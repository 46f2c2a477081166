// Start-up of the library: two static initialisers, in this order, bind the visitor
// names of every class and then call initialize(), which brings up the kernel and
// makes the one InitializerClass.
#include <zorbel/Initialize.h>

#include <chrono>
#include <cstdlib>

#include <boost/checked_delete.hpp>

#include <Kelpa/Asserter.h>
#include <Kelpa/Meta.h>
#include <Kelpa/Model.h>
#include <Kelpa/Visitor.h>
#include <Tovi/ModuleObject.h>
#include <zorbel/Factory.h>
#include <zorbel/MetaPackage.h>
#include <zorbel/detail/MetaSupport.h>
#include <zorbel/detail/Support.h>
#include <zorbel/detail/TypeRegistration.h>

namespace zorbel {

VisitationDomain::~VisitationDomain() = default;

namespace detail {

namespace {
Tovi::ModuleObjectDeleter* sModuleObjects = nullptr;
bool sExitHookRegistered = false;

// Releases the module holders at exit. The objects they hold stay: registrations
// and the meta package live as long as the process.
void exitHook() {
  delete sModuleObjects;
  sModuleObjects = nullptr;
}

void registerExitHook() {
  if (sExitHookRegistered) return;
  sExitHookRegistered = true;
  std::atexit(&exitHook);
}
}  // namespace

Tovi::ModuleObjectDeleter& moduleObjects() {
  if (!sModuleObjects) sModuleObjects = new Tovi::ModuleObjectDeleter();
  return *sModuleObjects;
}

void raiseInternalError(const char* interfacePath, int line) {
  Kelpa::raise(Kelpa::Where{interfacePath}, line, "Internal Error");
}

}  // namespace detail

InitializerClass::InitializerClass() {
  Kelpa::Model registry = Kelpa::DomainRegistry::instance().getMetaRegistry();
  if (registry.isNull()) Kelpa::raiseNullRef();
  const Kelpa::Deviant root = registry.getDeviant();
  {
    // The whole meta package is made in one transaction.
    Kelpa::Transaction building(registry);
    NSImplementation::staticInitializeZorbelMeta();
    building.commit();
  }
  detail::registerTypeNames(root);
}

InitializerClass::~InitializerClass() {
  // What the clipboard holds may be of our types: it goes before they do.
  Kelpa::ClipboardManager::instance().clear();
  detail::unregisterTypeNames();
  Kelpa::Model registry = Kelpa::DomainRegistry::instance().getMetaRegistry();
  if (registry.isNull()) Kelpa::raiseNullRef();
  const Kelpa::ScopedAssertions off(false);
  Kelpa::Transaction removing(registry);
  NSImplementation::staticTerminateZorbelMeta();
  removing.commit();
}

namespace {
long long sInitializeDurationNs = 0;
}

long long InitializerClass::durationNs() {
  return sInitializeDurationNs;
}

bool initialize() {
  static bool sInitialized = false;
  static InitializerClass* sInitializer = nullptr;
  if (sInitialized) return sInitialized;
  const auto start = std::chrono::steady_clock::now();

  Kelpa::kelpaLogDebug("Initializing the zorbel meta-registry.");
  detail::moduleObjects().add(
      new Tovi::ModuleObjectImpl<Kelpa::Model*, boost::checked_deleter<Kelpa::Model>>(nullptr));

  // A cleanup object lives for one instant ahead of the kernel's start, so that the
  // kernel's clean-up bookkeeping is constructed before the kernel itself.
  class InitializeCleanup : public Kelpa::ReferenceCountingIntf {};
  static InitializeCleanup* sCleanup = new InitializeCleanup();
  if (sCleanup) {
    delete sCleanup;
    sCleanup = nullptr;
  }

  Kelpa::initialize();
  Kelpa::Cleanup::beginMetaRegistrySection();
  if (!sInitializer) {
    auto* initializer = new InitializerClass();
    sInitializer = initializer;
    detail::moduleObjects().add(
        new Tovi::ModuleObjectImpl<InitializerClass*, boost::checked_deleter<InitializerClass>>(
            initializer));
  }
  sInitialized = true;
  Kelpa::Cleanup::endMetaRegistrySection();
  sInitializeDurationNs = std::chrono::duration_cast<std::chrono::nanoseconds>(
                              std::chrono::steady_clock::now() - start)
                              .count();
  return sInitialized;
}

namespace {

namespace CV = Kelpa::CooperativeVisitor::internal;

// Binds "zorbel.ImmutableX" and "zorbel.X" to the ClassInfo of each interface.
struct NameBinder {
  NameBinder() {
    for (const detail::ClassName& entry : detail::classNames())
      CV::BindTagToName(entry.name, entry.info());
    detail::registerExitHook();
  }
};

struct Loader {
  Loader() {
    initialize();
    detail::registerExitHook();
  }
};

// Order matters: names are bound before initialize() runs.
const NameBinder sNameBinder;
const Loader sLoader;

Kelpa::Object createFactory(const Kelpa::Model& model) {
  const Factory factory = NSInterface::FactoryIntf::createNewFactory(model);
  return Kelpa::Object(factory.objectPtr(), factory.getDeviant());
}
Kelpa::Object metaModel(const Kelpa::Model& model) {
  const Kelpa::Package package = NSImplementation::staticGetZorbelMetaModel(model);
  return Kelpa::Object(package.objectPtr(), package.getDeviant());
}
Kelpa::Model createModel() {
  return NSInterface::FactoryIntf::createNewModel();
}

}  // namespace
}  // namespace zorbel

extern "C" void zorbel_getConfiguration(zorbel_Configuration* record) {
  record->createFactory = &zorbel::createFactory;
  record->getMetaModel = &zorbel::metaModel;
  record->createModel = &zorbel::createModel;
}

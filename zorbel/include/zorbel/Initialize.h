#pragma once
// Start-up. The library initialises itself when it is loaded; initialize() may be
// called again at any time and then only reads a flag.
#include <Tovi/Visibility.h>

namespace Kelpa {
class Model;
class Object;
}  // namespace Kelpa

namespace zorbel {

TOVI_EXPORT bool initialize();

// Registration of the library's types and metamodel, made once at start-up.
class InitializerClass {
 public:
  InitializerClass();
  // The exact inverse of the constructor. Not run at process exit: registrations
  // live as long as the process.
  ~InitializerClass();

  // How long the first initialize() took, in nanoseconds: the kernel's start, the meta
  // package and the registrations.
  static long long durationNs();
};

}  // namespace zorbel

// The record the kernel's domain machinery asks the library for.
struct zorbel_Configuration {
  // Makes a Factory for a model.
  Kelpa::Object (*createFactory)(const Kelpa::Model& model);
  // The meta package, seen in the deviant of the model given.
  Kelpa::Object (*getMetaModel)(const Kelpa::Model& model);
  // Makes a new model.
  Kelpa::Model (*createModel)();
};

extern "C" TOVI_EXPORT void zorbel_getConfiguration(zorbel_Configuration* record);

#pragma once
// The package "zorbel" in the kernel's meta-registry: the table of its types, and the
// operations that build it at start-up and take it down.
#include <Kelpa/Meta.h>

namespace zorbel {

// The types of the package by type id (181 entries, 0 and 180 empty).
extern const Kelpa::PackageIntrospectiveMethods sPackageIntrospectiveMethods;
const Kelpa::PackageIntrospectiveMethods* get_zorbel_PackageIntrospectiveMethods();
// The kernel's own table, for the types of the kernel that descriptors name.
const Kelpa::PackageIntrospectiveMethods* get_Kelpa_PackageIntrospectiveMethods();

namespace NSImplementation {
// The package's slot; null until the package is built and after it is taken down.
Kelpa::NSInterface::PackageIntf** staticGetZorbelMetaPackage();
Kelpa::Package staticGetZorbelMetaModel(const Kelpa::Model& model);
// Builds and updates the package if not yet done; gives the package's slot.
Kelpa::NSInterface::PackageIntf** staticInitializeZorbelMeta();
void staticTerminateZorbelMeta();
void staticCreateZorbelMetaPackage(Kelpa::Factory factory, Kelpa::Package parent);
void staticUpdateZorbelMetaPackage(Kelpa::Factory factory);
void staticDestroyZorbelMetaPackage(Kelpa::Factory factory, Kelpa::Package package);
}  // namespace NSImplementation

}  // namespace zorbel

#pragma once
// The package "zorbel" in the kernel's meta-registry: the table of its types.
#include <Kelpa/Meta.h>
#include <Tovi/Visibility.h>

namespace zorbel {

// The types of the package by type id (181 entries, 0 and 180 empty).
TOVI_EXPORT extern const Kelpa::PackageIntrospectiveMethods sPackageIntrospectiveMethods;
TOVI_EXPORT const Kelpa::PackageIntrospectiveMethods* get_zorbel_PackageIntrospectiveMethods();
// The kernel's own table, for the types of the kernel that descriptors name.
TOVI_EXPORT const Kelpa::PackageIntrospectiveMethods* get_Kelpa_PackageIntrospectiveMethods();

}  // namespace zorbel

// zorbel-meta: prints the meta-registry as libzorbel built it when it was loaded.
//
//   zorbel-meta                 outline of the package
//   zorbel-meta Class           one type, with all its properties
//   zorbel-meta --json          the package as JSON
//
// Exit status: 0 done, 1 the registry holds no such package or the output failed,
// 2 a bad command line or an unknown type name.
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

#include <Kelpa/Meta.h>
#include <zorbel/Initialize.h>
#include <zorbel/MetaPackage.h>

#include "MetaReport.h"

namespace {

constexpr const char* kUsage =
    "usage: zorbel-meta [--package NAME] [--json | TYPE]\n"
    "\n"
    "Prints the meta-registry as the library built it at start-up.\n"
    "\n"
    "  (no argument)    an outline of the package: enumerations, primitives, and each\n"
    "                   metaclass with its bases and own properties\n"
    "  TYPE             one metaclass (plain or qualified name: Class, zorbel.Class) with\n"
    "                   its documentation, bases and all properties, inherited ones marked\n"
    "                   \"^ DeclaringClass\"; or one enumeration or primitive\n"
    "  --json           the whole package as JSON\n"
    "  --package NAME   another package of the registry (default: zorbel; the kernel's\n"
    "                   is Kelpa)\n"
    "  -h, --help       this text\n";

int usageError(const std::string& message) {
  std::cerr << "zorbel-meta: " << message << "\n\n" << kUsage;
  return 2;
}

const Kelpa::PackageIntrospectiveMethods* packageTable(const Kelpa::NSInterface::PackageIntf& p) {
  if (p.getName() == "zorbel") return zorbel::get_zorbel_PackageIntrospectiveMethods();
  return zorbel::meta::tableNamedByClasses(p);
}

int run(int argc, char** argv) {
  std::string packageName = "zorbel";
  std::string typeName;
  bool json = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "-h" || arg == "--help") {
      std::cout << kUsage;
      return 0;
    }
    if (arg == "--json") {
      json = true;
    } else if (arg == "--package") {
      if (++i == argc) return usageError("--package needs a name");
      packageName = argv[i];
    } else if (arg.starts_with("--package=")) {
      packageName = arg.substr(std::string_view("--package=").size());
    } else if (arg.size() > 1 && arg.front() == '-') {
      return usageError("unknown option " + std::string(arg));
    } else if (typeName.empty() && !arg.empty()) {
      typeName = arg;
    } else {
      return usageError("give at most one type name");
    }
  }
  if (json && !typeName.empty())
    return usageError("--json prints the whole package; give no type name with it");

  zorbel::initialize();  // already done when the library was loaded; only reads a flag
  const Kelpa::Package package = Kelpa::DomainRegistry::instance().findPackage(packageName);
  if (package.isNull()) {
    std::cerr << "zorbel-meta: the meta-registry holds no package \"" << packageName
              << "\"; the library built none at start-up\n";
    return 1;
  }
  const Kelpa::NSInterface::PackageIntf& p = *package.get();
  const zorbel::meta::TypeIdOf ids = zorbel::meta::typeIdsFrom(packageTable(p));

  if (json) {
    zorbel::meta::writeJson(std::cout, p, ids);
  } else if (typeName.empty()) {
    zorbel::meta::writeOutline(std::cout, p, ids);
  } else if (const auto* type = zorbel::meta::findType(p, typeName)) {
    zorbel::meta::writeType(std::cout, *type, ids);
  } else {
    std::cerr << "zorbel-meta: no metaclass named \"" << typeName << "\"\n";
    const auto names = zorbel::meta::nearestNames(p, typeName);
    if (!names.empty()) {
      std::cerr << "did you mean: ";
      for (std::size_t i = 0; i < names.size(); ++i) std::cerr << (i ? ", " : "") << names[i];
      std::cerr << "?\n";
    }
    return 2;
  }
  std::cout.flush();
  if (!std::cout) {
    std::cerr << "zorbel-meta: writing the output failed\n";
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& e) {
    std::cerr << "zorbel-meta: " << e.what() << '\n';
    return 1;
  }
}

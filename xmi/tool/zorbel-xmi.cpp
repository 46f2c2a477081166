// zorbel-xmi: what an XMI file holds, as the reader sees it.
//
//   zorbel-xmi stats FILE    elements by metaclass, content kept verbatim, references
//                            that did not resolve, warnings
//
// Exit status: 0; 1 when the file cannot be read (the error on stderr); 2 for a bad
// command line.
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include <zorbel/xmi/Xmi.h>

namespace {

void usage(std::ostream& out) {
  out << "usage: zorbel-xmi stats FILE\n"
         "  stats   elements by metaclass, content kept verbatim, unresolved references\n";
}

int stats(const char* file) {
  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  int status = 0;
  try {
    const zorbel::xmi::Document document = zorbel::xmi::read(model, file);
    const zorbel::xmi::Report& report = document.report;
    std::cout << file << ": " << zorbel::xmi::toString(document.dialect) << " dialect, "
              << document.roots.size() << " root element(s), " << report.createdCount()
              << " elements, " << document.ids.size() << " ids\n";
    std::cout << "\nelements by metaclass:\n";
    for (const auto& [name, count] : report.created) std::printf("  %7zu  %s\n", count, name.c_str());
    std::cout << "\nkept verbatim (" << report.unknownCount() << "):\n";
    for (const auto& [kind, count] : report.unknown) std::printf("  %7zu  %s\n", count, kind.c_str());
    std::cout << "\nunresolved references (" << report.unresolved.size() << "):\n";
    for (const auto& u : report.unresolved)
      std::cout << "  line " << u.line << ": " << u.property << " -> " << u.target << "\n";
    if (!report.warnings.empty()) {
      std::cout << "\nwarnings (" << report.warnings.size() << "):\n";
      for (const auto& w : report.warnings) std::cout << "  line " << w.line << ": " << w.text << "\n";
    }
  } catch (const std::exception& e) {
    std::cerr << "zorbel-xmi: " << file << ": " << e.what() << "\n";
    status = 1;
  }
  model->destroyModel();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h"))) {
    usage(std::cout);
    return 0;
  }
  if (argc == 3 && !std::strcmp(argv[1], "stats")) return stats(argv[2]);
  usage(std::cerr);
  return 2;
}

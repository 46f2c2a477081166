// zorbel-xmi: what an XMI file holds, as the reader sees it.
//
//   zorbel-xmi stats FILE    elements by metaclass, content kept verbatim, references
//                            that did not resolve, warnings
//   zorbel-xmi convert IN OUT [--dialect omg|eclipse]
//                            reads IN and writes it to OUT (in IN's dialect by default)
//   zorbel-xmi roundtrip FILE [--dialect omg|eclipse]
//                            reads FILE, writes it, reads that again and prints how the
//                            two models differ; exit status 1 if they do
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
         "       zorbel-xmi convert IN OUT [--dialect omg|eclipse]\n"
         "       zorbel-xmi roundtrip FILE [--dialect omg|eclipse]\n"
         "  stats      elements by metaclass, content kept verbatim, unresolved references\n"
         "  convert    read IN, write OUT (in IN's dialect unless --dialect says otherwise)\n"
         "  roundtrip  read, write, read again, and print how the two models differ\n";
}

// Reads file into a fresh model, hands the document to f, and tears the model down.
template <class F>
int withDocument(const char* file, F&& f) {
  Kelpa::Model model = zorbel::NSInterface::FactoryIntf::createNewModel();
  int status = 0;
  try {
    status = f(model, zorbel::xmi::read(model, file));
  } catch (const std::exception& e) {
    std::cerr << "zorbel-xmi: " << file << ": " << e.what() << "\n";
    status = 1;
  }
  model->destroyModel();
  return status;
}

zorbel::xmi::WriteOptions writeOptions(const zorbel::xmi::Document& document, const char* dialect) {
  zorbel::xmi::WriteOptions options;
  options.dialect = document.dialect;
  if (dialect) options.dialect = std::strcmp(dialect, "omg") ? zorbel::xmi::Dialect::Eclipse
                                                             : zorbel::xmi::Dialect::Omg;
  options.roots = document.roots;
  return options;
}

int convert(const char* in, const char* out, const char* dialect) {
  return withDocument(in, [&](const Kelpa::Model& model, const zorbel::xmi::Document& document) {
    zorbel::xmi::write(model, out, writeOptions(document, dialect));
    return 0;
  });
}

int roundtrip(const char* file, const char* dialect) {
  return withDocument(file, [&](const Kelpa::Model& model, const zorbel::xmi::Document& first) {
    const std::string text = zorbel::xmi::writeString(model, writeOptions(first, dialect));
    Kelpa::Model again = zorbel::NSInterface::FactoryIntf::createNewModel();
    int status = 0;
    try {
      const zorbel::xmi::Document second = zorbel::xmi::readString(again, text);
      const std::vector<std::string> differences = zorbel::xmi::compare(first.roots, second.roots);
      for (const std::string& line : differences) std::cout << line << "\n";
      std::cout << file << ": " << first.report.createdCount() << " elements, "
                << differences.size() << " difference(s) after writing "
                << text.size() << " bytes\n";
      status = differences.empty() ? 0 : 1;
    } catch (const std::exception& e) {
      std::cerr << "zorbel-xmi: " << file << ": reading it back: " << e.what() << "\n";
      status = 1;
    }
    again->destroyModel();
    return status;
  });
}

// The value of --dialect among argv[from..], or null; "" when it is malformed.
const char* dialectOption(int argc, char** argv, int from) {
  if (argc == from) return nullptr;
  if (argc == from + 2 && !std::strcmp(argv[from], "--dialect") &&
      (!std::strcmp(argv[from + 1], "omg") || !std::strcmp(argv[from + 1], "eclipse")))
    return argv[from + 1];
  return "";
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
    if (!report.impliedByNesting.empty() || report.withoutId) {
      std::cout << "\nleft to the nesting and made on writing:\n";
      for (const auto& [property, count] : report.impliedByNesting)
        std::printf("  %7zu  owner reference %s\n", count, property.c_str());
      if (report.withoutId) std::printf("  %7zu  elements without an id\n", report.withoutId);
    }
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
  if (argc >= 4 && !std::strcmp(argv[1], "convert")) {
    const char* dialect = dialectOption(argc, argv, 4);
    if (!dialect || *dialect) return convert(argv[2], argv[3], dialect);
  }
  if (argc >= 3 && !std::strcmp(argv[1], "roundtrip")) {
    const char* dialect = dialectOption(argc, argv, 3);
    if (!dialect || *dialect) return roundtrip(argv[2], dialect);
  }
  usage(std::cerr);
  return 2;
}

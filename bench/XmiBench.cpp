// Reading and writing XMI: the UML metamodel file against the bare XML parse of the same
// bytes, and a large generated model at two sizes.
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include <pugixml.hpp>

#include <zorbel/xmi/Xmi.h>

#include "BenchSupport.h"

namespace {

using benchsupport::heapInUse;

const std::string& umlMetamodel() {
  static const std::string text = [] {
    std::ifstream in(ZORBEL_XMI_FILES "/UML.metamodel.uml", std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
  }();
  return text;
}

void perElement(benchmark::State& state, double elements) {
  state.counters["elements"] = elements;
  benchsupport::reportPerElement(state, elements);
}

// The floor: pugixml's parse of the file, which every read does first.
void BM_ParseUmlMetamodel(benchmark::State& state) {
  const std::string& text = umlMetamodel();
  if (text.empty()) return state.SkipWithError("no UML.metamodel.uml in " ZORBEL_XMI_FILES);
  for (auto _ : state) {
    pugi::xml_document doc;
    benchmark::DoNotOptimize(doc.load_buffer(text.data(), text.size()));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size() * state.iterations()));
}
BENCHMARK(BM_ParseUmlMetamodel)->Unit(benchmark::kMillisecond);

void BM_ReadUmlMetamodel(benchmark::State& state) {
  const std::string& text = umlMetamodel();
  if (text.empty()) return state.SkipWithError("no UML.metamodel.uml in " ZORBEL_XMI_FILES);
  std::size_t elements = 0;
  for (auto _ : state) {
    std::optional<benchsupport::ScopedModel> scope;
    scope.emplace();
    elements = zorbel::xmi::readString(scope->model, text).report.createdCount();
    state.PauseTiming();
    scope.reset();
    state.ResumeTiming();
  }
  perElement(state, static_cast<double>(elements));
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size() * state.iterations()));
}
BENCHMARK(BM_ReadUmlMetamodel)->Unit(benchmark::kMillisecond);

void BM_WriteUmlMetamodel(benchmark::State& state) {
  if (umlMetamodel().empty()) return state.SkipWithError("no UML.metamodel.uml in " ZORBEL_XMI_FILES);
  benchsupport::ScopedModel scope;
  const auto doc = zorbel::xmi::readString(scope.model, umlMetamodel());
  zorbel::xmi::WriteOptions options;
  options.roots = doc.roots;
  std::size_t bytes = 0;
  for (auto _ : state) bytes = zorbel::xmi::writeString(scope.model, options).size();
  perElement(state, static_cast<double>(doc.report.createdCount()));
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes * state.iterations()));
}
BENCHMARK(BM_WriteUmlMetamodel)->Unit(benchmark::kMillisecond);

// A model of n elements as the writer writes it: packages of 100 classes, each with
// three attributes typed by other classes, a generalization and a comment.
std::string largeModel(std::size_t n) {
  benchsupport::ScopedModel scope;
  const Kelpa::Deviant d = scope.root;
  zorbel::Model top = zorbel::Model::create(scope.model);
  top->setName(d, zorbel::String("large"));
  std::size_t made = 1;
  zorbel::Package package;
  zorbel::Class previous;
  for (std::size_t i = 0; made < n; ++i) {
    if (i % 100 == 0) {
      package = zorbel::Package::create(scope.model);
      package->setName(d, zorbel::String("p" + std::to_string(i / 100)));
      top->getPackagedElements(d).push_back(package);
      ++made;
    }
    zorbel::Class c = zorbel::Class::create(scope.model);
    c->setName(d, zorbel::String("C" + std::to_string(i)));
    package->getPackagedElements(d).push_back(c);
    ++made;
    for (int a = 0; a < 3 && made < n; ++a, ++made) {
      zorbel::Property p = zorbel::Property::create(scope.model);
      p->setName(d, zorbel::String("a" + std::to_string(a)));
      if (!previous.isNull()) p->setType(d, previous);
      c->getOwnedAttributes(d).push_back(p);
    }
    if (!previous.isNull() && made < n) {
      zorbel::Generalization g = zorbel::Generalization::create(scope.model);
      g->setGeneral(d, previous);
      c->getGeneralizations(d).push_back(g);
      ++made;
    }
    if (made < n) {
      zorbel::Comment note = zorbel::Comment::create(scope.model);
      note->setBody(d, zorbel::String("class number " + std::to_string(i)));
      c->getOwnedComments(d).push_back(note);
      ++made;
    }
    previous = c;
  }
  return zorbel::xmi::writeString(scope.model);
}

// Linear: the cost per element at 1M within 1.5 times that at 10k. The heap counter is
// what the read model holds per element.
void BM_ReadLargeModel(benchmark::State& state) {
  const std::string text = largeModel(static_cast<std::size_t>(state.range(0)));
  std::size_t elements = 0;
  double bytes = 0;
  for (auto _ : state) {
    // The model is made, and the heap counted (which walks malloc's free lists), untimed.
    state.PauseTiming();
    std::optional<benchsupport::ScopedModel> scope;
    scope.emplace();
    const std::size_t before = heapInUse();
    state.ResumeTiming();
    elements = zorbel::xmi::readString(scope->model, text).report.createdCount();
    state.PauseTiming();
    bytes = static_cast<double>(heapInUse() - before);
    scope.reset();
    state.ResumeTiming();
  }
  perElement(state, static_cast<double>(elements));
  state.counters["bytes_per_element"] = bytes / static_cast<double>(elements);
}
// The small model read often enough for a steady figure, the large one once.
BENCHMARK(BM_ReadLargeModel)->Arg(10'000)->Iterations(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadLargeModel)->Arg(1'000'000)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

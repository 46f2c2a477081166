// Comparing two models element by element: each element is known by its place in its
// tree (root index, then property name and position at each step down), so that a
// model and the same model read back from a file match whatever ids were made.
#include <algorithm>
#include <regex>
#include <unordered_map>

#include "Kept.h"
#include "WriterPlan.h"

namespace zorbel::xmi {
namespace {

using Kelpa::Deviant;
using Kelpa::NSInterface::ClassObjectIntf;
using Kelpa::NSInterface::PropertyIntf;

struct Side {
  Deviant d;
  std::unordered_map<const ClassObjectIntf*, std::string> places;
};

const ClassObjectIntf* asElement(const Kelpa::Object& v) {
  return Kelpa::ImmutableClassObject(v).get();
}

std::vector<Kelpa::Object> valuesOf(const ClassObjectIntf* e, Deviant d, const PlannedProperty& p) {
  return statedValues(e, d, p).values;
}

void place(Side& side, const ClassObjectIntf* e, const std::string& at) {
  side.places.emplace(e, at);
  for (const PlannedProperty& p : planOf(Kelpa::reflect::metaClassOf(e)).properties) {
    if (p.kind != PropertyKind::Composite) continue;
    const auto values = valuesOf(e, side.d, p);
    for (std::size_t i = 0; i < values.size(); ++i)
      if (const ClassObjectIntf* child = asElement(values[i]))
        place(side, child, at + "/" + p.name + "." + std::to_string(i));
  }
}

class Comparer {
 public:
  Comparer(Side& a, Side& b) : fA(a), fB(b) {}

  void element(const ClassObjectIntf* x, const ClassObjectIntf* y, const std::string& at) {
    const auto* cx = Kelpa::reflect::metaClassOf(x);
    const auto* cy = Kelpa::reflect::metaClassOf(y);
    if (cx != cy) {
      differ(at, "metaclass " + cx->getName() + " / " + cy->getName());
      return;
    }
    const std::string idx = x->getExternalId(fA.d).str(), idy = y->getExternalId(fB.d).str();
    if (!idx.empty() && idx != idy) differ(at, "id " + idx + " / " + idy);
    const std::string kx = keptText(x, fA.d), ky = keptText(y, fB.d);
    if (kx != ky) differ(at, "kept content: " + firstDifference(kx, ky));
    for (const PlannedProperty& p : planOf(cx).properties) {
      const auto vx = valuesOf(x, fA.d, p);
      const auto vy = valuesOf(y, fB.d, p);
      const std::string where = at + " " + p.name;
      if (p.kind == PropertyKind::Composite) {
        if (vx.size() != vy.size()) {
          differ(where, std::to_string(vx.size()) + " / " + std::to_string(vy.size()) + " elements");
          continue;
        }
        for (std::size_t i = 0; i < vx.size(); ++i)
          element(asElement(vx[i]), asElement(vy[i]), at + "/" + p.name + "." + std::to_string(i));
        continue;
      }
      const std::string tx = texts(vx, fA, p), ty = texts(vy, fB, p);
      if (tx != ty) differ(where, "'" + tx + "' / '" + ty + "'");
    }
  }

  std::vector<std::string> differences;

 private:
  std::string texts(const std::vector<Kelpa::Object>& values, const Side& side,
                    const PlannedProperty& p) {
    std::string out;
    for (const auto& v : values) {
      if (!out.empty()) out += ' ';
      if (p.kind == PropertyKind::Attribute) {
        out += v->toString(side.d).str();
        continue;
      }
      const ClassObjectIntf* target = asElement(v);
      auto it = side.places.find(target);
      if (it != side.places.end()) {
        out += it->second;
      } else {
        // Outside the compared trees: known by its id.
        out += "#" + target->getExternalId(side.d).str();
      }
    }
    return out;
  }

  // The kept content as written again: positions move with the properties around them,
  // namespace declarations and the XMI version are the document's own.
  static std::string keptText(const ClassObjectIntf* e, Deviant d) {
    static const std::regex declaration(" xmlns(:[A-Za-z0-9_.-]+)?=\"[^\"]*\"");
    std::string out;
    for (const KeptRecord& r : keptOf(e, d)) {
      if ((r.kind == "docattr" || r.kind == "attr") && r.payload.rfind("xmi:version=", 0) == 0)
        continue;
      out += r.kind + ":" + std::regex_replace(r.payload, declaration, "") + "\n";
    }
    return out;
  }

  // The lines where two texts part, cut short.
  static std::string firstDifference(const std::string& a, const std::string& b) {
    std::size_t at = 0;
    while (at < a.size() && at < b.size() && a[at] == b[at]) ++at;
    const std::size_t from = a.rfind('\n', at) == std::string::npos ? 0 : a.rfind('\n', at) + 1;
    auto cut = [&](const std::string& s) {
      std::string line = s.substr(from, s.find('\n', at) - from);
      return line.size() > 160 ? line.substr(0, 160) + "..." : line;
    };
    return "'" + cut(a) + "' / '" + cut(b) + "'";
  }

  void differ(const std::string& at, const std::string& what) {
    differences.push_back(at + ": " + what);
  }

  Side& fA;
  Side& fB;
};

}  // namespace

std::vector<std::string> compare(const std::vector<Kelpa::ClassObject>& a,
                                 const std::vector<Kelpa::ClassObject>& b) {
  Side sa{a.empty() ? Deviant() : a.front().getDeviant(), {}};
  Side sb{b.empty() ? Deviant() : b.front().getDeviant(), {}};
  for (std::size_t i = 0; i < a.size(); ++i) place(sa, a[i].get(), "/" + std::to_string(i));
  for (std::size_t i = 0; i < b.size(); ++i) place(sb, b[i].get(), "/" + std::to_string(i));
  Comparer comparer(sa, sb);
  if (a.size() != b.size())
    comparer.differences.push_back("/: " + std::to_string(a.size()) + " / " +
                                   std::to_string(b.size()) + " roots");
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
    comparer.element(a[i].get(), b[i].get(), "/" + std::to_string(i));
  return std::move(comparer.differences);
}

}  // namespace zorbel::xmi

#include "quality.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <numbers>
#include <utility>
#include <vector>

namespace tool {

using qvGeom::BitVector;
using qvGeom::CompactMesh;
using qvGeom::MeshCharacteristics;

namespace {

constexpr std::size_t kShown = 5;  // numbers of elements in a line of the table

using Edges = qv::vector<std::pair<int, int>>;

class Examination {
 public:
  Examination(const CompactMesh& mesh, MeshCharacteristics& characteristics, const QualityTests& asked,
              Console& console)
      : mesh_(mesh), found_(characteristics), asked_(asked), console_(console) {}

  Quality run() {
    Quality quality;
    quality.tests = {goodTriangles(), topoGoodTriangles(), manifold(),
                     oriented(),      nonIntersecting(),   goodAngles()};
    const auto adjTris = found_.getCache().getAdjTris(mesh_);
    quality.maxDihedralAngleDegrees = meshMaxDihedralAngle(mesh_, *adjTris) * 180 / std::numbers::pi;
    console_.throwIfInterrupted();
    return quality;
  }

 private:
  using Defect = Quality::Defect;
  using Test = Quality::Test;

  bool passes(int test) {
    console_.throwIfInterrupted();
    return found_.check(test) != 0;
  }

  Test goodTriangles() {
    const bool good = passes(MeshCharacteristics::GoodTriangles);
    const qvGeom::MeshDuplicateTrisResult& bad = *found_.getDuplicateTrisResult();
    return {"goodTriangles",
            "good triangles",
            good,
            {triangles("duplicateTriangles", bad.duplicates, "with the same vertices as an earlier one"),
             triangles("repeatedIndexTriangles", bad.repeatedIndices, "with a vertex at two corners"),
             triangles("coincidentCornerTriangles", bad.coincidentCorners,
                       "with two vertices at the same place")}};
  }

  // Its defects are among those of the good triangles.
  Test topoGoodTriangles() {
    return {"topoGoodTriangles", "topologically good", passes(MeshCharacteristics::TopoGoodTriangles), {}};
  }

  Test manifold() {
    const bool good = passes(MeshCharacteristics::Manifold);
    const qvGeom::MeshManifoldResult& bad = *found_.getManifoldResult();
    return {"manifold",
            "manifold",
            good,
            {vertices("nonManifoldVertices", bad.badVertices, "whose triangles do not hang together by edges",
                      "'qvgeom repair' splits them"),
             edges("nonManifoldEdges", bad.badEdges, "of more than two triangles",
                   "'qvgeom repair' deletes surplus triangles")}};
  }

  Test oriented() {
    const bool good = passes(MeshCharacteristics::Oriented);
    return {"oriented",
            "oriented",
            good,
            {edges(nullptr, good ? Edges() : edgesRunTwice(), "along which two triangles run alike",
                   "'qvgeom orient' turns triangles")}};
  }

  Test nonIntersecting() {
    Test test{"nonIntersecting", "non-intersecting", {}, {{"intersectingTriangles", "", "", {}, {}}}};
    if (!asked_.intersections) return test;
    test.passes = passes(MeshCharacteristics::NonIntersecting);
    qv::vector<int> crossing;
    for (int t = 0; t < mesh_.getNumTriangles(); ++t)
      if (found_.getIntersectingTriangles().test(t)) crossing.push_back(t);
    test.defects = {triangles("intersectingTriangles", crossing, "that cross others",
                              "'qvgeom repair --self-intersections' deletes them")};
    return test;
  }

  Test goodAngles() {
    Test test{"goodAngles", "good angles", {}, {{"foldedEdges", "", "", {}, {}}}};
    if (!asked_.minAngle) return test;
    console_.throwIfInterrupted();
    test.passes = found_.checkGoodAngles(*asked_.minAngle);
    char degrees[32];
    std::snprintf(degrees, sizeof degrees, "%g", *asked_.minAngle);
    test.defects = {edges("foldedEdges", found_.getGoodAnglesResult()->foldedEdges,
                          std::string("folded to ") + degrees + " degrees or less",
                          std::string("'qvgeom repair --angles ") + degrees + "' deletes their triangles")};
    return test;
  }

  Edges edgesRunTwice() const {
    const auto adjTris = found_.getCache().getAdjTris(mesh_);
    Edges twice;
    std::vector<int> ends;  // of the edges that leave a vertex
    for (int v = 0; v < mesh_.getNumVertices(); ++v) {
      if (v % kInterruptRhythm == 0) console_.throwIfInterrupted();
      ends.clear();
      int const* tris = adjTris->triIndices(v);
      for (int i = 0; i < adjTris->numTris(v); ++i) {
        if (i > 0 && tris[i] == tris[i - 1]) continue;  // one with the vertex at two corners
        const qvGeom::MeshTriangle& corners = mesh_.getTriangles()[tris[i]];
        for (int k = 0; k < 3; ++k)
          if (corners[k] == v) ends.push_back(corners[(k + 1) % 3]);
      }
      std::sort(ends.begin(), ends.end());
      for (std::size_t i = 1; i < ends.size(); ++i)
        if (ends[i] == ends[i - 1] && (i == 1 || ends[i] != ends[i - 2])) twice.emplace_back(v, ends[i]);
    }
    return twice;
  }

  template <typename List, typename Name>
  static Defect defect(const char* key, const List& list, const char* one, const char* many,
                       const std::string& what, std::string mend, const Name& name) {
    Defect result{key, "", std::move(mend), static_cast<int>(list.size()), {}};
    result.sentence = std::to_string(list.size()) + " " + (list.size() == 1 ? one : many) + " " + what;
    for (std::size_t i = 0; i < std::min(list.size(), kShown); ++i) result.first.push_back(name(list[i]));
    return result;
  }
  static Defect triangles(const char* key, const qv::vector<int>& list, const char* what,
                          const char* mend = "'qvgeom repair' deletes them") {
    return defect(key, list, "triangle", "triangles", what, mend, [](int t) { return std::to_string(t); });
  }
  static Defect edges(const char* key, const Edges& list, const std::string& what, const std::string& mend) {
    return defect(key, list, "edge", "edges", what, mend, [](const std::pair<int, int>& e) {
      return std::to_string(e.first) + "-" + std::to_string(e.second);
    });
  }
  static Defect vertices(const char* key, const BitVector& bits, const char* what, const char* mend) {
    qv::vector<int> list;
    for (BitVector::Index v = 0; v < bits.size(); ++v)
      if (bits.test(v)) list.push_back(static_cast<int>(v));
    return defect(key, list, "vertex", "vertices", what, mend, [](int v) { return std::to_string(v); });
  }

  const CompactMesh& mesh_;
  MeshCharacteristics& found_;
  const QualityTests& asked_;
  Console& console_;
};

}  // namespace

Quality examine(const CompactMesh& mesh, MeshCharacteristics& characteristics, const QualityTests& asked,
                Console& console) {
  console.progress().setCaption("checking");
  return Examination(mesh, characteristics, asked, console).run();
}

bool Quality::isClean() const {
  return std::all_of(tests.begin(), tests.end(), [](const Test& t) { return t.passes.value_or(true); });
}

std::string Quality::failing() const {
  std::string names;
  for (const Test& test : tests) {
    if (test.passes.value_or(true)) continue;
    names += (names.empty() ? "" : ", ") + std::string(test.name);
  }
  return names;
}

nlohmann::ordered_json Quality::asJson() const {
  const auto orNull = [](const auto& value) {
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
  };
  nlohmann::ordered_json json;
  for (const Test& test : tests) json[test.key] = orNull(test.passes);
  for (const Test& test : tests)
    for (const Defect& defect : test.defects)
      if (defect.key) json[defect.key] = orNull(defect.count);
  json["maxDihedralAngleDegrees"] = maxDihedralAngleDegrees;
  return json;
}

std::string Quality::asTable() const {
  std::string text;
  for (const Test& test : tests) {
    char label[32];
    std::snprintf(label, sizeof label, "%-24s", test.name);
    text += std::string(label) + (!test.passes ? "not tested" : *test.passes ? "yes" : "no") + "\n";
    for (const Defect& defect : test.defects) {
      if (defect.count.value_or(0) == 0) continue;
      text += "  " + defect.sentence + ":";
      for (const std::string& name : defect.first) text += " " + name;
      if (static_cast<std::size_t>(*defect.count) > defect.first.size()) text += " ...";
      text += "\n    " + defect.mend + "\n";
    }
  }
  char angle[64];
  std::snprintf(angle, sizeof angle, "%-24s%.6g degrees\n", "largest dihedral angle",
                maxDihedralAngleDegrees);
  return text + angle;
}

// The ready-made range lets NaN pass.
CLI::Validator angle() {
  return CLI::Validator(
      [](std::string& text) {
        double value = 0;
        const bool good = CLI::detail::lexical_cast(text, value) && value >= 0 && value <= 180;
        return good ? std::string() : "'" + text + "' is not an angle from 0 to 180";
      },
      "");
}

std::string dump(const nlohmann::ordered_json& json) {
  return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace tool

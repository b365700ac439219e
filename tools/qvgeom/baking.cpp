#include "baking.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "layout.h"
#include "number_rows.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshScanConverter;
using qvLinear::Point;
using qvLinear::PointFlt;

namespace {

// Brings texture coordinates into the unit square.
class Square {
 public:
  Square(const CompactMesh& mesh, Console& console) : mesh_(mesh) {
    const LayoutBox box = layoutBox(mesh);
    const bool isInside =
        std::min(box.least[0], box.least[1]) >= 0 && std::max(box.greatest[0], box.greatest[1]) <= 1;
    if (box.isEmpty() || isInside) return;
    scale_ = box.extent() > 0 ? 1 / box.extent() : 1;
    std::copy_n(box.least, 2, origin_);
    tell(box, console);
  }

  void place(int t, Point (&corners)[3]) const {
    for (int k = 0; k < 3; ++k) {
      const qvGeom::MeshUV& uv = mesh_.getUVs()[mesh_.getTriangles()[t][k]];
      corners[k] = {(uv.u - origin_[0]) * scale_, (uv.v - origin_[1]) * scale_, 0};
    }
  }

 private:
  static void tell(const LayoutBox& box, Console& console) {
    std::string text = "texture coordinates fitted into the unit square: u from ";
    appendNumber(text, box.least[0]);
    appendNumber(text += " to ", box.greatest[0]);
    appendNumber(text += ", v from ", box.least[1]);
    appendNumber(text += " to ", box.greatest[1]);
    console.note(text);
  }

  const CompactMesh& mesh_;
  double origin_[2] = {0, 0};
  double scale_ = 1;
};

class Baker {
 public:
  Baker(const CompactMesh& mesh, const Paint& paint, Picture& picture, Console& console)
      : mesh_(mesh),
        square_(mesh, console),
        paint_(paint),
        picture_(picture),
        // Half a sample of margin puts samples in the middle of pixels.
        scan_(picture.width, picture.height, 0.5f) {}

  void bake(int t) {
    if (!isInLayout(mesh_, t)) return;
    square_.place(t, corners_);
    if (length2(cross(corners_[1] - corners_[0], corners_[2] - corners_[0])) == 0) return;
    at_.triangle = t;
    scan(corners_[0], corners_[1], corners_[2], &Baker::inside);
    // A pixel whose middle lies on the edge between two triangles may belong to neither, which in a regular
    // layout happens to many: a triangle without area scans what is in line with it.
    for (int k = 0; k < 3; ++k) scan(corners_[k], corners_[(k + 1) % 3], corners_[k], &Baker::inLine);
  }

 private:
  void scan(const Point& a, const Point& b, const Point& c, MeshScanConverter::PointSampleFunc func) {
    const PointFlt p(a), q(b), r(c);
    scan_.setPointSampleCB(func, this);
    scan_.scanTriangle(p[0], p[1], q[0], q[1], r[0], r[1]);
  }
  // The weights that a scan tells are not used: of small triangles, a million of which fill the square, they
  // are a third each.
  static void inside(void* user, int x, int y, float, float) {
    auto& self = *static_cast<Baker*>(user);
    self.locate(x, y);
    self.paint(x, y);
  }
  static void inLine(void* user, int x, int y, float, float) {
    auto& self = *static_cast<Baker*>(user);
    if (self.locate(x, y) <= kOnEdge) self.paint(x, y);
  }

  // @return distance of a pixel's middle from the triangle
  double locate(int x, int y) {
    const auto middle = [this](int i) { return double{static_cast<float>((i + 0.5) / picture_.width)}; };
    const Point p(middle(x), middle(y), 0);
    at_.projectBase(p, corners_[0], corners_[1], corners_[2]);
    return distance(p, at_.evaluateBase(corners_));
  }
  void paint(int x, int y) {
    unsigned char* row = picture_.row(picture_.height - 1 - y);
    unsigned char* pixel = row + picture_.pixelSize() * static_cast<std::size_t>(x);
    if (pixel[3] == 0 && paint_(at_, pixel)) pixel[3] = 255;
  }

  static constexpr double kOnEdge = 1e-9;  // only rounding away; a scan goes on beyond an edge's ends

  const CompactMesh& mesh_;
  const Square square_;
  const Paint& paint_;
  Picture& picture_;
  MeshScanConverter scan_;
  Point corners_[3];  // of the current triangle, in the layout
  qvGeom::MeshCoord at_;
};

}  // namespace

Picture bakeLayout(const CompactMesh& mesh, int size, const Paint& paint, Console& console) {
  console.progress().setCaption("baking");
  qvUtil::Progress phase;
  console.progress().subPhase(1, phase);
  Picture picture(size, size, true);
  Baker baker(mesh, paint, picture, console);
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    if (t % kInterruptRhythm == 0) {
      console.throwIfInterrupted();
      phase.set(static_cast<double>(t) / mesh.getNumTriangles());
    }
    baker.bake(t);
  }
  console.throwIfInterrupted();
  return picture;
}

}  // namespace tool

#include "geom/io/counted_format.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "geom/io/number_text.h"
#include "geom/io/text_buffer.h"
#include "geom/model/keel/containers.h"
#include "geom/topology/twins.h"

namespace qvGeom {

using qvLinear::Point;

namespace {

// Elements between two looks at the progress.
constexpr int kElementsPerReport = 1 << 15;

// Reads numbers one after another; after the first failure nothing is read any more and `good` is false.
class Scanner {
 public:
  Scanner(std::string_view text, qvUtil::Progress* progress)
      : begin_(text.data()), end_(begin_ + text.size()), p_(begin_), progress_(progress) {}

  bool good() const { return p_ != nullptr; }
  std::size_t left() const { return p_ ? static_cast<std::size_t>(end_ - p_) : 0; }
  bool cancelled() const { return progress_ && progress_->cancelled(); }

  void read(int& value) {
    if (p_) p_ = scanInt(p_, end_, value);
  }
  void read(float& value) {
    if (p_) p_ = scanFloat(p_, end_, value);
  }
  void read(double& value) {
    if (p_) p_ = scanDouble(p_, end_, value);
  }
  // A vertex index.
  void readIndex(int& index, int numVertices) {
    read(index);
    if (index < 0 || index >= numVertices) p_ = nullptr;
  }

  // To be called once per element. @return whether to go on
  bool next(int element) {
    if (p_ && progress_ && element % kElementsPerReport == 0) {
      progress_->set(static_cast<double>(p_ - begin_) / static_cast<double>(end_ - begin_));
      if (progress_->cancelled()) p_ = nullptr;
    }
    return good();
  }

 private:
  char const* begin_;
  char const* end_;
  char const* p_;
  qvUtil::Progress* progress_;
};

struct Header {
  int vertices = -1;
  int faces = -1;
};

// The counts, refused unless the rest of the text has room for what they announce: a number takes two
// characters at least, with the blank, sign or point that tells it from the one before, and a face has four
// numbers.
bool readHeader(Scanner& scanner, Header& header) {
  scanner.read(header.vertices);
  scanner.read(header.faces);
  if (!scanner.good() || header.vertices < 0 || header.faces < 0) return false;
  return 6 * static_cast<std::uint64_t>(header.vertices) + 8 * static_cast<std::uint64_t>(header.faces) <=
         scanner.left();
}

}  // namespace

bool meshParse(CompactMesh& mesh, std::string_view text, qvUtil::Progress* progress) {
  Scanner scanner(text, progress);
  Header header;
  if (!readHeader(scanner, header)) return false;
  CompactMesh result;
  result.setArrayAllocator(mesh.getArrayAllocator());
  result.resizeVertexArray(header.vertices);
  float* coordinate = result.getVerticesRaw();
  for (int v = 0; v < header.vertices && scanner.next(v); ++v)
    for (int i = 0; i < 3; ++i) scanner.read(*coordinate++);
  result.resizeTriangleArray(header.faces);
  MeshTriangle* triangles = result.getTriangles();
  for (int t = 0; t < header.faces && scanner.next(t); ++t) {
    int corners = 0;
    scanner.read(corners);
    for (int& v : triangles[t].v) scanner.readIndex(v, header.vertices);
  }
  if (!scanner.good() || scanner.cancelled()) return false;
  mesh.swap(result);
  if (progress) progress->set(1);
  return true;
}

bool meshParse(TopoMesh& mesh, std::string_view text, qvUtil::Progress* progress) {
  Scanner scanner(text, progress);
  Header header;
  if (!readHeader(scanner, header)) return false;
  // Everything is read before the mesh is touched: a fault may stand in the last line.
  qv::vector<Point> points(static_cast<std::size_t>(header.vertices));
  for (int v = 0; v < header.vertices && scanner.next(v); ++v)
    for (int i = 0; i < 3; ++i) scanner.read(points[static_cast<std::size_t>(v)][i]);
  qv::vector<int> faces;  // number of corners, then the corners
  for (int f = 0; f < header.faces && scanner.next(f); ++f) {
    int corners = 0;
    scanner.read(corners);
    if (corners < 3) return false;
    faces.push_back(corners);
    for (int i = 0; i < corners && scanner.good(); ++i) {
      int v = 0;
      scanner.readIndex(v, header.vertices);
      faces.push_back(v);
    }
  }
  if (!scanner.good() || scanner.cancelled()) return false;

  qv::vector<TopoMeshVertex> vertices;
  vertices.reserve(points.size());
  for (const Point& p : points) vertices.push_back(mesh.allocVertex(p));
  qv::vector<TopoMeshVertex> corners;
  for (auto it = faces.begin(); it != faces.end();) {
    corners.clear();
    for (int k = *it++; k > 0; --k) corners.push_back(vertices[static_cast<std::size_t>(*it++)]);
    mesh.allocFace(corners);
  }
  meshTwin(mesh);
  if (progress) progress->set(1);
  return true;
}

void meshRead(CompactMesh& mesh, qvOS::Filename const& file) {
  qvOS::FileContents contents;
  if (qvOS::readFile(file, contents)) meshParse(mesh, contents.view());
}

void meshRead(TopoMesh& mesh, qvOS::Filename const& file) {
  qvOS::FileContents contents;
  if (qvOS::readFile(file, contents)) meshParse(mesh, contents.view());
}

namespace {

// Lines of the format, and the progress over them.
class Writer {
 public:
  Writer(TextSink const& sink, int vertices, int faces, qvUtil::Progress* progress)
      : buffer_(sink), lines_(double{1} * vertices + faces), progress_(progress) {
    char* p = writeInt(buffer_.line(), vertices);
    *p++ = ' ';
    p = writeInt(p, faces);
    *p++ = '\n';
    buffer_.commit(p);
  }

  // To be called once per element. @return whether to go on
  bool next(int element) {
    if (element % kElementsPerReport != 0) return true;
    if (progress_) progress_->set(done_ / lines_);
    done_ += kElementsPerReport;
    return buffer_.good() && !(progress_ && progress_->cancelled());
  }
  void vertex(const MeshVertex& v) {
    row([&](char* p, int i) { return writeFloat(p, i == 0 ? v.x : i == 1 ? v.y : v.z, 10); });
  }
  void vertex(const Point& v) {
    row([&](char* p, int i) { return writeDouble(p, v[i], 10); });
  }
  void triangle(const MeshTriangle& t) {
    char* p = buffer_.line();
    *p++ = '3';
    for (const int v : t.v) {
      *p++ = ' ';
      p = writeInt(p, v);
    }
    *p++ = '\n';
    buffer_.commit(p);
  }
  // One number of a polygon's line, which may be as long as it likes; `lead` comes before it, 0 for nothing.
  void number(char lead, int value) {
    char* p = buffer_.line();
    if (lead) *p++ = lead;
    buffer_.commit(writeInt(p, value));
  }
  void endLine() {
    char* p = buffer_.line();
    *p++ = '\n';
    buffer_.commit(p);
  }
  bool finish() {
    const bool whole = buffer_.flush();
    if (whole && progress_) progress_->set(1);
    return whole;
  }

 private:
  template <typename Write>
  void row(const Write& write) {
    char* p = buffer_.line();
    for (int i = 0; i < 3; ++i) {
      if (i > 0) *p++ = ' ';
      p = write(p, i);
    }
    *p++ = '\n';
    buffer_.commit(p);
  }

  TextBuffer buffer_;
  double lines_;
  double done_ = 0;
  qvUtil::Progress* progress_;
};

}  // namespace

bool meshFormat(CompactMesh const& mesh, TextSink const& sink, qvUtil::Progress* progress) {
  Writer writer(sink, mesh.getNumVertices(), mesh.getNumTriangles(), progress);
  MeshVertex const* vertices = mesh.getVertices();
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    if (!writer.next(v)) return false;
    writer.vertex(vertices[v]);
  }
  MeshTriangle const* triangles = mesh.getTriangles();
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    if (!writer.next(t)) return false;
    writer.triangle(triangles[t]);
  }
  return writer.finish();
}

bool meshFormat(TopoMesh const& mesh, TextSink const& sink, qvUtil::Progress* progress) {
  Writer writer(sink, mesh.numVertices(), mesh.numFaces(), progress);
  // Creation numbers grow along the list, so a vertex's ordinal is its place among them.
  qv::vector<std::uint64_t> numbers;
  numbers.reserve(static_cast<std::size_t>(mesh.numVertices()));
  for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInMesh()) {
    if (!writer.next(static_cast<int>(numbers.size()))) return false;
    numbers.push_back(v.number());
    writer.vertex(v.point());
  }
  const auto ordinal = [&](TopoMeshVertex v) {
    return static_cast<int>(std::lower_bound(numbers.begin(), numbers.end(), v.number()) - numbers.begin());
  };
  int element = 0;
  for (TopoMeshFace face = mesh.firstFace(); face; face = face.nextInMesh()) {
    if (!writer.next(element++)) return false;
    writer.number(0, face.numVertices());
    const TopoMeshEdge first = face.firstEdge();
    TopoMeshEdge e = first;
    do {
      writer.number(' ', ordinal(e.start()));
      e = e.next();
    } while (e && !(e == first));
    writer.endLine();
  }
  return writer.finish();
}

namespace {

template <typename Mesh>
void writeFile(Mesh const& mesh, qvOS::Filename const& file) {
  qvOS::OutputFile out(file);
  if (!out.isOpen()) return;
  meshFormat(mesh, [&](std::string_view text) {
    out.write(text);
    return true;
  });
}

}  // namespace

void meshWrite(CompactMesh const& mesh, qvOS::Filename const& file) { writeFile(mesh, file); }

void meshWrite(TopoMesh& mesh, qvOS::Filename const& file) { writeFile(mesh, file); }

}  // namespace qvGeom

#include "geom/io/obj_format.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "geom/io/number_text.h"
#include "geom/io/text_buffer.h"
#include "geom/model/keel/containers.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr int kReserve = 1024;

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// A corner of a polygon: 1-based indices as written, -1 where there is none.
struct Corner {
  int position = -1;
  int uv = -1;
  int normal = -1;
};

// Index triples of one kind, parallel to the triangles. Most files have none, so the array comes into being
// with the first triangle that needs it.
class OptionalIndices {
 public:
  void add(int trianglesBefore, int a, int b, int c) {
    if (!present_) {
      if (a == -1 && b == -1 && c == -1) return;
      present_ = true;
      indices_.resizeForOverwrite(trianglesBefore);
      std::fill(indices_.begin(), indices_.end(), MeshTriangle{{-1, -1, -1}});
    }
    indices_.push_back(MeshTriangle{{a, b, c}});
  }
  bool present() const { return present_; }
  MeshTriangle& operator[](int t) { return indices_[t]; }
  const MeshTriangle& operator[](int t) const { return indices_[t]; }

 private:
  bool present_ = false;
  Array<MeshTriangle> indices_;
};

class ObjReader {
 public:
  ObjReader() {
    positions_.reserve(kReserve);
    normals_.reserve(kReserve);
    uvs_.reserve(kReserve);
  }

  bool read(std::string_view text, qvUtil::Progress* progress);
  void build(CompactMesh& mesh);

 private:
  void readLine(char const* p, char const* end);
  void readFace(char const* p, char const* end);
  char const* readCorner(char const* p, char const* end, Corner& corner, bool& good) const;
  void addTriangle(const Corner& a, const Corner& b, const Corner& c);
  void dropBadTriangles();
  void averageNormals(CompactMesh& mesh, const Array<double>& areas) const;
  void averageUVs(CompactMesh& mesh, const Array<double>& areas) const;
  Array<double> triangleAreas() const;
  // Calls take(vertex, element, area) for every corner that names an element, in triangle order.
  template <typename Take>
  void forEachNamed(const OptionalIndices& indices, const Array<double>& areas, const Take& take) const;

  Array<MeshVertex> positions_;
  Array<MeshNormal> normals_;
  Array<MeshUV> uvs_;
  Array<MeshTriangle> faces_;
  OptionalIndices faceUVs_;
  OptionalIndices faceNormals_;
  qv::vector<Corner> polygon_;  // kept between lines for its storage
};

bool ObjReader::read(std::string_view text, qvUtil::Progress* progress) {
  constexpr std::ptrdiff_t kStep = std::ptrdiff_t{1} << 20;  // bytes between two looks at the progress
  char const* const begin = text.data();
  char const* const end = begin + text.size();
  char const* report = begin;
  for (char const* p = begin; p < end;) {
    if (progress && p >= report) {
      if (progress->cancelled()) return false;
      progress->set(static_cast<double>(p - begin) / static_cast<double>(text.size()));
      report = p + std::min(kStep, end - p);
    }
    char const* lineEnd = static_cast<char const*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
    if (!lineEnd) lineEnd = end;
    readLine(p, lineEnd);
    if (lineEnd == end) break;
    p = lineEnd + 1;
  }
  return !(progress && progress->cancelled());
}

// Three or two floats; once one cannot be read the rest stay 0.
template <int N>
void readFloats(char const* p, char const* end, float (&values)[N]) {
  NumberStatus status = NumberStatus::good;
  for (int i = 0; i < N && status == NumberStatus::good; ++i) p = readStreamFloat(p, end, values[i], status);
}

void ObjReader::readLine(char const* p, char const* end) {
  while (p < end && isSpace(*p)) ++p;
  const auto startsWith = [&](char a, char b) { return end - p >= 2 && p[0] == a && p[1] == b; };
  if (startsWith('v', ' ')) {
    float xyz[3] = {0, 0, 0};
    readFloats(p + 2, end, xyz);
    positions_.push_back({xyz[0], xyz[1], xyz[2]});
  } else if (startsWith('f', ' ')) {
    readFace(p + 2, end);
  } else if (startsWith('v', 'n') && end - p >= 3 && p[2] == ' ') {
    float xyz[3] = {0, 0, 0};
    readFloats(p + 3, end, xyz);
    normals_.push_back({xyz[0], xyz[1], xyz[2]});
  } else if (startsWith('v', 't') && end - p >= 3 && p[2] == ' ') {
    float uv[2] = {0, 0};
    readFloats(p + 3, end, uv);
    uvs_.push_back({uv[0], uv[1]});
  }
}

// `good` is the state of the stream that this stands for: reading a number up to the very end of the line
// leaves it not good, although the number is.
char const* ObjReader::readCorner(char const* p, char const* end, Corner& corner, bool& good) const {
  NumberStatus status;
  const auto readIndex = [&](int& index) {
    p = readStreamInt(p, end, index, status);
    good = status == NumberStatus::good && p < end;
  };
  const auto atSlash = [&] { return good && *p == '/'; };
  readIndex(corner.position);
  if (!atSlash()) return p;
  good = ++p < end;
  if (!atSlash()) {
    if (!good) return p;
    readIndex(corner.uv);
  }
  if (!atSlash()) return p;
  good = ++p < end;
  if (good) readIndex(corner.normal);
  return p;
}

void ObjReader::readFace(char const* p, char const* end) {
  polygon_.clear();
  bool good = p < end;
  do {
    Corner corner;
    if (good) p = readCorner(p, end, corner, good);
    polygon_.push_back(corner);
  } while (good);
  for (std::size_t i = 2; i < polygon_.size(); ++i) addTriangle(polygon_[0], polygon_[i - 1], polygon_[i]);
}

void ObjReader::addTriangle(const Corner& a, const Corner& b, const Corner& c) {
  faceUVs_.add(faces_.size(), a.uv, b.uv, c.uv);
  faceNormals_.add(faces_.size(), a.normal, b.normal, c.normal);
  faces_.push_back(MeshTriangle{{a.position, b.position, c.position}});
}

// Only now is it known how many positions there are. Indices become 0-based, absent ones -1.
void ObjReader::dropBadTriangles() {
  const auto named = [](int index, int count) { return index >= 1 && index <= count ? index - 1 : -1; };
  int kept = 0;
  for (int t = 0; t < faces_.size(); ++t) {
    MeshTriangle face = faces_[t];
    for (int& v : face.v) v = named(v, positions_.size());
    if (face[0] < 0 || face[1] < 0 || face[2] < 0) continue;
    faces_[kept] = face;
    for (int k = 0; k < 3; ++k) {
      if (faceUVs_.present()) faceUVs_[kept][k] = named(faceUVs_[t][k], uvs_.size());
      if (faceNormals_.present()) faceNormals_[kept][k] = named(faceNormals_[t][k], normals_.size());
    }
    ++kept;
  }
  faces_.resize(kept);
}

void ObjReader::build(CompactMesh& mesh) {
  dropBadTriangles();
  mesh.copyVertices(positions_.size(), positions_.data());
  mesh.copyTriangles(faces_.size(), reinterpret_cast<int const*>(faces_.data()));
  if (normals_.empty() && uvs_.empty()) return;
  const Array<double> areas = triangleAreas();
  if (!normals_.empty()) averageNormals(mesh, areas);
  if (!uvs_.empty()) averageUVs(mesh, areas);
}

Array<double> ObjReader::triangleAreas() const {
  Array<double> areas;
  areas.resizeForOverwrite(faces_.size());
  for (int t = 0; t < faces_.size(); ++t) {
    const Point p0 = positions_[faces_[t][0]].asPoint();
    areas[t] =
        0.5 * length(cross(positions_[faces_[t][1]].asPoint() - p0, positions_[faces_[t][2]].asPoint() - p0));
  }
  return areas;
}

template <typename Take>
void ObjReader::forEachNamed(const OptionalIndices& indices, const Array<double>& areas,
                             const Take& take) const {
  if (!indices.present()) return;
  for (int t = 0; t < faces_.size(); ++t) {
    const MeshTriangle& face = faces_[t];
    for (int k = 0; k < 3; ++k) {
      // A vertex at several corners of one triangle is met once for each, and speaks through the first.
      const int first = face[0] == face[k] ? 0 : face[1] == face[k] ? 1 : 2;
      if (indices[t][first] >= 0) take(face[k], indices[t][first], areas[t]);
    }
  }
}

struct WeightedNormal {
  Vector sum;
  double weight = 0;
};

struct WeightedUV {
  double u = 0;
  double v = 0;
  double weight = 0;
};

void ObjReader::averageNormals(CompactMesh& mesh, const Array<double>& areas) const {
  qv::vector<WeightedNormal> means(static_cast<std::size_t>(positions_.size()));
  forEachNamed(faceNormals_, areas, [&](int v, int n, double area) {
    WeightedNormal& mean = means[static_cast<std::size_t>(v)];
    mean.sum += area * normals_[n].asVector();
    mean.weight += area;
  });
  mesh.allocNormalArray();
  MeshNormal* out = mesh.getNormals();
  for (WeightedNormal& mean : means) {
    if (mean.weight != 0)
      for (int i = 0; i < 3; ++i) mean.sum[i] /= mean.weight;
    if (!mean.sum.normalize()) mean.sum = Vector::z;
    (out++)->set(mean.sum.data());
  }
}

void ObjReader::averageUVs(CompactMesh& mesh, const Array<double>& areas) const {
  qv::vector<WeightedUV> means(static_cast<std::size_t>(positions_.size()));
  forEachNamed(faceUVs_, areas, [&](int v, int uv, double area) {
    WeightedUV& mean = means[static_cast<std::size_t>(v)];
    mean.u += area * uvs_[uv].u;
    mean.v += area * uvs_[uv].v;
    mean.weight += area;
  });
  mesh.allocUVArray();
  MeshUV* out = mesh.getUVs();
  for (const WeightedUV& mean : means) {
    const double divisor = mean.weight != 0 ? mean.weight : 1;
    const double uv[2] = {mean.u / divisor, mean.v / divisor};
    (out++)->set(uv);
  }
}

}  // namespace

bool meshParseObj(CompactMesh& mesh, std::string_view text, qvUtil::Progress* progress) {
  ObjReader reader;
  if (!reader.read(text, progress)) return false;
  CompactMesh result;
  result.setArrayAllocator(mesh.getArrayAllocator());
  reader.build(result);
  mesh.swap(result);
  if (progress) progress->set(1);
  return true;
}

bool meshReadObj(CompactMesh& mesh, qvOS::Filename const& file) {
  qvOS::FileContents contents;
  if (!qvOS::readFile(file, contents)) return false;
  return meshParseObj(mesh, contents.view());
}

namespace {

// Writes the statements of one mesh. Progress is looked at once per this many lines.
constexpr int kLinesPerReport = 1 << 16;

class ObjWriter {
 public:
  ObjWriter(CompactMesh const& mesh, TextSink const& sink, qvUtil::Progress* progress)
      : mesh_(mesh), buffer_(sink), progress_(progress) {
    lines_ = double{1} * mesh.getNumVertices() *
                 (1 + (mesh.getNormals() != nullptr) + (mesh.getUVs() != nullptr)) +
             mesh.getNumTriangles();
  }

  bool write() {
    const int n = mesh_.getNumVertices();
    const bool whole = writeRows("v ", 3, mesh_.getVerticesRaw(), n) &&
                       writeRows("vn ", 3, mesh_.getNormalsRaw(), n) &&
                       writeRows("vt ", 2, mesh_.getUVsRaw(), n) && writeFaces();
    return whole && buffer_.flush();
  }

 private:
  bool goOn(int line) {
    if (line % kLinesPerReport != 0) return true;
    if (progress_) progress_->set(done_ / lines_);
    done_ += kLinesPerReport;
    return buffer_.good() && !(progress_ && progress_->cancelled());
  }

  static char* append(char* p, std::string_view text) {
    std::memcpy(p, text.data(), text.size());
    return p + text.size();
  }

  bool writeRows(std::string_view keyword, int width, float const* values, int rows) {
    if (!values) return true;
    for (int i = 0; i < rows; ++i) {
      if (!goOn(i)) return false;
      char* p = append(buffer_.line(), keyword);
      for (int k = 0; k < width; ++k, ++values) {
        if (k > 0) *p++ = ' ';
        p = writeFloat(p, *values, 6);
      }
      *p++ = '\n';
      buffer_.commit(p);
    }
    return true;
  }

  bool writeFaces() {
    const bool normals = mesh_.getNormals() != nullptr;
    const bool uvs = mesh_.getUVs() != nullptr;
    MeshTriangle const* triangles = mesh_.getTriangles();
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
      if (!goOn(t)) return false;
      char* p = append(buffer_.line(), "f ");
      for (int k = 0; k < 3; ++k) {
        if (k > 0) *p++ = ' ';
        p = writeCorner(p, triangles[t][k] + 1, normals, uvs);
      }
      *p++ = '\n';
      buffer_.commit(p);
    }
    return true;
  }

  static char* writeCorner(char* p, int number, bool normals, bool uvs) {
    char* begin = p;
    p = writeInt(p, number);
    const std::string_view digits(begin, static_cast<std::size_t>(p - begin));
    if (uvs) {
      *p++ = '/';
      p = append(p, digits);
    }
    if (normals) {
      p = append(p, uvs ? "/" : "//");
      p = append(p, digits);
    }
    // A bare corner carries a blank of its own, so that such lines read "f 1  2  3 ".
    if (!uvs && !normals) *p++ = ' ';
    return p;
  }

  CompactMesh const& mesh_;
  TextBuffer buffer_;
  qvUtil::Progress* progress_;
  double lines_ = 0;
  double done_ = 0;
};

}  // namespace

bool meshFormatObj(CompactMesh const& mesh, TextSink const& sink, qvUtil::Progress* progress) {
  if (!ObjWriter(mesh, sink, progress).write()) return false;
  if (progress) progress->set(1);
  return true;
}

bool meshWriteObj(CompactMesh const& mesh, qvOS::Filename const& file) {
  qvOS::OutputFile out(file);
  if (!out.isOpen()) return false;
  meshFormatObj(mesh, [&](std::string_view text) {
    out.write(text);
    return true;
  });
  return true;
}

}  // namespace qvGeom

#pragma once

#include "geom/model/keel/vectors.h"

namespace qvGeom {

// Element records: plain values without gaps, so that an array of them is also a flat array of floats or
// ints.

/// Position, three floats in model units.
struct MeshVertex {
  float x = 0, y = 0, z = 0;

  void set(float const* p) { x = p[0], y = p[1], z = p[2]; }
  void set(double const* p) {
    x = static_cast<float>(p[0]), y = static_cast<float>(p[1]), z = static_cast<float>(p[2]);
  }
  qvLinear::Point asPoint() const { return {x, y, z}; }
  qvLinear::PointFlt asPointFlt() const { return {x, y, z}; }
};

/// Direction, usually of unit length.
struct MeshNormal {
  float x = 0, y = 0, z = 0;

  void set(double const* v) {
    x = static_cast<float>(v[0]), y = static_cast<float>(v[1]), z = static_cast<float>(v[2]);
  }
  qvLinear::Vector asVector() const { return {x, y, z}; }
};

/// Texture coordinates.
struct MeshUV {
  float u = 0, v = 0;

  void set(float u0, float v0) { u = u0, v = v0; }
  void set(double const& u0, double const& v0) { u = static_cast<float>(u0), v = static_cast<float>(v0); }
  void set(double const* p) { set(p[0], p[1]); }
};

/// Three vertex indices in winding order: counter-clockwise seen from outside.
struct MeshTriangle {
  int v[3] = {0, 0, 0};

  int& operator[](int corner) { return v[corner]; }
  int const& operator[](int corner) const { return v[corner]; }
};

/// Two vertex indices.
struct MeshLine {
  int v[2] = {0, 0};

  int& operator[](int end) { return v[end]; }
  int const& operator[](int end) const { return v[end]; }
};

/// Belongs to the host; passed through and never looked into.
struct MeshColour;

/// Elements of attribute channels with 1 to 4 components.
template <int N>
struct MeshFloats {
  float c[N] = {};

  float& operator[](int i) { return c[i]; }
  float const& operator[](int i) const { return c[i]; }
};
using MeshFloat1 = MeshFloats<1>;
using MeshFloat2 = MeshFloats<2>;
using MeshFloat3 = MeshFloats<3>;
using MeshFloat4 = MeshFloats<4>;

static_assert(sizeof(MeshVertex) == 3 * sizeof(float) && sizeof(MeshNormal) == 3 * sizeof(float));
static_assert(sizeof(MeshUV) == 2 * sizeof(float));
static_assert(sizeof(MeshTriangle) == 3 * sizeof(int) && sizeof(MeshLine) == 2 * sizeof(int));
static_assert(sizeof(MeshFloat1) == 4 && sizeof(MeshFloat2) == 8 && sizeof(MeshFloat3) == 12 &&
              sizeof(MeshFloat4) == 16);

}  // namespace qvGeom

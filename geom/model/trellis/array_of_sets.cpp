#include "geom/model/trellis/array_of_sets.h"

#include <cstddef>

namespace qvGeom {

namespace {

// Counting sort into sets. `forEachPair` calls its argument with (set, member) for every pair, in the order
// that the members of a set are to have; it is run twice.
template <typename ForEachPair>
bool build(int numSets, int numPairs, const ForEachPair& forEachPair, ArrayOfSets& result) {
  if (numSets < 0 || numPairs < 0) return false;
  ArrayOfSets sets(numSets, numPairs);
  Array<int> fill(numSets);  // sizes first, then the place of each set's next member
  bool inRange = true;
  forEachPair([&](int set, int) {
    if (set < 0 || set >= numSets) {
      inRange = false;
    } else {
      ++fill[set];
    }
  });
  if (!inRange) return false;
  int total = 0;
  for (int i = 0; i < numSets; ++i) {
    sets.setStarts[i] = total;
    total += fill[i];
    fill[i] = sets.setStarts[i];
  }
  forEachPair([&](int set, int member) { sets.members[fill[set]++] = member; });
  result.swap(sets);
  return true;
}

}  // namespace

ArrayOfSets::ArrayOfSets(int numSets, int total) {
  setStarts.resizeForOverwrite(numSets);
  members.resizeForOverwrite(total);
}

void ArrayOfSets::swap(ArrayOfSets& other) noexcept {
  setStarts.swap(other.setStarts);
  members.swap(other.members);
}

bool ArrayOfSets::assignFromPairs(int numSets, int numPairs, int const* pairs) {
  const auto forEachPair = [&](const auto& take) {
    for (std::ptrdiff_t i = 0; i < numPairs; ++i) take(pairs[2 * i], pairs[2 * i + 1]);
  };
  return build(numSets, numPairs, forEachPair, *this);
}

bool ArrayOfSets::assignInverse(int numSets, ArrayOfSets const& other) {
  const auto forEachPair = [&](const auto& take) {
    for (int i = 0; i < other.getNumSets(); ++i) {
      int const* set = other.getSet(i);
      for (int k = 0; k < other.getSetSize(i); ++k) take(set[k], i);
    }
  };
  return build(numSets, other.members.size(), forEachPair, *this);
}

}  // namespace qvGeom

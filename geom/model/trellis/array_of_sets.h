#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/array.h"

namespace qvGeom {

/// Integer sets in two flat arrays: set i is members[setStarts[i]] up to, but not including,
/// members[setStarts[i + 1]]; the last set ends with `members`. There are as many starts as sets, not one
/// more. Builders write both arrays directly.
class QVGEOM_API ArrayOfSets {
 public:
  Array<int> setStarts;  ///< [sets], ascending
  Array<int> members;    ///< [total]

  ArrayOfSets() = default;
  /// Allocates both arrays and leaves their contents to the caller.
  ArrayOfSets(int numSets, int total);
  void swap(ArrayOfSets& other) noexcept;

  int getNumSets() const { return setStarts.size(); }
  int getSetSize(int i) const {
    return (i + 1 < setStarts.size() ? setStarts[i + 1] : members.size()) - setStarts[i];
  }
  /// First member of set i.
  int const* getSet(int i) const { return members.begin() + setStarts[i]; }
  int* getSet(int i) { return members.begin() + setStarts[i]; }

  /// Builds the sets from (set index, member) pairs, two ints each; members of a set keep the order of the
  /// pairs. Linear. @return false, with nothing changed, when a set index lies outside [0, numSets)
  bool assignFromPairs(int numSets, int numPairs, int const* pairs);
  /// Makes set j the ascending list of all i for which j is a member of `other`'s set i; `other` may be this
  /// record. Linear. @return false, with nothing changed, when a member lies outside [0, numSets)
  bool assignInverse(int numSets, ArrayOfSets const& other);
};

}  // namespace qvGeom

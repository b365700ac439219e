#pragma once

#include <list>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "geom/model/keel/block_allocator.h"

namespace qv {

template <typename T, typename Alloc = std::allocator<T>>
using vector = std::vector<T, Alloc>;

template <typename T, typename Alloc = std::allocator<T>>
using list = std::list<T, Alloc>;

template <typename T, typename Less = std::less<T>, typename Alloc = std::allocator<T>>
using set = std::set<T, Less, Alloc>;

template <typename K, typename V, typename Less = std::less<K>,
          typename Alloc = std::allocator<std::pair<const K, V>>>
using map = std::map<K, V, Less, Alloc>;

/// A set and a map whose nodes come from a BlockAllocator that outlives them. A tree node carries three
/// links and a colour beside its value, which `treeNodeSize` accounts for.
template <typename T, typename Less = std::less<T>>
using pooled_set = std::set<T, Less, PoolAllocator<T>>;

template <typename K, typename V, typename Less = std::less<K>>
using pooled_map = std::map<K, V, Less, PoolAllocator<std::pair<const K, V>>>;

/// Element size to give a BlockAllocator that serves a tree of `T`.
template <typename T>
inline constexpr unsigned int treeNodeSize = static_cast<unsigned int>(sizeof(T) + 4 * sizeof(void*));

}  // namespace qv

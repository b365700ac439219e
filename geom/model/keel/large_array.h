#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>

namespace qvUtil {

/// Frees what `allocateLarge` gave.
struct FreeLarge {
  void operator()(void* p) const noexcept;
};

/// Memory for arrays of hundreds of megabytes that are filled, read at random and given back: in large pages,
/// where the system has them, all three take a fraction of the time. Throws std::bad_alloc.
void* allocateLarge(std::size_t bytes);

/// An array whose elements have no value yet.
template <typename T>
class LargeArray {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  LargeArray() = default;
  explicit LargeArray(std::size_t n) : data_(static_cast<T*>(allocateLarge(n * sizeof(T)))) {}

  T* get() const { return data_.get(); }
  T& operator[](std::ptrdiff_t i) const { return data_[i]; }

 private:
  std::unique_ptr<T[], FreeLarge> data_;
};

}  // namespace qvUtil

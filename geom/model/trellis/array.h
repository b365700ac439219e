#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"

namespace qvGeom {

/// Supplies the storage of mesh arrays. The host derives from it to place meshes in memory of its own.
class QVGEOM_API ArrayAllocator : public qv::ReferenceCount {
 public:
  ~ArrayAllocator() override;
  /// Storage for `bytes` > 0, aligned to `Array<T>::kAlignment`; throws std::bad_alloc when there is none.
  virtual void* allocate(std::size_t bytes) = 0;
  virtual void deallocate(void* storage, std::size_t bytes) noexcept = 0;
};

/// Contiguous array of plain values, aligned to a cache line.
/// Elements stay where they are until the next call that changes the size. Growing costs amortised O(1) per
/// element through `push_back` and one exact block through the resizing calls. Without memory for them, or
/// for more elements than an int counts, std::bad_alloc is thrown and the array stays as it was.
template <typename T>
class Array {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  static constexpr std::size_t kAlignment = 64;

  Array() = default;
  explicit Array(int n) { resize(n); }
  Array(const Array& other) : allocator_(other.allocator_) { assign(other.data_, other.size_); }
  Array(Array&& other) noexcept { swap(other); }
  Array& operator=(Array other) noexcept {
    swap(other);
    return *this;
  }
  ~Array() { release(); }

  int size() const { return size_; }
  bool empty() const { return size_ == 0; }
  /// First element; null when there is none.
  T* data() { return size_ ? data_ : nullptr; }
  T const* data() const { return size_ ? data_ : nullptr; }
  T* begin() { return data_; }
  T* end() { return data_ + size_; }
  T const* begin() const { return data_; }
  T const* end() const { return data_ + size_; }
  T& operator[](int i) { return data_[i]; }
  T const& operator[](int i) const { return data_[i]; }

  /// Keeps the leading elements; new ones are value-initialised. n below 0 counts as 0.
  void resize(int n) {
    const int old = size_;
    resizeForOverwrite(n);
    if (size_ > old) std::fill(data_ + old, data_ + size_, T());
  }
  /// As `resize`, but new elements have no defined value: for callers that write them all next.
  void resizeForOverwrite(int n) {
    n = std::max(n, 0);
    reserve(n);
    size_ = n;
  }
  /// Makes room for n elements, so that growing up to them cannot fail.
  void reserve(int n) {
    if (n > capacity_) reallocate(n);
  }
  /// Replaces the contents by n elements read from `source`, which may be null when n is 0.
  void assign(T const* source, int n) {
    Array fresh(allocator_);
    fresh.resizeForOverwrite(n);
    if (n > 0) std::memcpy(static_cast<void*>(fresh.data_), source, sizeof(T) * static_cast<std::size_t>(n));
    swap(fresh);
  }
  void push_back(const T& value) {
    const T copy = value;  // `value` may live in this array
    if (size_ == capacity_) reallocate(grownCapacity());
    data_[size_++] = copy;
  }
  /// Drops all elements and their storage.
  void clear() {
    release();
    data_ = nullptr;
    size_ = capacity_ = 0;
  }
  void swap(Array& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    std::swap(allocator_, other.allocator_);
  }

  /// Moves the elements into storage of the given allocator; null is the library's own.
  void setAllocator(qv::Reference<ArrayAllocator> allocator) {
    if (allocator_ == allocator) return;
    Array fresh(std::move(allocator));
    fresh.assign(data_, size_);
    swap(fresh);
  }
  std::size_t getSizeInBytes() const { return bytes(capacity_); }

 private:
  explicit Array(qv::Reference<ArrayAllocator> allocator) : allocator_(std::move(allocator)) {}

  int grownCapacity() const {
    constexpr int kMost = std::numeric_limits<int>::max();
    if (capacity_ == kMost) throw std::bad_alloc();
    return capacity_ > kMost / 3 * 2 ? kMost : std::max(16, capacity_ + capacity_ / 2);
  }
  static std::size_t bytes(int n) { return sizeof(T) * static_cast<std::size_t>(n); }
  T* obtain(int n) const {
    return static_cast<T*>(allocator_ ? allocator_->allocate(bytes(n))
                                      : ::operator new (bytes(n), std::align_val_t{kAlignment}));
  }
  void release() {
    if (!data_) return;
    if (allocator_) {
      allocator_->deallocate(data_, bytes(capacity_));
    } else {
      ::operator delete (data_, std::align_val_t{kAlignment});
    }
  }
  void reallocate(int n) {
    T* fresh = obtain(n);
    if (size_ > 0) std::memcpy(static_cast<void*>(fresh), data_, bytes(size_));
    release();
    data_ = fresh;
    capacity_ = n;
  }

  T* data_ = nullptr;
  int size_ = 0;
  int capacity_ = 0;
  qv::Reference<ArrayAllocator> allocator_;
};

}  // namespace qvGeom

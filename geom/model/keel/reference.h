#pragma once

#include <concepts>
#include <utility>

#include "geom/model/keel/export.h"

namespace qv {

/// Base of everything that is shared by counted ownership.
/// The count is a plain int: one object's references are taken and dropped by one thread at a time, and a
/// worker of a threaded run holds raw pointers only.
class QVGEOM_API ReferenceCount {
 public:
  ReferenceCount() = default;
  /// A copy is a new object that nobody refers to yet, and assigning contents moves no owners: the target
  /// keeps its own count in both cases.
  ReferenceCount(const ReferenceCount&) noexcept {}
  ReferenceCount& operator=(const ReferenceCount&) noexcept { return *this; }
  virtual ~ReferenceCount();

  /// Drops one reference and deletes the object with the last one.
  void unref() const {
    if (--count <= 0) delete this;
  }

  mutable int count = 0;  ///< references held; 0 for objects on the stack, to which nobody takes a Reference
};

/// Owning pointer to a ReferenceCount; null by default.
template <typename T>
class Reference {
 public:
  Reference() = default;
  Reference(T* object) : object_(object) { ref(); }
  Reference(const Reference& other) : object_(other.object_) { ref(); }
  Reference(Reference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename Derived>
  requires std::convertible_to<Derived*, T*> Reference(const Reference<Derived>& other)
      : object_(other.get()) {
    ref();
  }
  ~Reference() { drop(); }

  Reference& operator=(Reference other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const { return object_; }
  T& operator*() const { return *object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  friend bool operator==(const Reference& a, const Reference& b) { return a.object_ == b.object_; }
  friend bool operator==(const Reference& a, const T* b) { return a.object_ == b; }

 private:
  void ref() {
    if (object_) ++object_->count;
  }
  void drop() {
    if (object_) object_->unref();
  }

  T* object_ = nullptr;
};

/// Base of implementation objects that a public class owns through one pointer and deletes through this type.
class QVGEOM_API ImplBase {
 public:
  ImplBase() = default;
  ImplBase(const ImplBase&) = delete;
  ImplBase& operator=(const ImplBase&) = delete;
  virtual ~ImplBase();
};

}  // namespace qv

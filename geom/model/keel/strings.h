#pragma once

#include <compare>
#include <string>
#include <utility>

#include "geom/model/keel/export.h"

namespace qvString {

/// Short immutable byte string that names things (attribute channels, captions); ordered byte by byte.
class CString {
 public:
  CString() = default;
  /// A null pointer gives the empty string.
  CString(char const* text) : text_(text ? text : "") {}

  char const* c_str() const { return text_.c_str(); }

  friend bool operator==(const CString&, const CString&) = default;
  friend auto operator<=>(const CString& a, const CString& b) { return a.text_.compare(b.text_) <=> 0; }

 private:
  std::string text_;
};

/// Text as the application holds it; handed to the operating system as the bytes it was made from.
class IString {
 public:
  IString() = default;
  explicit IString(std::string bytes) : bytes_(std::move(bytes)) {}

  /// Multibyte form, unchanged and independent of the locale; valid while this string lives.
  char const* asMultibyte() const { return bytes_.c_str(); }

 private:
  std::string bytes_;
};

}  // namespace qvString

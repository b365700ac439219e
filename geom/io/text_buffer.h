#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "geom/io/text_sink.h"

namespace qvGeom {

// Collects text and hands it to a sink in large pieces. Writers ask for room once per line and then write
// through the bare pointer.
class TextBuffer {
 public:
  static constexpr std::size_t kMaxLine = 256;

  explicit TextBuffer(const TextSink& sink)
      : sink_(sink), bytes_(std::make_unique_for_overwrite<char[]>(kCapacity)), p_(bytes_.get()) {}
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  // Room for kMaxLine characters; what is written there is kept by `commit`.
  char* line() {
    if (p_ > bytes_.get() + (kCapacity - kMaxLine)) flush();
    return p_;
  }
  void commit(char* end) { p_ = end; }

  // Hands over what is left. @return whether the sink took everything
  bool flush() {
    if (p_ > bytes_.get() && good_)
      good_ = sink_({bytes_.get(), static_cast<std::size_t>(p_ - bytes_.get())});
    p_ = bytes_.get();
    return good_;
  }
  bool good() const { return good_; }

 private:
  static constexpr std::size_t kCapacity = std::size_t{1} << 18;

  const TextSink& sink_;
  std::unique_ptr<char[]> bytes_;
  char* p_;
  bool good_ = true;
};

}  // namespace qvGeom

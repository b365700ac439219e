#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "geom/model/keel/export.h"
#include "geom/model/keel/strings.h"

namespace qvOS {

/// Name of a file, passed to the operating system byte for byte.
class Filename {
 public:
  Filename() = default;
  Filename(char const* name) : text_(std::string(name ? name : "")) {}
  Filename(std::string name) : text_(std::move(name)) {}

  const qvString::IString& text() const { return text_; }

 private:
  qvString::IString text_;
};

/// The bytes of a file, read in one go.
class FileContents {
 public:
  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  friend QVGEOM_API bool readStream(std::FILE* stream, std::size_t expectedSize, FileContents& contents);
  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
};

/// Reads everything up to the end of an open stream. Memory grows with the bytes that really arrive.
/// @param expectedSize size of the first buffer, a hint only
/// @return false on a read error; `contents` is then unchanged
QVGEOM_API bool readStream(std::FILE* stream, std::size_t expectedSize, FileContents& contents);

/// Reads a whole file opened with mode "r".
/// @return false, with `contents` unchanged, when it cannot be opened or read (a directory, for instance)
QVGEOM_API bool readFile(const Filename& file, FileContents& contents);

/// A file opened for writing (mode "w") and closed with this object. Callers hand over large pieces.
class QVGEOM_API OutputFile {
 public:
  explicit OutputFile(const Filename& file);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  bool isOpen() const { return stream_ != nullptr; }
  void write(std::string_view text);
  /// Flushes and closes; false if the file could not be opened or any byte failed to reach it. Calling again
  /// gives the same answer.
  bool close();

 private:
  std::FILE* stream_;
  bool good_;
};

}  // namespace qvOS

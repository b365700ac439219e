#include "geom/model/keel/files.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>

namespace qvOS {

namespace {

constexpr std::size_t kFirstBuffer = std::size_t{1} << 16;
constexpr std::size_t kLargestFirstBuffer = std::size_t{1} << 30;

struct CloseStream {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

std::size_t sizeHint(const char* name) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(name, error);
  return error ? 0 : static_cast<std::size_t>(std::min<std::uintmax_t>(size, kLargestFirstBuffer));
}

}  // namespace

bool readStream(std::FILE* stream, std::size_t expectedSize, FileContents& contents) {
  // One byte more than expected, so that an exact hint sees the end of the file without a second buffer.
  std::size_t capacity = std::max(expectedSize + 1, kFirstBuffer);
  auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
  std::size_t size = 0;
  for (;;) {
    const std::size_t got = std::fread(bytes.get() + size, 1, capacity - size, stream);
    size += got;
    if (got == 0 || size < capacity) {
      if (std::ferror(stream)) return false;
      if (std::feof(stream) || got == 0) break;
      continue;
    }
    auto larger = std::make_unique_for_overwrite<char[]>(capacity * 2);
    std::memcpy(larger.get(), bytes.get(), size);
    bytes = std::move(larger);
    capacity *= 2;
  }
  contents.bytes_ = std::move(bytes);
  contents.size_ = size;
  return true;
}

bool readFile(const Filename& file, FileContents& contents) {
  const char* name = file.text().asMultibyte();
  const std::unique_ptr<std::FILE, CloseStream> stream(std::fopen(name, "r"));
  if (!stream) return false;
  // Our own buffer is the only one that is needed: reads go straight into it.
  std::setvbuf(stream.get(), nullptr, _IONBF, 0);
  return readStream(stream.get(), sizeHint(name), contents);
}

OutputFile::OutputFile(const Filename& file)
    : stream_(std::fopen(file.text().asMultibyte(), "w")), good_(stream_ != nullptr) {
  if (stream_) std::setvbuf(stream_, nullptr, _IONBF, 0);
}

OutputFile::~OutputFile() { close(); }

void OutputFile::write(std::string_view text) {
  if (!stream_ || text.empty()) return;
  if (std::fwrite(text.data(), 1, text.size(), stream_) != text.size()) good_ = false;
}

bool OutputFile::close() {
  if (stream_ && std::fclose(std::exchange(stream_, nullptr)) != 0) good_ = false;
  return good_;
}

}  // namespace qvOS

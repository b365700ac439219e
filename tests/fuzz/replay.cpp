// Runs a fuzz target over files: every file named, every file in the folders named, then prefixes and
// single-byte changes of each, from a fixed seed. Stands in for the fuzzer where there is none.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr int kPrefixes = 100;
constexpr int kChanges = 1000;
constexpr std::size_t kLargestVaried = 4096;  // larger files are run as they are

void run(const std::vector<char>& bytes, std::size_t size) {
  // A copy of just that size: a read past its end is then out of bounds.
  const std::vector<std::uint8_t> exact(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

void replay(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
  std::printf("%s\n", file.filename().c_str());
  std::fflush(stdout);
  run(bytes, bytes.size());
  if (bytes.empty() || bytes.size() > kLargestVaried) return;
  std::mt19937 random(1);
  for (int i = 0; i < kPrefixes; ++i) run(bytes, random() % bytes.size());
  for (int i = 0; i < kChanges; ++i) {
    char& byte = bytes[random() % bytes.size()];
    const char before = byte;
    byte = i % 2 ? static_cast<char>(random()) : "0123456789-+.eEx/ \n\t"[random() % 20];
    run(bytes, bytes.size());
    if (i % 3) byte = before;  // some changes stay, so that damage adds up
  }
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      replay(argv[i]);
      continue;
    }
    for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
      if (entry.is_regular_file()) replay(entry.path());
  }
}

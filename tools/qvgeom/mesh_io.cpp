#include "mesh_io.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "exit_code.h"

namespace tool {

namespace fs = std::filesystem;
using qvGeom::CompactMesh;

Format parseFormat(const std::string& text) {
  if (text.empty()) return Format::fromName;
  if (text == "obj") return Format::obj;
  if (text == "qvm") return Format::counted;
  throw Failure(kUsage, "unknown format '" + text + "': obj and qvm are known");
}

std::string displayName(const std::string& path, bool input) {
  if (path == "-") return input ? "standard input" : "standard output";
  return path;
}

Format resolveFormat(const std::string& path, Format asked, bool input) {
  if (asked != Format::fromName) return asked;
  std::string extension = fs::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == ".obj") return Format::obj;
  if (extension == ".qvm") return Format::counted;
  throw Failure(kUsage, "cannot tell the format of " + displayName(path, input) +
                            ": name it *.obj or *.qvm, or give " + (input ? "--format" : "--to") +
                            " obj|qvm");
}

namespace {

[[noreturn]] void failReading(const std::string& path, const std::string& why) {
  throw Failure(kUnreadable, displayName(path, true) + ": " + why);
}

[[noreturn]] void failWriting(const std::string& path, int error) {
  throw Failure(kNotWritten, displayName(path, false) + ": " + std::strerror(error));
}

// Opens first: the library reads a file or does not, but the user wants to know why not.
void tryReadContents(const std::string& path, qvOS::FileContents& contents) {
  if (path == "-") {
    if (!qvOS::readStream(stdin, 0, contents)) failReading(path, std::strerror(errno));
    return;
  }
  std::error_code error;
  if (fs::is_directory(path, error)) failReading(path, std::strerror(EISDIR));
  errno = 0;
  if (!qvOS::readFile(path, contents)) failReading(path, std::strerror(errno ? errno : EIO));
}

}  // namespace

void readContents(const std::string& path, Console& console, qvOS::FileContents& contents) {
  try {
    tryReadContents(path, contents);
  } catch (const Failure&) {
    console.throwIfInterrupted();  // a read that Ctrl-C broke off is not the file's fault
    throw;
  }
  console.throwIfInterrupted();
}

void readMesh(const std::string& path, Format format, double share, Console& console, CompactMesh& mesh) {
  format = resolveFormat(path, format, true);
  qvUtil::Progress phase;
  console.progress().setCaption("reading");
  console.progress().subPhase(share, phase);
  qvOS::FileContents contents;
  readContents(path, console, contents);
  const bool read = format == Format::obj ? qvGeom::meshParseObj(mesh, contents.view(), &phase)
                                          : qvGeom::meshParse(mesh, contents.view(), &phase);
  console.throwIfInterrupted();
  if (!read) failReading(path, "not a mesh in the counted format");
  if (mesh.getNumVertices() == 0 && format == Format::obj && !contents.view().empty())
    console.warn(displayName(path, true) + ": no vertices found");
}

namespace {

// A file that takes its name only when it is complete.
class PendingFile {
 public:
  explicit PendingFile(const std::string& path) : shown_(path), target_(resolve(path)) {
    struct stat existing {};
    const bool exists = ::stat(target_.c_str(), &existing) == 0;
    // A device or a pipe is written as it is; there is nothing to put in its place.
    direct_ = exists && !S_ISREG(existing.st_mode) && !S_ISDIR(existing.st_mode);
    if (exists && S_ISDIR(existing.st_mode)) failWriting(shown_, EISDIR);
    if (exists && ::access(target_.c_str(), W_OK) != 0) failWriting(shown_, errno);
    if (direct_) {
      written_ = target_.string();
      descriptor_ = ::open(written_.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
      written_ = (target_.parent_path() / temporaryName(target_)).string();
      descriptor_ = ::mkstemp(written_.data());
    }
    if (descriptor_ < 0) failWriting(shown_, errno);
    if (!direct_) ::fchmod(descriptor_, exists ? existing.st_mode & 07777 : defaultMode());
  }
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  ~PendingFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!direct_ && !finished_) ::unlink(written_.c_str());
  }

  bool write(std::string_view text) {
    while (!text.empty()) {
      const ssize_t n = ::write(descriptor_, text.data(), text.size());
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) return keepError();
      text.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
  }

  void finish() {
    if (::close(std::exchange(descriptor_, -1)) != 0) failWriting(shown_, errno);
    if (!direct_ && std::rename(written_.c_str(), target_.c_str()) != 0) failWriting(shown_, errno);
    finished_ = true;
  }

  int error() const { return error_; }

 private:
  // A link stays a link: what it points to is replaced.
  static fs::path resolve(const std::string& path) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    return error ? fs::path(path) : real;
  }
  static std::string temporaryName(const fs::path& target) {
    std::string name(1, '.');
    return name.append(target.filename().string()).append(".XXXXXX");
  }
  static mode_t defaultMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
  }
  bool keepError() {
    error_ = errno;
    return false;
  }

  std::string shown_;
  fs::path target_;
  std::string written_;
  int descriptor_ = -1;
  bool direct_ = false;
  bool finished_ = false;
  int error_ = 0;
};

bool format(const CompactMesh& mesh, Format format, const qvGeom::TextSink& sink, qvUtil::Progress& phase) {
  return format == Format::obj ? qvGeom::meshFormatObj(mesh, sink, &phase)
                               : qvGeom::meshFormat(mesh, sink, &phase);
}

}  // namespace

void writeMesh(const CompactMesh& mesh, const std::string& path, Format asked, double share,
               Console& console) {
  const Format chosen = resolveFormat(path, asked, false);
  qvUtil::Progress phase;
  console.progress().setCaption("writing");
  console.progress().subPhase(share, phase);
  if (path == "-") {
    const auto sink = [](std::string_view text) {
      return std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    };
    errno = 0;
    const bool written = format(mesh, chosen, sink, phase) && std::fflush(stdout) == 0;
    console.throwIfInterrupted();
    if (!written) failWriting(path, errno ? errno : EIO);
    return;
  }
  PendingFile file(path);
  const bool written = format(
      mesh, chosen, [&](std::string_view text) { return file.write(text); }, phase);
  console.throwIfInterrupted();
  if (!written) failWriting(path, file.error());
  file.finish();
}

void writeBytes(std::string_view bytes, const std::string& path) {
  if (path == "-") return writeStandardOutput(bytes);
  PendingFile file(path);
  if (!file.write(bytes)) failWriting(path, file.error());
  file.finish();
}

void writeStandardOutput(std::string_view text) {
  errno = 0;
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
    failWriting("-", errno ? errno : EIO);
}

}  // namespace tool

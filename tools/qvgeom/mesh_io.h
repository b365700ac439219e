#pragma once

#include <string>
#include <string_view>

#include "geom/qvGeom.h"

#include "console.h"

namespace tool {

enum class Format { fromName, obj, counted };

/// Text of an option: "obj" or "qvm"; empty means that the file's name decides. Throws a usage failure.
Format parseFormat(const std::string& text);

/// How a file is called in messages: its name, or which standard stream it is.
std::string displayName(const std::string& path, bool input);

/// Reads a whole file; "-" is standard input. Throws a failure: unreadable, interrupted.
void readContents(const std::string& path, Console& console, qvOS::FileContents& contents);

/// Reads a mesh; "-" is standard input, which needs a format. Warns when the file held nothing that was
/// understood.
/// @param share of the console's progress that reading covers
/// Throws a failure: usage for an unknown format, unreadable, interrupted.
void readMesh(const std::string& path, Format format, double share, Console& console,
              qvGeom::CompactMesh& mesh);

/// Writes a mesh; "-" is standard output, which needs a format. A file appears whole or not at all: it is
/// written beside its place under another name and then renamed. Throws a failure: usage, not written,
/// interrupted.
void writeMesh(const qvGeom::CompactMesh& mesh, const std::string& path, Format format, double share,
               Console& console);

/// Writes a file of any kind, which appears whole or not at all; "-" is standard output. Throws a failure:
/// not written.
void writeBytes(std::string_view bytes, const std::string& path);

/// The format that a name and an option lead to; throws a usage failure when they lead to none.
Format resolveFormat(const std::string& path, Format asked, bool input);

/// Writes text to standard output; throws a failure when it does not arrive.
void writeStandardOutput(std::string_view text);

}  // namespace tool

#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "console.h"
#include "number_rows.h"
#include "spatial_mesh.h"

namespace tool {

/// The command line of a verb that asks a mesh one question for each line of a file.
struct QueryFiles {
  std::string mesh;
  std::string format;
  std::string queries;
  bool json = false;

  /// @param name of the file of queries, in capitals, and what its lines hold
  void addTo(CLI::App& app, const char* name, const char* lines);
  /// Reads both; whatever can be said of the command line is said before. Throws a failure: usage,
  /// unreadable, interrupted.
  void read(Console& console, qvGeom::CompactMesh& target, NumberRows& rows) const;
};

/// Answers queries, with working memory of its own: one for each thread.
class Answerer {
 public:
  virtual ~Answerer() = default;
  /// Appends the answer to one row, as a line without its end or as a JSON value.
  virtual void answer(double const* row, bool json, std::string& text) = 0;
};

/// Writes the answers to all rows to standard output in their order: one a line, or as one JSON array. They
/// are found by all threads and written block by block, so that neither memory nor the reader of a pipe has
/// to hold them all. Throws a failure: not written, interrupted.
void answerRows(const NumberRows& rows, bool json,
                const std::function<std::unique_ptr<Answerer>()>& makeAnswerer, Console& console);

}  // namespace tool

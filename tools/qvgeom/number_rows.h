#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "console.h"

namespace tool {

/// A table of numbers, row after row. Every one is finite and lies in the range of single precision, which
/// queries round it to.
class NumberRows {
 public:
  explicit NumberRows(int columns) : columns_(static_cast<std::size_t>(columns)) {}

  std::size_t size() const { return values_.size() / columns_; }
  double const* operator[](std::size_t row) const { return &values_[row * columns_]; }

  /// Reads a text file with one row a line, numbers apart by blanks or tabs; "-" is standard input. Empty
  /// lines and lines that begin with # are skipped. Throws a failure: unreadable, which names file and line
  /// where a line is not such a row; interrupted.
  void read(const std::string& path, Console& console);

 private:
  class LineParser;

  std::size_t columns_;
  std::vector<double> values_;
};

/// Reads a file with the number of an element a line. @param what says of what, such as "triangle"; there are
/// `count`, numbered from 0. Throws as NumberRows::read does, also for a number of none.
std::vector<int> readElementNumbers(const std::string& path, const char* what, int count, Console& console);

/// Appends a number with nine significant digits, enough for every single-precision value. It must be finite
/// where the text is to be JSON.
void appendNumber(std::string& text, double value);
/// Appends n of them with a separator between them.
void appendNumbers(std::string& text, double const* values, int n, const char* separator);

}  // namespace tool

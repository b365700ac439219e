#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace tool {

/// Boundary loops that a command line names by their numbers.
struct LoopChoice {
  const char* option;
  const char* noun;  ///< what a loop is to the verb, in messages
  std::string text = "all";

  void addTo(CLI::App& app);
  /// Throws a usage failure for what is neither "all" nor numbers: a typing error must not cost the time of
  /// reading a mesh.
  void check() const { parse(); }
  /// The loops named, increasing. Throws a usage failure for a number that no loop has.
  std::vector<int> numbers(int numLoops) const;

 private:
  std::vector<int> parse() const;
};

}  // namespace tool

#include "loop_choice.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <string_view>

#include "exit_code.h"
#include "mesh_shape.h"

namespace tool {

void LoopChoice::addTo(CLI::App& app) {
  app.add_option(option, text, "all, or numbers with commas between them")->capture_default_str();
}

// Nothing for all.
std::vector<int> LoopChoice::parse() const {
  std::vector<int> numbers;
  if (text == "all") return numbers;
  for (std::string_view rest = text;;) {
    const std::string_view field = rest.substr(0, rest.find(','));
    int number = -1;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
    if (error != std::errc() || end != field.data() + field.size() || number < 0)
      throw Failure(kUsage, std::string(option) + ": '" + text +
                                "' is neither 'all' nor numbers with commas between them");
    numbers.push_back(number);
    if (field.size() == rest.size()) break;
    rest.remove_prefix(field.size() + 1);
  }
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return numbers;
}

std::vector<int> LoopChoice::numbers(int numLoops) const {
  std::vector<int> numbers = parse();
  if (text == "all") {
    numbers.resize(static_cast<std::size_t>(numLoops));
    std::iota(numbers.begin(), numbers.end(), 0);
  } else if (numbers.back() >= numLoops) {
    throw Failure(kUsage, std::string(option) + ": there is no " + noun + " " +
                              std::to_string(numbers.back()) + "; the mesh has " + counted(numLoops, noun));
  }
  return numbers;
}

}  // namespace tool

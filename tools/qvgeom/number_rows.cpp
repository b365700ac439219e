#include "number_rows.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <system_error>

#include "exit_code.h"
#include "mesh_io.h"

namespace tool {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view takeField(std::string_view& rest) {
  while (!rest.empty() && isBlank(rest.front())) rest.remove_prefix(1);
  std::size_t length = 0;
  while (length < rest.size() && !isBlank(rest[length])) ++length;
  const std::string_view field = rest.substr(0, length);
  rest.remove_prefix(length);
  return field;
}

bool parseNumber(std::string_view field, double& value) {
  if (field.size() > 1 && field.front() == '+' && field[1] != '-') field.remove_prefix(1);
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
  return error == std::errc() && end == field.data() + field.size() &&
         std::fabs(value) <= double{std::numeric_limits<float>::max()};
}

}  // namespace

class NumberRows::LineParser {
 public:
  LineParser(const std::string& path, NumberRows& rows) : path_(path), rows_(rows) {}

  void parse(std::string_view line) {
    ++number_;
    std::string_view rest = line;
    std::string_view field = takeField(rest);
    if (field.empty() || field.front() == '#') return;
    for (std::size_t found = 0; !field.empty(); field = takeField(rest)) {
      double value = 0;
      if (!parseNumber(field, value))
        fail("'" + shortened(field) + "' is not a finite single-precision number");
      if (++found > rows_.columns_) fail(std::to_string(rows_.columns_) + " numbers expected, more found");
      rows_.values_.push_back(value);
    }
    if (rows_.values_.size() % rows_.columns_ != 0)
      fail(std::to_string(rows_.columns_) + " numbers expected, " +
           std::to_string(rows_.values_.size() % rows_.columns_) + " found");
  }

 private:
  [[noreturn]] void fail(const std::string& why) const {
    throw Failure(kUnreadable, displayName(path_, true) + ":" + std::to_string(number_) + ": " + why);
  }
  // Of a binary file a field may be anything, of any length; the terminal gets none of it.
  static std::string shortened(std::string_view field) {
    std::string text;
    for (const char c : field.substr(0, 40)) text += c >= 0x20 && c < 0x7f ? c : '?';
    return field.size() > 40 ? text + "..." : text;
  }

  const std::string& path_;
  NumberRows& rows_;
  std::size_t number_ = 0;
};

void NumberRows::read(const std::string& path, Console& console) {
  qvOS::FileContents contents;
  readContents(path, console, contents);
  LineParser parser(path, *this);
  std::string_view rest = contents.view();
  while (!rest.empty()) {
    const std::size_t length = rest.find('\n');
    parser.parse(rest.substr(0, length));
    rest.remove_prefix(length == std::string_view::npos ? rest.size() : length + 1);
  }
}

std::vector<int> readElementNumbers(const std::string& path, const char* what, int count, Console& console) {
  NumberRows rows(1);
  rows.read(path, console);
  std::vector<int> numbers;
  numbers.reserve(rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const double number = rows[i][0];
    if (!(number >= 0 && number < count) || number != std::floor(number)) {
      std::string text = displayName(path, true) + ": there is no " + what + " ";
      appendNumber(text, number);
      throw Failure(kUnreadable, text);
    }
    numbers.push_back(static_cast<int>(number));
  }
  return numbers;
}

void appendNumber(std::string& text, double value) {
  char digits[32];
  const auto result = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 9);
  text.append(digits, result.ptr);
}

void appendNumbers(std::string& text, double const* values, int n, const char* separator) {
  for (int i = 0; i < n; ++i) {
    if (i > 0) text += separator;
    appendNumber(text, values[i]);
  }
}

}  // namespace tool

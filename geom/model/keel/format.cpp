#include "geom/model/keel/format.h"

#include <cstdio>

namespace qvString {

std::string formatText(char const* format, ...) {
  std::va_list args;
  va_start(args, format);
  std::string text = formatText(format, args);
  va_end(args);
  return text;
}

std::string formatText(char const* format, std::va_list args) {
  std::va_list measured;
  va_copy(measured, args);
  const int length = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, args);
  return text;
}

}  // namespace qvString

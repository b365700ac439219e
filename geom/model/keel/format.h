#pragma once

// Not part of the public surface.

#include <cstdarg>
#include <string>

#include "geom/model/keel/channels.h"

namespace qvString {

/// What printf would print, of any length.
std::string formatText(char const* format, ...) QVGEOM_PRINTF(1, 2);
std::string formatText(char const* format, std::va_list args);

}  // namespace qvString

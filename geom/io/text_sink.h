#pragma once

#include <functional>
#include <string_view>

namespace qvGeom {

/// Takes the next piece of a file's text, in order; false stops the writer.
using TextSink = std::function<bool(std::string_view text)>;

}  // namespace qvGeom

// Reads the JSON machine description format (see simulator/README.md).
#pragma once

#include <audiosim/Model.h>

#include <string>

namespace audiosim::detail {

// Throws DescriptionError for text that is no description; the result is
// not yet validated across devices.
MachineDescription readDescription(const std::string& text, const std::string& file);

}  // namespace audiosim::detail

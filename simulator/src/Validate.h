// Checks a machine description before anything is served from it, and fills
// in what the description may leave out (local and global part ids, the far
// side's half of each connection). Throws DescriptionError naming the file,
// the place and the reason.
#pragma once

#include <audiosim/DescriptionError.h>
#include <audiosim/Model.h>

#include <string>

namespace audiosim::detail {

void validate(MachineDescription& machine, const std::string& file);

// Where a device was described, for messages: its origin in the file, or
// the device id for a machine built in C++.
std::string placeOf(const Device& device);

}  // namespace audiosim::detail

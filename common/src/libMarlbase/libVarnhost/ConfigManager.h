#pragma once
// libVarnhost::ConfigManager: questions about the system's device tree.
#include <orv/OrvExport.h>
#include <orv/OrvString.h>

namespace libVarnhost {

class ORV_API ConfigManager {
public:
    // Stores the device instance id of the parent node of `child` and
    // returns true; false when the child is unknown or has no parent.
    static bool getParentDeviceInstanceId(orv::String const& child, orv::String& parent);
};

}  // namespace libVarnhost

#include <libVarnhost/ConfigManager.h>

#include <orv/OrvLog.h>
#include <platform/Platform.h>

#include <string>

ORV_LOG_CATEGORY("libVarnhost.configManager");

namespace libVarnhost {

bool ConfigManager::getParentDeviceInstanceId(orv::String const& child, orv::String& parent) {
    ORV_TRACE("ConfigManager::getParentDeviceInstanceId");
    std::wstring parentId;
    if (!platform::deviceTree().parentInstanceId(child.wideBuffer(), parentId)) {
        ORV_LOG(2) << "no parent for device " << child;
        return false;
    }
    parent = parentId.c_str();
    return true;
}

}  // namespace libVarnhost

// The parent of a device instance, from the configuration manager.
#include "SystemPlatform.h"

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <cfgmgr32.h>

#include <vector>

ORV_LOG_CATEGORY("platform.deviceTree");

namespace platform {
namespace system {

namespace {

// Present devices first; a device that is not plugged in may still have a
// phantom node that knows its parent.
bool locateDevNode(std::wstring const& instanceId, DEVINST& node) {
    std::vector<wchar_t> id(instanceId.begin(), instanceId.end());
    id.push_back(L'\0');
    CONFIGRET result = CM_Locate_DevNodeW(&node, id.data(), CM_LOCATE_DEVNODE_NORMAL);
    if (result != CR_SUCCESS) {
        result = CM_Locate_DevNodeW(&node, id.data(), CM_LOCATE_DEVNODE_PHANTOM);
    }
    if (result != CR_SUCCESS) {
        ORV_LOG(2) << "CM_Locate_DevNodeW returns " << orv::OrvValue(result).toHexString(true);
    }
    return result == CR_SUCCESS;
}

bool parentNode(DEVINST child, DEVINST& parent) {
    CONFIGRET const result = CM_Get_Parent(&parent, child, 0);
    if (result != CR_SUCCESS) {
        ORV_LOG(2) << "CM_Get_Parent returns " << orv::OrvValue(result).toHexString(true);
    }
    return result == CR_SUCCESS;
}

bool deviceId(DEVINST node, std::wstring& id) {
    wchar_t buffer[MAX_DEVICE_ID_LEN + 1] = {};
    CONFIGRET const result = CM_Get_Device_IDW(node, buffer, MAX_DEVICE_ID_LEN, 0);
    if (result != CR_SUCCESS) {
        ORV_LOG(2) << "CM_Get_Device_IDW returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    id = buffer;
    return true;
}

class ConfigManagerDeviceTree : public DeviceTree {
public:
    bool parentInstanceId(const std::wstring& child, std::wstring& parent) override {
        DEVINST childNode = 0;
        DEVINST parentNodeId = 0;
        return locateDevNode(child, childNode) && parentNode(childNode, parentNodeId) &&
               deviceId(parentNodeId, parent);
    }
};

}  // namespace

DeviceTree& deviceTree() {
    static ConfigManagerDeviceTree tree;
    return tree;
}

}  // namespace system
}  // namespace platform

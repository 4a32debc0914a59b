#pragma once
// The system's own implementations of the platform groups; internal to the
// platform layer.
#include <platform/Platform.h>

namespace platform {
namespace system {

WaveDevices& waveDevices();
DeviceTree& deviceTree();
Kernel& kernel();

}  // namespace system
}  // namespace platform

// Each group answers with the served object when there is one, else with the
// system's.
#include <platform/Platform.h>

#include "SystemPlatform.h"

#include <atomic>

namespace platform {

namespace {
std::atomic<WaveDevices*> g_servedWave{nullptr};
std::atomic<DeviceTree*> g_servedDeviceTree{nullptr};
std::atomic<Kernel*> g_servedKernel{nullptr};
}  // namespace

WaveDevices& wave() {
    WaveDevices* const served = g_servedWave.load();
    return served ? *served : system::waveDevices();
}

void serveWave(WaveDevices* devices) {
    g_servedWave.store(devices);
}

DeviceTree& deviceTree() {
    DeviceTree* const served = g_servedDeviceTree.load();
    return served ? *served : system::deviceTree();
}

void serveDeviceTree(DeviceTree* tree) {
    g_servedDeviceTree.store(tree);
}

Kernel& kernel() {
    Kernel* const served = g_servedKernel.load();
    return served ? *served : system::kernel();
}

void serveKernel(Kernel* kernel) {
    g_servedKernel.store(kernel);
}

}  // namespace platform

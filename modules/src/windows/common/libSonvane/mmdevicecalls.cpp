#include <libSonvane/mmdevicecalls.h>

#include <COM/DeviceTopologyApi.h>

namespace libSonvane {
namespace detail {

HRESULT activateDeviceTopology(IMMDevice* device, IDeviceTopology** out) {
    return device->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(out));
}

HRESULT openPropertyStoreForReading(IMMDevice* device, IPropertyStore** out) {
    return device->OpenPropertyStore(STGM_READ, out);
}

}  // namespace detail
}  // namespace libSonvane

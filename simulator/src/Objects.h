// The simulated objects, each made by one function so that an object can
// hand out another without knowing its class. Every function returns the new
// object with one reference, which the caller passes on to its own caller.
#pragma once

#include "Core.h"

#include <audiosim/SdkNames.h>

#include <audioclient.h>
#include <endpointvolume.h>
#include <mmdeviceapi.h>
#include <propsys.h>

#include <memory>
#include <string>
#include <vector>

namespace audiosim::detail {

using DevicePtr = std::shared_ptr<Device>;

IClassFactory* newClassFactory(std::shared_ptr<Core> core);
IMMDeviceEnumerator* newEnumerator(std::shared_ptr<Core> core);
IMMDeviceCollection* newCollection(std::shared_ptr<Core> core, std::vector<DevicePtr> devices, EDataFlow flow,
                                   DWORD stateMask);
IMMDevice* newDevice(std::shared_ptr<Core> core, DevicePtr device);
IPropertyStore* newPropertyStore(std::shared_ptr<Core> core, DevicePtr device, DWORD mode);
IDeviceTopology* newTopology(std::shared_ptr<Core> core, DevicePtr device);
IPart* newPart(std::shared_ptr<Core> core, DevicePtr device, PartRef part);
IPartsList* newPartsList(std::shared_ptr<Core> core, DevicePtr device, std::vector<PartRef> parts, std::wstring name);
IControlInterface* newControlInterface(std::shared_ptr<Core> core, DevicePtr device, PartRef part, const IID& iid);
IKsJackDescription* newJackDescription(std::shared_ptr<Core> core, DevicePtr device, PartRef part);
IAudioVolumeLevel* newVolumeLevel(std::shared_ptr<Core> core, DevicePtr device, PartRef part);
IAudioMute* newMute(std::shared_ptr<Core> core, DevicePtr device, PartRef part);
IAudioInputSelector* newInputSelector(std::shared_ptr<Core> core, DevicePtr device, PartRef part);
IAudioEndpointVolume* newEndpointVolume(std::shared_ptr<Core> core, DevicePtr device);
IBaseFilter* newBaseFilter(std::shared_ptr<Core> core, DevicePtr device);

// A new IAudioClient of the endpoint, in *out.
HRESULT activateAudioClient(std::shared_ptr<Core> core, DevicePtr device, void** out);

// The interfaces a part answers to IPart::Activate, in the order of
// GetControlInterface; the caller holds core->mutex.
std::vector<IID> controlInterfacesOf(const Part& part);

// Names of objects, shared by the objects and the reports.
std::wstring partName(const Part& part);

}  // namespace audiosim::detail

#pragma once
// Reaching the platform objects of a simulated machine the way the library's
// callers get them, without installing the machine for the whole process.
#include <libSonvane/audiodevicetopology.h>
#include <libSonvane/audiopart.h>
#include <libSonvane/volumecontroller.h>

#include <COM/AtlComPtr.h>

#include <audiosim/Machine.h>

#include <SimulatedEndpoint.h>

#include <mmdeviceapi.h>

#include <string>

namespace topologytests {

// An interface activated on the device; null on failure.
template <class Interface>
ATL::CComPtr<Interface> activate(IMMDevice* device) {
    ATL::CComPtr<Interface> result;
    if (device) {
        device->Activate(__uuidof(Interface), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&result));
    }
    return result;
}

// A control interface activated on a topology node; null on failure.
template <class Interface>
ATL::CComPtr<Interface> activate(const AudioPart& part) {
    ATL::CComPtr<Interface> result;
    ATL::CComPtr<IPart> node = part.part();
    if (node) {
        node->Activate(CLSCTX_ALL, __uuidof(Interface), reinterpret_cast<void**>(&result));
    }
    return result;
}

// The device's topology as the library reads it.
AudioDeviceTopology simulatedTopology(audiosim::Machine& machine, const std::wstring& id);

// A machine with one render endpoint, speakersId. Its topology has a level
// node with a mute beside it ("Master Volume", both channels at -48 dB of
// -96..0) and one without ("Bass Volume"), and its endpoint volume has two
// channels at the scalars 0.504 and 0.506 of a -100..0 dB range.
extern const wchar_t speakersId[];
audiosim::Machine volumeMachine();

// The controller that a device of that machine gets.
VolumeController<EndpointVolumeController> endpointController(audiosim::Machine& machine);

}  // namespace topologytests

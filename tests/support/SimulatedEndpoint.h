#pragma once
// An endpoint as a simulated machine hands it out, through the machine's own
// enumerator, whether or not the machine is installed in place of the
// system's stack. Null when the enumerator or the endpoint is refused, so
// that a test that faults either sees the refusal instead of a crash.
#include <COM/AtlComPtr.h>

#include <audiosim/Machine.h>

#include <mmdeviceapi.h>

#include <string>

inline ATL::CComPtr<IMMDevice> simulatedEndpoint(audiosim::Machine& machine, std::wstring const& id) {
    ATL::CComPtr<IMMDeviceEnumerator> enumerator;
    ATL::CComPtr<IMMDevice> device;
    if (SUCCEEDED(machine.createEnumerator(__uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&enumerator)))) {
        enumerator->GetDevice(id.c_str(), &device);
    }
    return device;
}

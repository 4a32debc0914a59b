#pragma once
// Platform calls that more than one file of the library makes, each behind
// one small helper. Internal: not part of the public headers.
#include <windows.h>
#include <mmdeviceapi.h>

struct IDeviceTopology;

#include <orv/OrvArray.h>

class AudioDevice;

namespace libSonvane {
namespace detail {

// CoCreateInstance of the system's device enumerator, in-process, written
// straight into *out: whatever *out held before is not released.
HRESULT createDeviceEnumerator(IMMDeviceEnumerator** out);

// IMMDevice::Activate of the device's topology, in any server context.
HRESULT activateDeviceTopology(IMMDevice* device, IDeviceTopology** out);

// IMMDevice::OpenPropertyStore for reading only.
HRESULT openPropertyStoreForReading(IMMDevice* device, IPropertyStore** out);

// Reads one endpoint into a new AudioDevice and appends it. A device that
// could not be read is listed all the same, with what was read.
void appendDevice(IMMDevice* device, orv::Array<AudioDevice>& out);

// The listing shared by the single-list enumerators: replaces `out` with one
// AudioDevice per endpoint of `flow` in every state, in the collection's
// order, and returns the count. Platform results are not tested;
// `countLine` writes the enumerator's own line about the count.
unsigned int listAllDevices(IMMDeviceEnumerator* deviceEnumerator, EDataFlow flow, orv::Array<AudioDevice>& out,
                            void (*countLine)(UINT count));

}  // namespace detail
}  // namespace libSonvane

#pragma once
// Platform calls that more than one file of the library makes, each behind
// one small helper. Internal: not part of the public headers.
#include <windows.h>
#include <mmdeviceapi.h>

namespace libSonvane {
namespace detail {

// CoCreateInstance of the system's device enumerator, in-process, written
// straight into *out: whatever *out held before is not released.
HRESULT createDeviceEnumerator(IMMDeviceEnumerator** out);

}  // namespace detail
}  // namespace libSonvane

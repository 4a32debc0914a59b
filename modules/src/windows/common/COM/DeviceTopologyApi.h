// The device topology interfaces under the names of the Windows SDK.
//
// mingw-w64's <devicetopology.h> spells two things differently from the SDK:
// the subunit interface is ISubUnit there, and IPart's topology accessor is
// GetTopologyObjects. Code of this project writes the SDK's ISubunit and
// reaches the accessor through partTopologyObject(), so that it builds
// unchanged with either set of headers.
//
// mingw-w64's kernel-streaming header, pulled in by <devicetopology.h> and
// so by <endpointvolume.h>, defines types that <strmif.h> defines again unless
// strmif.h came first. Include this header before either of those; it puts
// strmif.h first so that a source file may then include all of them.
#pragma once

#include <windows.h>
#include <strmif.h>
#include <devicetopology.h>

#if defined(__ISubUnit_INTERFACE_DEFINED__)
typedef ISubUnit ISubunit;
#define SONVANE_PART_TOPOLOGY_METHOD GetTopologyObjects
#else
#define SONVANE_PART_TOPOLOGY_METHOD GetTopologyObject
#endif

// IPart::GetTopologyObject.
inline HRESULT partTopologyObject(IPart* part, IDeviceTopology** topology) {
    return part->SONVANE_PART_TOPOLOGY_METHOD(topology);
}

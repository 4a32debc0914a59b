#pragma once
// libSonvane::EndpointEnumerator: every audio endpoint of the machine, sorted
// into one EndpointGroup per adapter.
//
// An endpoint belongs to the group of the adapter device that its first
// connector leads to, whatever the case of that device's instance id. Groups
// stand in the order in which their first endpoint was met; within a group
// active endpoints come first, then disabled, then unplugged ones. Endpoints
// that are not present, and endpoints without topology or without a connected
// adapter, belong to no group.
//
// The caller initialises COM on its thread before enumerate().
#include <libSonvane/SonvaneExport.h>
#include <libSonvane/EndpointGroup.h>
#include <COM/AtlComPtr.h>

#include <orv/OrvArray.h>
#include <orv/OrvResource.h>
#include <orv/OrvString.h>

#include <windows.h>
#include <mmdeviceapi.h>

namespace libSonvane {

// A group as callers hold it: shared and deleted with its last share.
typedef orv::SharedResource<orv::PointerStorage<EndpointGroup, 0, 3>, 0> SharedEndpointGroup;

class SONVANE_API EndpointEnumerator {
public:
    EndpointEnumerator();
    EndpointEnumerator(EndpointEnumerator const& other);
    EndpointEnumerator& operator=(EndpointEnumerator const& other);
    ~EndpointEnumerator();

    // Replaces `groups` with the machine's groups and returns their number;
    // 0 also when the platform's device enumerator cannot be made.
    unsigned int enumerate(orv::Array<SharedEndpointGroup>& groups);
    // Lets go of the platform's device enumerator. The groups stay usable.
    void close();

private:
    // Files every endpoint in `state` into `groups`.
    void addEndpointsInState(DWORD state, orv::Array<SharedEndpointGroup>& groups);
    // Adds the endpoint to the group of its adapter, or opens a new group.
    static void fileEndpoint(ATL::CComPtr<IMMDevice> const& device, orv::String const& instanceId,
                             orv::Array<SharedEndpointGroup>& groups);

    ATL::CComPtr<IMMDeviceEnumerator> m_enumerator;
};

}  // namespace libSonvane

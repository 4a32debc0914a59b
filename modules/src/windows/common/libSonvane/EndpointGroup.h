#pragma once
// libSonvane::EndpointGroup: the endpoints of one piece of audio hardware,
// sorted by form factor on demand.
//
// A group is keyed by the device instance id of the adapter that the first
// connector of its endpoints leads to. EndpointEnumerator builds the groups;
// a group never gains endpoints afterwards.
//
// Every endpoint stands in exactly one of the seven arrays. Until an accessor
// asks for a form factor the endpoints wait in the unsorted array; the
// accessor then moves the matching ones into its list. So the unsorted array
// shrinks as the accessors run, and friendlyName() and enumeratorName(),
// which read the first unsorted endpoint, must have their first call before
// the accessors have taken every endpoint: on an empty unsorted array they
// stop the process with the assertion "index < size()".
//
// A list is sorted only while it is empty: a list that found endpoints is
// never sorted again, one that found none is sorted again at each call.
// Endpoints of other form factors stay unsorted for good.
#include <libSonvane/SonvaneExport.h>
#include <COM/AtlComPtr.h>

#include <orv/OrvArray.h>
#include <orv/OrvString.h>

#include <windows.h>
#include <mmdeviceapi.h>

namespace libSonvane {

class EndpointEnumerator;

class SONVANE_API EndpointGroup {
public:
    typedef orv::Array<ATL::CComPtr<IMMDevice>> DeviceList;

    // Not initialized: no endpoints, and the names stay empty.
    EndpointGroup();
    // Initialized, with `device` as its first endpoint; the parent's
    // instance id comes from the device tree (left empty when it has none).
    EndpointGroup(ATL::CComPtr<IMMDevice> const& device, orv::String const& instanceId);
    EndpointGroup(EndpointGroup const& other);
    EndpointGroup& operator=(EndpointGroup const& other);
    ~EndpointGroup();

    orv::String const& instanceId() const;
    bool isInitialized() const;
    // True for the adapter's own instance id and for its parent's, in any case.
    bool matches(orv::String const& id) const;

    // The interface friendly name of the first unsorted endpoint, read once.
    orv::String const& friendlyName();
    // The enumerator name of the first unsorted endpoint, read once.
    orv::String const& enumeratorName();

    DeviceList const& lineIn();
    DeviceList const& mic();
    DeviceList const& analogOut();
    // Headphones, then headsets.
    DeviceList const& headphone();
    DeviceList const& spdif();
    DeviceList const& hdmi();

    // Whether a speaker, S/PDIF, HDMI, headphone or headset endpoint is
    // active; sorts those lists first where they are empty.
    bool hasActivePlaybackDevice();

    // Drops every endpoint; the id, the names and the initialized flag stay.
    void close();

private:
    friend class EndpointEnumerator;

    void cleanup();
    // Moves the unsorted endpoints of form factor `factor` to the end of
    // `list`; false when a property store would not open, which leaves the
    // rest unsorted.
    bool classifyEndpointsAs(EndpointFormFactor factor, DeviceList& list);
    // The same by the node type behind the first connector.
    void classifyEndpointsAs(GUID const& nodeGuid, DeviceList& list);
    // The subtype of the part on the far side of the endpoint's first connector.
    bool nodeType(ATL::CComPtr<IMMDevice> const& device, GUID& node) const;
    // Moves unsorted endpoint `index` to the end of `list`.
    void moveToList(orv::Uint32 index, DeviceList& list);

    DeviceList m_allDevices;
    DeviceList m_lineIn;
    DeviceList m_mic;
    DeviceList m_analogOut;
    DeviceList m_spdif;
    DeviceList m_hdmi;
    DeviceList m_headphone;
    bool m_initialized;
    orv::String m_instanceId;
    orv::String m_parentInstanceId;
    orv::String m_friendlyName;
    orv::String m_enumeratorName;
};

}  // namespace libSonvane

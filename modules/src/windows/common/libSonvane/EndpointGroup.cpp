// EndpointGroup: the endpoints behind one adapter and their sorting by form
// factor.
#include <libSonvane/EndpointGroup.h>
#include <libSonvane/platformconstants.h>

#include <COM/DeviceTopologyApi.h>
#include <libSonvane/mmdevicecalls.h>
#include <libVarnhost/ConfigManager.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <propidl.h>

ORV_LOG_CATEGORY("libSonvane.EndpointGroup");

namespace libSonvane {

namespace {

PROPERTYKEY const& kFormFactorKey = keys::formFactor;
PROPERTYKEY const& kInterfaceFriendlyNameKey = keys::interfaceFriendlyName;
PROPERTYKEY const& kEnumeratorNameKey = keys::enumeratorName;

orv::String hexCode(HRESULT result) {
    return orv::OrvValue(result).toHexString(true);
}

orv::String decimalCode(HRESULT result) {
    return orv::OrvValue(result).toString(orv::OrvValue::nilValue());
}

// The state of an endpoint, or unplugged when the endpoint cannot tell.
DWORD endpointState(ATL::CComPtr<IMMDevice> const& device) {
    DWORD state = DEVICE_STATE_UNPLUGGED;
    device->GetState(&state);
    return state;
}

void appendAll(EndpointGroup::DeviceList const& from, EndpointGroup::DeviceList& to) {
    for (ATL::CComPtr<IMMDevice> const& device : from) {
        to.append(device);
    }
}

}  // namespace

// --- Life -------------------------------------------------------------------

EndpointGroup::EndpointGroup() : m_initialized(false) {}

EndpointGroup::EndpointGroup(ATL::CComPtr<IMMDevice> const& device, orv::String const& instanceId)
    : m_initialized(true), m_instanceId(instanceId) {
    ORV_TRACE("EndpointGroup::EndpointGroup");
    m_allDevices.append(device);
    // A root device has no parent; the group then matches its own id only.
    libVarnhost::ConfigManager::getParentDeviceInstanceId(m_instanceId, m_parentInstanceId);
}

EndpointGroup::EndpointGroup(EndpointGroup const& other) = default;
EndpointGroup& EndpointGroup::operator=(EndpointGroup const& other) = default;
EndpointGroup::~EndpointGroup() = default;

// --- Identity ---------------------------------------------------------------

orv::String const& EndpointGroup::instanceId() const {
    return m_instanceId;
}

bool EndpointGroup::isInitialized() const {
    return m_initialized;
}

bool EndpointGroup::matches(orv::String const& id) const {
    return orv::String::compareNoCase(id, m_instanceId) == 0 ||
           orv::String::compareNoCase(id, m_parentInstanceId) == 0;
}

// --- Names ------------------------------------------------------------------

orv::String const& EndpointGroup::friendlyName() {
    ORV_TRACE("EndpointGroup::friendlyName");
    if (!m_friendlyName.empty()) {
        return m_friendlyName;
    }
    if (!m_initialized) {
        ORV_LOG(1) << "Endpoint group not initialized yet";
    } else {
        ATL::CComPtr<IPropertyStore> store;
        HRESULT result = detail::openPropertyStoreForReading(m_allDevices[0], &store);
        if (FAILED(result)) {
            ORV_LOG(1) << "Unable to query sound card name " << decimalCode(result);
        } else {
            PROPVARIANT value;
            PropVariantInit(&value);
            result = store->GetValue(kInterfaceFriendlyNameKey, &value);
            if (SUCCEEDED(result)) {
                // The name is copied out of the variant, which keeps its
                // buffer: drivers always hand a string here, and the group
                // reads it once.
                m_friendlyName = value.pwszVal;
            } else {
                ORV_LOG(1) << "IPropertyStore::GetValue failed " << decimalCode(result);
            }
        }
    }
    if (m_friendlyName.empty()) {
        ORV_LOG(1) << "Make sure m_allDevices is not empty. If it is not, then driver does not advertise the "
                      "interface friendly name";
    }
    return m_friendlyName;
}

orv::String const& EndpointGroup::enumeratorName() {
    ORV_TRACE("EndpointGroup::enumeratorName");
    if (!m_enumeratorName.empty() || !m_initialized) {
        return m_enumeratorName;
    }
    ATL::CComPtr<IPropertyStore> store;
    if (FAILED(detail::openPropertyStoreForReading(m_allDevices[0], &store))) {
        return m_enumeratorName;
    }
    PROPVARIANT value;
    PropVariantInit(&value);
    HRESULT const result = store->GetValue(kEnumeratorNameKey, &value);
    if (FAILED(result)) {
        ORV_LOG(3) << "Unable to query PKEY_Device_EnumeratorName for device " << friendlyName();
        return m_enumeratorName;
    }
    m_enumeratorName = value.pwszVal;
    PropVariantClear(&value);
    return m_enumeratorName;
}

// --- Lists ------------------------------------------------------------------

EndpointGroup::DeviceList const& EndpointGroup::lineIn() {
    ORV_TRACE("EndpointGroup::lineIn");
    if (m_lineIn.empty()) {
        classifyEndpointsAs(LineLevel, m_lineIn);
    }
    return m_lineIn;
}

EndpointGroup::DeviceList const& EndpointGroup::mic() {
    ORV_TRACE("EndpointGroup::mic");
    if (m_mic.empty()) {
        classifyEndpointsAs(Microphone, m_mic);
    }
    return m_mic;
}

EndpointGroup::DeviceList const& EndpointGroup::analogOut() {
    ORV_TRACE("EndpointGroup::analogOut");
    if (m_analogOut.empty()) {
        classifyEndpointsAs(Speakers, m_analogOut);
    }
    return m_analogOut;
}

EndpointGroup::DeviceList const& EndpointGroup::headphone() {
    ORV_TRACE("EndpointGroup::headphone");
    if (m_headphone.empty()) {
        classifyEndpointsAs(Headphones, m_headphone);
        classifyEndpointsAs(Headset, m_headphone);
    }
    return m_headphone;
}

EndpointGroup::DeviceList const& EndpointGroup::spdif() {
    ORV_TRACE("EndpointGroup::spdif");
    if (m_spdif.empty()) {
        classifyEndpointsAs(SPDIF, m_spdif);
    }
    return m_spdif;
}

EndpointGroup::DeviceList const& EndpointGroup::hdmi() {
    ORV_TRACE("EndpointGroup::hdmi");
    if (m_hdmi.empty()) {
        classifyEndpointsAs(DigitalAudioDisplayDevice, m_hdmi);
    }
    return m_hdmi;
}

bool EndpointGroup::hasActivePlaybackDevice() {
    ORV_TRACE("EndpointGroup::hasActivePlaybackDevice");
    DeviceList playback(analogOut());
    appendAll(spdif(), playback);
    appendAll(hdmi(), playback);
    appendAll(headphone(), playback);
    for (ATL::CComPtr<IMMDevice> const& device : playback) {
        if (endpointState(device) == DEVICE_STATE_ACTIVE) {
            return true;
        }
    }
    return false;
}

void EndpointGroup::close() {
    ORV_TRACE("EndpointGroup::close");
    cleanup();
}

void EndpointGroup::cleanup() {
    m_lineIn.clear();
    m_mic.clear();
    m_analogOut.clear();
    m_spdif.clear();
    m_hdmi.clear();
    m_headphone.clear();
    m_allDevices.clear();
}

// --- Sorting ----------------------------------------------------------------

void EndpointGroup::moveToList(orv::Uint32 index, DeviceList& list) {
    list.append(m_allDevices[index]);
    m_allDevices.remove(index);
}

bool EndpointGroup::classifyEndpointsAs(EndpointFormFactor factor, DeviceList& list) {
    ORV_TRACE("EndpointGroup::classifyEndpointsAs");
    // A moved endpoint closes the gap, so the index advances only past
    // endpoints that stay.
    orv::Uint32 index = 0;
    while (index < m_allDevices.size()) {
        ATL::CComPtr<IPropertyStore> store;
        HRESULT const result = detail::openPropertyStoreForReading(m_allDevices[index], &store);
        if (FAILED(result)) {
            ORV_LOG(3) << "OpenPropertyStore returns " << hexCode(result);
            return false;
        }
        PROPVARIANT value;
        PropVariantInit(&value);
        bool const matching = SUCCEEDED(store->GetValue(kFormFactorKey, &value)) && value.vt == VT_UI4 &&
                              value.ulVal == static_cast<ULONG>(factor);
        PropVariantClear(&value);
        if (matching) {
            moveToList(index, list);
        } else {
            ++index;
        }
    }
    return true;
}

void EndpointGroup::classifyEndpointsAs(GUID const& nodeGuid, DeviceList& list) {
    ORV_TRACE("EndpointGroup::classifyEndpointsAs");
    orv::Uint32 index = 0;
    while (index < m_allDevices.size()) {
        GUID node = GUID_NULL;
        if (nodeType(m_allDevices[index], node) && IsEqualGUID(node, nodeGuid)) {
            moveToList(index, list);
        } else {
            ++index;
        }
    }
}

bool EndpointGroup::nodeType(ATL::CComPtr<IMMDevice> const& device, GUID& node) const {
    ORV_TRACE("EndpointGroup::nodeType");
    ATL::CComPtr<IDeviceTopology> topology;
    HRESULT result = detail::activateDeviceTopology(device, &topology);
    if (FAILED(result)) {
        ORV_LOG(3) << "Unable to activate device topology " << hexCode(result);
        return false;
    }
    ATL::CComPtr<IConnector> connector;
    result = topology->GetConnector(0, &connector);
    if (FAILED(result)) {
        ORV_LOG(3) << "GetConnector failed " << hexCode(result);
        return false;
    }
    ATL::CComPtr<IConnector> connectedTo;
    result = connector->GetConnectedTo(&connectedTo);
    if (FAILED(result)) {
        ORV_LOG(3) << "GetConnectorTo failed " << hexCode(result);
        return false;
    }
    ATL::CComPtr<IPart> part;
    result = connectedTo.QueryInterface(&part);
    if (FAILED(result)) {
        ORV_LOG(3) << "Unable to get a part interface from connector " << hexCode(result);
        return false;
    }
    return SUCCEEDED(part->GetSubType(&node));
}

}  // namespace libSonvane

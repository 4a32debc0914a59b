// EndpointEnumerator: finding the adapter behind each endpoint and filing the
// endpoints into groups.
#include <libSonvane/EndpointEnumerator.h>
#include <libSonvane/platformconstants.h>

#include <COM/DeviceTopologyApi.h>
#include <libSonvane/mmdevicecalls.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <propidl.h>

ORV_LOG_CATEGORY("libSonvane.EndpointEnumerator");

namespace libSonvane {

namespace {

PROPERTYKEY const& kInstanceIdKey = keys::deviceInstanceId;

// Not-present endpoints are left out: they are remembered by the system but
// have no hardware behind them to group.
DWORD const kEnumeratedStates[] = {DEVICE_STATE_ACTIVE, DEVICE_STATE_DISABLED, DEVICE_STATE_UNPLUGGED};

// The device instance id of the adapter behind the endpoint's first
// connector. An endpoint without topology, connector or reachable adapter is
// no error, so those steps end quietly.
bool getInstanceId(ATL::CComPtr<IMMDeviceEnumerator> const& enumerator, ATL::CComPtr<IMMDevice> const& device,
                   orv::String& instanceId) {
    ORV_TRACE("getInstanceId");
    ATL::CComPtr<IDeviceTopology> topology;
    if (FAILED(detail::activateDeviceTopology(device, &topology))) {
        return false;
    }
    ATL::CComPtr<IConnector> connector;
    if (FAILED(topology->GetConnector(0, &connector))) {
        return false;
    }
    // The id string is never given back to the allocator: one small string
    // per endpoint and enumeration, a leak the library has always carried.
    LPWSTR adapterId = nullptr;
    if (FAILED(connector->GetDeviceIdConnectedTo(&adapterId))) {
        return false;
    }
    ATL::CComPtr<IMMDevice> adapter;
    if (FAILED(enumerator->GetDevice(adapterId, &adapter))) {
        return false;
    }
    ATL::CComPtr<IPropertyStore> store;
    HRESULT const result = detail::openPropertyStoreForReading(adapter, &store);
    if (FAILED(result)) {
        ORV_LOG(3) << "OpenPropertyStore returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    PROPVARIANT value;
    PropVariantInit(&value);
    bool const found = SUCCEEDED(store->GetValue(kInstanceIdKey, &value)) && value.vt == VT_LPWSTR;
    if (found) {
        instanceId = value.pwszVal;
    } else {
        ORV_LOG(3) << "Fail to get instancePathKey value ";
    }
    PropVariantClear(&value);
    return found;
}

}  // namespace

EndpointEnumerator::EndpointEnumerator() = default;
EndpointEnumerator::EndpointEnumerator(EndpointEnumerator const& other) = default;
EndpointEnumerator& EndpointEnumerator::operator=(EndpointEnumerator const& other) = default;
EndpointEnumerator::~EndpointEnumerator() = default;

unsigned int EndpointEnumerator::enumerate(orv::Array<SharedEndpointGroup>& groups) {
    ORV_TRACE("EndpointEnumerator::enumerate");
    groups.clear();
    // Created straight into the field: an enumerator from an earlier call is
    // overwritten without a Release, one reference lost per repeated call.
    HRESULT const result = detail::createDeviceEnumerator(&m_enumerator.p);
    if (FAILED(result)) {
        ORV_LOG(3) << "CoCreateInstance returns " << orv::OrvValue(result).toHexString(true);
        return 0;
    }
    for (DWORD const state : kEnumeratedStates) {
        addEndpointsInState(state, groups);
    }
    return groups.size();
}

void EndpointEnumerator::close() {
    ORV_TRACE("EndpointEnumerator::close");
    if (m_enumerator) {
        m_enumerator.Release();
    }
}

void EndpointEnumerator::addEndpointsInState(DWORD state, orv::Array<SharedEndpointGroup>& groups) {
    ATL::CComPtr<IMMDeviceCollection> collection;
    HRESULT const result = m_enumerator->EnumAudioEndpoints(eAll, state, &collection);
    if (FAILED(result)) {
        ORV_LOG(2) << "EnumAudioEndpoints failed " << orv::OrvValue(result).toHexString(true);
        return;
    }
    UINT count = 0;
    collection->GetCount(&count);
    for (UINT index = 0; index < count; ++index) {
        ATL::CComPtr<IMMDevice> device;
        if (FAILED(collection->Item(index, &device))) {
            continue;
        }
        orv::String instanceId;
        if (getInstanceId(m_enumerator, device, instanceId)) {
            fileEndpoint(device, instanceId, groups);
        }
    }
}

void EndpointEnumerator::fileEndpoint(ATL::CComPtr<IMMDevice> const& device, orv::String const& instanceId,
                                      orv::Array<SharedEndpointGroup>& groups) {
    for (SharedEndpointGroup const& group : groups) {
        if (orv::String::compareNoCase(group->m_instanceId, instanceId) == 0) {
            group->m_allDevices.append(device);
            return;
        }
    }
    groups.append(SharedEndpointGroup(new EndpointGroup(device, instanceId)));
}

}  // namespace libSonvane

// The two listers that work without the process-wide enumerator: the
// short-lived EndpointDeviceEnumerator and EndpointDeviceEnumeratorCommon
// with its four lists by device state.
#include <libSonvane/endpointdeviceenumerator.h>

#include <libSonvane/audiodeviceendpoint.h>
#include <libSonvane/mmdevicecalls.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

ORV_LOG_CATEGORY("libSonvane.endpointDeviceEnumerator");

namespace {

// A new platform enumerator through a local pointer, so that a failure
// leaves the caller's field as it was. Logs the failure.
ATL::CComPtr<IMMDeviceEnumerator> createEnumerator() {
    ATL::CComPtr<IMMDeviceEnumerator> created;
    HRESULT const result = libSonvane::detail::createDeviceEnumerator(&created.p);
    if (FAILED(result)) {
        ORV_LOG(3) << "CoCreateInstance returns " << orv::OrvValue(result).toHexString(true);
    }
    return created;
}

}  // namespace

// --- libSonvane::EndpointDeviceEnumerator -----------------------------------

namespace libSonvane {

EndpointDeviceEnumerator::EndpointDeviceEnumerator() {
    initialize();
}

EndpointDeviceEnumerator::EndpointDeviceEnumerator(EndpointDeviceEnumerator const& other)
    : m_enumerator(other.m_enumerator) {}

EndpointDeviceEnumerator& EndpointDeviceEnumerator::operator=(EndpointDeviceEnumerator const& other) {
    m_enumerator = other.m_enumerator;
    return *this;
}

EndpointDeviceEnumerator::~EndpointDeviceEnumerator() {
    m_enumerator.Release();
}

bool EndpointDeviceEnumerator::initialize() {
    ORV_TRACE("EndpointDeviceEnumerator::initialize");
    m_enumerator.Release();
    m_enumerator = createEnumerator();
    return isInitialized();
}

bool EndpointDeviceEnumerator::isInitialized() const {
    return m_enumerator != nullptr;
}

ATL::CComPtr<IMMDeviceEnumerator> const& EndpointDeviceEnumerator::enumerator() const {
    return m_enumerator;
}

unsigned int EndpointDeviceEnumerator::audioDevices(EDataFlow flow, orv::Array<AudioDevice>& out) const {
    ORV_TRACE("EndpointDeviceEnumerator::audioDevices");
    return detail::listAllDevices(m_enumerator, flow, out, [](UINT count) {
        ORV_LOG(2) << "Device state index " << static_cast<unsigned int>(DEVICE_STATEMASK_ALL) << " found " << count
                   << " devices";
    });
}

}  // namespace libSonvane

// --- EndpointDeviceEnumeratorCommon -----------------------------------------

EndpointDeviceEnumeratorCommon::EndpointDeviceEnumeratorCommon() : m_notificationObserver(nullptr) {}

EndpointDeviceEnumeratorCommon::EndpointDeviceEnumeratorCommon(EDataFlow flow) : m_notificationObserver(nullptr) {
    enumerate(flow);
}

EndpointDeviceEnumeratorCommon::EndpointDeviceEnumeratorCommon(EndpointDeviceEnumeratorCommon const& other)
    : m_activeDevice(other.m_activeDevice),
      m_notPresentDevice(other.m_notPresentDevice),
      m_disabledDevice(other.m_disabledDevice),
      m_unpluggedDevice(other.m_unpluggedDevice),
      m_reservedRecord(other.m_reservedRecord),
      m_notificationObserver(other.m_notificationObserver),
      m_enumerator(other.m_enumerator) {}

EndpointDeviceEnumeratorCommon& EndpointDeviceEnumeratorCommon::operator=(EndpointDeviceEnumeratorCommon const& other) {
    m_activeDevice = other.m_activeDevice;
    m_notPresentDevice = other.m_notPresentDevice;
    m_disabledDevice = other.m_disabledDevice;
    m_unpluggedDevice = other.m_unpluggedDevice;
    m_reservedRecord = other.m_reservedRecord;
    m_notificationObserver = other.m_notificationObserver;
    m_enumerator = other.m_enumerator;
    return *this;
}

// A registered observer stays registered: the platform may still call it.
EndpointDeviceEnumeratorCommon::~EndpointDeviceEnumeratorCommon() {
    clear();
}

bool EndpointDeviceEnumeratorCommon::enumerate(EDataFlow flow) {
    ORV_TRACE("EndpointDeviceEnumeratorCommon::enumerate");
    clear();
    ATL::CComPtr<IMMDeviceEnumerator> created = createEnumerator();
    if (!created) {
        return false;
    }
    m_enumerator = created;
    refresh(flow);
    return true;
}

void EndpointDeviceEnumeratorCommon::refresh(EDataFlow flow) {
    ORV_TRACE("EndpointDeviceEnumeratorCommon::refresh");
    clearDeviceList();
    // The lists stand in field order, which is not the order of the state
    // bits; this table ties each bit to its list.
    struct StateRow {
        DWORD mask;
        orv::Array<AudioDevice>* list;
    };
    StateRow const rows[] = {
        {DEVICE_STATE_ACTIVE, &m_activeDevice},
        {DEVICE_STATE_DISABLED, &m_disabledDevice},
        {DEVICE_STATE_NOTPRESENT, &m_notPresentDevice},
        {DEVICE_STATE_UNPLUGGED, &m_unpluggedDevice},
    };
    for (unsigned int index = 0; index < 4; ++index) {
        orv::Array<AudioDevice>& list = *rows[index].list;
        ATL::CComPtr<IMMDeviceCollection> collection;
        m_enumerator->EnumAudioEndpoints(flow, rows[index].mask, &collection);
        UINT count = 0;
        collection->GetCount(&count);
        ORV_LOG(2) << "Device state index " << index << " found " << count << " devices";
        ORV_LOG(2) << "Device state index " << index << "currently has " << list.size() << " devices";
        for (UINT position = 0; position < count; ++position) {
            ATL::CComPtr<IMMDevice> device;
            HRESULT const result = collection->Item(position, &device);
            if (FAILED(result)) {
                ORV_LOG(3) << "IMMDeviceCollection::Item failed " << orv::OrvValue(result).toHexString(true);
                continue;
            }
            libSonvane::detail::appendDevice(device, list);
        }
    }
}

orv::Array<AudioDevice> EndpointDeviceEnumeratorCommon::activeDevice() {
    return m_activeDevice;
}

orv::Array<AudioDevice> EndpointDeviceEnumeratorCommon::notPresentDevice() {
    return m_notPresentDevice;
}

orv::Array<AudioDevice> EndpointDeviceEnumeratorCommon::disabledDevice() {
    return m_disabledDevice;
}

orv::Array<AudioDevice> EndpointDeviceEnumeratorCommon::unpluggedDevice() {
    return m_unpluggedDevice;
}

orv::Array<AudioDevice> const& EndpointDeviceEnumeratorCommon::activeDevice() const {
    return m_activeDevice;
}

orv::Array<AudioDevice> const& EndpointDeviceEnumeratorCommon::notPresentDevice() const {
    return m_notPresentDevice;
}

orv::Array<AudioDevice> const& EndpointDeviceEnumeratorCommon::disabledDevice() const {
    return m_disabledDevice;
}

orv::Array<AudioDevice> const& EndpointDeviceEnumeratorCommon::unpluggedDevice() const {
    return m_unpluggedDevice;
}

ATL::CComPtr<IMMDeviceEnumerator> EndpointDeviceEnumeratorCommon::enumerator() {
    return m_enumerator;
}

void EndpointDeviceEnumeratorCommon::registerNotificationObserver(IMMNotificationClient* client) {
    ORV_TRACE("EndpointDeviceEnumeratorCommon::registerNotificationObserver");
    if (!client) {
        return;
    }
    unregisterNotificationObserver();
    m_notificationObserver = client;
    m_enumerator->RegisterEndpointNotificationCallback(client);
}

void EndpointDeviceEnumeratorCommon::unregisterNotificationObserver() {
    if (!m_notificationObserver) {
        return;
    }
    m_enumerator->UnregisterEndpointNotificationCallback(m_notificationObserver);
    m_notificationObserver = nullptr;
}

void EndpointDeviceEnumeratorCommon::clearDeviceList() {
    m_unpluggedDevice.clear();
    m_disabledDevice.clear();
    m_notPresentDevice.clear();
    m_activeDevice.clear();
}

void EndpointDeviceEnumeratorCommon::clear() {
    m_enumerator.Release();
    clearDeviceList();
}

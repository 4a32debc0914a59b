#include <libSonvane/endpointdeviceenumerator.h>

#include <libSonvane/audiodeviceendpoint.h>
#include <libSonvane/mmdevicecalls.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

ORV_LOG_CATEGORY("libSonvane.endpointDeviceEnumerator");

namespace libSonvane {

namespace detail {

HRESULT createDeviceEnumerator(IMMDeviceEnumerator** out) {
    return CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                            __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(out));
}

struct EnumeratorMaker {
    static AudioDeviceEnumerator* make() { return new AudioDeviceEnumerator(); }
};

}  // namespace detail

namespace {

// Every device state at once: active, disabled, not present and unplugged.
DWORD const kAllDeviceStates = DEVICE_STATEMASK_ALL;

}  // namespace

namespace detail {

void appendDevice(IMMDevice* device, orv::Array<AudioDevice>& out) {
    AudioDevice audioDevice;
    audioDevice.initialize(device);
    out.append(audioDevice);
}

unsigned int listAllDevices(IMMDeviceEnumerator* deviceEnumerator, EDataFlow flow, orv::Array<AudioDevice>& out,
                            void (*countLine)(UINT count)) {
    out.clear();
    ATL::CComPtr<IMMDeviceCollection> collection;
    HRESULT const result = deviceEnumerator->EnumAudioEndpoints(flow, kAllDeviceStates, &collection);
    ORV_LOG(1) << "EnumAudioEndpoints(flow, DEVICE_STATEMASK_ALL, &collection) returns "
               << orv::OrvValue(result).toHexString(true);
    UINT count = 0;
    collection->GetCount(&count);
    countLine(count);
    for (UINT position = 0; position < count; ++position) {
        ATL::CComPtr<IMMDevice> device;
        collection->Item(position, &device);
        appendDevice(device, out);
    }
    return out.size();
}

}  // namespace detail

// --- AudioDeviceEnumerator ------------------------------------------------

SharedAudioDeviceEnumerator enumerator() {
    ORV_TRACE("libSonvane::enumerator");
    return SharedAudioDeviceEnumerator(detail::EnumeratorMaker::make());
}

AudioDeviceEnumerator::AudioDeviceEnumerator() = default;

// The initializer is copied, not made: a copy calls no CoInitialize, though
// its destructor still calls CoUninitialize.
AudioDeviceEnumerator::AudioDeviceEnumerator(AudioDeviceEnumerator const& other)
    : m_deviceEnumerator(other.m_deviceEnumerator),
      m_notificationClient(other.m_notificationClient),
      m_comInitializer(other.m_comInitializer) {}

AudioDeviceEnumerator& AudioDeviceEnumerator::operator=(AudioDeviceEnumerator const& other) {
    m_deviceEnumerator = other.m_deviceEnumerator;
    m_notificationClient = other.m_notificationClient;
    return *this;
}

AudioDeviceEnumerator::~AudioDeviceEnumerator() {
    ORV_TRACE("AudioDeviceEnumerator::~AudioDeviceEnumerator");
    if (m_deviceEnumerator) {
        for (ATL::CComPtr<IMMNotificationClient> const& client : m_notificationClient) {
            m_deviceEnumerator->UnregisterEndpointNotificationCallback(client);
        }
        m_notificationClient.clear();
        m_deviceEnumerator.Release();
    }
}

bool AudioDeviceEnumerator::initialize() {
    ORV_TRACE("AudioDeviceEnumerator::initialize");
    HRESULT const result = detail::createDeviceEnumerator(&m_deviceEnumerator.p);
    if (FAILED(result)) {
        ORV_LOG(3) << "CoCreateInstance returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    return true;
}

AudioDeviceEnumerator::DeviceEnumeratorView AudioDeviceEnumerator::deviceEnumerator() {
    if (!m_deviceEnumerator) {
        initialize();
    }
    return DeviceEnumeratorView(m_deviceEnumerator.p);
}

unsigned int AudioDeviceEnumerator::audioDevices(EDataFlow flow, orv::Array<AudioDevice>& out) const {
    ORV_TRACE("AudioDeviceEnumerator::audioDevices");
    return detail::listAllDevices(m_deviceEnumerator, flow, out,
                                  [](UINT count) { ORV_LOG(2) << "Found " << count << " devices"; });
}

bool AudioDeviceEnumerator::addNotificationClient(ATL::CComPtr<IMMNotificationClient> const& client) {
    ORV_TRACE("AudioDeviceEnumerator::addNotificationClient");
    if (!m_deviceEnumerator && deviceEnumerator().isNil()) {
        ORV_LOG(3) << "Fail to instantiate IMMDeviceNumerator";
        return false;
    }
    HRESULT const result = m_deviceEnumerator->RegisterEndpointNotificationCallback(client);
    if (FAILED(result)) {
        ORV_LOG(3) << "Fail to register notification callback " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    m_notificationClient.append(client);
    return true;
}

// --- AudioDeviceEnumeratorFactory -------------------------------------------
// m_enumerator itself is defined beside the flat functions' statics, so that
// one translation unit fixes the order in which they come and go.

AudioDeviceEnumeratorFactory::EnumeratorHolder& AudioDeviceEnumeratorFactory::enumerator() {
    if (m_enumerator.isNil()) {
        m_enumerator = EnumeratorHolder(detail::EnumeratorMaker::make());
    }
    return m_enumerator;
}

AudioDeviceEnumeratorFactory& AudioDeviceEnumeratorFactory::operator=(AudioDeviceEnumeratorFactory const&) {
    return *this;
}

}  // namespace libSonvane

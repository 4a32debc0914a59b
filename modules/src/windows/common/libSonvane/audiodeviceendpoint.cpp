// AudioDevice: life, copying and the reading of the device's properties.
#include <libSonvane/audiodeviceendpoint.h>
#include <libSonvane/platformconstants.h>

#include <libSonvane/endpointdeviceenumerator.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <propidl.h>

#include <cstring>

ORV_LOG_CATEGORY("libSonvane.audioDeviceEndpoint");

PROPERTYKEY const AudioDevice::m_instancePathKey = {
    {0xB3F8FA53, 0x0004, 0x438E, {0x90, 0x03, 0x51, 0xA4, 0x6E, 0x13, 0x9B, 0xFC}}, 2};
PROPERTYKEY const AudioDevice::m_friendlyName = {
    {0xB3F8FA53, 0x0004, 0x438E, {0x90, 0x03, 0x51, 0xA4, 0x6E, 0x13, 0x9B, 0xFC}}, 6};
PROPERTYKEY const AudioDevice::m_driverNodeStrongName = {
    {0x83DA6326, 0x97A6, 0x4088, {0x94, 0x53, 0xA1, 0x92, 0x3F, 0x57, 0x3B, 0x29}}, 3};

namespace {

PROPERTYKEY const& kDeviceDescKey = libSonvane::keys::deviceDesc;
PROPERTYKEY const& kEnumeratorNameKey = libSonvane::keys::enumeratorName;
PROPERTYKEY const& kDeviceFormatKey = libSonvane::keys::deviceFormat;
PROPERTYKEY const& kSupportsEventDrivenKey = libSonvane::keys::supportsEventDriven;
PROPERTYKEY const& kPhysicalSpeakersKey = libSonvane::keys::physicalSpeakers;
PROPERTYKEY const& kEndpointGuidKey = libSonvane::keys::endpointGuid;

static_assert(sizeof(WAVEFORMATEXTENSIBLE) == 40, "the device format travels as a 40-byte blob");
static_assert(sizeof(WAVEFORMATEX) == 18, "a plain wave format is 18 bytes");

// Field by field, so that padding never counts as a difference.
bool sameFormat(WAVEFORMATEXTENSIBLE const& left, WAVEFORMATEXTENSIBLE const& right) {
    return left.Format.cbSize == right.Format.cbSize && left.Format.nAvgBytesPerSec == right.Format.nAvgBytesPerSec &&
           left.Format.nBlockAlign == right.Format.nBlockAlign && left.Format.nChannels == right.Format.nChannels &&
           left.Format.nSamplesPerSec == right.Format.nSamplesPerSec &&
           left.Format.wBitsPerSample == right.Format.wBitsPerSample &&
           left.Format.wFormatTag == right.Format.wFormatTag && left.dwChannelMask == right.dwChannelMask &&
           left.Samples.wValidBitsPerSample == right.Samples.wValidBitsPerSample &&
           IsEqualGUID(left.SubFormat, right.SubFormat);
}

}  // namespace

// --- Life -------------------------------------------------------------------

AudioDevice::AudioDevice() = default;

AudioDevice::AudioDevice(IMMDevice* device) {
    initialize(device);
}

AudioDevice::AudioDevice(orv::String const& deviceId) {
    initialize(deviceId);
}

AudioDevice::AudioDevice(AudioDevice const& other) = default;
AudioDevice& AudioDevice::operator=(AudioDevice const& other) = default;

AudioDevice::~AudioDevice() {
    if (!sameFormat(currentProperty.deviceFormat, savedProperty.deviceFormat)) {
        setFormat(savedProperty.deviceFormat);
    }
    m_propertyStore.Release();
}

bool AudioDevice::initialize(orv::String const& deviceId) {
    ORV_TRACE("AudioDevice::initialize");
    libSonvane::AudioDeviceEnumeratorFactory::EnumeratorHolder& holder =
        libSonvane::AudioDeviceEnumeratorFactory::enumerator();
    if (holder.isNil()) {
        ORV_LOG(3) << "Unable to initialize enumerator";
        return false;
    }
    ATL::CComPtr<IMMDevice> device;
    HRESULT const result = holder->deviceEnumerator()->GetDevice(deviceId.wideBuffer(), &device);
    if (FAILED(result)) {
        ORV_LOG(3) << "IMMDeviceEnumerator::GetDevice returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    return initialize(device);
}

bool AudioDevice::initialize(IMMDevice* device) {
    ORV_TRACE("AudioDevice::initialize");
    m_device = device;
    readDeviceId();
    if (!m_deviceTopology.isInitialized()) {
        m_deviceTopology = activateDeviceInterface<IDeviceTopology>();
    }
    return readAndSnapshot();
}

bool AudioDevice::reset() {
    ORV_TRACE("AudioDevice::reset");
    return readAndSnapshot();
}

bool AudioDevice::readAndSnapshot() {
    bool const read = refreshDeviceInformation();
    if (read) {
        savedProperty = currentProperty;
    }
    createVolumeControl();
    return read;
}

bool AudioDevice::isInitialized() const {
    return m_device != nullptr;
}

AudioDeviceInterface::Properties const& AudioDevice::deviceProperty() const {
    return currentProperty;
}

ATL::CComPtr<IMMDevice> AudioDevice::device() const {
    return m_device;
}

bool AudioDevice::operator==(AudioDevice const& other) const {
    return currentProperty.deviceId.compareNoCase(other.currentProperty.deviceId) == 0;
}

unsigned int AudioDevice::connector(orv::Array<AudioComponent<IConnector>>& list) {
    list = m_deviceTopology.connector();
    return list.size();
}

ATL::CComPtr<IDeviceTopology> const& AudioDevice::deviceTopology() const {
    return m_deviceTopology.topology();
}

void AudioDevice::deviceTopology(AudioDeviceTopology& topology) const {
    topology = m_deviceTopology;
}

void AudioDevice::printReferenceCount() {
    if (m_propertyStore && orv::detail::logLineIsOn(1, orvFileLogger_, orvFileCategory_)) {
        ULONG const count = m_propertyStore->AddRef();
        m_propertyStore->Release();
        ORV_LOG(1) << "m_propertyStore has reference count " << static_cast<unsigned long>(count - 1);
    }
    if (m_device && orv::detail::logLineIsOn(1, orvFileLogger_, orvFileCategory_)) {
        ULONG const count = m_device->AddRef();
        m_device->Release();
        ORV_LOG(1) << "m_device has reference count " << static_cast<unsigned long>(count - 1);
    }
}

// --- Reading ----------------------------------------------------------------

template <class Type>
bool AudioDevice::getDeviceData(PROPERTYKEY const& key, Type& value) {
    ORV_TRACE("AudioDevice::getDeviceData");
    PROPVARIANT variant;
    PropVariantInit(&variant);
    HRESULT const result = m_propertyStore->GetValue(key, &variant);
    if (FAILED(result)) {
        ORV_LOG(3) << "IPropertyStore::GetValue failed " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    bool const taken = getPropVariantValue(variant, value);
    PropVariantClear(&variant);
    return taken;
}

template <>
bool AudioDevice::getPropVariantValue(PROPVARIANT const& value, orv::String& out) {
    if (value.vt != VT_LPWSTR) {
        return false;
    }
    out = value.pwszVal;
    return true;
}

template <>
bool AudioDevice::getPropVariantValue(PROPVARIANT const& value, unsigned int& out) {
    if (value.vt != VT_UI4) {
        return false;
    }
    out = value.ulVal;
    return true;
}

// The engine's device format is exactly a WAVEFORMATEXTENSIBLE; a blob of any
// other size is refused.
template <>
bool AudioDevice::getPropVariantValue(PROPVARIANT const& value, WAVEFORMATEXTENSIBLE& out) {
    if (value.vt != VT_BLOB || value.blob.cbSize != sizeof(WAVEFORMATEXTENSIBLE)) {
        return false;
    }
    std::memcpy(&out, value.blob.pBlobData, sizeof(WAVEFORMATEXTENSIBLE));
    return true;
}

// A plain format is the head of any longer one.
template <>
bool AudioDevice::getPropVariantValue(PROPVARIANT const& value, WAVEFORMATEX& out) {
    if (value.vt != VT_BLOB || value.blob.cbSize < sizeof(WAVEFORMATEX)) {
        return false;
    }
    std::memcpy(&out, value.blob.pBlobData, sizeof(WAVEFORMATEX));
    return true;
}

void AudioDevice::readDeviceId() {
    LPWSTR id = nullptr;
    m_device->GetId(&id);
    currentProperty.deviceId = id;
    CoTaskMemFree(id);
}

bool AudioDevice::refreshDeviceInformation() {
    ORV_TRACE("AudioDevice::refreshDeviceInformation");
    m_propertyStore.Release();
    HRESULT const result = m_device->OpenPropertyStore(STGM_READWRITE, &m_propertyStore);
    if (FAILED(result)) {
        ORV_LOG(2) << "OpenPropertyStore returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    readProperties();
    readDirectSoundGuid();
    refreshDeviceState();
    if (isEndpoint()) {
        readNodeType();
    }
    return true;
}

// Every key is optional: one that cannot be read keeps its field and costs a
// log line.
void AudioDevice::readProperties() {
    if (!getDeviceData(kDeviceDescKey, currentProperty.endpointType)) {
        ORV_LOG(2) << "Cannot get PKEY_Device_DeviceDesc information.";
    }
    if (!getDeviceData(kDeviceFormatKey, currentProperty.deviceFormat)) {
        ORV_LOG(2) << "Cannot get PKEY_AudioEngine_DeviceFormat information.";
    }
    if (!getDeviceData(kSupportsEventDrivenKey, currentProperty.supportsEventDriven)) {
        ORV_LOG(2) << "Cannot get PKEY_AudioEndpoint_Supports_EventDriven_Mode";
    }
    if (!getDeviceData(kEnumeratorNameKey, currentProperty.enumeratorName)) {
        ORV_LOG(2) << "Fail to get device enumerator name";
    }
    if (!getDeviceData(m_instancePathKey, currentProperty.deviceInstancePath)) {
        ORV_LOG(2) << "Fail to get instancePathKey value ";
    }
    if (!getDeviceData(m_driverNodeStrongName, currentProperty.driverNodeStrongName)) {
        ORV_LOG(2) << "Fail to get driverNodeStrongName value ";
    }
    if (!getDeviceData(m_friendlyName, currentProperty.friendlyName)) {
        ORV_LOG(2) << "Fail to get device friendly name ";
    }
    if (!getDeviceData(kPhysicalSpeakersKey, currentProperty.physicalSpeakerConfig)) {
        ORV_LOG(2) << "Fail to get physical speaker config ";
    }
}

// The endpoint GUID text is parsed whatever type the value has, and the value
// is left uncleared: its text stays allocated, a small leak that is accepted.
void AudioDevice::readDirectSoundGuid() {
    PROPVARIANT value;
    PropVariantInit(&value);
    if (FAILED(m_propertyStore->GetValue(kEndpointGuidKey, &value))) {
        return;
    }
    if (FAILED(CLSIDFromString(value.pwszVal, &currentProperty.directSoundGuid))) {
        ORV_LOG(3) << "CLSIDFromString cannot convert sting guid to direct sound guid";
    }
}

// The node type is the subtype of the part on the far side of the endpoint's
// first connector.
void AudioDevice::readNodeType() {
    orv::Array<AudioComponent<IConnector>> connectors;
    if (connector(connectors) == 0) {
        return;
    }
    ORV_LOG(1) << "Size of connList = " << connectors.size();
    ATL::CComPtr<IConnector> first = connectors[0].component();
    if (!first) {
        return;
    }
    ATL::CComPtr<IConnector> connectedTo;
    HRESULT const result = first->GetConnectedTo(&connectedTo);
    ORV_LOG(1) << "IConnector::GetConnectedTo returns " << orv::OrvValue(result).toHexString(true);
    if (SUCCEEDED(result)) {
        AudioComponent<IConnector> connectedPart(connectedTo);
        currentProperty.nodeGuid = connectedPart.part().subType();
    }
}

unsigned int AudioDevice::refreshDeviceState() {
    if (m_device) {
        DWORD state = currentProperty.state;
        HRESULT const result = m_device->GetState(&state);
        currentProperty.state = state;
        if (FAILED(result)) {
            ORV_LOG(3) << "GetState failed " << orv::OrvValue(result).toHexString(true);
        }
    }
    return currentProperty.state;
}

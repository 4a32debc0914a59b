// AudioDevice: the interfaces that hang off an endpoint, its volume control,
// data flow and default status, writing the device format, and the probe of
// the PCM formats it accepts.
#include <libSonvane/audiodeviceendpoint.h>
#include <libSonvane/platformconstants.h>

#include <libSonvane/mmdevicecalls.h>
#include <libTrelwave/pcmsupport.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <propidl.h>

ORV_LOG_CATEGORY("libSonvane.audioDeviceEndpoint");

namespace {

PROPERTYKEY const& kDeviceFormatKey = libSonvane::keys::deviceFormat;

// Activates one interface of the device for a caller that only reports a
// failure: the device must be set.
template <class Interface>
ATL::CComPtr<Interface> activateOrReport(IMMDevice* device, orv::String const& friendlyName, char const* name) {
    ORV_TRACE("AudioDevice::audioClient");
    ATL::CComPtr<Interface> result;
    HRESULT const hr = device->Activate(__uuidof(Interface), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&result));
    if (FAILED(hr)) {
        ORV_LOG(3) << "Device " << friendlyName << " has no " << name << " interface";
    }
    return result;
}

// One format of the probe grid.
WAVEFORMATEX pcmFormat(WORD channels, WORD bitsPerSample, DWORD samplesPerSecond) {
    WAVEFORMATEX format = {};
    format.nChannels = channels;
    format.wBitsPerSample = bitsPerSample;
    format.nSamplesPerSec = samplesPerSecond;
    format.nBlockAlign = static_cast<WORD>(bitsPerSample * channels / 8);
    format.nAvgBytesPerSec = format.nBlockAlign * samplesPerSecond;
    if (channels < 3) {
        format.wFormatTag = WAVE_FORMAT_PCM;
        format.cbSize = 0;
    } else {
        format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
        format.cbSize = 22;
    }
    return format;
}

}  // namespace

// --- Activation -------------------------------------------------------------

template <>
void AudioDevice::logInterfaceType<IDeviceTopology>() {
    ORV_LOG(2) << "IDeviceTopology";
}

template <>
void AudioDevice::logInterfaceType<IAudioEndpointVolume>() {
    ORV_LOG(2) << "IAudioEndpointVolume";
}

template <class Interface>
ATL::CComPtr<Interface> AudioDevice::activateDeviceInterface() {
    ORV_TRACE("AudioDevice::activateDeviceInterface");
    ATL::CComPtr<Interface> result;
    if (!m_device) {
        ORV_LOG(3) << "No IMMDevice associated with this function call";
        return result;
    }
    HRESULT const hr = m_device->Activate(__uuidof(Interface), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&result));
    if (FAILED(hr)) {
        logInterfaceType<Interface>();
        ORV_LOG(3) << "Interface is not available for this device " << currentProperty.endpointType << " "
                   << currentProperty.friendlyName << " " << orv::OrvValue(hr).toHexString(true);
    }
    return result;
}

template ATL::CComPtr<IDeviceTopology> AudioDevice::activateDeviceInterface<IDeviceTopology>();
template ATL::CComPtr<IAudioEndpointVolume> AudioDevice::activateDeviceInterface<IAudioEndpointVolume>();

ATL::CComPtr<IAudioClient> AudioDevice::audioClient() const {
    return activateOrReport<IAudioClient>(m_device, currentProperty.friendlyName, "IAudioClient");
}

ATL::CComPtr<IBaseFilter> AudioDevice::baseFilter() const {
    return activateOrReport<IBaseFilter>(m_device, currentProperty.friendlyName, "IBaseFilter");
}

ATL::CComPtr<IAudioEndpointVolume> AudioDevice::volumeController() {
    ORV_TRACE("AudioDevice::volumeController");
    if (!m_device) {
        ORV_LOG(3) << "No IMMDevice associated with this function call.";
        return ATL::CComPtr<IAudioEndpointVolume>();
    }
    return activateDeviceInterface<IAudioEndpointVolume>();
}

// --- Volume control ---------------------------------------------------------

// A device only ever gets the endpoint kind of controller; controllers over
// topology nodes are built by clients from the sound card's discovery.
bool AudioDevice::createVolumeControl() {
    ORV_TRACE("AudioDevice::createVolumeControl");
    if (!isEndpoint()) {
        ORV_LOG(2) << "Not implemented. Subunits don't always have a volume controller";
    } else {
        EndpointVolumeController description;
        description.endpointVolume = volumeController();
        description.ownerType = currentProperty.nodeGuid;
        description.ownerName = currentProperty.endpointType;
        m_volumeControl = VolumeControl(new VolumeController<EndpointVolumeController>(description));
    }
    return !m_volumeControl.isNil();
}

AudioDeviceInterface::VolumeControl AudioDevice::volumeControl() {
    return m_volumeControl;
}

// --- Data flow and default endpoint -----------------------------------------

HRESULT AudioDevice::queryEndpoint(ATL::CComPtr<IMMEndpoint>& endpoint) const {
    return m_device->QueryInterface(__uuidof(IMMEndpoint), reinterpret_cast<void**>(&endpoint));
}

bool AudioDevice::isEndpoint() {
    ORV_TRACE("AudioDevice::isEndpoint");
    ATL::CComPtr<IMMEndpoint> endpoint;
    HRESULT const result = queryEndpoint(endpoint);
    if (FAILED(result)) {
        ORV_LOG(3) << "QueryInterface for IMMEndpoint failed " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    return true;
}

bool AudioDevice::dataFlow(EDataFlow& flow) const {
    ORV_TRACE("AudioDevice::dataFlow");
    if (!m_device) {
        return false;
    }
    ATL::CComPtr<IMMEndpoint> endpoint;
    HRESULT const result = queryEndpoint(endpoint);
    if (FAILED(result)) {
        ORV_LOG(3) << "QueryInterface for IMMEndpoint failed " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    endpoint->GetDataFlow(&flow);
    return true;
}

// Asks a fresh platform enumerator each time, so the answer follows changes
// of the default device. The default's id text is not freed: a small leak per
// call that is accepted.
bool AudioDevice::isDefaultEndpoint() const {
    ORV_TRACE("AudioDevice::isDefaultEndpoint");
    ATL::CComPtr<IMMDeviceEnumerator> deviceEnumerator;
    HRESULT result = libSonvane::detail::createDeviceEnumerator(&deviceEnumerator);
    if (FAILED(result)) {
        ORV_LOG(3) << "CoCreateInstance for MMDeviceEnumerator returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    ATL::CComPtr<IMMEndpoint> endpoint;
    result = queryEndpoint(endpoint);
    if (FAILED(result)) {
        ORV_LOG(3) << "QueryInterface returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    EDataFlow flow = eRender;
    result = endpoint->GetDataFlow(&flow);
    if (FAILED(result)) {
        ORV_LOG(3) << "GetDataFlow returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    ATL::CComPtr<IMMDevice> defaultDevice;
    result = deviceEnumerator->GetDefaultAudioEndpoint(flow, eConsole, &defaultDevice);
    if (FAILED(result)) {
        ORV_LOG(3) << "GetDefaultAudioEndpoint returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    LPWSTR defaultId = nullptr;
    result = defaultDevice->GetId(&defaultId);
    if (FAILED(result)) {
        ORV_LOG(3) << "GetId returns " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    return currentProperty.deviceId == orv::String(defaultId);
}

// --- Device format ----------------------------------------------------------

// No retries. The destructor relies on this to put the snapshot's format back.
bool AudioDevice::setFormat(WAVEFORMATEXTENSIBLE const& format) {
    ORV_TRACE("AudioDevice::setFormat");
    if (!m_propertyStore) {
        ORV_LOG(3) << "m_propertyStore is not set to a valid property store instance";
        return false;
    }
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_BLOB;
    value.blob.cbSize = sizeof(WAVEFORMATEXTENSIBLE);
    value.blob.pBlobData = reinterpret_cast<BYTE*>(const_cast<WAVEFORMATEXTENSIBLE*>(&format));
    HRESULT result = m_propertyStore->SetValue(kDeviceFormatKey, value);
    if (FAILED(result)) {
        ORV_LOG(3) << "IPropertyStore::SetValue failed " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    m_propertyStore->Commit();
    // A fresh store, so that the reading below sees what was written.
    m_propertyStore.Release();
    result = m_device->OpenPropertyStore(STGM_READWRITE, &m_propertyStore);
    if (FAILED(result)) {
        ORV_LOG(3) << "Cannot open a new property store " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    return refreshDeviceInformation();
}

// --- Formats ----------------------------------------------------------------

unsigned int AudioDevice::compatibleFormats(orv::Array<WAVEFORMATEX>& list, AUDCLNT_SHAREMODE mode) {
    ORV_TRACE("AudioDevice::compatibleFormats");
    list.clear();
    ATL::CComPtr<IAudioClient> client = audioClient();
    if (!client) {
        ORV_LOG(3) << "AudioDevice has not been initialized correctly";
        return 0;
    }
    enumerateCompatibleFormat(client, mode, list);
    return list.size();
}

// Only S_OK accepts a format: S_FALSE with a closest match is a refusal, and
// the match is not looked at. Of the closest-match blocks only the one held at
// the end is freed; the first and any the platform put in its place along the
// way stay allocated.
unsigned int enumerateCompatibleFormat(ATL::CComPtr<IAudioClient> const& client, AUDCLNT_SHAREMODE mode,
                                       orv::Array<WAVEFORMATEX>& list) {
    ORV_TRACE("enumerateCompatibleFormat");
    static WORD const channelCounts[] = {1, 2};
    static WORD const sampleSizes[] = {16, 24};
    static DWORD const sampleRates[] = {44100, 48000, 96000};

    list.clear();
    WAVEFORMATEX* closest = nullptr;
    WAVEFORMATEX** closestMatch = nullptr;
    if (mode != AUDCLNT_SHAREMODE_EXCLUSIVE) {
        closest = static_cast<WAVEFORMATEX*>(CoTaskMemAlloc(sizeof(WAVEFORMATEX)));
        closestMatch = &closest;
    }
    for (WORD channels : channelCounts) {
        for (WORD bits : sampleSizes) {
            for (DWORD rate : sampleRates) {
                WAVEFORMATEX const format = pcmFormat(channels, bits, rate);
                if (client->IsFormatSupported(mode, &format, closestMatch) == S_OK) {
                    libTrelwave::logWaveFormat(format);
                    list.append(format);
                }
            }
        }
    }
    if (closest) {
        CoTaskMemFree(closest);
    }
    return list.size();
}

#pragma once
// AudioDevice: one audio endpoint as a copyable value.
//
// It wraps the platform's IMMDevice and its property store and keeps what was
// read in two records: currentProperty, what deviceProperty() answers, and
// savedProperty, the snapshot of the last successful reading by initialize or
// reset. When any copy dies whose current device format differs from its
// snapshot, it writes the snapshot's format back to the endpoint, so a format
// changed with setFormat during a test does not outlive the device objects.
// reset() takes a new snapshot and so makes the present format the one that
// is protected.
//
// Each object holds a deep copy of the endpoint's topology, read once by the
// first initialize, and shares one volume controller with all its copies.
//
// Reading fails only when the property store cannot be opened; any single
// property that cannot be read leaves its field as it was and shows in the
// log only. Constructors drop results: test isInitialized().
#include <libSonvane/SonvaneExport.h>
#include <libSonvane/AudioDeviceInterface.h>
#include <libSonvane/audiodevicetopology.h>
#include <libSonvane/audiopart.h>
#include <libSonvane/volumecontroller.h>

#include <COM/AtlComPtr.h>

#include <orv/OrvArray.h>
#include <orv/OrvString.h>

#include <windows.h>
#include <audioclient.h>
#include <mmdeviceapi.h>
#include <mmreg.h>
#include <strmif.h>

class SONVANE_API AudioDevice : public AudioDeviceInterface {
public:
    // Keys the platform's headers have no names for.
    static PROPERTYKEY const m_instancePathKey;
    static PROPERTYKEY const m_friendlyName;
    static PROPERTYKEY const m_driverNodeStrongName;

    // Empty: not initialised, empty topology, default records, no volume
    // control.
    AudioDevice();
    explicit AudioDevice(IMMDevice* device);
    // Looks the id up through the process-wide enumerator.
    explicit AudioDevice(orv::String const& deviceId);
    // Copies share the platform objects and the volume control, and carry
    // their own copies of the topology and of both records.
    AudioDevice(AudioDevice const& other);
    AudioDevice& operator=(AudioDevice const& other);

    // The endpoint answers to IMMEndpoint. The device must be initialised.
    bool isEndpoint() override;
    // A further share of the device's volume control; empty if it has none.
    VolumeControl volumeControl() override;
    bool initialize(orv::String const& deviceId) override;
    bool isInitialized() const override;
    // Reopens the property store and reads every property into
    // currentProperty; false only when the store cannot be opened.
    bool refreshDeviceInformation() override;
    Properties const& deviceProperty() const override;
    // The legacy wave device number of this endpoint, 0xFFFFFFFF for none.
    unsigned int waveLegacyDeviceID() override;
    // Reads the state anew when there is a device; answers the state field.
    unsigned int refreshDeviceState() override;
    // Puts a changed device format back, see above.
    ~AudioDevice() override;

    // Takes the device, reads its id, its topology (first time only) and its
    // properties, snapshots them on success and makes the volume control.
    bool initialize(IMMDevice* device);
    // Reads the properties again, renews the snapshot on success and the
    // volume control; the id and the topology stay.
    bool reset();

    ATL::CComPtr<IMMDevice> device() const;
    // Same endpoint: the ids compare equal ignoring case.
    bool operator==(AudioDevice const& other) const;

    // Copies the topology's connectors into `list`; returns their number.
    unsigned int connector(orv::Array<AudioComponent<IConnector>>& list);
    // Replaces `list` with the jack descriptions of the first connector whose
    // far side has a jack interface; returns their number. Without a topology
    // `list` is left alone and the answer is 0.
    unsigned int jackInfo(orv::Array<KSJACK_DESCRIPTION>& list);
    ATL::CComPtr<IDeviceTopology> const& deviceTopology() const;
    void deviceTopology(AudioDeviceTopology& topology) const;

    // A new audio client at each call; null on failure.
    ATL::CComPtr<IAudioClient> audioClient() const;
    // A new filter object at each call; null on failure.
    ATL::CComPtr<IBaseFilter> baseFilter() const;
    // Render, capture or all; false without a device or an endpoint.
    bool dataFlow(EDataFlow& flow) const;
    // This endpoint is the console default of its own data flow.
    bool isDefaultEndpoint() const;
    // Writes the format the audio engine uses for the endpoint, then reopens
    // the store and reads the device again.
    bool setFormat(WAVEFORMATEXTENSIBLE const& format);
    // The PCM formats of a fixed grid (1 and 2 channels, 16 and 24 bits,
    // 44.1, 48 and 96 kHz) that the device accepts in `mode`, in grid order.
    unsigned int compatibleFormats(orv::Array<WAVEFORMATEX>& list, AUDCLNT_SHAREMODE mode);

private:
    template <class Interface>
    ATL::CComPtr<Interface> activateDeviceInterface();
    template <class Interface>
    void logInterfaceType();
    ATL::CComPtr<IAudioEndpointVolume> volumeController();
    bool createVolumeControl();

    // Steps shared by initialize and reset: read, snapshot on success,
    // renew the volume control.
    bool readAndSnapshot();
    void readDeviceId();
    void readProperties();
    void readDirectSoundGuid();
    void readNodeType();
    HRESULT queryEndpoint(ATL::CComPtr<IMMEndpoint>& endpoint) const;
    // One driver message to legacy wave device `deviceId`: output devices for
    // render, input devices otherwise. Answers the driver's result.
    unsigned int waveMessage(EDataFlow flow, unsigned int deviceId, unsigned int message, unsigned __int64 param1,
                             unsigned __int64 param2);

    template <class Type>
    bool getDeviceData(PROPERTYKEY const& key, Type& value);
    template <class Type>
    static bool getPropVariantValue(PROPVARIANT const& value, Type& out);

    // For diagnosis only; nothing calls it.
    void printReferenceCount();

    ATL::CComPtr<IMMDevice> m_device;
    ATL::CComPtr<IPropertyStore> m_propertyStore;
    VolumeControl m_volumeControl;
    AudioDeviceTopology m_deviceTopology;
    Properties currentProperty;
    Properties savedProperty;
};

// Tries the fixed grid of PCM formats on `client` and fills `list` with those
// it accepts with S_OK; returns their number. In shared mode a closest-match
// block is passed and the platform's replacements of it are not freed.
SONVANE_API unsigned int enumerateCompatibleFormat(ATL::CComPtr<IAudioClient> const& client, AUDCLNT_SHAREMODE mode,
                                                   orv::Array<WAVEFORMATEX>& list);

#pragma once
// AudioDeviceInterface: what every audio device object of the library answers,
// and Properties, the plain record of what was read about one device. The
// record's field names are the words the whole library uses for a device.
#include <libSonvane/SonvaneExport.h>

#include <orv/OrvResource.h>
#include <orv/OrvString.h>

#include <windows.h>
#include <mmreg.h>

class VolumeControllerInterface;

class SONVANE_API AudioDeviceInterface {
public:
    // The readings of one device. Plain value: copies are member by member.
    class SONVANE_API Properties {
    public:
        Properties();
        Properties(Properties const& other);
        Properties& operator=(Properties const& other);
        ~Properties();

        // One level-2 line per field, each gated by itself.
        void logPropertyInfo() const;

        unsigned int physicalSpeakerConfig;
        // The DEVICE_STATE bit of the endpoint; 0xFFFFFFFF until it was read.
        unsigned int state;
        unsigned int supportsEventDriven;
        WAVEFORMATEXTENSIBLE deviceFormat;
        orv::String deviceId;
        orv::String deviceInstancePath;
        orv::String driverNodeStrongName;
        orv::String friendlyName;
        orv::String endpointType;
        orv::String enumeratorName;
        // Subtype of the part behind the endpoint's first connector; zero when
        // there is none.
        GUID nodeGuid;
        GUID directSoundGuid;
    };

    typedef orv::SharedResource<orv::PointerStorage<VolumeControllerInterface, 0, 3>, 0> VolumeControl;

    AudioDeviceInterface();
    // The interface has no state: copying and assigning copy nothing.
    AudioDeviceInterface(AudioDeviceInterface const& other);
    AudioDeviceInterface& operator=(AudioDeviceInterface const& other);

    virtual bool isEndpoint() = 0;
    virtual VolumeControl volumeControl() = 0;
    virtual bool initialize(orv::String const& deviceId) = 0;
    virtual bool isInitialized() const = 0;
    virtual bool refreshDeviceInformation() = 0;
    virtual Properties const& deviceProperty() const = 0;
    virtual unsigned int waveLegacyDeviceID() = 0;
    virtual unsigned int refreshDeviceState() = 0;
    virtual ~AudioDeviceInterface();
};

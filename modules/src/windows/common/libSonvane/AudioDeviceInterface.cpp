#include <libSonvane/AudioDeviceInterface.h>

#include <libQuellmod/GuidToString.h>
#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

ORV_LOG_CATEGORY("libSonvane.audioDeviceInterface");

AudioDeviceInterface::Properties::Properties()
    : physicalSpeakerConfig(0), state(0xFFFFFFFFu), supportsEventDriven(0), deviceFormat(), nodeGuid(),
      directSoundGuid() {}

AudioDeviceInterface::Properties::Properties(Properties const& other) = default;
AudioDeviceInterface::Properties& AudioDeviceInterface::Properties::operator=(Properties const& other) = default;
AudioDeviceInterface::Properties::~Properties() = default;

void AudioDeviceInterface::Properties::logPropertyInfo() const {
    ORV_TRACE("AudioDeviceInterface::Properties::logPropertyInfo");
    ORV_LOG(2) << "Friendly Name " << friendlyName;
    ORV_LOG(2) << "Endpoint Type " << endpointType;
    ORV_LOG(2) << "State is " << state;
    ORV_LOG(2) << "Device ID " << deviceId;
    ORV_LOG(2) << "Device Instance Path " << deviceInstancePath;
    ORV_LOG(2) << "Driver Node Strong Name " << driverNodeStrongName;
    ORV_LOG(2) << "Physical Speaker Config " << orv::OrvValue(physicalSpeakerConfig).toHexString(true);
    // An empty enumerator name shows as "AC97" here only; the field stays empty.
    ORV_LOG(2) << "Enumerator name " << (enumeratorName.empty() ? orv::String("AC97") : enumeratorName);
    ORV_LOG(2) << "Device " << (supportsEventDriven == 0 ? "does not " : "") << " support event-driven mode.";
    GUID node = nodeGuid;
    ORV_LOG(2) << "Node GUID " << guidToString(&node);
    GUID directSound = directSoundGuid;
    ORV_LOG(2) << "Direct Sound GUID " << guidToString(&directSound);
}

AudioDeviceInterface::AudioDeviceInterface() = default;
AudioDeviceInterface::AudioDeviceInterface(AudioDeviceInterface const&) {}
AudioDeviceInterface& AudioDeviceInterface::operator=(AudioDeviceInterface const&) {
    return *this;
}
AudioDeviceInterface::~AudioDeviceInterface() = default;

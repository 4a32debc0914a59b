// Endpoint lookup on a card: by node type (the KSNODETYPE_ GUID behind the
// endpoint), by data flow (which list is searched) and by a mask of device
// states. One search does the work; the named lookups choose the list, the
// node types and the filter.
//
// Results are appended, never cleared, so a lookup that knows several node
// types returns them grouped in the order it asks for them.
#include <libSonvane/soundcard.h>
#include <libSonvane/platformconstants.h>

#include <libQuellmod/GuidToString.h>

#include <orv/OrvLog.h>

#include <cstring>

ORV_LOG_CATEGORY("libSonvane.soundcard");

namespace {

using namespace libSonvane::nodetypes;
GUID const& kMicrophone = microphone;
GUID const& kDesktopMicrophone = desktopMicrophone;
GUID const& kPersonalMicrophone = personalMicrophone;
GUID const& kOmniDirectionalMicrophone = omniDirectionalMicrophone;
GUID const& kMicrophoneArray = microphoneArray;
GUID const& kSpeaker = speaker;
GUID const& kHeadphones = headphones;
GUID const& kLineConnector = lineConnector;
GUID const& kSpdifInterface = spdifInterface;
GUID const& kHdmiInterface = hdmiInterface;
GUID const& kDisplayPortInterface = displayPortInterface;

orv::Uint32 const kAllStates = DEVICE_STATEMASK_ALL;

bool sameGuid(const GUID& left, const GUID& right) {
    return std::memcmp(&left, &right, sizeof(GUID)) == 0;
}

bool passesFilter(const AudioDeviceInterface::Properties& properties, orv::Uint32 filter) {
    return (properties.state & filter) != 0;
}

// Appends a copy of every device that `matches` accepts; returns how many.
template <class Match>
orv::Uint32 appendMatchingDevices(const orv::Array<AudioDevice>& searchFrom, orv::Array<AudioDevice>& result,
                                  Match matches) {
    orv::Uint32 const sizeOnEntry = result.size();
    for (orv::Uint32 index = 0; index < searchFrom.size(); ++index) {
        AudioDeviceInterface::Properties const& properties = searchFrom[index].deviceProperty();
        if (matches(properties)) {
            result.append(searchFrom[index]);
            ORV_LOG(1) << "Appending device " << properties.endpointType;
        }
    }
    orv::Uint32 const found = result.size() - sizeOnEntry;
    ORV_LOG(1) << "Number of found device = " << found;
    return found;
}

}  // namespace

// --- The search -------------------------------------------------------------

bool SoundCard::findEndpoint(const orv::Array<AudioDevice>& searchFrom, const orv::String& id,
                             AudioDevice& result) const {
    int const index = findDevice(searchFrom, id);
    if (index < 0) {
        return false;
    }
    result = searchFrom[static_cast<orv::Uint32>(index)];
    return true;
}

orv::Uint32 SoundCard::findEndpoint(orv::Array<AudioDevice>& searchFrom, const GUID& deviceType,
                                    orv::Array<AudioInterfacePtr>& result) {
    orv::Uint32 found = 0;
    for (orv::Uint32 index = 0; index < searchFrom.size(); ++index) {
        if (sameGuid(searchFrom[index].deviceProperty().nodeGuid, deviceType)) {
            result.append(AudioInterfacePtr(&searchFrom[index]));
            ++found;
        }
    }
    return found;
}

orv::Uint32 SoundCard::findEndpoint(const orv::Array<AudioDevice>& searchFrom, orv::Array<AudioDevice>& result,
                                    orv::Uint32 filter) const {
    ORV_LOG(1) << "searchFrom.size() = " << searchFrom.size() << " device filter = " << filter;
    return appendMatchingDevices(searchFrom, result, [filter](const AudioDeviceInterface::Properties& properties) {
        return passesFilter(properties, filter);
    });
}

orv::Uint32 SoundCard::findEndpoint(const orv::Array<AudioDevice>& searchFrom, const GUID& deviceType,
                                    orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    GUID loggedType = deviceType;
    ORV_LOG(1) << "searchFrom.size() = " << searchFrom.size() << " device filter = " << filter << " DeviceGUID "
               << guidToString(&loggedType);
    return appendMatchingDevices(
        searchFrom, result, [&deviceType, filter](const AudioDeviceInterface::Properties& properties) {
            return sameGuid(properties.nodeGuid, deviceType) && passesFilter(properties, filter);
        });
}

// The one lookup that also sees the devices found behind the connectors.
bool SoundCard::hasEndpoint(const orv::String& id) const {
    ORV_TRACE("SoundCard::hasEndpoint");
    AudioDevice found;
    return findEndpoint(*m_playbackDevices, id, found) || findEndpoint(*m_recordDevices, id, found) ||
           findEndpoint(*m_internalDevices, id, found);
}

// --- Capture endpoints --------------------------------------------------------

// Without a filter only the generic microphone node type is known.
orv::Uint32 SoundCard::microphoneEndpointDevice(orv::Array<AudioDevice>& result) const {
    ORV_TRACE("SoundCard::microphoneEndpointDevice");
    return findEndpoint(*m_recordDevices, kMicrophone, result, kAllStates);
}

orv::Uint32 SoundCard::microphoneEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::microphoneEndpointDevice");
    GUID const* const types[] = {&kOmniDirectionalMicrophone, &kPersonalMicrophone, &kDesktopMicrophone,
                                 &kMicrophoneArray, &kMicrophone};
    orv::Uint32 found = 0;
    for (GUID const* type : types) {
        found += findEndpoint(*m_recordDevices, *type, result, filter);
    }
    return found;
}

orv::Uint32 SoundCard::microphoneEndpointDevice(orv::Array<AudioInterfacePtr>& result) {
    ORV_TRACE("SoundCard::microphoneEndpointDevice");
    return findEndpoint(*m_recordDevices, kMicrophone, result);
}

orv::Uint32 SoundCard::lineInEndpointDevice(orv::Array<AudioDevice>& result) const {
    ORV_TRACE("SoundCard::lineInEndpointDevice");
    return findEndpoint(*m_recordDevices, kLineConnector, result, kAllStates);
}

orv::Uint32 SoundCard::lineInEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::lineInEndpointDevice");
    return findEndpoint(*m_recordDevices, kLineConnector, result, filter);
}

orv::Uint32 SoundCard::lineInEndpointDevice(orv::Array<AudioInterfacePtr>& result) {
    ORV_TRACE("SoundCard::lineInEndpointDevice");
    return findEndpoint(*m_recordDevices, kLineConnector, result);
}

// S/PDIF in and out share one node type; the list tells them apart.
orv::Uint32 SoundCard::spdifInEndpointDevice(orv::Array<AudioDevice>& result) const {
    ORV_TRACE("SoundCard::spdifInEndpointDevice");
    return findEndpoint(*m_recordDevices, kSpdifInterface, result, kAllStates);
}

orv::Uint32 SoundCard::spdifInEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::spdifInEndpointDevice");
    return findEndpoint(*m_recordDevices, kSpdifInterface, result, filter);
}

orv::Uint32 SoundCard::spdifInEndpointDevice(orv::Array<AudioInterfacePtr>& result) {
    ORV_TRACE("SoundCard::spdifInEndpointDevice");
    return findEndpoint(*m_recordDevices, kSpdifInterface, result);
}

// --- Render endpoints -----------------------------------------------------------

orv::Uint32 SoundCard::spdifOutEndpointDevice(orv::Array<AudioDevice>& result) const {
    ORV_TRACE("SoundCard::spdifOutEndpointDevice");
    return findEndpoint(*m_playbackDevices, kSpdifInterface, result, kAllStates);
}

orv::Uint32 SoundCard::spdifOutEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::spdifOutEndpointDevice");
    return findEndpoint(*m_playbackDevices, kSpdifInterface, result, filter);
}

orv::Uint32 SoundCard::spdifOutEndpointDevice(orv::Array<AudioInterfacePtr>& result) {
    ORV_TRACE("SoundCard::spdifOutEndpointDevice");
    return findEndpoint(*m_playbackDevices, kSpdifInterface, result);
}

orv::Uint32 SoundCard::speakerEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::speakerEndpointDevice");
    return findEndpoint(*m_playbackDevices, kSpeaker, result, filter);
}

orv::Uint32 SoundCard::speakerEndpointDevice(orv::Array<AudioInterfacePtr>& result) {
    ORV_TRACE("SoundCard::speakerEndpointDevice");
    return findEndpoint(*m_playbackDevices, kSpeaker, result);
}

// Headphones come first: a module testing sound output prefers them.
orv::Uint32 SoundCard::waveOutEndpointDevice(orv::Array<AudioDevice>& result) const {
    ORV_TRACE("SoundCard::waveOutEndpointDevice");
    return waveOutEndpointDevice(result, kAllStates);
}

orv::Uint32 SoundCard::waveOutEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::waveOutEndpointDevice");
    orv::Uint32 const headphones = findEndpoint(*m_playbackDevices, kHeadphones, result, filter);
    return headphones + findEndpoint(*m_playbackDevices, kSpeaker, result, filter);
}

orv::Uint32 SoundCard::waveOutEndpointDevice(orv::Array<AudioInterfacePtr>& result) {
    ORV_TRACE("SoundCard::waveOutEndpointDevice");
    orv::Uint32 const headphones = findEndpoint(*m_playbackDevices, kHeadphones, result);
    return headphones + findEndpoint(*m_playbackDevices, kSpeaker, result);
}

orv::Uint32 SoundCard::hdmiOutEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::hdmiOutEndpointDevice");
    return findEndpoint(*m_playbackDevices, kHdmiInterface, result, filter);
}

orv::Uint32 SoundCard::displayportOutEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::displayportOutEndpointDevice");
    return findEndpoint(*m_playbackDevices, kDisplayPortInterface, result, filter);
}

orv::Uint32 SoundCard::allPlaybackDevice(orv::Array<AudioDevice>& result) const {
    ORV_TRACE("SoundCard::allPlaybackDevice");
    return findEndpoint(*m_playbackDevices, result, kAllStates);
}

orv::Uint32 SoundCard::allPlaybackDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const {
    ORV_TRACE("SoundCard::allActiveEndpointDevice");
    return findEndpoint(*m_playbackDevices, result, filter);
}

orv::Uint32 SoundCard::loopbackMixEndpointDevice(orv::Array<AudioDevice>&) const {
    ORV_TRACE("SoundCard::loopbackMixEndpointDevice");
    return 0;
}

// Discovery of hardware controls behind a card's endpoints: volume nodes
// (with the mute node beside each) found by a breadth-first walk over the
// connector map, and input selectors among the subunits of the devices
// behind the endpoints. Nothing is cached; every call asks the platform anew.
#include <libSonvane/soundcard.h>

#include <orv/OrvLog.h>

#include <cstring>

ORV_LOG_CATEGORY("libSonvane.soundcard");

namespace {

GUID const kVolumeNode = {0x3A5ACC00, 0xC557, 0x11D0, {0x8A, 0x2B, 0x00, 0xA0, 0xC9, 0x25, 0x5A, 0xC1}};
GUID const kMuteNode = {0x02B223C0, 0xC557, 0x11D0, {0x8A, 0x2B, 0x00, 0xA0, 0xC9, 0x25, 0x5A, 0xC1}};

// IPart::Activate in every server context.
template <class Interface>
HRESULT activatePart(IPart* part, ATL::CComPtr<Interface>& control) {
    return part->Activate(CLSCTX_ALL, __uuidof(Interface), reinterpret_cast<void**>(&control));
}

// The neighbours of a node on both sides, both read before either is used.
void neighbourParts(AudioPart node, orv::Array<AudioPart>& incoming, orv::Array<AudioPart>& outgoing) {
    node.incomingPartsList(incoming);
    node.outgoingPartsList(outgoing);
}

}  // namespace

orv::Uint32 SoundCard::volumeController(const AudioDeviceInterface&,
                                        orv::Array<AudioDeviceInterface::VolumeControl>&) const {
    return 0;
}

bool SoundCard::partFromList(const orv::Array<AudioPart>& parts, const GUID& subType,
                             orv::Array<AudioPart>& result) const {
    result = orv::Array<AudioPart>();
    for (orv::Uint32 index = 0; index < parts.size(); ++index) {
        GUID const partType = parts[index].subType();
        if (std::memcmp(&partType, &subType, sizeof(GUID)) == 0) {
            result.append(parts[index]);
        }
    }
    return !result.empty();
}

// True as soon as the list holds a volume node, even when no record could be
// made of it: the caller then leaves the connector's other side alone.
bool SoundCard::volumeControllerFromList(const orv::Array<AudioPart>& parts,
                                         const AudioComponent<IConnector>& connector,
                                         orv::Array<SoundCard::VolumeController>& result) const {
    orv::Array<AudioPart> volumeNodes;
    if (!partFromList(parts, kVolumeNode, volumeNodes)) {
        ORV_LOG(2) << "Supplied part list does not have a volume controller node";
        return false;
    }
    for (orv::Uint32 index = 0; index < volumeNodes.size(); ++index) {
        SoundCard::VolumeController record;
        if (FAILED(activatePart(volumeNodes[index].part(), record.volumeLevel))) {
            continue;
        }
        record.ownerType = connector.part().subType();
        record.ownerName = connector.name();

        // Only direct neighbours count, and the incoming side wins.
        orv::Array<AudioPart> incoming;
        orv::Array<AudioPart> outgoing;
        neighbourParts(volumeNodes[index], incoming, outgoing);
        orv::Array<AudioPart> muteNodes;
        if (partFromList(incoming, kMuteNode, muteNodes) || partFromList(outgoing, kMuteNode, muteNodes)) {
            ATL::CComPtr<IAudioMute> mute;
            if (SUCCEEDED(activatePart(muteNodes[0].part(), mute))) {
                record.mute = mute;
            }
        }
        result.append(record);
    }
    return true;
}

// A connector is searched on one side: its outgoing side only when the
// incoming side has no volume node at all.
bool SoundCard::volumeControllerFromConnector(const AudioComponent<IConnector>& connector,
                                              orv::Array<SoundCard::VolumeController>& result) const {
    orv::Array<AudioPart> incoming;
    orv::Array<AudioPart> outgoing;
    neighbourParts(connector.part(), incoming, outgoing);
    return volumeControllerFromList(incoming, connector, result) ||
           volumeControllerFromList(outgoing, connector, result);
}

// The work list is also the visited list, so each connector is searched once
// and cycles end the walk. Links are followed in every direction, and
// finding a control does not stop the walk.
orv::Uint32 SoundCard::volumeController(const AudioDevice& endpoint,
                                        orv::Array<SoundCard::VolumeController>& result) const {
    ORV_TRACE("EndpointDeviceEnumeratorCommon::volumeController(const AudioDevice& endpoint)");
    AudioDeviceTopology const topology(endpoint.deviceTopology());
    orv::Array<AudioComponent<IConnector>> const connectors = topology.connector();
    result = orv::Array<SoundCard::VolumeController>();

    // The guard looks at the running index, not at the lookup's answer: a
    // connector missing from this card's map enters the work list as
    // 0xFFFFFFFF, and reaching it stops the process. That stop is what tells
    // a caller it asked the wrong card.
    orv::Array<orv::Uint32> work;
    for (orv::Uint32 index = 0; index < connectors.size(); ++index) {
        int const found = findConnector(ConnectorMapEntry(connectors[index]));
        if (index == 0xFFFFFFFFu) {
            ORV_LOG(3) << "m_connectorMap is inconsistent. Please review initialization code";
            continue;
        }
        work.append(static_cast<orv::Uint32>(found));
    }

    for (orv::Uint32 position = 0; position < work.size(); ++position) {
        ConnectorMapEntry const& entry = m_connectorMap[work[position]];
        volumeControllerFromConnector(entry.connector, result);
        for (orv::Uint32 link = 0; link < entry.links.size(); ++link) {
            if (!work.contains(entry.links[link])) {
                work.append(entry.links[link]);
            }
        }
    }
    return result.size();
}

// Only the devices behind the endpoints are scanned, whatever their flow.
orv::Uint32 SoundCard::recordingMux(orv::Array<ATL::CComPtr<IAudioInputSelector>>& result) {
    ORV_TRACE("SoundCard::recordingMux");
    ORV_LOG(1) << "Number of internal devices = " << m_internalDevices->size();
    for (orv::Uint32 device = 0; device < m_internalDevices->size(); ++device) {
        AudioDevice const& internalDevice = (*m_internalDevices)[device];
        AudioDeviceTopology topology;
        internalDevice.deviceTopology(topology);
        orv::Array<AudioComponent<ISubunit>> const subunits = topology.subunit();
        for (orv::Uint32 index = 0; index < subunits.size(); ++index) {
            ATL::CComPtr<IAudioInputSelector> selector;
            activatePart(subunits[index].part().part(), selector);
            if (selector) {
                ORV_LOG(2) << "Found an input selector from device " << internalDevice.deviceProperty().friendlyName;
                result.append(selector);
            }
        }
    }
    return result.size();
}

// The connector map of a card: one graph over every topology behind the
// card's endpoints, and the list of devices found on the far side of the
// connectors.
//
// Entries are only ever appended, since links are indices into the map.
// A cable link is stored at the connector that reported the cable; an inner
// link, a signal path between two connectors, at both ends.
#include <libSonvane/soundcard.h>

#include <orv/OrvLog.h>

#include <objbase.h>

ORV_LOG_CATEGORY("libSonvane.soundcard");

namespace {

// The id of the device on the far side of the connector; empty when the
// platform names none (the out pointer stays null on failure).
orv::String farDeviceId(const AudioComponent<IConnector>& connector) {
    LPWSTR deviceId = nullptr;
    connector.component()->GetDeviceIdConnectedTo(&deviceId);
    orv::String const farId = deviceId;
    CoTaskMemFree(deviceId);
    return farId;
}

// The connector on the far side; null when nothing is connected.
ATL::CComPtr<IConnector> farConnector(const AudioComponent<IConnector>& connector) {
    ATL::CComPtr<IConnector> partner;
    connector.component()->GetConnectedTo(&partner);
    return partner;
}

// The far connector seen as a part, the form the map's lookup takes. A
// connector that refuses to be a part gives an empty component.
AudioComponent<IConnector> asComponent(IConnector* connector) {
    ATL::CComPtr<IPart> part;
    connector->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&part));
    return AudioComponent<IConnector>(part);
}

}  // namespace

SoundCard::ConnectorMapEntry::ConnectorMapEntry(const AudioComponent<IConnector>& component)
    : connector(component), links() {}

int SoundCard::findConnector(const ConnectorMapEntry& entry) const {
    orv::String const id = entry.connector.id();
    for (orv::Uint32 index = 0; index < m_connectorMap.size(); ++index) {
        if (orv::String::compareNoCase(m_connectorMap[index].connector.id(), id) == 0) {
            return static_cast<int>(index);
        }
    }
    return -1;
}

void SoundCard::registerConnectors(const AudioDeviceTopology& deviceTopology) {
    orv::Array<AudioComponent<IConnector>> const connectors = deviceTopology.connector();
    for (orv::Uint32 index = 0; index < connectors.size(); ++index) {
        ConnectorMapEntry const entry(connectors[index]);
        if (findConnector(entry) < 0) {
            m_connectorMap.append(entry);
        }
    }
}

// Uses the topology each device already holds; no new platform call.
void SoundCard::registerConnectors(const orv::Array<AudioDevice>& deviceList) {
    for (orv::Uint32 index = 0; index < deviceList.size(); ++index) {
        AudioDeviceTopology topology;
        deviceList[index].deviceTopology(topology);
        registerConnectors(topology);
    }
}

// m_internalDevices is not cleared: it only grows, like the map's reach.
void SoundCard::initializeConnectorMap() {
    ORV_TRACE("SoundCard::initializeConnectorMap");
    m_connectorMap = orv::Array<ConnectorMapEntry>();
    registerConnectors(*m_playbackDevices);
    registerConnectors(*m_recordDevices);

    // The card's own endpoints count as visited, so that an endpoint met on
    // the far side of a connector never becomes an internal device.
    orv::Array<orv::String> visited;
    for (orv::Uint32 index = 0; index < m_playbackDevices->size(); ++index) {
        visited.append((*m_playbackDevices)[index].deviceProperty().deviceId);
    }
    for (orv::Uint32 index = 0; index < m_recordDevices->size(); ++index) {
        visited.append((*m_recordDevices)[index].deviceProperty().deviceId);
    }

    // The size is read afresh each round: connectors that this pass registers
    // are expanded in their turn, so a chain of topologies is followed to
    // its end.
    for (orv::Uint32 index = 0; index < m_connectorMap.size(); ++index) {
        expandConnector(index, visited);
    }
    linkConnectors();
}

// Registers what lies behind one connector and records its cable link.
void SoundCard::expandConnector(orv::Uint32 index, orv::Array<orv::String>& visited) {
    // A copy: registering connectors may reallocate the map.
    AudioComponent<IConnector> const connector = m_connectorMap[index].connector;
    orv::String const farId = farDeviceId(connector);
    AudioDevice const farDevice(farId);

    bool const known = visited.contains(farId) ||
                       findDevice(*m_internalDevices, farDevice.deviceProperty().deviceId) >= 0;
    if (!known && farDevice.isInitialized()) {
        m_internalDevices->append(farDevice);
        visited.append(farId);
        registerConnectors(*m_internalDevices);
    } else if (!known) {
        // No device object on the far side: register the topology the
        // connector itself belongs to, once per owner.
        AudioDeviceTopology const topology(connector);
        orv::String const owner = topology.deviceOwner();
        if (!visited.contains(owner)) {
            registerConnectors(topology);
            visited.append(owner);
        }
    }

    ATL::CComPtr<IConnector> const partner = farConnector(connector);
    if (!partner) {
        return;
    }
    // Stored as found: a far connector missing from the map goes in as
    // 0xFFFFFFFF, and the walk over the map stops on it.
    ConnectorMapEntry const farEntry(asComponent(partner));
    m_connectorMap[index].links.append(static_cast<orv::Uint32>(findConnector(farEntry)));
}

// Every pair is put to the platform once, also pairs from different
// topologies; a link goes in at both ends.
void SoundCard::linkConnectors() {
    for (orv::Uint32 first = 0; first < m_connectorMap.size(); ++first) {
        AudioDeviceTopology const topology(m_connectorMap[first].connector);
        for (orv::Uint32 second = first + 1; second < m_connectorMap.size(); ++second) {
            if (topology.connectorsAreLinked(m_connectorMap[first].connector, m_connectorMap[second].connector)) {
                m_connectorMap[first].links.append(second);
                m_connectorMap[second].links.append(first);
            }
        }
    }
}

#include "ConnectorGraph.h"

#include "Endpoints.h"
#include "Names.h"
#include "Text.h"

#include <propidl.h>

namespace {

// PKEY_Device_FriendlyName, which AudioDevice does not read: adapters
// carry their name there and nowhere else.
PROPERTYKEY const kDeviceFriendlyName = {{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};

std::string friendlyName(IMMDevice* device) {
    ATL::CComPtr<IPropertyStore> store;
    if (!device || FAILED(device->OpenPropertyStore(STGM_READ, &store))) {
        return std::string();
    }
    PROPVARIANT value;
    PropVariantInit(&value);
    std::string name;
    if (SUCCEEDED(store->GetValue(kDeviceFriendlyName, &value)) && value.vt == VT_LPWSTR && value.pwszVal) {
        name = utf8(std::wstring(value.pwszVal));
    }
    PropVariantClear(&value);
    return name;
}

// A device behind the endpoints by its friendly name and the filter that
// ends its id ("Realtek High Definition Audio, etopo"), since one adapter
// shows several filters; its id where the platform gives no name.
std::string deviceName(std::string const& id) {
    AudioDevice const device(orvText(id));
    std::string const name = friendlyName(device.device());
    if (name.empty()) {
        return id;
    }
    size_t const filter = id.find_last_of('\\');
    return filter == std::string::npos ? name : name + ", " + id.substr(filter + 1);
}

std::string connectorType(IConnector* connector) {
    ConnectorType type = Unknown_Connector;
    if (!connector || FAILED(connector->GetType(&type))) {
        return "unknown";
    }
    return connectorTypeName(type);
}

std::string connectorFlow(IConnector* connector) {
    DataFlow flow = In;
    if (!connector || FAILED(connector->GetDataFlow(&flow))) {
        return "unknown";
    }
    return flow == In ? "in" : "out";
}

}  // namespace

ConnectorGraph ConnectorGraph::build(std::vector<AudioDevice const*> const& endpoints) {
    ConnectorGraph graph;
    std::vector<PendingTopology> pending;
    for (AudioDevice const* endpoint : endpoints) {
        AudioDeviceTopology topology;
        endpoint->deviceTopology(topology);
        if (!topology.isInitialized()) {
            continue;
        }
        std::string const owner = utf8(topology.deviceOwner());
        std::string const id = owner.empty() ? utf8(endpoint->deviceProperty().deviceId) : owner;
        if (graph.findDevice(id) >= 0) {
            continue;
        }
        pending.push_back({topology, graph.addDevice(id, endpointName(*endpoint), true, 0)});
    }
    // Breadth first, so that each device gets its distance from the
    // endpoints; devices found on the way join the end of the list.
    for (size_t next = 0; next < pending.size(); ++next) {
        AudioDeviceTopology const topology = pending[next].topology;
        size_t const device = pending[next].device;
        graph.addConnectors(topology, device);
        graph.followCables(topology, device, pending);
        graph.addSignalPaths(topology);
    }
    return graph;
}

size_t ConnectorGraph::addDevice(std::string const& id, std::string const& name, bool endpoint, unsigned int depth) {
    m_devices.push_back({id, name, endpoint, depth});
    return m_devices.size() - 1;
}

int ConnectorGraph::findDevice(std::string const& id) const {
    for (size_t i = 0; i < m_devices.size(); ++i) {
        if (equalsNoCase(m_devices[i].id, id)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int ConnectorGraph::findConnector(std::string const& id) const {
    for (size_t i = 0; i < m_connectors.size(); ++i) {
        if (equalsNoCase(m_connectors[i].id, id)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void ConnectorGraph::addConnectors(AudioDeviceTopology const& topology, size_t device) {
    for (AudioComponent<IConnector> const& connector : topology.connector()) {
        std::string const id = utf8(connector.id());
        if (findConnector(id) >= 0) {
            continue;
        }
        ATL::CComPtr<IConnector> const platform = connector.component();
        m_connectors.push_back({id, utf8(connector.name()), connectorType(platform), connectorFlow(platform),
                                nodeTypeName(connector.subType()), device});
    }
}

void ConnectorGraph::followCables(AudioDeviceTopology const& topology, size_t device,
                                  std::vector<PendingTopology>& pending) {
    unsigned int const depth = m_devices[device].depth;
    for (AudioComponent<IConnector> const& connector : topology.connector()) {
        ATL::CComPtr<IConnector> const platform = connector.component();
        ATL::CComPtr<IConnector> farSide;
        if (!platform || FAILED(platform->GetConnectedTo(&farSide)) || !farSide) {
            continue;
        }
        AudioComponent<IConnector> const farConnector(farSide);
        AudioDeviceTopology const farTopology(farConnector);
        std::string const owner = utf8(farTopology.deviceOwner());
        if (farTopology.isInitialized() && !owner.empty() && findDevice(owner) < 0) {
            pending.push_back({farTopology, addDevice(owner, deviceName(owner), false, depth + 1)});
            addConnectors(farTopology, pending.back().device);
        }
        addLink(utf8(connector.id()), utf8(farConnector.id()), true);
    }
}

void ConnectorGraph::addSignalPaths(AudioDeviceTopology const& topology) {
    orv::Array<AudioComponent<IConnector>> const& connectors = topology.connector();
    for (orv::Uint32 i = 0; i < connectors.size(); ++i) {
        for (orv::Uint32 j = i + 1; j < connectors.size(); ++j) {
            if (topology.connectorsAreLinked(connectors[i], connectors[j])) {
                addLink(utf8(connectors[i].id()), utf8(connectors[j].id()), false);
            }
        }
    }
}

// Both sides of a cable report it; it is drawn once.
void ConnectorGraph::addLink(std::string const& from, std::string const& to, bool cable) {
    int const first = findConnector(from);
    int const second = findConnector(to);
    if (first < 0 || second < 0) {
        return;
    }
    for (Link const& link : m_links) {
        bool const same = (link.from == static_cast<size_t>(first) && link.to == static_cast<size_t>(second)) ||
                          (link.from == static_cast<size_t>(second) && link.to == static_cast<size_t>(first));
        if (same && link.cable == cable) {
            return;
        }
    }
    m_links.push_back({static_cast<size_t>(first), static_cast<size_t>(second), cable});
}

nlohmann::json ConnectorGraph::toJson() const {
    nlohmann::json devices = nlohmann::json::array();
    for (Device const& device : m_devices) {
        devices.push_back(
            {{"id", device.id}, {"name", device.name}, {"endpoint", device.endpoint}, {"depth", device.depth}});
    }
    nlohmann::json connectors = nlohmann::json::array();
    for (Connector const& connector : m_connectors) {
        connectors.push_back({{"id", connector.id},
                              {"name", connector.name},
                              {"type", connector.type},
                              {"flow", connector.flow},
                              {"nodeType", connector.nodeType},
                              {"device", connector.device}});
    }
    nlohmann::json links = nlohmann::json::array();
    for (Link const& link : m_links) {
        links.push_back({{"from", link.from}, {"to", link.to}, {"kind", link.cable ? "cable" : "path"}});
    }
    return {{"devices", devices}, {"connectors", connectors}, {"links", links}};
}

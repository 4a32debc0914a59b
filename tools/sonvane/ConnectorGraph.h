#pragma once
// The connectors behind a card's endpoints, across every device topology
// they lead into, with the cables between topologies and the signal paths
// inside each one. Built from the public topology classes only, by
// following the same connections a card follows for its own map, so that
// people can see what the card's volume search walks through.
#include <libSonvane/libSonvane.h>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

class ConnectorGraph {
public:
    struct Device {
        std::string id;
        std::string name;
        bool endpoint = false;
        unsigned int depth = 0;   // connections away from the nearest endpoint
    };
    struct Connector {
        std::string id;
        std::string name;
        std::string type;
        std::string flow;
        std::string nodeType;
        size_t device = 0;
    };
    struct Link {
        size_t from = 0;
        size_t to = 0;
        bool cable = false;   // across topologies; otherwise a signal path inside one
    };

    static ConnectorGraph build(std::vector<AudioDevice const*> const& endpoints);

    std::vector<Device> const& devices() const { return m_devices; }
    std::vector<Connector> const& connectors() const { return m_connectors; }
    std::vector<Link> const& links() const { return m_links; }

    nlohmann::json toJson() const;

private:
    struct PendingTopology {
        AudioDeviceTopology topology;
        size_t device;
    };

    size_t addDevice(std::string const& id, std::string const& name, bool endpoint, unsigned int depth);
    int findDevice(std::string const& id) const;
    int findConnector(std::string const& id) const;
    void addConnectors(AudioDeviceTopology const& topology, size_t device);
    void followCables(AudioDeviceTopology const& topology, size_t device, std::vector<PendingTopology>& pending);
    void addSignalPaths(AudioDeviceTopology const& topology);
    void addLink(std::string const& from, std::string const& to, bool cable);

    std::vector<Device> m_devices;
    std::vector<Connector> m_connectors;
    std::vector<Link> m_links;
};

#include "Validate.h"

#include "Text.h"

#include <audiosim/Faults.h>

#include <cstdio>
#include <map>
#include <set>
#include <stdexcept>

namespace audiosim::detail {

namespace {

// "-65.25", "30": as short as the level was written.
std::string decibels(float level) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(level));
    return text;
}

class Checker {
public:
    Checker(MachineDescription& machine, std::string file) : m_machine(machine), m_file(std::move(file)) {}

    void run() {
        checkIds();
        for (Device& device : m_machine.devices)
            checkDevice(device);
        for (Device& device : m_machine.devices)
            checkConnections(device);
        checkDefaults();
        checkDeviceTree();
        checkFaults();
        checkWaveNumbers();
    }

private:
    [[noreturn]] void fail(const std::string& place, const std::string& reason) const {
        throw DescriptionError(m_file, place, reason);
    }

    void checkIds() {
        std::map<std::wstring, const Device*> seen;
        for (const Device& device : m_machine.devices) {
            if (device.id.empty())
                fail(placeOf(device) + "/id", "a device needs an id");
            const auto [entry, added] = seen.emplace(lower(device.id), &device);
            if (!added)
                fail(placeOf(device) + "/id", "the id " + narrow(device.id) + " is taken by " + placeOf(*entry->second));
        }
    }

    void checkDevice(Device& device) {
        const std::string place = placeOf(device);
        if (device.endpoint && device.flow != eRender && device.flow != eCapture)
            fail(place + "/flow", "an endpoint is either render or capture");
        if (device.state != DEVICE_STATE_ACTIVE && device.state != DEVICE_STATE_DISABLED &&
            device.state != DEVICE_STATE_NOTPRESENT && device.state != DEVICE_STATE_UNPLUGGED)
            fail(place + "/state", "the state must be one DEVICE_STATE_ bit");
        checkProperties(device, place);
        if (device.topology)
            checkTopology(device, place + "/topology");
        if (device.volume)
            checkEndpointVolume(*device.volume, place + "/volume");
        if (device.endpoint)
            checkStream(device, place + "/stream");
    }

    void checkProperties(const Device& device, const std::string& place) {
        for (size_t i = 0; i < device.properties.size(); ++i) {
            for (size_t j = 0; j < i; ++j) {
                if (sameKey(device.properties[i].key, device.properties[j].key))
                    fail(place + "/properties/" + std::to_string(i) + "/key",
                         "the key " + narrow(propertyKeyName(device.properties[i].key)) + " is set twice");
            }
        }
    }

    void checkTopology(Device& device, const std::string& place) {
        Topology& topology = *device.topology;
        std::set<std::wstring> names;
        std::set<UINT> localIds;
        auto checkPart = [&](Part& part, const std::string& partPlace, UINT defaultLocalId) {
            if (!part.name.empty() && !names.insert(part.name).second)
                fail(partPlace + "/name", "another part of this topology is called " + narrow(part.name));
            if (part.localId == 0)
                part.localId = defaultLocalId;
            if (!localIds.insert(part.localId).second)
                fail(partPlace + "/localId", "another part of this topology has the local id " + std::to_string(part.localId));
            if (part.globalId.empty()) {
                wchar_t suffix[16];
                std::swprintf(suffix, 16, L"/%08x", part.localId);
                part.globalId = device.id + suffix;
            }
            if (part.volume)
                checkLevelNode(*part.volume, partPlace + "/volume");
        };
        for (size_t i = 0; i < topology.connectors.size(); ++i) {
            Part& part = topology.connectors[i];
            part.type = Connector;
            checkPart(part, place + "/connectors/" + std::to_string(i), 0x00010000u + static_cast<UINT>(i));
        }
        for (size_t i = 0; i < topology.subunits.size(); ++i) {
            Part& part = topology.subunits[i];
            part.type = Subunit;
            const std::string partPlace = place + "/subunits/" + std::to_string(i);
            if (part.connectedTo)
                fail(partPlace + "/connectedTo", "only a connector can be connected to another topology");
            checkPart(part, partPlace, 0x00020000u + static_cast<UINT>(i));
        }
        for (size_t i = 0; i < topology.links.size(); ++i) {
            const Link& link = topology.links[i];
            const std::string linkPlace = place + "/links/" + std::to_string(i);
            if (!topology.find(link.from))
                fail(linkPlace + "/0", "no part of this topology is called " + narrow(link.from));
            if (!topology.find(link.to))
                fail(linkPlace + "/1", "no part of this topology is called " + narrow(link.to));
        }
        for (size_t i = 0; i < topology.subunits.size(); ++i) {
            const Part& part = topology.subunits[i];
            if (part.inputSelector)
                checkSelection(topology, part, place + "/subunits/" + std::to_string(i) + "/inputSelector/selected");
        }
    }

    void checkSelection(const Topology& topology, const Part& selector, const std::string& place) {
        for (const Link& link : topology.links) {
            if (link.to == selector.name && link.from == selector.inputSelector->selected)
                return;
        }
        fail(place, "the selected part " + narrow(selector.inputSelector->selected) + " is not linked into " +
                        narrow(selector.name));
    }

    void checkLevels(const std::vector<float>& levels, float minDb, float maxDb, float stepDb, const std::string& place) {
        if (levels.empty())
            fail(place + "/channels", "a volume has at least one channel");
        if (!(minDb <= maxDb))
            fail(place + "/min", "the minimum is above the maximum");
        if (!(stepDb >= 0.0f))
            fail(place + "/step", "the step cannot be negative");
        for (float level : levels) {
            if (!(level >= minDb && level <= maxDb))
                fail(place + "/level", "the level " + decibels(level) + " dB lies outside the range " + decibels(minDb) +
                                           " to " + decibels(maxDb) + " dB");
        }
    }

    void checkLevelNode(const LevelNode& node, const std::string& place) {
        checkLevels(node.levelsDb, node.minDb, node.maxDb, node.stepDb, place);
    }

    void checkEndpointVolume(const EndpointVolume& volume, const std::string& place) {
        checkLevels(volume.levelsDb, volume.minDb, volume.maxDb, volume.stepDb, place);
    }

    void checkStream(const Device& device, const std::string& place) {
        const StreamCaps& stream = device.stream;
        if (stream.minimumPeriod <= 0 || stream.defaultPeriod < stream.minimumPeriod)
            fail(place + "/minimumPeriod", "the minimum period must be positive and not above the default period");
        if (stream.maximumBuffer < stream.minimumBuffer)
            fail(place + "/maximumBuffer", "the maximum buffer is below the minimum buffer");
        const CaptureSource& capture = stream.captureSource;
        if (capture.kind != CaptureSource::Silence && device.flow != eCapture)
            fail(place + "/captureSource", "only a capture endpoint records; a render endpoint has no capture source");
        if (capture.kind == CaptureSource::Tone && !(capture.frequency > 0.0))
            fail(place + "/captureSource/frequency", "a tone's frequency lies above 0 Hz");
        // Louder than full scale would be clipped into a square wave that no
        // test expects; an amplitude written in decibels is the usual slip.
        if (capture.kind == CaptureSource::Tone && !(capture.amplitude >= 0.0 && capture.amplitude <= 1.0))
            fail(place + "/captureSource/amplitude", "the amplitude is a fraction of full scale, from 0 to 1");
        if (stream.captureSource.kind == CaptureSource::Loopback) {
            const Device* source = m_machine.find(stream.captureSource.endpoint);
            if (!source || !source->endpoint || source->flow != eRender)
                fail(place + "/captureSource/endpoint",
                     "a loopback records a render endpoint of this machine, not " + narrow(stream.captureSource.endpoint));
        }
    }

    // Every connection is known from both sides: a connector that names its
    // far side gets named back.
    void checkConnections(Device& device) {
        if (!device.topology)
            return;
        for (size_t i = 0; i < device.topology->connectors.size(); ++i) {
            Part& part = device.topology->connectors[i];
            if (!part.connectedTo)
                continue;
            const std::string place = placeOf(device) + "/topology/connectors/" + std::to_string(i) + "/connectedTo";
            Device* other = m_machine.find(part.connectedTo->device);
            if (!other)
                fail(place + "/device", "no device has the id " + narrow(part.connectedTo->device));
            if (!other->topology)
                fail(place + "/device", "the device " + narrow(other->id) + " has no topology");
            Part* farPart = other->topology->find(part.connectedTo->connector);
            if (!farPart || farPart->type != Connector)
                fail(place + "/connector", "the device " + narrow(other->id) + " has no connector called " +
                                               narrow(part.connectedTo->connector));
            if (farPart == &part)
                fail(place, "a connector cannot be connected to itself");
            if (!farPart->connectedTo) {
                farPart->connectedTo = ConnectionRef{device.id, part.name};
            } else if (!sameText(farPart->connectedTo->device, device.id) || farPart->connectedTo->connector != part.name) {
                fail(place, "the connector " + narrow(part.connectedTo->connector) + " of " + narrow(other->id) +
                                " is connected elsewhere, to " + narrow(farPart->connectedTo->connector) + " of " +
                                narrow(farPart->connectedTo->device));
            }
        }
    }

    void checkDefaults() {
        for (const DefaultEndpoint& entry : m_machine.defaults) {
            const std::string place = std::string("/defaults/") + (entry.flow == eRender ? "render/" : "capture/") +
                                      (entry.role == eConsole ? "console" : entry.role == eMultimedia ? "multimedia" : "communications");
            const Device* device = m_machine.find(entry.id);
            if (!device || !device->endpoint)
                fail(place, "no endpoint has the id " + narrow(entry.id));
            if (device->flow != entry.flow)
                fail(place, "the endpoint " + narrow(entry.id) + " has the other data flow");
        }
    }

    void checkDeviceTree() {
        for (size_t i = 0; i < m_machine.deviceTree.size(); ++i) {
            const TreeNode& node = m_machine.deviceTree[i];
            if (node.instanceId.empty() || node.parent.empty())
                fail("/deviceTree/" + std::to_string(i), "a node needs an instance id and a parent");
        }
    }

    void checkFaults() {
        for (size_t i = 0; i < m_machine.faults.size(); ++i) {
            Faults scratch;
            try {
                scratch.add(m_machine.faults[i]);
            } catch (const std::invalid_argument& error) {
                fail("/faults/" + std::to_string(i) + "/method", error.what());
            }
        }
    }

    void checkWaveNumbers() {
        std::map<std::pair<int, int>, const Device*> seen;
        for (const Device& device : m_machine.devices) {
            if (!device.endpoint || device.wave.deviceNumber < 0)
                continue;
            const auto [entry, added] = seen.emplace(std::make_pair(static_cast<int>(device.flow), device.wave.deviceNumber), &device);
            if (!added)
                fail(placeOf(device) + "/wave/deviceNumber",
                     "the wave device number " + std::to_string(device.wave.deviceNumber) + " is taken by " +
                         placeOf(*entry->second));
        }
    }

    MachineDescription& m_machine;
    const std::string m_file;
};

}  // namespace

std::string placeOf(const Device& device) {
    return device.origin.empty() ? "device " + narrow(device.id) : device.origin;
}

void validate(MachineDescription& machine, const std::string& file) {
    Checker(machine, file).run();
}

}  // namespace audiosim::detail

#include "Hardware.h"

#include "ConnectorGraph.h"
#include "Names.h"
#include "Text.h"


#include <functional>
#include <string>
#include <vector>

namespace {

orv::Uint32 const kAllStates = DEVICE_STATEMASK_ALL;
unsigned int const kNoWaveDevice = 0xFFFFFFFFu;

// Levels come as floats; a thousandth of a decibel is finer than any
// control steps, and keeps the float's noise out of the JSON.
double decibels(float level) {
    return rounded(level, 3);
}

// Percent values of the topology variant are computed from decibels by the
// library's own rule, which puts the master between 50 and 150; people are
// shown decibels there.
nlohmann::json describeController(VolumeControllerInterface const& control, bool withPercent) {
    nlohmann::json channels = nlohmann::json::array();
    for (unsigned int channel = 0; channel < control.numChannel(); ++channel) {
        nlohmann::json level = {{"db", decibels(control.volumeLevelDecibel(channel))}};
        if (withPercent) {
            level["percent"] = control.volumeLevelPercent(channel);
        }
        channels.push_back(level);
    }
    nlohmann::json description = {{"channels", channels}, {"masterDb", decibels(control.masterVolumeLevelDecibel())}};
    if (withPercent) {
        description["masterPercent"] = control.masterVolumeLevelPercent();
    }
    VolumeControllerInterface::DbVolumeRange range = {};
    if (control.volumeRangeDecibel(0, range)) {
        description["range"] = {
            {"minDb", decibels(range.minimum)}, {"maxDb", decibels(range.maximum)}, {"stepDb", decibels(range.step)}};
    }
    description["muted"] = control.hasMuteControl() ? nlohmann::json(control.isMuted()) : nlohmann::json();
    return description;
}

nlohmann::json describeJacks(AudioDevice& device) {
    orv::Array<KSJACK_DESCRIPTION> jacks;
    device.jackInfo(jacks);
    nlohmann::json list = nlohmann::json::array();
    for (KSJACK_DESCRIPTION const& jack : jacks) {
        list.push_back({{"connection", jackConnectionName(jack.ConnectionType)},
                        {"location", jackLocationName(jack.GeoLocation)},
                        {"color", jackColor(jack.Color)},
                        {"channelMask", jack.ChannelMapping},
                        {"connected", jack.IsConnected != FALSE}});
    }
    return list;
}

nlohmann::json endpointNumbers(EndpointList const& endpoints, orv::Array<AudioDevice> const& found) {
    nlohmann::json numbers = nlohmann::json::array();
    for (AudioDevice const& device : found) {
        Endpoint const* endpoint = endpoints.findById(utf8(device.deviceProperty().deviceId));
        if (endpoint) {
            numbers.push_back(endpoint->index);
        }
    }
    return numbers;
}

using Lookup = std::function<orv::Uint32(SoundCard const&, orv::Array<AudioDevice>&)>;

// The card's own lookups, each in every device state.
nlohmann::json endpointsByKind(SoundCard const& card, EndpointList const& endpoints) {
    std::vector<std::pair<char const*, Lookup>> const kinds = {
        {"speaker", [](SoundCard const& c, orv::Array<AudioDevice>& r) { return c.speakerEndpointDevice(r, kAllStates); }},
        {"headphonesAndSpeakers",
         [](SoundCard const& c, orv::Array<AudioDevice>& r) { return c.waveOutEndpointDevice(r, kAllStates); }},
        {"hdmiOut", [](SoundCard const& c, orv::Array<AudioDevice>& r) { return c.hdmiOutEndpointDevice(r, kAllStates); }},
        {"displayPortOut",
         [](SoundCard const& c, orv::Array<AudioDevice>& r) { return c.displayportOutEndpointDevice(r, kAllStates); }},
        {"spdifOut", [](SoundCard const& c, orv::Array<AudioDevice>& r) { return c.spdifOutEndpointDevice(r, kAllStates); }},
        {"microphone",
         [](SoundCard const& c, orv::Array<AudioDevice>& r) { return c.microphoneEndpointDevice(r, kAllStates); }},
        {"lineIn", [](SoundCard const& c, orv::Array<AudioDevice>& r) { return c.lineInEndpointDevice(r, kAllStates); }},
        {"spdifIn", [](SoundCard const& c, orv::Array<AudioDevice>& r) { return c.spdifInEndpointDevice(r, kAllStates); }},
    };
    nlohmann::json byKind = nlohmann::json::object();
    for (auto const& kind : kinds) {
        orv::Array<AudioDevice> found;
        kind.second(card, found);
        byKind[kind.first] = endpointNumbers(endpoints, found);
    }
    return byKind;
}

// One record per volume node that the card's search finds behind the
// endpoint, read through the library's topology volume controller.
nlohmann::json hardwareControls(SoundCard const& card, Endpoint const& endpoint) {
    orv::Array<SoundCard::VolumeController> found;
    card.volumeController(endpoint.device, found);
    nlohmann::json controls = nlohmann::json::array();
    for (SoundCard::VolumeController const& record : found) {
        RegularVolumeController const nodes = {record.volumeLevel, record.mute, record.ownerType, record.ownerName};
        VolumeController<RegularVolumeController> const control(nodes);
        nlohmann::json description = describeController(control, false);
        description["endpoint"] = endpoint.index;
        description["connector"] = utf8(record.ownerName);
        description["connectorType"] = nodeTypeName(record.ownerType);
        controls.push_back(description);
    }
    return controls;
}

// A selector answers only the local id of the part it selects. The words
// come from the selector nodes of the devices behind the endpoints: the one
// among whose inputs a part has that id names the selection and the choice.
nlohmann::json selectorWords(UINT selected, ConnectorGraph const& graph) {
    for (ConnectorGraph::Device const& device : graph.devices()) {
        if (device.endpoint) {
            continue;
        }
        AudioDeviceTopology topology;
        AudioDevice(orvText(device.id)).deviceTopology(topology);
        for (AudioComponent<ISubunit> const& subunit : topology.subunit()) {
            AudioPart node = subunit.part();
            ATL::CComPtr<IAudioInputSelector> probe;
            if (!node.part() || FAILED(node.part()->Activate(CLSCTX_ALL, __uuidof(IAudioInputSelector),
                                                              reinterpret_cast<void**>(&probe)))) {
                continue;
            }
            orv::Array<AudioPart> inputs;
            node.incomingPartsList(inputs);
            nlohmann::json names = nlohmann::json::array();
            std::string chosen;
            for (AudioPart const& input : inputs) {
                UINT id = 0;
                if (input.part() && SUCCEEDED(input.part()->GetLocalId(&id)) && id == selected) {
                    chosen = utf8(input.name());
                }
                names.push_back(utf8(input.name()));
            }
            if (!chosen.empty()) {
                return {{"selector", utf8(node.name())}, {"selected", chosen}, {"inputs", names}};
            }
        }
    }
    return nlohmann::json::object();
}

nlohmann::json inputSelectors(SoundCard& card, ConnectorGraph const& graph) {
    orv::Array<ATL::CComPtr<IAudioInputSelector>> selectors;
    card.recordingMux(selectors);
    nlohmann::json list = nlohmann::json::array();
    for (ATL::CComPtr<IAudioInputSelector> const& selector : selectors) {
        UINT selected = 0;
        if (FAILED(selector->GetSelection(&selected))) {
            list.push_back({{"selectedPart", nullptr}});
            continue;
        }
        nlohmann::json described = selectorWords(selected, graph);
        described["selectedPart"] = selected;
        list.push_back(described);
    }
    return list;
}

bool belongsTo(Endpoint const& endpoint, SoundCard const& card) {
    return endpoint.device.deviceProperty().deviceInstancePath.compareNoCase(card.deviceId()) == 0;
}

nlohmann::json describeCard(SoundCard& card, unsigned int number, EndpointList const& endpoints) {
    std::vector<Endpoint const*> members;
    for (Endpoint const& endpoint : endpoints.all()) {
        if (belongsTo(endpoint, card)) {
            members.push_back(&endpoint);
        }
    }
    nlohmann::json described = nlohmann::json::array();
    nlohmann::json controls = nlohmann::json::array();
    std::vector<AudioDevice const*> devices;
    for (Endpoint const* endpoint : members) {
        described.push_back(describeEndpoint(*endpoint));
        for (auto const& control : hardwareControls(card, *endpoint)) {
            controls.push_back(control);
        }
        devices.push_back(&endpoint->device);
    }
    ConnectorGraph const graph = ConnectorGraph::build(devices);
    nlohmann::json internal = nlohmann::json::array();
    for (ConnectorGraph::Device const& device : graph.devices()) {
        if (!device.endpoint) {
            internal.push_back({{"id", device.id}, {"name", device.name}});
        }
    }
    return {{"number", number},
            {"id", utf8(card.deviceId())},
            {"instanceId", utf8(card.instanceId())},
            {"endpoints", described},
            {"byKind", endpointsByKind(card, endpoints)},
            {"internalDevices", internal},
            {"connectorMap", graph.toJson()},
            {"hardwareControls", controls},
            {"inputSelectors", inputSelectors(card, graph)}};
}

}  // namespace

nlohmann::json describeVolume(AudioDevice const& device) {
    AudioDevice holder = device;
    AudioDeviceInterface::VolumeControl const control = holder.volumeControl();
    if (control.isNil()) {
        return nullptr;
    }
    return describeController(*control, true);
}

nlohmann::json describeEndpoint(Endpoint const& endpoint) {
    AudioDevice device = endpoint.device;
    AudioDeviceInterface::Properties const& properties = device.deviceProperty();
    unsigned int const wave = device.waveLegacyDeviceID();
    nlohmann::json described = {
        {"index", endpoint.index},
        {"id", endpoint.id()},
        {"name", endpoint.name()},
        {"deviceDesc", utf8(properties.endpointType)},
        {"adapterName", utf8(properties.friendlyName)},
        {"flow", flowName(endpoint.flow)},
        {"state", stateName(endpoint.state())},
        {"default", endpoint.isActive() && device.isDefaultEndpoint()},
        {"nodeType", nodeTypeName(properties.nodeGuid)},
        {"enumerator", utf8(properties.enumeratorName)},
        {"waveId", wave == kNoWaveDevice ? nlohmann::json() : nlohmann::json(wave)},
        {"jacks", describeJacks(device)},
        {"volume", endpoint.isActive() ? describeVolume(device) : nlohmann::json()},
    };
    if (endpoint.flow == eCapture) {
        described["microphone"] = {{"internal", libSonvane::isInternalMicrophone(device)},
                                   {"integrated", libSonvane::isIntegratedMicrophone(device)},
                                   {"externalAnalogJack", libSonvane::isExternalAnalogJack(device)},
                                   {"usb", libSonvane::isUSBMicrophone(device)},
                                   {"virtual", libSonvane::isVirtualDevice(device)}};
    }
    return described;
}

nlohmann::json describeCards(EndpointList const& endpoints) {
    orv::Array<SoundCard> cards = SoundCard::enumerateSystemSoundDevices();
    nlohmann::json described = nlohmann::json::array();
    unsigned int number = 1;
    for (SoundCard& card : cards) {
        described.push_back(describeCard(card, number++, endpoints));
    }
    return {{"cards", described}, {"externalMicTesting", libSonvane::allowExternalMicTesting()}};
}

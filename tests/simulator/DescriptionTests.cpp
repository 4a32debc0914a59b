// Machine descriptions: the shipped machines load, repeated templates
// expand, and a description with an error names the file, the place and the
// reason, and installs nothing.
#include "SimulatorTestSupport.h"

#include <audiosim/Cards.h>

#include <cstdio>
#include <fstream>

namespace simtests {
namespace {

struct BadDescription {
    std::string json;
    const char* place;
    const char* reason;
};

const char* const kEndpoint = R"({"id": "{0.0.0.00000000}.{00000000-0000-4000-8000-000000000001}", "flow": "render")";

std::string endpointWith(const std::string& fields) {
    return std::string(R"({"endpoints": [)") + kEndpoint + ", " + fields + "}]}";
}

class DescriptionTest : public ComTest {};

TEST_F(DescriptionTest, ErrorsNameThePlaceAndTheReason) {
    const std::string withTopology = endpointWith(R"("topology": {
        "connectors": [{"name": "Out", "type": "Physical_External", "dataFlow": "Out"}],
        "subunits": [{"name": "Volume", "subType": "KSNODETYPE_VOLUME"}],
        "links": [["Volume", "Out"], ["Volume", "Speaker"]]})");
    const std::string danglingConnection = endpointWith(R"("topology": {
        "connectors": [{"name": "Out", "connectedTo": {"device": "{2}.nowhere", "connector": "In"}}]})");
    const std::string sharedJack = R"({"endpoints": [
        {"id": "a", "flow": "render", "topology": {"connectors": [{"name": "Out", "connectedTo": {"device": "card", "connector": "Jack"}}]}},
        {"id": "b", "flow": "render", "topology": {"connectors": [{"name": "Out", "connectedTo": {"device": "card", "connector": "Jack"}}]}}],
      "adapters": [{"id": "card", "topology": {"connectors": [{"name": "Jack"}]}}]})";
    const std::string twoIds = std::string(R"({"endpoints": [)") + kEndpoint + "}, " + kEndpoint + "}]}";
    const BadDescription cases[] = {
        {R"({"endpoints": [{"flow": "render"}]})", "/endpoints/0", "the field \"id\" is missing"},
        {endpointWith(R"("properties": [{"key": "PKEY_Device_FriendlyName", "type": "VT_LPWSTR", "value": "a"},
                                         {"key": "PKEY_Device_DeviceDesc", "type": "VT_LPSTR", "value": "b"}])"),
         "/endpoints/0/properties/1/type", "unknown variant type \"VT_LPSTR\""},
        {endpointWith(R"("properties": [{"key": "PKEY_Device_Nonsense", "type": "VT_UI4", "value": 1}])"),
         "/endpoints/0/properties/0/key", "unknown property key"},
        {endpointWith(R"("properties": [{"key": "PKEY_AudioEndpoint_FormFactor", "type": "VT_UI4", "value": -1}])"),
         "/endpoints/0/properties/0/value", "outside 0..4294967295"},
        {endpointWith(R"("stat": "active")"), "/endpoints/0/stat", "unknown field \"stat\""},
        {endpointWith(R"("state": "asleep")"), "/endpoints/0/state", "unknown device state \"asleep\""},
        {withTopology, "/endpoints/0/topology/links/1/1", "no part of this topology is called Speaker"},
        {danglingConnection, "/endpoints/0/topology/connectors/0/connectedTo/device", "no device has the id"},
        {twoIds, "/endpoints/1/id", "is taken by /endpoints/0"},
        {sharedJack, "/endpoints/1/topology/connectors/0/connectedTo", "is connected elsewhere, to Out of a"},
        {(std::string(R"({"endpoints": [)") + kEndpoint + R"(}], "defaults": {"capture": "{0.0.0.00000000}.{00000000-0000-4000-8000-000000000001}"}})"),
         "/defaults/capture/console", "the other data flow"},
        {R"({"faults": [{"method": "IMMDevice::GetId", "result": "E_WHATEVER"}]})", "/faults/0/result", "unknown HRESULT"},
        {R"({"repeat": [{"count": 2, "template": {"endpoints": [{"id": "x${i:03q}", "flow": "render"}]}}]})",
         "/repeat/0/template[0]/endpoints/0/id", "placeholders read"},
        {R"({"repeat": [{"count": 2, "template": {"endpoints": [{"id": "x${n}", "flow": "render"}]}}]})",
         "/repeat/0/template[0]/endpoints/0/id", "placeholders read"},
        {"{\n  \"endpoints\": [\n    {\"id\": \"a\" \"flow\": \"render\"}\n  ]\n}", "line 3, column 21", "syntax error"},
        // Mistakes that would otherwise pass unnoticed, told with the values.
        {endpointWith(R"("volume": {"channels": 2, "level": 6, "min": -65.25, "max": 0})"), "/endpoints/0/volume/level",
         "the level 6 dB lies outside the range -65.25 to 0 dB"},
        {endpointWith(R"("stream": {"captureSource": {"kind": "tone"}})"), "/endpoints/0/stream/captureSource",
         "only a capture endpoint records"},
        {R"({"endpoints": [{"id": "m", "flow": "capture", "stream": {"captureSource": {"kind": "tone", "amplitude": -6}}}]})",
         "/endpoints/0/stream/captureSource/amplitude", "a fraction of full scale, from 0 to 1"},
    };
    for (const BadDescription& bad : cases) {
        SCOPED_TRACE(bad.place);
        try {
            audiosim::Machine::fromJson(bad.json, "bad.json");
            ADD_FAILURE() << "accepted";
        } catch (const audiosim::DescriptionError& error) {
            EXPECT_EQ("bad.json", error.file());
            EXPECT_EQ(bad.place, error.place());
            EXPECT_NE(std::string::npos, error.reason().find(bad.reason)) << error.reason();
            EXPECT_EQ("bad.json: " + error.place() + ": " + error.reason(), std::string(error.what()));
        }
    }
}

TEST_F(DescriptionTest, ABadFileIsNamedAndNothingIsInstalled) {
    char folder[MAX_PATH] = {};
    GetTempPathA(MAX_PATH, folder);
    const std::string path = std::string(folder) + "bad-machine.json";
    {
        std::ofstream file(path);
        file << endpointWith(R"("flow": "sideways")");
    }
    try {
        audiosim::Machine machine = audiosim::Machine::fromFile(path);
        audiosim::Installation installation(machine, selfTestOptions());
        ADD_FAILURE() << "installed";
    } catch (const audiosim::DescriptionError& error) {
        EXPECT_EQ(std::string("bad-machine.json: /endpoints/0/flow: the flow is \"render\" or \"capture\", not \"sideways\""), error.what());
    }
    std::remove(path.c_str());
    ATL::CComPtr<IMMDeviceEnumerator> created;
    ASSERT_EQ(S_OK, CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                                     __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&created)));
    EXPECT_FALSE(audiosim::isSimulatedObject(created));

    try {
        audiosim::Machine::fromFile(shippedMachineFile("no-such-machine.json"));
        ADD_FAILURE() << "a missing file was read";
    } catch (const audiosim::DescriptionError& error) {
        EXPECT_EQ("no-such-machine.json", error.file());
    }
}

TEST_F(DescriptionTest, ARepeatedTemplateMakesOneCopyPerNumber) {
    audiosim::Machine machine = audiosim::Machine::fromJson(R"({
      "repeat": [{"count": 3, "template": {
        "endpoints": [{"id": "{0.0.0.00000000}.{00000000-0000-4000-8000-0000000000${i:02x}}", "flow": "render",
                       "properties": [{"key": "PKEY_Device_DeviceDesc", "type": "VT_LPWSTR", "value": "Speakers ${i}"}],
                       "topology": {"connectors": [{"name": "Out", "connectedTo": {"device": "card ${i}", "connector": "In"}}]}}],
        "adapters": [{"id": "card ${i}", "topology": {"connectors": [{"name": "In"}]}}],
        "deviceTree": [{"instanceId": "HDAUDIO\\CARD${i:02X}", "parent": "PCI\\ROOT"}]}}]})",
                                                             "repeat.json");
    const audiosim::MachineDescription description = machine.description();
    ASSERT_EQ(6u, description.devices.size());
    const audiosim::Device* third = description.find(L"{0.0.0.00000000}.{00000000-0000-4000-8000-000000000002}");
    ASSERT_NE(nullptr, third);
    EXPECT_EQ(L"Speakers 2", third->find(audiosim::propertyKey(L"PKEY_Device_DeviceDesc"))->text);
    EXPECT_EQ(L"card 2", third->topology->connectors[0].connectedTo->device);
    // The adapter's side of the connection is filled in.
    EXPECT_EQ(third->id, description.find(L"card 2")->topology->connectors[0].connectedTo->device);
    std::wstring parent;
    EXPECT_TRUE(machine.parentInstanceId(L"HDAUDIO\\CARD01", parent));
}

TEST_F(DescriptionTest, TheShippedMachinesLoad) {
    struct Shipped {
        const char* file;
        size_t endpoints;
    };
    const Shipped machines[] = {{"laptop.json", 5}, {"desktop.json", 6}, {"usb-headset.json", 2},
                                {"virtual.json", 2}, {"large.json", 256}, {"faulty.json", 3}};
    for (const Shipped& shipped : machines) {
        SCOPED_TRACE(shipped.file);
        audiosim::Machine machine = audiosim::Machine::fromFile(shippedMachineFile(shipped.file));
        ATL::CComPtr<IMMDeviceCollection> all;
        ASSERT_EQ(S_OK, enumerator(machine)->EnumAudioEndpoints(eAll, DEVICE_STATEMASK_ALL, &all));
        UINT count = 0;
        all->GetCount(&count);
        EXPECT_EQ(shipped.endpoints, count);
    }
}

TEST_F(DescriptionTest, CardsBuiltInCppAreWholeMachines) {
    audiosim::Machine machine(audiosim::cardMachine(3, 2, 1));
    ATL::CComPtr<IMMDeviceCollection> all;
    enumerator(machine)->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, &all);
    UINT count = 0;
    all->GetCount(&count);
    ASSERT_EQ(9u, count);

    // The last card's microphone leads to its own card, whose instance id is
    // the endpoint's instance path and has a parent.
    ATL::CComPtr<IMMDevice> microphone;
    all->Item(8, &microphone);
    ATL::CComPtr<IDeviceTopology> graph;
    microphone->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&graph));
    ATL::CComPtr<IConnector> connector;
    graph->GetConnector(0, &connector);
    LPWSTR adapterId = nullptr;
    ASSERT_EQ(S_OK, connector->GetDeviceIdConnectedTo(&adapterId));
    const audiosim::MachineDescription description = machine.description();
    const audiosim::Device* adapter = description.find(take(adapterId));
    ASSERT_NE(nullptr, adapter);
    const std::wstring instanceId = adapter->find(audiosim::propertyKey(L"DEVPKEY_Device_InstanceId"))->text;
    LPWSTR endpointId = nullptr;
    microphone->GetId(&endpointId);
    const audiosim::Device* endpoint = description.find(take(endpointId));
    EXPECT_EQ(L"{1}." + instanceId,
              endpoint->find(audiosim::propertyKey(L"{B3F8FA53-0004-438E-9003-51A46E139BFC},2"))->text);
    std::wstring parent;
    EXPECT_TRUE(machine.parentInstanceId(instanceId, parent));
    ATL::CComPtr<IConnector> pin;
    connector->GetConnectedTo(&pin);
    ATL::CComPtr<IPart> pinPart;
    pin->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&pinPart));
    ATL::CComPtr<IPartsList> outgoing;
    EXPECT_EQ(S_OK, pinPart->EnumPartsOutgoing(&outgoing));
}

}  // namespace
}  // namespace simtests

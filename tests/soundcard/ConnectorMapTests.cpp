// The connector graph behind a card, seen through what walks it: the
// breadth-first search for volume and mute nodes, the input selectors and
// the devices found behind the endpoints.
#include "SimulatedCards.h"

#include "LogCapture.h"

#include <audiosim/Faults.h>

#include <cwchar>
#include <cwctype>

namespace soundcard {
namespace {

using audiosim::Fault;
using audiosim::Part;

typedef SimulatedCards ConnectorMap;

// Parts are named <device id>/<local id>; connectors count from 0x00010000,
// subunits from 0x00020000.
std::wstring partId(std::wstring const& device, unsigned int localId) {
    wchar_t local[16];
    std::swprintf(local, 16, L"/%08x", localId);
    return device + local;
}

std::wstring connectorId(std::wstring const& device, unsigned int index) {
    return partId(device, 0x00010000u + index);
}

std::wstring subunitId(std::wstring const& device, unsigned int index) {
    return partId(device, 0x00020000u + index);
}

std::vector<std::wstring> ownersOf(orv::Array<SoundCard::VolumeController> const& records) {
    std::vector<std::wstring> owners;
    for (SoundCard::VolumeController const& record : records) {
        owners.push_back(text(record.ownerName));
    }
    return owners;
}

// From the speaker endpoint the walk crosses the cable into the codec
// (Speaker), follows the signal path back to Render Input, the cable from
// there into the wave device (Render Output) and the codec's other path to
// Headphone, then the wave device's own path to Render Stream and the cable
// from Headphone back to the headphone endpoint. At each connector the
// incoming side is searched first, and at Render Input, whose incoming side
// is empty, the outgoing one.
TEST_F(ConnectorMap, LaptopSpeakerFindsCodecControlsInWalkOrder) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    SoundCard const codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    AudioDevice const speakers = endpoint(kSpeakers);

    orv::Array<SoundCard::VolumeController> records;
    records.append(SoundCard::VolumeController());
    laptop.calls().clear();
    ASSERT_EQ(3u, codec.volumeController(speakers, records));

    EXPECT_EQ((std::vector<std::wstring>{L"Speakers", L"Speaker", L"Render Input", L"Render Output", L"Headphone",
                                         L"Render Stream", L"Headphones"}),
              partsCalled(L"IPart::EnumPartsIncoming", L"", true));
    EXPECT_EQ((std::vector<std::wstring>{L"Speaker", L"Render Input", L"Headphone"}), ownersOf(records));
    EXPECT_EQ((std::vector<std::wstring>{L"Speaker Volume", L"Master Volume", L"Headphone Volume"}),
              partsCalled(L"IPart::Activate", L"IID_IAudioVolumeLevel"));
    EXPECT_EQ((std::vector<std::wstring>{L"Speaker Mute", L"Master Mute", L"Headphone Mute"}),
              partsCalled(L"IPart::Activate", L"IID_IAudioMute"));
    GUID const speakerType = audiosim::nodeType(L"KSNODETYPE_SPEAKER");
    EXPECT_TRUE(IsEqualGUID(speakerType, records[0].ownerType));
    for (SoundCard::VolumeController const& record : records) {
        EXPECT_NE(nullptr, record.volumeLevel.p);
        EXPECT_NE(nullptr, record.mute.p);
    }

    // The records read the codec's nodes: 0, -6 and -9 dB as described.
    std::vector<float> levels;
    for (SoundCard::VolumeController const& record : records) {
        float level = 1.0f;
        EXPECT_TRUE(SUCCEEDED(record.volumeLevel->GetLevel(0, &level)));
        levels.push_back(level);
    }
    EXPECT_EQ((std::vector<float>{0.0f, -6.0f, -9.0f}), levels);
}

// Only direct neighbours of a connector count: the capture volume sits
// behind the mute next to Capture Output, so the microphone array's walk
// reaches the codec and finds no control.
TEST_F(ConnectorMap, ControlsBehindAnotherNodeAreNotFound) {
    installShipped("laptop.json");
    SoundCard const codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    orv::Array<SoundCard::VolumeController> records;
    EXPECT_EQ(0u, codec.volumeController(endpoint(kMicrophoneArray), records));
}

// The codec is reached from three endpoints and listed once; the wave device
// behind it is listed too. Only those devices are scanned for selectors.
TEST_F(ConnectorMap, DevicesBehindTheEndpointsAndTheirInputSelector) {
    installShipped("laptop.json");
    orv::Array<SoundCard> cards = SoundCard::enumerateSystemSoundDevices();
    SoundCard codec = card(cards, kRealtekPath);
    SoundCard display = card(cards, kIntelPath);

    LogCapture log;
    orv::Array<ATL::CComPtr<IAudioInputSelector>> selectors;
    selectors.append(ATL::CComPtr<IAudioInputSelector>());
    EXPECT_EQ(2u, codec.recordingMux(selectors));
    ASSERT_NE(nullptr, selectors[1].p);
    EXPECT_TRUE(log.contains("Number of internal devices = 2", 1)) << log.dump();
    EXPECT_EQ(1u, log.count("Found an input selector from device", 2)) << log.dump();

    std::wstring shouted = kCodecTopology;
    for (wchar_t& unit : shouted) {
        unit = towupper(unit);
    }
    EXPECT_TRUE(codec.hasEndpoint(shouted.c_str()));
    EXPECT_TRUE(codec.hasEndpoint(kCodecWave));
    EXPECT_FALSE(display.hasEndpoint(kCodecTopology));
}

// endpoint -> adapter A -> adapter B. A out has a volume node on each side;
// B's volume node has a mute node on each side.
audiosim::MachineDescription chainOfThreeTopologies() {
    GUID const volume = audiosim::nodeType(L"KSNODETYPE_VOLUME");
    GUID const mute = audiosim::nodeType(L"KSNODETYPE_MUTE");
    audiosim::MachineDescription description;
    audiosim::Topology& first = description.addAdapter(L"adapter A", L"PCI\\A").ensureTopology();
    first.addConnector(Part::connector(L"A in", Physical_Internal, In));
    first.addConnector(Part::connector(L"A out", Physical_Internal, Out).connectTo(L"adapter B", L"B in"));
    first.addSubunit(Part::subunit(L"A level", volume).withVolume(audiosim::LevelNode()));
    first.addSubunit(Part::subunit(L"A trim", volume).withVolume(audiosim::LevelNode()));
    first.link(L"A in", L"A level").link(L"A level", L"A out").link(L"A out", L"A trim");
    audiosim::Topology& second = description.addAdapter(L"adapter B", L"PCI\\B").ensureTopology();
    second.addConnector(Part::connector(L"B in", Physical_Internal, In));
    second.addConnector(Part::connector(L"B jack", Physical_External, Out, audiosim::nodeType(L"KSNODETYPE_SPEAKER")));
    second.addSubunit(Part::subunit(L"B volume", volume).withVolume(audiosim::LevelNode()));
    second.addSubunit(Part::subunit(L"B mute in", mute).withMute(false));
    second.addSubunit(Part::subunit(L"B mute out", mute).withMute(false));
    second.link(L"B in", L"B volume").link(L"B mute in", L"B volume").link(L"B volume", L"B jack");
    second.link(L"B volume", L"B mute out");
    addEndpoint(description, eRender, L"speaker", L"{1}.PCI\\A").ensureTopology().addConnector(
        Part::connector(L"Out", Software_IO, In).connectTo(L"adapter A", L"A in"));
    return description;
}

// Connectors registered while the map is being expanded are expanded in
// their turn, so B's volume node is found from the endpoint, once from each
// of B's connectors beside it. A out gives only its incoming volume node,
// and B's volume node takes the incoming mute node.
TEST_F(ConnectorMap, ChainOfThreeTopologiesIsFollowedToItsEnd) {
    audiosim::Machine& chain = install(audiosim::Machine(chainOfThreeTopologies()));

    orv::Array<SoundCard> cards = SoundCard::enumerateSystemSoundDevices();
    ASSERT_EQ(1u, cards.size());
    EXPECT_TRUE(cards[0].hasEndpoint(L"adapter B"));
    orv::Array<SoundCard::VolumeController> records;
    chain.calls().clear();
    ASSERT_EQ(4u, cards[0].volumeController(endpoint(L"speaker"), records));
    EXPECT_EQ((std::vector<std::wstring>{L"A in", L"A out", L"B in", L"B jack"}), ownersOf(records));
    EXPECT_EQ((std::vector<std::wstring>{L"A level", L"A level", L"B volume", L"B volume"}),
              partsCalled(L"IPart::Activate", L"IID_IAudioVolumeLevel"));
    EXPECT_EQ((std::vector<std::wstring>{L"B mute in", L"B mute in"}),
              partsCalled(L"IPart::Activate", L"IID_IAudioMute"));
    EXPECT_EQ(nullptr, records[0].mute.p);
    EXPECT_NE(nullptr, records[3].mute.p);
}

// A volume node that refuses its control gives no record, and still keeps
// the connector's outgoing side from being searched: A trim is never asked.
// A mute node that refuses its control leaves the record without a mute,
// and the mute node on the other side is not tried instead.
TEST_F(ConnectorMap, RefusedControlsGiveNoRecordOrNoMute) {
    audiosim::Machine& chain = install(audiosim::Machine(chainOfThreeTopologies()));
    orv::Array<SoundCard> cards = SoundCard::enumerateSystemSoundDevices();
    ASSERT_EQ(1u, cards.size());
    chain.faults().add(Fault::on(L"IPart::Activate", E_FAIL).at(subunitId(L"adapter A", 0)));
    chain.faults().add(Fault::on(L"IPart::Activate", E_NOINTERFACE).at(subunitId(L"adapter B", 1)));

    orv::Array<SoundCard::VolumeController> records;
    chain.calls().clear();
    ASSERT_EQ(2u, cards[0].volumeController(endpoint(L"speaker"), records));
    EXPECT_EQ((std::vector<std::wstring>{L"B in", L"B jack"}), ownersOf(records));
    EXPECT_EQ((std::vector<std::wstring>{L"A level", L"A level", L"B volume", L"B volume"}),
              partsCalled(L"IPart::Activate", L"IID_IAudioVolumeLevel"));
    EXPECT_EQ((std::vector<std::wstring>{L"B mute in", L"B mute in"}),
              partsCalled(L"IPart::Activate", L"IID_IAudioMute"));
    for (SoundCard::VolumeController const& record : records) {
        EXPECT_NE(nullptr, record.volumeLevel.p);
        EXPECT_EQ(nullptr, record.mute.p);
    }
}

// The selector's activation result is not looked at: whatever pointer the
// part hands out decides.
TEST_F(ConnectorMap, InputSelectorIsWhateverTheActivationHandsOut) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    SoundCard codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    std::wstring const inputSelect = subunitId(kCodecTopology, 6);
    ASSERT_EQ(L"Input Select", laptop.part(inputSelect).name);

    size_t const refused = laptop.faults().add(Fault::on(L"IPart::Activate", E_FAIL).at(inputSelect));
    orv::Array<ATL::CComPtr<IAudioInputSelector>> selectors;
    EXPECT_EQ(0u, codec.recordingMux(selectors));
    laptop.faults().remove(refused);

    laptop.faults().add(Fault::on(L"IPart::Activate", E_FAIL).at(inputSelect).withOut(audiosim::OutPointer::Set));
    ASSERT_EQ(1u, codec.recordingMux(selectors));
    EXPECT_NE(nullptr, selectors[0].p);
}

// The far device's id is taken without a look at the result. An id handed
// out with the failure is used as usual; a refusal that hands out none reads
// as an empty id, which names no device: nothing behind the endpoints joins
// the card, and the cables into the codec lead out of the map, so a walk
// over it stops the process.
TEST_F(ConnectorMap, RefusedFarDeviceIdsReadAsEmpty) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    size_t const handedOut = laptop.faults().add(
        Fault::on(L"IConnector::GetDeviceIdConnectedTo", E_FAIL).withOut(audiosim::OutPointer::Set));
    SoundCard const withIds = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    EXPECT_TRUE(withIds.hasEndpoint(kCodecTopology));
    EXPECT_TRUE(withIds.hasEndpoint(kCodecWave));
    orv::Array<SoundCard::VolumeController> records;
    EXPECT_EQ(3u, withIds.volumeController(endpoint(kSpeakers), records));
    laptop.faults().remove(handedOut);

    laptop.faults().add(Fault::on(L"IConnector::GetDeviceIdConnectedTo", E_FAIL));
    LogCapture log;
    laptop.calls().clear();
    SoundCard codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    std::vector<audiosim::CallRecord> const lookups = laptop.calls().of(L"IMMDeviceEnumerator::GetDevice");
    ASSERT_FALSE(lookups.empty());
    for (audiosim::CallRecord const& lookup : lookups) {
        EXPECT_EQ(L"", lookup.arguments);
    }
    EXPECT_FALSE(codec.hasEndpoint(kCodecTopology));
    orv::Array<ATL::CComPtr<IAudioInputSelector>> selectors;
    EXPECT_EQ(0u, codec.recordingMux(selectors));
    EXPECT_TRUE(log.contains("Number of internal devices = 0", 1)) << log.dump();
    AudioDevice const speakers = endpoint(kSpeakers);
    EXPECT_EXIT(codec.volumeController(speakers, records), testing::ExitedWithCode(7), "index < size\\(\\)");
}

// The far connector is taken without a look at the result either. A refusal
// that hands out no connector leaves the speakers' cable out of the map, so
// their walk ends at their own connector, while the codec still reports the
// cable from its side; one that hands out the connector links it as usual.
TEST_F(ConnectorMap, RefusedFarConnectorLeavesTheCableOut) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    std::wstring const speakersConnector = connectorId(kSpeakers, 0);
    size_t const refused = laptop.faults().add(Fault::on(L"IConnector::GetConnectedTo", E_FAIL).at(speakersConnector));
    SoundCard const codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    orv::Array<SoundCard::VolumeController> records;
    EXPECT_EQ(0u, codec.volumeController(endpoint(kSpeakers), records));
    EXPECT_EQ(3u, codec.volumeController(endpoint(kHeadphones), records));
    laptop.faults().remove(refused);

    laptop.faults().add(
        Fault::on(L"IConnector::GetConnectedTo", E_FAIL).at(speakersConnector).withOut(audiosim::OutPointer::Set));
    SoundCard const linked = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    EXPECT_EQ(3u, linked.volumeController(endpoint(kSpeakers), records));
    EXPECT_EQ((std::vector<std::wstring>{L"Speaker", L"Render Input", L"Headphone"}), ownersOf(records));
}

// The far connector is turned into a part without a look at the result: one
// that will not be a part gives an empty component, which no entry has, so
// the speakers' cable leads out of the map and their walk stops the process.
// Only the query that follows the map's question for the speakers' partner
// is refused (the map asks for the far device's id first); the codec behind
// the cable still joins the card.
TEST_F(ConnectorMap, FarConnectorThatIsNoPartLeadsOutOfTheMap) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    laptop.calls().clear();
    SoundCard::enumerateSystemSoundDevices();
    std::vector<audiosim::CallRecord> const calls = laptop.calls().all();
    std::wstring const speakersConnector = L"IPart " + connectorId(kSpeakers, 0);
    auto next = [&calls](size_t from, std::wstring const& method, std::wstring const& object) {
        while (from < calls.size() &&
               !(calls[from].method == method && (object.empty() || calls[from].object == object))) {
            ++from;
        }
        return from;
    };
    size_t position = next(0, L"IConnector::GetDeviceIdConnectedTo", speakersConnector);
    position = next(position, L"IConnector::GetConnectedTo", speakersConnector);
    position = next(position, L"IPart::QueryInterface", L"");
    ASSERT_LT(position, calls.size());
    std::wstring const farConnector = calls[position].object;
    size_t ordinal = 0;
    for (size_t index = 0; index <= position; ++index) {
        ordinal += calls[index].method == L"IPart::QueryInterface" && calls[index].object == farConnector;
    }

    size_t const refused = laptop.faults().add(
        Fault::on(L"IPart::QueryInterface", E_NOINTERFACE).at(farConnector).onCall(static_cast<unsigned>(ordinal)));
    SoundCard const codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    EXPECT_EQ(1u, laptop.faults().fired(refused));
    EXPECT_TRUE(codec.hasEndpoint(kCodecTopology));
    orv::Array<SoundCard::VolumeController> records;
    AudioDevice const speakers = endpoint(kSpeakers);
    EXPECT_EXIT(codec.volumeController(speakers, records), testing::ExitedWithCode(7), "index < size\\(\\)");
}

// A connector that is not in the card's map enters the walk as an index
// beyond the map, and reaching it stops the process.
TEST_F(ConnectorMap, EndpointOfAnotherCardStopsTheWalk) {
    installShipped("laptop.json");
    SoundCard const display = card(SoundCard::enumerateSystemSoundDevices(), kIntelPath);
    AudioDevice const speakers = endpoint(kSpeakers);
    orv::Array<SoundCard::VolumeController> records;
    EXPECT_EXIT(display.volumeController(speakers, records), testing::ExitedWithCode(7), "index < size\\(\\)");
}

}  // namespace
}  // namespace soundcard

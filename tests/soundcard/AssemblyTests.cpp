// Cards from the endpoints of a machine: grouping by path, order, refused
// duplicates, and finding one card by a hardware or parent id.
#include "SimulatedCards.h"

#include "LogCapture.h"

#include <algorithm>

namespace soundcard {
namespace {

using audiosim::Fault;

typedef SimulatedCards Assembly;

// Capture endpoints are enumerated first, so the laptop's codec card (with
// its microphones) comes before the display audio card although a speaker
// is the first endpoint of the machine. The unplugged microphone joins its
// card like the active ones.
TEST_F(Assembly, LaptopCardsInOrderOfFirstPath) {
    installShipped("laptop.json");
    orv::Array<SoundCardInterfacePtr> cards;
    SoundCard* const earlier = new SoundCard();
    cards.append(SoundCardInterfacePtr(earlier));
    enumerateSoundCards(cards);

    ASSERT_EQ(3u, cards.size());
    EXPECT_EQ(earlier, cards[0].get());
    SoundCard& codec = *static_cast<SoundCard*>(cards[1].get());
    SoundCard& display = *static_cast<SoundCard*>(cards[2].get());
    EXPECT_EQ(kRealtekPath, text(codec.deviceId()));
    EXPECT_EQ(kIntelPath, text(display.deviceId()));

    orv::Array<AudioDevice> playback;
    codec.allPlaybackDevice(playback);
    EXPECT_EQ((std::vector<std::wstring>{kSpeakers, kHeadphones}), idsOf(playback));
    for (wchar_t const* capture : {kMicrophoneArray, kMicrophone}) {
        EXPECT_TRUE(codec.hasEndpoint(capture));
        EXPECT_FALSE(display.hasEndpoint(capture));
    }
    playback.clear();
    display.allPlaybackDevice(playback);
    EXPECT_EQ(std::vector<std::wstring>{kDigitalOutput}, idsOf(playback));

    for (SoundCardInterfacePtr const& card : cards) {
        delete card.get();
    }
}

// Every endpoint of a shipped machine, in any state, lands in the card of its
// path, and the cards come in the order in which their paths first appear
// among the capture endpoints and then the render endpoints.
TEST_F(Assembly, ShippedMachinesGroupEveryEndpointByItsPath) {
    for (char const* file : {"desktop.json", "usb-headset.json", "virtual.json", "large.json"}) {
        SCOPED_TRACE(file);
        audiosim::MachineDescription const description = installShipped(file).description();
        std::vector<std::wstring> paths;
        for (EDataFlow const flow : {eCapture, eRender}) {
            for (audiosim::Device const& device : description.devices) {
                audiosim::PropertyValue const* path = device.find(audiosim::propertyKey(kPathKey));
                if (device.endpoint && device.flow == flow &&
                    std::find(paths.begin(), paths.end(), path->text) == paths.end()) {
                    paths.push_back(path->text);
                }
            }
        }

        orv::Array<SoundCard> const cards = SoundCard::enumerateSystemSoundDevices();
        ASSERT_EQ(paths.size(), cards.size());
        for (orv::Uint32 i = 0; i < cards.size(); ++i) {
            EXPECT_EQ(paths[i], text(cards[i].deviceId()));
            std::vector<std::wstring> render;
            for (audiosim::Device const& device : description.devices) {
                if (!device.endpoint || device.find(audiosim::propertyKey(kPathKey))->text != paths[i]) {
                    continue;
                }
                EXPECT_TRUE(cards[i].hasEndpoint(device.id.c_str()));
                if (device.flow == eRender) {
                    render.push_back(device.id);
                }
            }
            orv::Array<AudioDevice> playback;
            cards[i].allPlaybackDevice(playback);
            EXPECT_EQ(render, idsOf(playback));
        }
    }
}

// The card table compares paths exactly, while the card's own operator==
// ignores case and the interface's does not.
TEST_F(Assembly, PathInAnotherCaseMakesASecondCard) {
    audiosim::MachineDescription description;
    addEndpoint(description, eRender, L"render", L"{1}.USB\\VID_0D8C&PID_0014\\5&1A2B");
    addEndpoint(description, eCapture, L"capture", L"{1}.usb\\vid_0d8c&pid_0014\\5&1a2b");
    install(audiosim::Machine(description));

    orv::Array<SoundCard> cards = SoundCard::enumerateSystemSoundDevices();
    ASSERT_EQ(2u, cards.size());
    EXPECT_TRUE(cards[0].hasEndpoint(L"capture"));
    EXPECT_TRUE(cards[1].hasEndpoint(L"render"));
    EXPECT_TRUE(cards[0] == cards[1]);
    EXPECT_FALSE(cards[0] == static_cast<SoundCardInterface const&>(cards[1]));
    EXPECT_TRUE(cards[0] == static_cast<SoundCardInterface const&>(cards[0]));
}

// Two endpoints whose ids cannot be read both read as the empty id: the
// render one is refused although its list is empty, since the capture list
// holds that id already.
TEST_F(Assembly, DuplicateIdIsRefusedAcrossFlows) {
    audiosim::MachineDescription description;
    addEndpoint(description, eCapture, L"microphone", L"{1}.USB\\VID_1&PID_2\\3");
    addEndpoint(description, eRender, L"speaker", L"{1}.USB\\VID_1&PID_2\\3");
    audiosim::Machine& simulated = install(audiosim::Machine(description));
    simulated.faults().add(Fault::on(L"IMMDevice::GetId", E_OUTOFMEMORY));

    LogCapture log;
    orv::Array<SoundCard> const cards = SoundCard::enumerateSystemSoundDevices();
    ASSERT_EQ(1u, cards.size());
    orv::Array<AudioDevice> playback;
    EXPECT_EQ(0u, cards[0].allPlaybackDevice(playback));
    EXPECT_TRUE(cards[0].hasEndpoint(orv::String()));
    EXPECT_EQ(1u, log.count("Cannot add duplicate device", 3)) << log.dump();
}

// The laptop's codec and display audio hang on one PCI controller: its id
// finds the first card below it. A hardware id matches ignoring case; an id
// that matches nothing leaves the out card alone.
TEST_F(Assembly, CreateSoundCardByHardwareOrParentId) {
    installShipped("laptop.json");
    SoundCard found;
    LogCapture log;
    ASSERT_TRUE(SoundCard::createSoundCard(
        L"hdaudio\\func_01&ven_8086&dev_2806&subsys_80860101&rev_1000\\4&2a0c1e7a&0&0301", found));
    EXPECT_EQ(kIntelPath, text(found.deviceId()));
    EXPECT_TRUE(log.contains("Parent device id = PCI\\VEN_8086&DEV_9D71&SUBSYS_21F617AA&REV_21\\3&11583659&0&FB device "
                             "id =HDAUDIO\\FUNC_01&VEN_8086",
                             2))
        << log.dump();

    ASSERT_TRUE(SoundCard::createSoundCard(L"PCI\\VEN_8086&DEV_9D71&SUBSYS_21F617AA&REV_21\\3&11583659&0&FB", found));
    EXPECT_EQ(kRealtekPath, text(found.deviceId()));

    EXPECT_FALSE(SoundCard::createSoundCard(L"USB\\VID_046D&PID_0A44\\1", found));
    EXPECT_EQ(kRealtekPath, text(found.deviceId()));
}

// A path without a second token forms a card all the same; only its instance
// id is empty. An empty id then finds it, after passing a card whose parent
// is known.
TEST_F(Assembly, PathWithoutInstanceIdStillFormsACard) {
    audiosim::MachineDescription description;
    addEndpoint(description, eCapture, L"line in", L"{1}.PCI\\VEN_1102&DEV_0012\\4&1");
    addEndpoint(description, eRender, L"virtual", L"VIRTUALCABLE");
    description.addParent(L"PCI\\VEN_1102&DEV_0012\\4&1", L"ACPI\\PNP0A08\\0");
    install(audiosim::Machine(description));

    orv::Array<SoundCard> const cards = SoundCard::enumerateSystemSoundDevices();
    ASSERT_EQ(2u, cards.size());
    LogCapture log;
    EXPECT_EQ(L"PCI\\VEN_1102&DEV_0012\\4&1", text(cards[0].instanceId()));
    EXPECT_EQ(L"", text(cards[1].instanceId()));
    EXPECT_TRUE(log.contains("Unrecognized device id format VIRTUALCABLE", 3)) << log.dump();

    SoundCard found;
    ASSERT_TRUE(SoundCard::createSoundCard(orv::String(), found));
    EXPECT_EQ(L"VIRTUALCABLE", text(found.deviceId()));
}

// Without a platform enumerator there is no card to give or find.
TEST_F(Assembly, NoEnumeratorNoCards) {
    installShipped("laptop.json");
    machine().faults().add(Fault::on(L"IClassFactory::CreateInstance", E_OUTOFMEMORY));
    LogCapture log;
    EXPECT_EQ(0u, SoundCard::enumerateSystemSoundDevices().size());
    EXPECT_TRUE(log.contains("Faild to initialize endpoint device enumerator", 3)) << log.dump();
    SoundCard untouched;
    EXPECT_FALSE(SoundCard::createSoundCard(orv::String(), untouched));
}

}  // namespace
}  // namespace soundcard

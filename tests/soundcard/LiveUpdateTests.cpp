// A card with observers follows the endpoints of its path as the machine
// announces them on its own event thread.
#include "SimulatedCards.h"

#include "LogCapture.h"

#include <ProcessEnumerator.h>
#include <audiosim/Faults.h>

#include <atomic>
#include <cwctype>

namespace soundcard {
namespace {

class CountingObserver : public SoundCardObserver {
public:
    void deviceStateChanged() override { note(changed); }
    void deviceAdded() override { note(added); }
    void deviceRemoved() override { note(removed); }

    std::atomic<int> changed{0};
    std::atomic<int> added{0};
    std::atomic<int> removed{0};
    std::atomic<DWORD> thread{0};

private:
    void note(std::atomic<int>& counter) {
        thread = GetCurrentThreadId();
        ++counter;
    }
};

class LiveUpdates : public SimulatedCards {
protected:
    // A further render endpoint of the codec, like the speakers but without
    // a connector (the codec's speaker pin is taken).
    static audiosim::Device newSpeaker(audiosim::Machine& laptop, std::wstring const& id) {
        audiosim::Device device = *laptop.description().find(kSpeakers);
        device.id = id;
        device.wave = audiosim::WaveLegacy();
        device.topology.reset();
        return device;
    }

    static std::vector<std::wstring> playbackOf(SoundCard const& card, orv::Uint32 filter = DEVICE_STATEMASK_ALL) {
        orv::Array<AudioDevice> devices;
        card.allPlaybackDevice(devices, filter);
        return idsOf(devices);
    }

    CountingObserver m_playback;
    CountingObserver m_record;
};

TEST_F(LiveUpdates, EventsOfTheCardsPathChangeItsListsAndCallItsObservers) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    orv::Array<SoundCard> cards = SoundCard::enumerateSystemSoundDevices();
    SoundCard codec = card(cards, kRealtekPath);
    SoundCard const quiet = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    SoundCard const sameCard = codec;

    EXPECT_FALSE(codec.registerRecordObserver(SoundCardObserverPtr()));
    ASSERT_TRUE(codec.registerPlaybackObserver(SoundCardObserverPtr(&m_playback)));
    ASSERT_TRUE(codec.registerRecordObserver(SoundCardObserverPtr(&m_record)));
    EXPECT_EQ(1u, laptop.notificationClientCount());

    std::wstring const added = L"{0.0.0.00000000}.{00000000-0000-4000-8000-00000000000a}";
    laptop.addDevice(newSpeaker(laptop, added));
    laptop.fireDeviceAdded(added);
    laptop.fireStateChanged(kHeadphones, DEVICE_STATE_UNPLUGGED);
    laptop.fireDeviceRemoved(kSpeakers);
    laptop.fireDeviceRemoved(kMicrophoneArray);
    // Another card's endpoint, and a device no card knows.
    laptop.fireStateChanged(kDigitalOutput, DEVICE_STATE_DISABLED);
    laptop.fireDeviceAdded(L"{0.0.0.00000000}.{ffffffff-0000-4000-8000-000000000000}");
    // The card's path in another case belongs to another card.
    std::wstring const otherCase = L"{0.0.0.00000000}.{00000000-0000-4000-8000-00000000000b}";
    std::wstring lowerPath = kRealtekPath;
    for (wchar_t& unit : lowerPath) {
        unit = towlower(unit);
    }
    laptop.addDevice(newSpeaker(laptop, otherCase).set(kPathKey, audiosim::PropertyValue::string(lowerPath)));
    laptop.fireDeviceAdded(otherCase);
    laptop.flushEvents();

    EXPECT_EQ((std::vector<std::wstring>{kHeadphones, added}), playbackOf(sameCard));
    EXPECT_EQ(std::vector<std::wstring>{added}, playbackOf(sameCard, DEVICE_STATE_ACTIVE));
    EXPECT_FALSE(codec.hasEndpoint(kMicrophoneArray));
    EXPECT_TRUE(codec.hasEndpoint(kMicrophone));
    EXPECT_EQ(1, m_playback.added);
    EXPECT_EQ(1, m_playback.changed);
    EXPECT_EQ(1, m_playback.removed);
    EXPECT_EQ(0, m_record.added);
    EXPECT_EQ(0, m_record.changed);
    EXPECT_EQ(1, m_record.removed);
    EXPECT_EQ(laptop.eventThreadId(), m_playback.thread);
    EXPECT_NE(GetCurrentThreadId(), m_playback.thread);

    // No observer, no updates; the other card keeps its state as read.
    EXPECT_EQ((std::vector<std::wstring>{kSpeakers, kHeadphones}), playbackOf(quiet));
    EXPECT_EQ(std::vector<std::wstring>{kDigitalOutput}, playbackOf(card(cards, kIntelPath), DEVICE_STATE_ACTIVE));
}

// The updater is made with one reference more than its holder owns, so the
// holders' releases never free it while the platform may still call it.
TEST_F(LiveUpdates, UpdaterOutlivesItsHolders) {
    ATL::CComPtr<SoundCard::SoundCardDeviceUpdater> const updater = SoundCard::SoundCardDeviceUpdater::createUpdater();
    EXPECT_EQ(3u, updater->AddRef());
    EXPECT_EQ(2u, updater->Release());

    IUnknown* asked = nullptr;
    ASSERT_EQ(S_OK, updater->QueryInterface(__uuidof(IMMNotificationClient), reinterpret_cast<void**>(&asked)));
    EXPECT_EQ(static_cast<IMMNotificationClient*>(updater.p), asked);
    EXPECT_EQ(2u, asked->Release());
    asked = reinterpret_cast<IUnknown*>(updater.p);
    EXPECT_EQ(E_NOINTERFACE, updater->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&asked)));
    EXPECT_EQ(nullptr, asked);
}

// Removal searches the list of the device's own flow only, and a device
// announced twice is listed twice.
TEST_F(LiveUpdates, RemovalOfAnUnlistedDeviceCallsNoObserver) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    SoundCard codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    ASSERT_TRUE(codec.registerPlaybackObserver(SoundCardObserverPtr(&m_playback)));

    laptop.fireDeviceAdded(kSpeakers);
    laptop.fireDeviceRemoved(kSpeakers);
    laptop.fireDeviceRemoved(kSpeakers);
    laptop.fireDeviceRemoved(kSpeakers);
    laptop.flushEvents();
    EXPECT_EQ(std::vector<std::wstring>{kHeadphones}, playbackOf(codec));
    EXPECT_EQ(1, m_playback.added);
    EXPECT_EQ(2, m_playback.removed);
}

// A refused registration does not refuse the observer: it is listed, but
// hears nothing until a later observer of the card gets the updater
// registered.
TEST_F(LiveUpdates, RefusedRegistrationIsTriedAgainByTheNextObserver) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    SoundCard codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    laptop.faults().add(
        audiosim::Fault::on(L"IMMDeviceEnumerator::RegisterEndpointNotificationCallback", E_OUTOFMEMORY).onCall(1));

    LogCapture log;
    EXPECT_TRUE(codec.registerPlaybackObserver(SoundCardObserverPtr(&m_playback)));
    EXPECT_TRUE(log.contains("Fail to register notification callback 0x8007000E", 3)) << log.dump();
    EXPECT_EQ(0u, laptop.notificationClientCount());
    laptop.fireStateChanged(kHeadphones, DEVICE_STATE_UNPLUGGED);
    laptop.flushEvents();
    EXPECT_EQ(0, m_playback.changed);

    EXPECT_TRUE(codec.registerRecordObserver(SoundCardObserverPtr(&m_record)));
    EXPECT_EQ(1u, laptop.notificationClientCount());
    laptop.fireStateChanged(kHeadphones, DEVICE_STATE_ACTIVE);
    laptop.flushEvents();
    EXPECT_EQ(1, m_playback.changed);
    EXPECT_EQ(2u, laptop.calls().count(L"IMMDeviceEnumerator::RegisterEndpointNotificationCallback"));
}

// The process-wide enumerator unregisters every client it registered when
// it ends, and a refusal on the way does not stop the others.
TEST_F(LiveUpdates, RefusedUnregistrationLeavesOnlyThatClient) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    orv::Array<SoundCard> cards = SoundCard::enumerateSystemSoundDevices();
    SoundCard codec = card(cards, kRealtekPath);
    SoundCard display = card(cards, kIntelPath);
    ASSERT_TRUE(codec.registerPlaybackObserver(SoundCardObserverPtr(&m_playback)));
    ASSERT_TRUE(display.registerPlaybackObserver(SoundCardObserverPtr(&m_record)));
    ASSERT_EQ(2u, laptop.notificationClientCount());

    laptop.faults().add(
        audiosim::Fault::on(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback", E_FAIL).onCall(1));
    forgetProcessEnumerator();
    EXPECT_EQ(2u, laptop.calls().count(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback"));
    EXPECT_EQ(1u, laptop.notificationClientCount());
}

// An event for a device the system no longer resolves reads as a device
// without a path, which no card owns: the lists stay and no observer hears
// of it.
TEST_F(LiveUpdates, EventsForDevicesThatCannotBeResolvedAreIgnored) {
    audiosim::Machine& laptop = installShipped("laptop.json");
    SoundCard codec = card(SoundCard::enumerateSystemSoundDevices(), kRealtekPath);
    ASSERT_TRUE(codec.registerPlaybackObserver(SoundCardObserverPtr(&m_playback)));
    std::wstring const added = L"{0.0.0.00000000}.{00000000-0000-4000-8000-00000000000c}";
    laptop.addDevice(newSpeaker(laptop, added));

    laptop.faults().add(audiosim::Fault::on(L"IMMDeviceEnumerator::GetDevice", E_FAIL));
    LogCapture log;
    laptop.fireDeviceAdded(added);
    laptop.fireDeviceRemoved(kSpeakers);
    laptop.fireStateChanged(kHeadphones, DEVICE_STATE_UNPLUGGED);
    laptop.flushEvents();
    EXPECT_EQ(3u, log.count("IMMDeviceEnumerator::GetDevice returns 0x80004005", 3)) << log.dump();
    EXPECT_EQ(0, m_playback.added + m_playback.removed + m_playback.changed);
    laptop.faults().clear();
    EXPECT_EQ((std::vector<std::wstring>{kSpeakers, kHeadphones}), playbackOf(codec));
    EXPECT_EQ((std::vector<std::wstring>{kSpeakers, kHeadphones}), playbackOf(codec, DEVICE_STATE_ACTIVE));
}

}  // namespace
}  // namespace soundcard

// The endpoint listers that the cards are built from, on a machine with
// endpoints in every state.
#include "SimulatedCards.h"

#include "LogCapture.h"

#include <audiosim/Faults.h>

namespace soundcard {
namespace {

using audiosim::Fault;

typedef SimulatedCards Listers;

wchar_t const kDesktopPath[] = L"{1}.HDAUDIO\\FUNC_01&VEN_10EC&DEV_0892&SUBSYS_10438436&REV_1003\\4&1C3D5A2E&0&0001";

// The card's capture endpoints in every state, as its lookups find them.
orv::Uint32 captureEndpointsOf(SoundCard const& card) {
    orv::Array<AudioDevice> found;
    return card.microphoneEndpointDevice(found, DEVICE_STATEMASK_ALL) +
           card.lineInEndpointDevice(found, DEVICE_STATEMASK_ALL) +
           card.spdifInEndpointDevice(found, DEVICE_STATEMASK_ALL);
}

// Each list holds the endpoints of its state, in the platform's order.
TEST_F(Listers, EndpointsAreFiledByState) {
    audiosim::MachineDescription const desktop = installShipped("desktop.json").description();
    EndpointDeviceEnumeratorCommon const capture(eCapture);
    std::pair<DWORD, orv::Array<AudioDevice> const*> const rows[] = {
        {DEVICE_STATE_ACTIVE, &capture.activeDevice()},
        {DEVICE_STATE_DISABLED, &capture.disabledDevice()},
        {DEVICE_STATE_NOTPRESENT, &capture.notPresentDevice()},
        {DEVICE_STATE_UNPLUGGED, &capture.unpluggedDevice()},
    };
    for (auto const& row : rows) {
        std::vector<std::wstring> expected;
        for (audiosim::Device const& device : desktop.devices) {
            if (device.endpoint && device.flow == eCapture && device.state == row.first) {
                expected.push_back(device.id);
            }
        }
        EXPECT_EQ(expected, idsOf(*row.second)) << "state " << row.first;
    }
}

// Only the last observer is registered; null changes nothing, and the
// lister's end leaves the observer registered.
TEST_F(Listers, OneObserverAtATime) {
    audiosim::Machine& desktop = installShipped("desktop.json");
    ATL::CComPtr<SoundCard::SoundCardDeviceUpdater> const first = SoundCard::SoundCardDeviceUpdater::createUpdater();
    ATL::CComPtr<SoundCard::SoundCardDeviceUpdater> const second = SoundCard::SoundCardDeviceUpdater::createUpdater();
    {
        EndpointDeviceEnumeratorCommon lister(eRender);
        lister.registerNotificationObserver(first);
        lister.registerNotificationObserver(nullptr);
        EXPECT_EQ(1u, desktop.notificationClientCount());
        EXPECT_EQ(0u, desktop.calls().count(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback"));
        lister.registerNotificationObserver(second);
        EXPECT_EQ(1u, desktop.notificationClientCount());
        EXPECT_EQ(1u, desktop.calls().count(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback"));
    }
    EXPECT_EQ(1u, desktop.notificationClientCount());
}

// Counts are preset to none and their results are not looked at: a refused
// count empties its own row, or, for the cards, its whole direction, and
// the rest is read as usual.
TEST_F(Listers, RefusedCountEmptiesItsRowOnly) {
    audiosim::Machine& desktop = installShipped("desktop.json");
    size_t const disabledRow = desktop.faults().add(Fault::on(L"IMMDeviceCollection::GetCount", E_FAIL).onCall(2));
    LogCapture log;
    EndpointDeviceEnumeratorCommon const capture(eCapture);
    EXPECT_EQ(0u, capture.disabledDevice().size());
    EXPECT_TRUE(log.contains("Device state index 1 found 0 devices", 2)) << log.dump();
    EXPECT_EQ(2u, capture.activeDevice().size());
    EXPECT_EQ(1u, capture.unpluggedDevice().size());
    desktop.faults().remove(disabledRow);

    ASSERT_EQ(2u, captureEndpointsOf(card(SoundCard::enumerateSystemSoundDevices(), kDesktopPath)));
    // Cards read the capture direction first.
    desktop.faults().add(Fault::on(L"IMMDeviceCollection::GetCount", E_FAIL).onCall(1));
    log.clear();
    orv::Array<SoundCard> const cards = SoundCard::enumerateSystemSoundDevices();
    EXPECT_TRUE(log.contains("Device state index 15 found 0 devices", 2)) << log.dump();
    ASSERT_EQ(1u, cards.size());
    EXPECT_EQ(0u, captureEndpointsOf(cards[0]));
    orv::Array<AudioDevice> playback;
    EXPECT_EQ(2u, cards[0].allPlaybackDevice(playback));
}

// The observer's registration and unregistration results are not looked
// at: a refused registration still makes the client the observer, so the
// next one unregisters it; a refused unregistration leaves the old client
// registered beside the new one.
TEST_F(Listers, RefusedRegistrationsAreOverlooked) {
    audiosim::Machine& desktop = installShipped("desktop.json");
    ATL::CComPtr<SoundCard::SoundCardDeviceUpdater> const first = SoundCard::SoundCardDeviceUpdater::createUpdater();
    ATL::CComPtr<SoundCard::SoundCardDeviceUpdater> const second = SoundCard::SoundCardDeviceUpdater::createUpdater();
    EndpointDeviceEnumeratorCommon lister(eRender);

    size_t const refused =
        desktop.faults().add(Fault::on(L"IMMDeviceEnumerator::RegisterEndpointNotificationCallback", E_FAIL));
    lister.registerNotificationObserver(first);
    EXPECT_EQ(0u, desktop.notificationClientCount());
    desktop.faults().remove(refused);
    lister.registerNotificationObserver(second);
    EXPECT_EQ(1u, desktop.calls().count(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback"));
    EXPECT_EQ(1u, desktop.notificationClientCount());

    desktop.faults().add(Fault::on(L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback", E_FAIL));
    lister.registerNotificationObserver(first);
    EXPECT_EQ(2u, desktop.notificationClientCount());
}

}  // namespace
}  // namespace soundcard

// The endpoint listers that the cards are built from, on a machine with
// endpoints in every state.
#include "SimulatedCards.h"

namespace soundcard {
namespace {

typedef SimulatedCards Listers;

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

}  // namespace
}  // namespace soundcard

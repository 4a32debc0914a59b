// The notification object: its COM identity and counting, what OnNotify does
// with the two callbacks, a change of the simulator's endpoint volume
// travelling through a registered controller to a function and a window, and
// registrations that the platform refuses or will not undo.
#include <libSonvane/VolumeChangeNotification.h>
#include <libSonvane/volumecontroller.h>

#include <COM/AtlComPtr.h>

#include "LogCapture.h"
#include "MessageWindow.h"
#include "SimulatedObjects.h"

#include <audiosim/Machine.h>

#include <mmdeviceapi.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

namespace {

TEST(VolumeChangeNotificationTest, AnswersOnlyItsOwnInterfacesAndCopiesCarryTheCount) {
    auto* notification = new VolumeChangeNotification;

    void* out = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(E_NOINTERFACE, notification->QueryInterface(__uuidof(IMMDevice), &out));
    EXPECT_EQ(nullptr, out);
    // A refused query took no reference: the next AddRef counts from 1.
    EXPECT_EQ(2u, notification->AddRef());

    IUnknown* unknown = nullptr;
    EXPECT_EQ(S_OK, notification->QueryInterface(__uuidof(IUnknown), reinterpret_cast<void**>(&unknown)));
    EXPECT_EQ(static_cast<IUnknown*>(notification), unknown);
    IAudioEndpointVolumeCallback* callback = nullptr;
    EXPECT_EQ(S_OK, notification->QueryInterface(__uuidof(IAudioEndpointVolumeCallback),
                                                 reinterpret_cast<void**>(&callback)));
    EXPECT_EQ(notification, callback);

    // Count is 4 now; a copy starts from the same value, not from 1.
    auto* copy = new VolumeChangeNotification(*notification);
    EXPECT_EQ(5u, copy->AddRef());
    VolumeChangeNotification assigned;
    assigned = *notification;
    EXPECT_EQ(5u, assigned.AddRef());

    // Each is freed by the Release that reaches 0.
    for (int expected = 4; expected >= 0; --expected) {
        EXPECT_EQ(ULONG(expected), copy->Release());
    }
    for (int expected = 3; expected >= 0; --expected) {
        EXPECT_EQ(ULONG(expected), notification->Release());
    }
}

struct CallbackRecord {
    int calls = 0;
    void* context = nullptr;
    bool messageAlreadyQueued = false;
};

bool threadQueueHoldsVolumeMessage(UINT removeFlag) {
    MSG message;
    // A window handle of -1 selects messages posted to no window.
    return PeekMessageW(&message, reinterpret_cast<HWND>(-1), VolumeChangeNotification::changeMessage,
                        VolumeChangeNotification::changeMessage, removeFlag) != 0;
}

void recordCall(void* context) {
    auto* record = static_cast<CallbackRecord*>(context);
    ++record->calls;
    record->context = context;
    record->messageAlreadyQueued = threadQueueHoldsVolumeMessage(PM_NOREMOVE);
}

TEST(VolumeChangeNotificationTest, OnNotifyCallsTheFunctionFirstAndAlwaysPostsTheMessage) {
    ATL::CComPtr<VolumeChangeNotification> notification;
    notification.Attach(new VolumeChangeNotification);
    while (threadQueueHoldsVolumeMessage(PM_REMOVE)) {
    }

    // Neither callback: the message still goes out, to no window, which puts
    // it in the calling thread's own queue.
    EXPECT_EQ(S_OK, notification->OnNotify(nullptr));
    EXPECT_TRUE(threadQueueHoldsVolumeMessage(PM_REMOVE));
    EXPECT_FALSE(threadQueueHoldsVolumeMessage(PM_REMOVE));

    CallbackRecord record;
    notification->setCallbackFunction(&recordCall, &record);
    EXPECT_EQ(S_OK, notification->OnNotify(nullptr));
    EXPECT_EQ(1, record.calls);
    EXPECT_EQ(&record, record.context);
    EXPECT_FALSE(record.messageAlreadyQueued) << "the function is called before the message is posted";
    EXPECT_TRUE(threadQueueHoldsVolumeMessage(PM_REMOVE));
}

struct ChangeHeard {
    std::atomic<int> calls{0};
    std::atomic<DWORD> threadId{0};
};

void onVolumeChange(void* context) {
    auto* heard = static_cast<ChangeHeard*>(context);
    heard->threadId = GetCurrentThreadId();
    ++heard->calls;
}

ULONG referenceCount(VolumeChangeNotification* notification) {
    notification->AddRef();
    return notification->Release();
}

std::vector<std::wstring> const registrationCalls = {L"IAudioEndpointVolume::UnregisterControlChangeNotify",
                                                      L"IAudioEndpointVolume::RegisterControlChangeNotify"};

TEST(VolumeChangeNotificationTest, EndpointChangeReachesTheFunctionAndAWindowOnItsOwnThread) {
    audiosim::Machine machine = topologytests::volumeMachine();
    MessageWindow window(VolumeChangeNotification::changeMessage);
    ASSERT_NE(nullptr, window.window());

    ChangeHeard heard;
    ATL::CComPtr<VolumeChangeNotification> notification;
    notification.Attach(new VolumeChangeNotification);
    notification->setCallbackWindow(window.window());
    notification->setCallbackFunction(&onVolumeChange, &heard);
    {
        VolumeController<EndpointVolumeController> controller = topologytests::endpointController(machine);
        ASSERT_TRUE(controller.registerVolumeChangeNotification(notification));

        machine.setEndpointVolume(topologytests::speakersId, -30.0f);
        machine.flushEvents();
        window.waitForMessages(1);
        EXPECT_EQ(1, heard.calls.load());
        EXPECT_EQ(machine.eventThreadId(), heard.threadId.load());
        EXPECT_NE(window.threadId(), heard.threadId.load());

        // A second registration of the same object unregisters it first, so
        // a change is still heard once.
        machine.calls().clear();
        ASSERT_TRUE(controller.registerVolumeChangeNotification(notification));
        EXPECT_EQ(registrationCalls, machine.calls().methods());
        machine.setEndpointMute(topologytests::speakersId, true);
        machine.flushEvents();
        window.waitForMessages(2);
        EXPECT_EQ(2, heard.calls.load());
    }
    // The controller unregistered on its way out and gave its reference back.
    machine.setEndpointVolume(topologytests::speakersId, -10.0f);
    machine.flushEvents();
    EXPECT_EQ(2, heard.calls.load());
    EXPECT_EQ(1u, referenceCount(notification));
}

TEST(VolumeChangeNotificationTest, RefusedRegistrationKeepsTheObjectForTheNextOne) {
    audiosim::Machine machine = topologytests::volumeMachine();
    LogCapture log;
    ATL::CComPtr<VolumeChangeNotification> notification;
    notification.Attach(new VolumeChangeNotification);
    VolumeController<EndpointVolumeController> controller = topologytests::endpointController(machine);

    machine.faults().add(audiosim::Fault::on(L"IAudioEndpointVolume::RegisterControlChangeNotify", E_OUTOFMEMORY)
                             .onCall(1));
    EXPECT_FALSE(controller.registerVolumeChangeNotification(notification));
    EXPECT_TRUE(log.contains("Unable to register control change notification 0x8007000E", 3)) << log.dump();
    EXPECT_EQ(2u, referenceCount(notification)) << "the controller holds the refused object";

    machine.calls().clear();
    EXPECT_TRUE(controller.registerVolumeChangeNotification(notification));
    EXPECT_EQ(registrationCalls, machine.calls().methods());
}

TEST(VolumeChangeNotificationTest, RefusedUnregisterIsPassedOverWithoutAWord) {
    audiosim::Machine machine = topologytests::volumeMachine();
    LogCapture log;
    ChangeHeard heard;
    ATL::CComPtr<VolumeChangeNotification> notification;
    notification.Attach(new VolumeChangeNotification);
    notification->setCallbackFunction(&onVolumeChange, &heard);
    std::wstring const unregister = L"IAudioEndpointVolume::UnregisterControlChangeNotify";
    {
        VolumeController<EndpointVolumeController> controller = topologytests::endpointController(machine);
        ASSERT_TRUE(controller.registerVolumeChangeNotification(notification));
        {
            // A copy unregisters the shared object on its way out too; its
            // refusal leaves the registration standing.
            VolumeController<EndpointVolumeController> copy(controller);
            machine.faults().add(audiosim::Fault::on(unregister, E_FAIL).onCall(1));
        }
        EXPECT_EQ(1u, machine.calls().count(unregister));
        machine.setEndpointVolume(topologytests::speakersId, -30.0f);
        machine.flushEvents();
        EXPECT_EQ(1, heard.calls.load());

        // Registering again registers whatever the unregister answered.
        machine.faults().clear();
        machine.faults().add(audiosim::Fault::on(unregister, E_ACCESSDENIED));
        machine.calls().clear();
        EXPECT_TRUE(controller.registerVolumeChangeNotification(notification));
        EXPECT_EQ(registrationCalls, machine.calls().methods());
        machine.faults().clear();
    }
    EXPECT_EQ(2u, machine.calls().count(unregister)) << "the original unregisters at its end as well";
    EXPECT_EQ(0u, log.count("", 3) + log.count("", 4)) << log.dump();
    EXPECT_EQ(1u, referenceCount(notification));
}

}  // namespace

// The notification object on its own: its COM identity and counting, and what
// OnNotify does with the two callbacks.
#include <libSonvane/VolumeChangeNotification.h>

#include <COM/AtlComPtr.h>

#include <mmdeviceapi.h>

#include <gtest/gtest.h>

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

}  // namespace

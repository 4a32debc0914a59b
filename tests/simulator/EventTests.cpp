// Events reach the registered clients on the machine's own thread, in the
// order they were fired; machine edits are what later calls see.
#include "SimulatorTestSupport.h"

#include <atomic>
#include <cwchar>
#include <mutex>
#include <vector>

namespace simtests {
namespace {

// Records what it is told, with the thread it was told on.
class RecordingClient : public IMMNotificationClient, public IAudioEndpointVolumeCallback {
public:
    struct Event {
        std::wstring what;
        DWORD thread;
    };

    std::vector<Event> events() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }
    ULONG references() const { return m_references; }
    AUDIO_VOLUME_NOTIFICATION_DATA lastVolume() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_volume;
    }
    std::vector<float> lastChannels() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_channels;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_IUnknown || iid == __uuidof(IMMNotificationClient))
            *out = static_cast<IMMNotificationClient*>(this);
        else if (iid == __uuidof(IAudioEndpointVolumeCallback))
            *out = static_cast<IAudioEndpointVolumeCallback*>(this);
        else
            return *out = nullptr, E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }

    HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR id, DWORD state) override {
        return note(L"state " + std::wstring(id) + L" " + std::to_wstring(state));
    }
    HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR id) override { return note(L"added " + std::wstring(id)); }
    HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR id) override { return note(L"removed " + std::wstring(id)); }
    HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow flow, ERole role, LPCWSTR id) override {
        return note(L"default " + std::to_wstring(flow) + L" " + std::to_wstring(role) + L" " + std::wstring(id));
    }
    HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR id, const PROPERTYKEY key) override {
        return note(L"property " + std::wstring(id) + L" " + audiosim::propertyKeyName(key));
    }
    HRESULT STDMETHODCALLTYPE OnNotify(AUDIO_VOLUME_NOTIFICATION_DATA* data) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_volume = *data;
        m_channels.assign(data->afChannelVolumes, data->afChannelVolumes + data->nChannels);
        m_events.push_back({L"volume", GetCurrentThreadId()});
        return S_OK;
    }

private:
    HRESULT note(std::wstring what) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back({std::move(what), GetCurrentThreadId()});
        return S_OK;
    }

    std::atomic<ULONG> m_references{1};
    std::mutex m_mutex;
    std::vector<Event> m_events;
    AUDIO_VOLUME_NOTIFICATION_DATA m_volume{};
    std::vector<float> m_channels;
};

std::vector<std::wstring> whats(const std::vector<RecordingClient::Event>& events) {
    std::vector<std::wstring> result;
    for (const auto& event : events)
        result.push_back(event.what);
    return result;
}

class EventTest : public ComTest {};

std::string narrowId(const wchar_t* id) {
    return std::string(id, id + std::wcslen(id));
}

TEST_F(EventTest, ClientsHearEveryEventInOrderOnTheMachinesThread) {
    audiosim::Machine machine = laptop();
    RecordingClient client;
    ATL::CComPtr<IMMDeviceEnumerator> devices = enumerator(machine);
    ASSERT_EQ(S_OK, devices->RegisterEndpointNotificationCallback(&client));
    EXPECT_EQ(2u, client.references());

    machine.fireStateChanged(comboMicId, DEVICE_STATE_ACTIVE);
    machine.fireDefaultChanged(eCapture, eCommunications, comboMicId);
    machine.firePropertyChanged(speakersId, audiosim::propertyKey(L"PKEY_Device_FriendlyName"));
    machine.fireDeviceRemoved(hdmiId);
    machine.fireDeviceAdded(hdmiId);
    machine.flushEvents();

    const auto events = client.events();
    EXPECT_EQ((std::vector<std::wstring>{
                  std::wstring(L"state ") + comboMicId + L" 1",
                  std::wstring(L"default 1 2 ") + comboMicId,
                  std::wstring(L"property ") + speakersId + L" PKEY_Device_FriendlyName",
                  std::wstring(L"removed ") + hdmiId,
                  std::wstring(L"added ") + hdmiId,
              }),
              whats(events));
    for (const auto& event : events) {
        EXPECT_NE(GetCurrentThreadId(), event.thread);
        EXPECT_EQ(machine.eventThreadId(), event.thread);
    }

    // The state and the default changed with their events.
    DWORD state = 0;
    device(machine, comboMicId)->GetState(&state);
    EXPECT_EQ(static_cast<DWORD>(DEVICE_STATE_ACTIVE), state);
    ATL::CComPtr<IMMDevice> communications;
    ASSERT_EQ(S_OK, devices->GetDefaultAudioEndpoint(eCapture, eCommunications, &communications));
    LPWSTR id = nullptr;
    communications->GetId(&id);
    EXPECT_EQ(comboMicId, take(id));

    ASSERT_EQ(S_OK, devices->UnregisterEndpointNotificationCallback(&client));
    EXPECT_EQ(1u, client.references());
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NOT_FOUND), devices->UnregisterEndpointNotificationCallback(&client));
    machine.fireDeviceAdded(hdmiId);
    machine.flushEvents();
    EXPECT_EQ(5u, client.events().size());
}

TEST_F(EventTest, ADeviceAddedToTheMachineCanBeAnnouncedAndARemovedOneIsGone) {
    audiosim::Machine machine = laptop();
    RecordingClient client;
    ATL::CComPtr<IMMDeviceEnumerator> devices = enumerator(machine);
    devices->RegisterEndpointNotificationCallback(&client);

    const std::wstring headsetId = L"{0.0.0.00000000}.{0d0e0a0d-0000-4000-8000-00000000beef}";
    audiosim::Device headset;
    headset.id = headsetId;
    headset.flow = eRender;
    headset.set(L"PKEY_Device_DeviceDesc", audiosim::PropertyValue::string(L"Headset Earphone"));
    machine.addDevice(headset);
    machine.fireDeviceAdded(headsetId);
    machine.flushEvents();
    EXPECT_EQ(std::vector<std::wstring>{L"added " + headsetId}, whats(client.events()));
    ATL::CComPtr<IMMDevice> added;
    EXPECT_EQ(S_OK, devices->GetDevice(headsetId.c_str(), &added));

    // Ids are found without regard to case, as the system finds them.
    ATL::CComPtr<IMMDevice> upper;
    EXPECT_EQ(S_OK, devices->GetDevice(L"{0.0.0.00000000}.{0D0E0A0D-0000-4000-8000-00000000BEEF}", &upper));

    machine.removeDevice(headsetId);
    ATL::CComPtr<IMMDevice> removed;
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NOT_FOUND), devices->GetDevice(headsetId.c_str(), &removed));
    DWORD state = 0;
    added->GetState(&state);
    EXPECT_EQ(static_cast<DWORD>(DEVICE_STATE_NOTPRESENT), state);
    devices->UnregisterEndpointNotificationCallback(&client);
}

TEST_F(EventTest, AScriptEditsTheMachineAndFiresItsEventsInOrder) {
    audiosim::Machine machine = laptop();
    RecordingClient client;
    enumerator(machine)->RegisterEndpointNotificationCallback(&client);
    machine.runScript(std::string(R"([
        {"do": "addEndpoint", "device": {"id": "{0.0.1.00000000}.{00000000-0000-4000-8000-0000000000c1}", "flow": "capture",
                                         "state": "unplugged"}},
        {"do": "fireDeviceAdded", "id": "{0.0.1.00000000}.{00000000-0000-4000-8000-0000000000c1}"},
        {"do": "fireStateChanged", "id": "{0.0.1.00000000}.{00000000-0000-4000-8000-0000000000c1}", "state": "active"},
        {"do": "setEndpointVolume", "id": ")") + narrowId(speakersId) + R"(", "level": -30},
        {"do": "flushEvents"}])",
                      "plug.json");
    EXPECT_EQ((std::vector<std::wstring>{L"added {0.0.1.00000000}.{00000000-0000-4000-8000-0000000000c1}",
                                         L"state {0.0.1.00000000}.{00000000-0000-4000-8000-0000000000c1} 1"}),
              whats(client.events()));
    EXPECT_FLOAT_EQ(-30.0f, machine.endpointVolume(speakersId).masterDb());

    // A step that does not fit the machine names itself; a bad script runs nothing.
    try {
        machine.runScript(R"([{"do": "flushEvents"}, {"do": "setState", "id": "nobody", "state": "active"}])", "bad.json");
        ADD_FAILURE() << "ran";
    } catch (const audiosim::DescriptionError& error) {
        EXPECT_EQ("/1", error.place());
    }
    try {
        machine.runScript(R"([{"do": "fireDeviceRemoved", "id": "x"}, {"do": "unplug"}])", "bad.json");
        ADD_FAILURE() << "ran";
    } catch (const audiosim::DescriptionError& error) {
        EXPECT_EQ("/1/do", error.place());
    }
    // A level the volume cannot take is told with what it can take.
    try {
        machine.runScript(std::string(R"([{"do": "setEndpointVolume", "id": ")") + narrowId(speakersId) +
                              R"(", "level": -3, "channel": 7}])",
                          "bad.json");
        ADD_FAILURE() << "ran";
    } catch (const audiosim::DescriptionError& error) {
        EXPECT_NE(std::string::npos, error.reason().find("2 channels (from 0) and levels from -65.25 to 0 dB")) << error.what();
    }
    machine.flushEvents();
    EXPECT_EQ(2u, client.events().size());
    enumerator(machine)->UnregisterEndpointNotificationCallback(&client);
}

TEST_F(EventTest, VolumeCallbacksHearChangesFromTheLibraryAndFromTheMachine) {
    audiosim::Machine machine = laptop();
    RecordingClient callback;
    ATL::CComPtr<IAudioEndpointVolume> volume;
    device(machine, speakersId)->Activate(__uuidof(IAudioEndpointVolume), CLSCTX_ALL, nullptr,
                                          reinterpret_cast<void**>(&volume));
    ASSERT_EQ(S_OK, volume->RegisterControlChangeNotify(&callback));

    const GUID context = {0x12345678, 0x1, 0x2, {1, 2, 3, 4, 5, 6, 7, 8}};
    ASSERT_EQ(S_OK, volume->SetMasterVolumeLevelScalar(0.5f, &context));
    machine.flushEvents();
    ASSERT_EQ(1u, callback.events().size());
    EXPECT_EQ(machine.eventThreadId(), callback.events()[0].thread);
    EXPECT_TRUE(IsEqualGUID(context, callback.lastVolume().guidEventContext));
    EXPECT_FLOAT_EQ(0.5f, callback.lastVolume().fMasterVolume);
    EXPECT_EQ((std::vector<float>{0.5f, 0.5f}), callback.lastChannels());

    machine.setEndpointMute(speakersId, true);
    machine.setEndpointChannelVolume(speakersId, 1, -65.25f);
    machine.flushEvents();
    ASSERT_EQ(3u, callback.events().size());
    EXPECT_TRUE(callback.lastVolume().bMuted);
    EXPECT_TRUE(IsEqualGUID(GUID{}, callback.lastVolume().guidEventContext));
    EXPECT_EQ((std::vector<float>{0.5f, 0.0f}), callback.lastChannels());

    // A refused change tells nobody; after unregistering nothing is told.
    EXPECT_EQ(E_INVALIDARG, volume->SetMasterVolumeLevel(3.0f, nullptr));
    ASSERT_EQ(S_OK, volume->UnregisterControlChangeNotify(&callback));
    volume->SetMute(FALSE, nullptr);
    machine.flushEvents();
    EXPECT_EQ(3u, callback.events().size());
    EXPECT_EQ(1u, callback.references());
}

}  // namespace
}  // namespace simtests

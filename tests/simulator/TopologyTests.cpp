// Device topologies of the laptop: connections across topologies, links and
// signal paths inside one, and the controls that parts answer.
#include "SimulatorTestSupport.h"

#include <atomic>

namespace simtests {
namespace {

class TopologyTest : public ComTest {};

// Counts the control changes it hears and remembers the thread and context.
class ControlListener : public IControlChangeNotify {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (iid != IID_IUnknown && iid != __uuidof(IControlChangeNotify))
            return *out = nullptr, E_NOINTERFACE;
        *out = this;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE OnNotify(DWORD, LPCGUID context) override {
        ++calls;
        thread = GetCurrentThreadId();
        hadContext = context != nullptr;
        return S_OK;
    }
    std::atomic<ULONG> references{1};
    std::atomic<int> calls{0};
    std::atomic<DWORD> thread{0};
    std::atomic<bool> hadContext{false};
};

std::vector<std::wstring> names(IPartsList* list) {
    std::vector<std::wstring> result;
    UINT count = 0;
    list->GetCount(&count);
    for (UINT i = 0; i < count; ++i) {
        ATL::CComPtr<IPart> node;
        list->GetPart(i, &node);
        result.push_back(partName(node));
    }
    return result;
}

TEST_F(TopologyTest, AnEndpointsConnectorLeadsToTheCodecAndItsNodeType) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IDeviceTopology> graph = topology(machine, speakersId);
    UINT count = 0;
    graph->GetConnectorCount(&count);
    ASSERT_EQ(1u, count);
    ATL::CComPtr<IConnector> connector;
    ASSERT_EQ(S_OK, graph->GetConnector(0, &connector));
    ATL::CComPtr<IConnector> beyond;
    EXPECT_EQ(E_INVALIDARG, graph->GetConnector(1, &beyond));

    BOOL connected = FALSE;
    connector->IsConnected(&connected);
    EXPECT_TRUE(connected);
    LPWSTR farDevice = nullptr;
    ASSERT_EQ(S_OK, connector->GetDeviceIdConnectedTo(&farDevice));
    EXPECT_EQ(codecTopologyId, take(farDevice));
    LPWSTR farConnector = nullptr;
    ASSERT_EQ(S_OK, connector->GetConnectorIdConnectedTo(&farConnector));
    EXPECT_EQ(std::wstring(codecTopologyId) + L"/00010001", take(farConnector));

    ATL::CComPtr<IConnector> codecSide;
    ASSERT_EQ(S_OK, connector->GetConnectedTo(&codecSide));
    ATL::CComPtr<IPart> speaker;
    ASSERT_EQ(S_OK, codecSide->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&speaker)));
    GUID subType{};
    speaker->GetSubType(&subType);
    EXPECT_TRUE(IsEqualGUID(audiosim::nodeType(L"KSNODETYPE_SPEAKER"), subType));
    // And back again.
    ATL::CComPtr<IConnector> endpointSide;
    ASSERT_EQ(S_OK, codecSide->GetConnectedTo(&endpointSide));
    LPWSTR back = nullptr;
    endpointSide->GetDeviceIdConnectedTo(&back);
    EXPECT_EQ(codecTopologyId, take(back));

    // The codec is a device of its own, found by its id, with an instance
    // id and no endpoint interface.
    ATL::CComPtr<IMMDevice> codec = device(machine, codecTopologyId);
    ASSERT_NE(nullptr, codec.p);
    ATL::CComPtr<IPropertyStore> store;
    codec->OpenPropertyStore(STGM_READ, &store);
    PROPVARIANT instance;
    ASSERT_EQ(S_OK, store->GetValue(audiosim::propertyKey(L"DEVPKEY_Device_InstanceId"), &instance));
    EXPECT_STREQ(codecInstanceId, instance.pwszVal);
    PropVariantClear(&instance);
    ATL::CComPtr<IMMEndpoint> notAnEndpoint;
    EXPECT_EQ(E_NOINTERFACE, codec->QueryInterface(__uuidof(IMMEndpoint), reinterpret_cast<void**>(&notAnEndpoint)));
    ATL::CComPtr<IMMDeviceCollection> all;
    enumerator(machine)->EnumAudioEndpoints(eAll, DEVICE_STATEMASK_ALL, &all);
    all->GetCount(&count);
    EXPECT_EQ(5u, count);
}

TEST_F(TopologyTest, AnUnpluggedEndpointsConnectorIsNotConnected) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IConnector> connector;
    topology(machine, comboMicId)->GetConnector(0, &connector);
    BOOL connected = TRUE;
    connector->IsConnected(&connected);
    EXPECT_FALSE(connected);
    ATL::CComPtr<IConnector> farSide;
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NOT_FOUND), connector->GetConnectedTo(&farSide));
    EXPECT_EQ(nullptr, farSide.p);

    machine.setState(comboMicId, DEVICE_STATE_ACTIVE);
    EXPECT_EQ(S_OK, connector->GetConnectedTo(&farSide));
}

TEST_F(TopologyTest, LinksGiveNeighboursAndSignalPathsInTheirDirectionOnly) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IDeviceTopology> codec = topology(machine, codecTopologyId);
    ATL::CComPtr<IPart> renderInput = part(machine, codecTopologyId, L"Render Input");
    ATL::CComPtr<IPart> speaker = part(machine, codecTopologyId, L"Speaker");
    ATL::CComPtr<IPart> headphone = part(machine, codecTopologyId, L"Headphone");
    ATL::CComPtr<IPart> masterMute = part(machine, codecTopologyId, L"Master Mute");

    ATL::CComPtr<IPartsList> path;
    ASSERT_EQ(S_OK, codec->GetSignalPath(renderInput, speaker, TRUE, &path));
    EXPECT_EQ((std::vector<std::wstring>{L"Render Input", L"Master Volume", L"Master Mute", L"Speaker Mute",
                                         L"Speaker Volume", L"Speaker"}),
              names(path));
    path.Release();
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NOT_FOUND), codec->GetSignalPath(speaker, renderInput, TRUE, &path));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NOT_FOUND), codec->GetSignalPath(speaker, headphone, TRUE, &path));
    // Parts of another topology are no path of this one.
    ATL::CComPtr<IPart> dac = part(machine, codecWaveId, L"DAC");
    EXPECT_EQ(E_INVALIDARG, codec->GetSignalPath(dac, speaker, TRUE, &path));
    EXPECT_EQ(nullptr, path.p);

    ATL::CComPtr<IPartsList> outgoing;
    ASSERT_EQ(S_OK, masterMute->EnumPartsOutgoing(&outgoing));
    EXPECT_EQ((std::vector<std::wstring>{L"Speaker Mute", L"Headphone Mute"}), names(outgoing));
    ATL::CComPtr<IPartsList> incoming;
    ASSERT_EQ(S_OK, speaker->EnumPartsIncoming(&incoming));
    EXPECT_EQ(std::vector<std::wstring>{L"Speaker Volume"}, names(incoming));
    ATL::CComPtr<IPartsList> none;
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NOT_FOUND), renderInput->EnumPartsIncoming(&none));
    EXPECT_EQ(nullptr, none.p);

    // A part knows its topology, and the topology finds it by local id.
    ATL::CComPtr<IDeviceTopology> owner;
#if defined(__MINGW32__)
    ASSERT_EQ(S_OK, speaker->GetTopologyObjects(&owner));
#else
    ASSERT_EQ(S_OK, speaker->GetTopologyObject(&owner));
#endif
    LPWSTR ownerId = nullptr;
    owner->GetDeviceId(&ownerId);
    EXPECT_EQ(codecTopologyId, take(ownerId));
    UINT localId = 0;
    speaker->GetLocalId(&localId);
    ATL::CComPtr<IPart> again;
    ASSERT_EQ(S_OK, owner->GetPartById(localId, &again));
    EXPECT_EQ(L"Speaker", partName(again));
    PartType type = Subunit;
    speaker->GetPartType(&type);
    EXPECT_EQ(Connector, type);
    ATL::CComPtr<ISubunit> notASubunit;
    EXPECT_EQ(E_NOINTERFACE, speaker->QueryInterface(__uuidof(ISubunit), reinterpret_cast<void**>(&notASubunit)));
}

TEST_F(TopologyTest, PartsAnswerTheControlsTheDescriptionGivesThem) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IPart> headphone = part(machine, codecTopologyId, L"Headphone");
    ATL::CComPtr<IKsJackDescription> jack = activate<IKsJackDescription>(headphone);
    ASSERT_NE(nullptr, jack.p);
    UINT jacks = 0;
    jack->GetJackCount(&jacks);
    ASSERT_EQ(1u, jacks);
    KSJACK_DESCRIPTION description{};
    ASSERT_EQ(S_OK, jack->GetJackDescription(0, &description));
    EXPECT_EQ(eConnType3Point5mm, description.ConnectionType);
    EXPECT_EQ(0x00FF00u, description.Color);
    EXPECT_EQ(E_INVALIDARG, jack->GetJackDescription(1, &description));
    EXPECT_EQ(nullptr, activate<IAudioVolumeLevel>(headphone).p);

    // Levels snap up to the next step and stop at the ends of the range.
    ATL::CComPtr<IPart> volumeNode = part(machine, codecTopologyId, L"Headphone Volume");
    ATL::CComPtr<IAudioVolumeLevel> level = activate<IAudioVolumeLevel>(volumeNode);
    float minDb = 0, maxDb = 0, stepDb = 0;
    level->GetLevelRange(0, &minDb, &maxDb, &stepDb);
    EXPECT_FLOAT_EQ(-46.5f, minDb);
    EXPECT_FLOAT_EQ(1.5f, stepDb);
    ASSERT_EQ(S_OK, level->SetLevel(1, -10.2f, nullptr));
    float db = 0;
    level->GetLevel(1, &db);
    EXPECT_FLOAT_EQ(-9.0f, db);
    level->SetLevelUniform(-80.0f, nullptr);
    level->GetLevel(0, &db);
    EXPECT_FLOAT_EQ(-46.5f, db);
    EXPECT_EQ(E_INVALIDARG, level->SetLevel(2, 0.0f, nullptr));
    EXPECT_FLOAT_EQ(-46.5f, machine.part(std::wstring(codecTopologyId) + L"/00020005").volume->levelsDb[1]);

    ATL::CComPtr<IAudioMute> mute = activate<IAudioMute>(part(machine, codecTopologyId, L"Headphone Mute"));
    mute->SetMute(TRUE, nullptr);
    BOOL muted = FALSE;
    activate<IAudioMute>(part(machine, codecTopologyId, L"Headphone Mute"))->GetMute(&muted);
    EXPECT_TRUE(muted);

    // The selector chooses among the parts linked into it, by local id.
    ATL::CComPtr<IAudioInputSelector> selector = activate<IAudioInputSelector>(part(machine, codecTopologyId, L"Input Select"));
    UINT selected = 0;
    selector->GetSelection(&selected);
    EXPECT_EQ(0x00010003u, selected);
    EXPECT_EQ(S_OK, selector->SetSelection(0x00010004, nullptr));
    selector->GetSelection(&selected);
    EXPECT_EQ(0x00010004u, selected);
    EXPECT_EQ(E_INVALIDARG, selector->SetSelection(0x00010001, nullptr));

    // Whoever registered on the part hears its changes on the event thread.
    ControlListener listener;
    ASSERT_EQ(S_OK, volumeNode->RegisterControlChangeCallback(__uuidof(IAudioVolumeLevel), &listener));
    const GUID context = {0xabcdef01, 0x2, 0x3, {4, 5, 6, 7, 8, 9, 10, 11}};
    level->SetLevel(0, -3.0f, &context);
    machine.flushEvents();
    EXPECT_EQ(1, listener.calls.load());
    EXPECT_TRUE(listener.hadContext.load());
    EXPECT_EQ(machine.eventThreadId(), listener.thread.load());
    ASSERT_EQ(S_OK, volumeNode->UnregisterControlChangeCallback(&listener));
    level->SetLevel(0, -6.0f, nullptr);
    machine.flushEvents();
    EXPECT_EQ(1, listener.calls.load());
    EXPECT_EQ(1u, listener.references.load());

    UINT controls = 0;
    volumeNode->GetControlInterfaceCount(&controls);
    EXPECT_EQ(1u, controls);
    ATL::CComPtr<IControlInterface> control;
    ASSERT_EQ(S_OK, volumeNode->GetControlInterface(0, &control));
    IID iid{};
    control->GetIID(&iid);
    EXPECT_TRUE(IsEqualGUID(__uuidof(IAudioVolumeLevel), iid));
}

}  // namespace
}  // namespace simtests

// Reference counting of the simulated objects and the live-object report
// that tests of the library use to find leaks and kept references.
#include "SimulatorTestSupport.h"

#include <strmif.h>

namespace simtests {
namespace {

class ReferenceTest : public ComTest {};

// AddRef and Release answer the new count, and QueryInterface for an
// interface of the same object counts on that object.
void expectCounted(audiosim::Machine& machine, IUnknown* object, const std::wstring& name) {
    SCOPED_TRACE(std::string(name.begin(), name.end()));
    const ULONG before = machine.liveReferences(name);
    ASSERT_GE(before, 1u);
    EXPECT_EQ(2u, object->AddRef());
    EXPECT_EQ(before + 1, machine.liveReferences(name));
    ATL::CComPtr<IUnknown> unknown;
    ASSERT_EQ(S_OK, object->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)));
    EXPECT_EQ(before + 2, machine.liveReferences(name));
    unknown.Release();
    EXPECT_EQ(1u, object->Release());
    EXPECT_EQ(before, machine.liveReferences(name));
}

TEST_F(ReferenceTest, EveryKindOfObjectCountsItsReferencesAndNoneLeaks) {
    audiosim::Machine machine = laptop();
    const std::wstring speakerPart = std::wstring(codecTopologyId) + L"/00010001";
    {
        ATL::CComPtr<IMMDeviceEnumerator> devices = enumerator(machine);
        expectCounted(machine, devices, L"IMMDeviceEnumerator");

        ATL::CComPtr<IMMDeviceCollection> all;
        devices->EnumAudioEndpoints(eAll, DEVICE_STATEMASK_ALL, &all);
        expectCounted(machine, all, L"IMMDeviceCollection eAll 15");

        ATL::CComPtr<IMMDevice> speakers;
        all->Item(0, &speakers);
        expectCounted(machine, speakers, std::wstring(L"IMMDevice ") + speakersId);

        ATL::CComPtr<IPropertyStore> store;
        speakers->OpenPropertyStore(STGM_READ, &store);
        expectCounted(machine, store, std::wstring(L"IPropertyStore ") + speakersId);

        ATL::CComPtr<IAudioEndpointVolume> volume;
        speakers->Activate(__uuidof(IAudioEndpointVolume), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&volume));
        expectCounted(machine, volume, std::wstring(L"IAudioEndpointVolume ") + speakersId);

        ATL::CComPtr<IBaseFilter> filter;
        speakers->Activate(__uuidof(IBaseFilter), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&filter));
        expectCounted(machine, filter, std::wstring(L"IBaseFilter ") + speakersId);

        ATL::CComPtr<IDeviceTopology> graph = topology(machine, codecTopologyId);
        expectCounted(machine, graph, std::wstring(L"IDeviceTopology ") + codecTopologyId);

        ATL::CComPtr<IConnector> connector;
        graph->GetConnector(1, &connector);
        expectCounted(machine, connector, L"IPart " + speakerPart);

        ATL::CComPtr<IPart> speakerNode;
        connector->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&speakerNode));
        ATL::CComPtr<IPartsList> incoming;
        speakerNode->EnumPartsIncoming(&incoming);
        expectCounted(machine, incoming, L"IPartsList " + speakerPart + L" incoming");

        ATL::CComPtr<IKsJackDescription> jack = activate<IKsJackDescription>(speakerNode);
        expectCounted(machine, jack, L"IKsJackDescription " + speakerPart);

        ATL::CComPtr<IControlInterface> control;
        speakerNode->GetControlInterface(0, &control);
        expectCounted(machine, control, L"IControlInterface " + speakerPart + L" IID_IKsJackDescription");

        ATL::CComPtr<IPart> volumeNode = part(machine, codecTopologyId, L"Master Volume");
        expectCounted(machine, activate<IAudioVolumeLevel>(volumeNode),
                      L"IAudioVolumeLevel " + std::wstring(codecTopologyId) + L"/00020000");
        ATL::CComPtr<IPart> muteNode = part(machine, codecTopologyId, L"Master Mute");
        expectCounted(machine, activate<IAudioMute>(muteNode),
                      L"IAudioMute " + std::wstring(codecTopologyId) + L"/00020001");
        ATL::CComPtr<IPart> selectorNode = part(machine, codecTopologyId, L"Input Select");
        expectCounted(machine, activate<IAudioInputSelector>(selectorNode),
                      L"IAudioInputSelector " + std::wstring(codecTopologyId) + L"/00020006");
        EXPECT_GT(machine.totalLiveReferences(), 0u);
    }
    EXPECT_EQ(0u, machine.totalLiveReferences());
    EXPECT_TRUE(machine.liveObjects().empty());
}

TEST_F(ReferenceTest, TheReportSumsTheObjectsThatShareANameAndActivationHandsOutOneReference) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IMMDevice> first = device(machine, speakersId);
    ATL::CComPtr<IMMDevice> second = device(machine, speakersId);
    ATL::CComPtr<IMMDevice> other = device(machine, micArrayId);
    const std::wstring name = std::wstring(L"IMMDevice ") + speakersId;
    EXPECT_EQ(2u, machine.liveReferences(name));
    ATL::CComPtr<IDeviceTopology> graph;
    first->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&graph));
    EXPECT_EQ(1u, machine.liveReferences(std::wstring(L"IDeviceTopology ") + speakersId));

    bool listed = false;
    for (const audiosim::LiveObject& object : machine.liveObjects()) {
        if (object.name == name) {
            listed = true;
            EXPECT_EQ(2u, object.objects);
            EXPECT_EQ(2u, object.references);
        }
    }
    EXPECT_TRUE(listed);
    second.Release();
    EXPECT_EQ(1u, machine.liveReferences(name));
    EXPECT_EQ(0u, machine.liveReferences(L"IMMDevice no such device"));
}

TEST_F(ReferenceTest, ObjectsKeptForGoodStayUsableAfterTheMachineIsGone) {
    ATL::CComPtr<IMMDevice> kept;
    {
        audiosim::Machine machine = laptop();
        kept = device(machine, speakersId);
    }
    LPWSTR id = nullptr;
    ASSERT_EQ(S_OK, kept->GetId(&id));
    EXPECT_EQ(speakersId, take(id));
    ATL::CComPtr<IPropertyStore> store;
    EXPECT_EQ(S_OK, kept->OpenPropertyStore(STGM_READ, &store));
}

}  // namespace
}  // namespace simtests

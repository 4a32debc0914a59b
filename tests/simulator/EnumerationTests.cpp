// What the enumerator lists and which endpoint is the default.
#include "SimulatorTestSupport.h"

#include <thread>

namespace simtests {
namespace {

class EnumerationTest : public ComTest {};

std::vector<std::wstring> ids(IMMDeviceCollection* collection) {
    std::vector<std::wstring> result;
    UINT count = 0;
    collection->GetCount(&count);
    for (UINT i = 0; i < count; ++i) {
        ATL::CComPtr<IMMDevice> endpoint;
        collection->Item(i, &endpoint);
        LPWSTR id = nullptr;
        endpoint->GetId(&id);
        result.push_back(take(id));
    }
    return result;
}

std::vector<std::wstring> listed(audiosim::Machine& machine, EDataFlow flow, DWORD states) {
    ATL::CComPtr<IMMDeviceCollection> collection;
    EXPECT_EQ(S_OK, enumerator(machine)->EnumAudioEndpoints(flow, states, &collection));
    return collection ? ids(collection) : std::vector<std::wstring>{};
}

TEST_F(EnumerationTest, FlowAndStateMaskChooseTheEndpointsInDescriptionOrder) {
    audiosim::Machine machine = laptop();
    EXPECT_EQ((std::vector<std::wstring>{speakersId, headphonesId, hdmiId}), listed(machine, eRender, DEVICE_STATEMASK_ALL));
    EXPECT_EQ((std::vector<std::wstring>{micArrayId}), listed(machine, eCapture, DEVICE_STATE_ACTIVE));
    EXPECT_EQ((std::vector<std::wstring>{comboMicId}), listed(machine, eAll, DEVICE_STATE_UNPLUGGED));
    EXPECT_TRUE(listed(machine, eAll, DEVICE_STATE_DISABLED | DEVICE_STATE_NOTPRESENT).empty());

    ATL::CComPtr<IMMDeviceCollection> refused;
    EXPECT_EQ(E_INVALIDARG, enumerator(machine)->EnumAudioEndpoints(eAll, 0x10, &refused));
    EXPECT_EQ(E_INVALIDARG, enumerator(machine)->EnumAudioEndpoints(static_cast<EDataFlow>(3), 1, &refused));
    EXPECT_EQ(E_POINTER, enumerator(machine)->EnumAudioEndpoints(eAll, 1, nullptr));

    // A collection is a snapshot: a later state change does not move it.
    ATL::CComPtr<IMMDeviceCollection> active;
    enumerator(machine)->EnumAudioEndpoints(eCapture, DEVICE_STATE_ACTIVE, &active);
    machine.setState(comboMicId, DEVICE_STATE_ACTIVE);
    EXPECT_EQ((std::vector<std::wstring>{micArrayId}), ids(active));
    EXPECT_EQ((std::vector<std::wstring>{micArrayId, comboMicId}), listed(machine, eCapture, DEVICE_STATE_ACTIVE));
    ATL::CComPtr<IMMDevice> beyond;
    EXPECT_EQ(E_INVALIDARG, active->Item(1, &beyond));
}

std::wstring defaultOf(audiosim::Machine& machine, EDataFlow flow, ERole role, HRESULT expected = S_OK) {
    ATL::CComPtr<IMMDevice> endpoint;
    EXPECT_EQ(expected, enumerator(machine)->GetDefaultAudioEndpoint(flow, role, &endpoint));
    if (!endpoint)
        return L"";
    LPWSTR id = nullptr;
    endpoint->GetId(&id);
    return take(id);
}

TEST_F(EnumerationTest, DefaultsFollowTheDescriptionAndAreActiveEndpoints) {
    audiosim::Machine laptopMachine = laptop();
    EXPECT_EQ(speakersId, defaultOf(laptopMachine, eRender, eCommunications));
    EXPECT_EQ(micArrayId, defaultOf(laptopMachine, eCapture, eConsole));
    EXPECT_EQ(L"", defaultOf(laptopMachine, eAll, eConsole, E_INVALIDARG));
    // An unplugged default is no default.
    laptopMachine.setDefault(eCapture, eConsole, comboMicId);
    EXPECT_EQ(L"", defaultOf(laptopMachine, eCapture, eConsole, HRESULT_FROM_WIN32(ERROR_NOT_FOUND)));
    EXPECT_THROW(laptopMachine.setDefault(eRender, eConsole, comboMicId), std::invalid_argument);

    // The headset names defaults for communications only; the other roles
    // have none, while a flow without any default takes its first active
    // endpoint.
    audiosim::Machine headset = audiosim::Machine::fromFile(shippedMachineFile("usb-headset.json"));
    EXPECT_NE(L"", defaultOf(headset, eRender, eCommunications));
    EXPECT_EQ(L"", defaultOf(headset, eRender, eConsole, HRESULT_FROM_WIN32(ERROR_NOT_FOUND)));
    audiosim::Machine cable = audiosim::Machine::fromFile(shippedMachineFile("virtual.json"));
    EXPECT_EQ(L"{0.0.1.00000000}.{af4d5e60-7182-4394-a5b6-d7e8f90a1b2c}", defaultOf(cable, eCapture, eMultimedia));
}

TEST_F(EnumerationTest, ThreadsCallOneMachineAtOnce) {
    audiosim::Machine machine = laptop();
    const auto list = [&] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        for (int round = 0; round < 50; ++round) {
            ATL::CComPtr<IMMDevice> speakers = device(machine, speakersId);
            ATL::CComPtr<IPropertyStore> store;
            speakers->OpenPropertyStore(STGM_READ, &store);
            PROPVARIANT value;
            store->GetValue(audiosim::propertyKey(L"PKEY_Device_FriendlyName"), &value);
            PropVariantClear(&value);
            machine.setEndpointMute(speakersId, round % 2 == 0);
        }
        CoUninitialize();
    };
    std::thread first(list);
    std::thread second(list);
    first.join();
    second.join();
    machine.flushEvents();
    EXPECT_EQ(200u, machine.calls().count(L"IMMDeviceEnumerator::GetDevice") +
                        machine.calls().count(L"IMMDevice::OpenPropertyStore"));
    EXPECT_EQ(0u, machine.totalLiveReferences());
}

}  // namespace
}  // namespace simtests

// Injected failures: which calls they hit, what they do with the
// out-parameters, and how the call log records them.
#include "SimulatorTestSupport.h"

#include <stdexcept>

namespace simtests {
namespace {

using audiosim::Fault;
using audiosim::OutPointer;

class FaultTest : public ComTest {};

HRESULT openStore(audiosim::Machine& machine, const wchar_t* id, ATL::CComPtr<IPropertyStore>& store) {
    store.Release();
    return device(machine, id)->OpenPropertyStore(STGM_READ, &store);
}

TEST_F(FaultTest, AFaultOnOneObjectFailsEveryCallOfThatObjectOnly) {
    audiosim::Machine machine = laptop();
    const size_t fault = machine.faults().add(Fault::on(L"IMMDevice::OpenPropertyStore", E_ACCESSDENIED).at(micArrayId));
    ATL::CComPtr<IPropertyStore> store;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(E_ACCESSDENIED, openStore(machine, micArrayId, store));
        EXPECT_EQ(nullptr, store.p);
        EXPECT_EQ(S_OK, openStore(machine, speakersId, store));
        EXPECT_NE(nullptr, store.p);
    }
    EXPECT_EQ(3u, machine.faults().fired(fault));
    EXPECT_EQ(3u, machine.faults().matched(fault));

    const auto opens = machine.calls().of(L"IMMDevice::OpenPropertyStore");
    ASSERT_EQ(6u, opens.size());
    EXPECT_TRUE(opens[0].faulted);
    EXPECT_EQ(E_ACCESSDENIED, opens[0].result);
    EXPECT_EQ(std::wstring(L"IMMDevice ") + micArrayId, opens[0].object);
    EXPECT_EQ(L"0", opens[0].arguments);
    EXPECT_FALSE(opens[1].faulted);
    EXPECT_EQ(S_OK, opens[1].result);

    machine.faults().remove(fault);
    EXPECT_EQ(S_OK, openStore(machine, micArrayId, store));
}

TEST_F(FaultTest, TheWindowPicksTheNthCallOrTheFirstCalls) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IMMDevice> speakers = device(machine, speakersId);
    const auto results = [&](int calls) {
        std::vector<HRESULT> seen;
        for (int i = 0; i < calls; ++i) {
            DWORD state = 0;
            seen.push_back(speakers->GetState(&state));
        }
        return seen;
    };
    const size_t second = machine.faults().add(Fault::on(L"IMMDevice::GetState", E_FAIL).onCall(2));
    EXPECT_EQ((std::vector<HRESULT>{S_OK, E_FAIL, S_OK, S_OK}), results(4));
    machine.faults().remove(second);

    machine.faults().add(Fault::on(L"IMMDevice::GetState", E_OUTOFMEMORY).firstCalls(2));
    EXPECT_EQ((std::vector<HRESULT>{E_OUTOFMEMORY, E_OUTOFMEMORY, S_OK}), results(3));
    machine.faults().clear();

    // Calls 2 and 3; an earlier fault in the list wins over a later one.
    machine.faults().add(Fault::on(L"IMMDevice::GetState", E_UNEXPECTED).window(2, 2));
    machine.faults().add(Fault::on(L"IMMDevice::*", E_FAIL));
    EXPECT_EQ((std::vector<HRESULT>{E_FAIL, E_UNEXPECTED, E_UNEXPECTED, E_FAIL}), results(4));
}

TEST_F(FaultTest, AFailingCallLeavesItsOutPointerNullOrSetAsAsked) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IDeviceTopology> graph = topology(machine, speakersId);

    machine.faults().add(Fault::on(L"IDeviceTopology::GetDeviceId", E_FAIL).onCall(1));
    machine.faults().add(Fault::on(L"IDeviceTopology::GetDeviceId", E_FAIL).onCall(2).withOut(OutPointer::Set));
    LPWSTR id = reinterpret_cast<LPWSTR>(1);
    EXPECT_EQ(E_FAIL, graph->GetDeviceId(&id));
    EXPECT_EQ(nullptr, id);
    EXPECT_EQ(E_FAIL, graph->GetDeviceId(&id));
    EXPECT_EQ(speakersId, take(id));

    // With the out-pointer set, the object handed out is a counted one.
    machine.faults().add(Fault::on(L"IConnector::GetConnectedTo", E_FAIL).withOut(OutPointer::Set));
    ATL::CComPtr<IConnector> connector;
    graph->GetConnector(0, &connector);
    ATL::CComPtr<IConnector> farSide;
    EXPECT_EQ(E_FAIL, connector->GetConnectedTo(&farSide));
    ASSERT_NE(nullptr, farSide.p);
    EXPECT_EQ(1u, machine.liveReferences(std::wstring(L"IPart ") + codecTopologyId + L"/00010001"));

    // A value out is left as it was when the call does no work.
    machine.faults().add(Fault::on(L"IDeviceTopology::GetConnectorCount", E_FAIL));
    UINT count = 77;
    EXPECT_EQ(E_FAIL, graph->GetConnectorCount(&count));
    EXPECT_EQ(77u, count);
}

TEST_F(FaultTest, FaultsComeFromTheDescriptionAndUnknownMethodsAreRefused) {
    audiosim::Machine machine = audiosim::Machine::fromJson(R"({
      "endpoints": [{"id": "{0.0.0.00000000}.{00000000-0000-4000-8000-000000000001}", "flow": "render"}],
      "faults": [{"method": "IMMDeviceEnumerator::EnumAudioEndpoints", "result": "E_OUTOFMEMORY", "from": 2, "count": 1},
                 {"method": "IMMDevice::GetId", "object": "{0.0.0.00000000}.{00000000-0000-4000-8000-000000000001}",
                  "result": "0x88890004", "out": "set"}]})",
                                                             "faults.json");
    ATL::CComPtr<IMMDeviceEnumerator> devices = enumerator(machine);
    ATL::CComPtr<IMMDeviceCollection> all;
    EXPECT_EQ(S_OK, devices->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, &all));
    all.Release();
    EXPECT_EQ(E_OUTOFMEMORY, devices->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, &all));
    EXPECT_EQ(nullptr, all.p);
    EXPECT_EQ(S_OK, devices->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, &all));
    ATL::CComPtr<IMMDevice> endpoint;
    all->Item(0, &endpoint);
    LPWSTR id = nullptr;
    EXPECT_EQ(static_cast<HRESULT>(0x88890004), endpoint->GetId(&id));
    EXPECT_EQ(L"{0.0.0.00000000}.{00000000-0000-4000-8000-000000000001}", take(id));

    EXPECT_THROW(machine.faults().add(Fault::on(L"IMMDevice::OpenPropertyStor", E_FAIL)), std::invalid_argument);
    EXPECT_THROW(machine.faults().add(Fault::on(L"IMMDevices::*", E_FAIL)), std::invalid_argument);
    try {
        audiosim::Machine::fromJson(R"({"faults": [{"method": "IMMDevice::Open", "result": "E_FAIL"}]})", "typo.json");
        FAIL() << "a fault on an unknown method was accepted";
    } catch (const audiosim::DescriptionError& error) {
        EXPECT_EQ("/faults/0/method", error.place());
    }
}

}  // namespace
}  // namespace simtests

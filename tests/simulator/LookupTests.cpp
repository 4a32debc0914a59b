// The machine's lookups on a machine of many cards: devices by id in any
// case, the card's parent in the device tree, and the live-object report
// while thousands of objects come and go in any order.
#include "SimulatorTestSupport.h"

#include <audiosim/Cards.h>

#include <cwctype>
#include <vector>

namespace simtests {
namespace {

std::wstring upper(std::wstring text) {
    for (wchar_t& c : text)
        c = static_cast<wchar_t>(std::towupper(c));
    return text;
}

std::wstring lower(std::wstring text) {
    for (wchar_t& c : text)
        c = static_cast<wchar_t>(std::towlower(c));
    return text;
}

std::wstring deviceIdConnectedTo(IMMDevice* endpoint) {
    ATL::CComPtr<IDeviceTopology> graph;
    endpoint->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&graph));
    ATL::CComPtr<IConnector> connector;
    graph->GetConnector(0, &connector);
    LPWSTR id = nullptr;
    return SUCCEEDED(connector->GetDeviceIdConnectedTo(&id)) ? take(id) : L"none";
}

class LookupTest : public ComTest {};

TEST_F(LookupTest, EveryDeviceOfALargeMachineIsFoundByItsIdInAnyCaseAndLeadsToItsCard) {
    audiosim::Machine machine(audiosim::cardMachine(32));
    const audiosim::MachineDescription description = machine.description();
    ATL::CComPtr<IMMDeviceEnumerator> devices = enumerator(machine);
    ASSERT_EQ(32u * 9u, description.devices.size());

    std::vector<ATL::CComPtr<IMMDevice>> held;
    for (const audiosim::Device& expected : description.devices) {
        SCOPED_TRACE(expected.id);
        ATL::CComPtr<IMMDevice> found;
        ASSERT_EQ(S_OK, devices->GetDevice(upper(expected.id).c_str(), &found));
        LPWSTR id = nullptr;
        found->GetId(&id);
        EXPECT_EQ(expected.id, take(id));   // as described, not as asked
        if (expected.endpoint) {
            EXPECT_EQ(expected.topology->connectors[0].connectedTo->device, deviceIdConnectedTo(found));
        } else {
            const std::wstring instanceId = expected.find(audiosim::propertyKey(L"DEVPKEY_Device_InstanceId"))->text;
            std::wstring parent;
            EXPECT_TRUE(machine.parentInstanceId(lower(instanceId), parent));
            EXPECT_FALSE(parent.empty());
        }
        held.push_back(found);
    }
    ATL::CComPtr<IMMDevice> none;
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_NOT_FOUND), devices->GetDevice(L"{0.0.0.00000000}.{nowhere}", &none));

    // Every even device a second time; then the second objects and those of
    // the odd devices go, last first.
    const size_t count = description.devices.size();
    for (size_t i = 0; i < count; i += 2)
        held.push_back(device(machine, description.devices[i].id));
    const auto referencesOf = [&](size_t i) {
        return machine.liveReferences(L"IMMDevice " + description.devices[i].id);
    };
    EXPECT_EQ(2u, referencesOf(0));
    EXPECT_EQ(1u, referencesOf(1));
    for (size_t i = held.size(); i-- > 0;) {
        if (i >= count || i % 2 == 1)
            held[i].Release();
    }
    EXPECT_EQ(1u, referencesOf(0));
    EXPECT_EQ(0u, referencesOf(1));
    EXPECT_EQ(1u, referencesOf(count - 2));
    EXPECT_EQ(0u, referencesOf(count - 1));
    EXPECT_EQ(count / 2 + 1, machine.liveObjects().size());   // and the enumerator
    held.clear();
    devices.Release();
    EXPECT_EQ(0u, machine.totalLiveReferences());
    EXPECT_TRUE(machine.liveObjects().empty());
}

}  // namespace
}  // namespace simtests

#include "SimulatorTestSupport.h"

#include <cstdlib>

namespace simtests {

const wchar_t speakersId[] = L"{0.0.0.00000000}.{b3a4f7c2-5d1e-4a0b-9c3f-2e8d6a1b7c40}";
const wchar_t headphonesId[] = L"{0.0.0.00000000}.{4c8e2a91-73f0-4d5b-a6e2-9f1c0b3d8e51}";
const wchar_t hdmiId[] = L"{0.0.0.00000000}.{e17d5b3a-0c29-4f84-b1a6-7d3e9c2f0a62}";
const wchar_t micArrayId[] = L"{0.0.1.00000000}.{9a2b6c4d-1e0f-4a73-8b5c-3d6e7f8091a3}";
const wchar_t comboMicId[] = L"{0.0.1.00000000}.{2f5e8d1c-6b4a-4e39-9d7f-0a1b2c3d4e74}";
const wchar_t codecTopologyId[] =
    L"{2}.\\\\?\\hdaudio#func_01&ven_10ec&dev_0269&subsys_17aa21f6&rev_1002#4&2a0c1e7a&0&0001#"
    L"{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\etopo";
const wchar_t codecWaveId[] =
    L"{2}.\\\\?\\hdaudio#func_01&ven_10ec&dev_0269&subsys_17aa21f6&rev_1002#4&2a0c1e7a&0&0001#"
    L"{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\ewave";
const wchar_t codecInstanceId[] = L"HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269&SUBSYS_17AA21F6&REV_1002\\4&2A0C1E7A&0&0001";

std::string machineFile(const char* name) {
    const char* folder = std::getenv("SONVANE_SIM_MACHINES");
    return std::string(folder ? folder : "simulator/machines") + "/" + name;
}

audiosim::Machine laptop() {
    return audiosim::Machine::fromFile(machineFile("laptop.json"));
}

audiosim::Machine laptopHearingATone() {
    audiosim::MachineDescription description = laptop().description();
    description.find(micArrayId)->stream.captureSource = {audiosim::CaptureSource::Tone, 1000.0, 0.25, L""};
    return audiosim::Machine(description);
}

audiosim::InstallOptions selfTestOptions() {
    audiosim::InstallOptions options;
    options.recordFaultCoverage = false;
    return options;
}

ATL::CComPtr<IMMDeviceEnumerator> enumerator(audiosim::Machine& machine) {
    ATL::CComPtr<IMMDeviceEnumerator> result;
    machine.createEnumerator(__uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&result));
    return result;
}

ATL::CComPtr<IMMDevice> device(audiosim::Machine& machine, const std::wstring& id) {
    ATL::CComPtr<IMMDevice> result;
    enumerator(machine)->GetDevice(id.c_str(), &result);
    return result;
}

ATL::CComPtr<IDeviceTopology> topology(audiosim::Machine& machine, const std::wstring& id) {
    ATL::CComPtr<IDeviceTopology> result;
    device(machine, id)->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&result));
    return result;
}

ATL::CComPtr<IPart> part(audiosim::Machine& machine, const std::wstring& deviceId, const std::wstring& name) {
    ATL::CComPtr<IDeviceTopology> graph = topology(machine, deviceId);
    UINT connectors = 0;
    UINT subunits = 0;
    graph->GetConnectorCount(&connectors);
    graph->GetSubunitCount(&subunits);
    for (UINT i = 0; i < connectors + subunits; ++i) {
        ATL::CComPtr<IUnknown> node;
        if (i < connectors)
            graph->GetConnector(i, reinterpret_cast<IConnector**>(&node));
        else
            graph->GetSubunit(i - connectors, reinterpret_cast<ISubunit**>(&node));
        ATL::CComPtr<IPart> candidate;
        node->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&candidate));
        if (partName(candidate) == name)
            return candidate;
    }
    return {};
}

std::wstring partName(IPart* part) {
    LPWSTR name = nullptr;
    part->GetName(&name);
    return take(name);
}

std::wstring take(LPWSTR text) {
    std::wstring result = text ? text : L"";
    CoTaskMemFree(text);
    return result;
}

}  // namespace simtests

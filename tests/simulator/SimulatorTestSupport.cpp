#include "SimulatorTestSupport.h"

namespace simtests {

audiosim::Machine laptop() {
    return audiosim::Machine::fromFile(shippedMachineFile("laptop.json"));
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

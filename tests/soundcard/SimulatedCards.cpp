#include "SimulatedCards.h"

#include <ProcessEnumerator.h>

namespace soundcard {

wchar_t const kPathKey[] = L"{B3F8FA53-0004-438E-9003-51A46E139BFC},2";

void SimulatedCards::SetUp() {
    CoInitialize(nullptr);
}

void SimulatedCards::TearDown() {
    forgetProcessEnumerator();
    m_installation.reset();
    m_machine.reset();
    CoUninitialize();
}

audiosim::Machine& SimulatedCards::install(audiosim::Machine machine) {
    forgetProcessEnumerator();
    m_installation.reset();
    m_machine = std::make_unique<audiosim::Machine>(std::move(machine));
    m_installation = std::make_unique<audiosim::Installation>(*m_machine);
    return *m_machine;
}

audiosim::Machine& SimulatedCards::installShipped(std::string const& fileName) {
    return install(audiosim::Machine::fromFile(shippedMachineFile(fileName)));
}

SoundCard SimulatedCards::card(orv::Array<SoundCard> const& cards, std::wstring const& path) {
    for (SoundCard const& candidate : cards) {
        if (text(candidate.deviceId()) == path) {
            return candidate;
        }
    }
    ADD_FAILURE() << "no card with the path " << orv::String(path.c_str()).toUtf8();
    return SoundCard();
}

AudioDevice SimulatedCards::endpoint(std::wstring const& id) {
    return AudioDevice(orv::String(id.c_str()));
}

std::vector<std::wstring> SimulatedCards::partsCalled(std::wstring const& method, std::wstring const& argument,
                                                      bool connectorsOnly) {
    std::wstring const prefix = L"IPart ";
    std::vector<std::wstring> names;
    for (audiosim::CallRecord const& call : m_machine->calls().of(method)) {
        if (call.arguments.find(argument) == std::wstring::npos || call.object.compare(0, prefix.size(), prefix)) {
            continue;
        }
        audiosim::Part const part = m_machine->part(call.object.substr(prefix.size()));
        if (!connectorsOnly || part.type == Connector) {
            names.push_back(part.name);
        }
    }
    return names;
}

audiosim::Device& addEndpoint(audiosim::MachineDescription& description, EDataFlow flow, std::wstring const& id,
                              std::wstring const& path) {
    audiosim::Device& device = description.addEndpoint(flow, id);
    device.set(kPathKey, audiosim::PropertyValue::string(path));
    device.set(L"PKEY_Device_DeviceDesc", audiosim::PropertyValue::string(id));
    return device;
}

}  // namespace soundcard

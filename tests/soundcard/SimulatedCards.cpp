#include "SimulatedCards.h"

#include <ProcessEnumerator.h>

#include <cstdlib>

namespace soundcard {

wchar_t const kPathKey[] = L"{B3F8FA53-0004-438E-9003-51A46E139BFC},2";

wchar_t const kSpeakers[] = L"{0.0.0.00000000}.{b3a4f7c2-5d1e-4a0b-9c3f-2e8d6a1b7c40}";
wchar_t const kHeadphones[] = L"{0.0.0.00000000}.{4c8e2a91-73f0-4d5b-a6e2-9f1c0b3d8e51}";
wchar_t const kDigitalOutput[] = L"{0.0.0.00000000}.{e17d5b3a-0c29-4f84-b1a6-7d3e9c2f0a62}";
wchar_t const kMicrophoneArray[] = L"{0.0.1.00000000}.{9a2b6c4d-1e0f-4a73-8b5c-3d6e7f8091a3}";
wchar_t const kMicrophone[] = L"{0.0.1.00000000}.{2f5e8d1c-6b4a-4e39-9d7f-0a1b2c3d4e74}";
wchar_t const kRealtekPath[] = L"{1}.HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269&SUBSYS_17AA21F6&REV_1002\\4&2A0C1E7A&0&0001";
wchar_t const kIntelPath[] = L"{1}.HDAUDIO\\FUNC_01&VEN_8086&DEV_2806&SUBSYS_80860101&REV_1000\\4&2A0C1E7A&0&0301";
wchar_t const kCodecTopology[] =
    L"{2}.\\\\?\\hdaudio#func_01&ven_10ec&dev_0269&subsys_17aa21f6&rev_1002#4&2a0c1e7a&0&0001#"
    L"{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\etopo";
wchar_t const kCodecWave[] =
    L"{2}.\\\\?\\hdaudio#func_01&ven_10ec&dev_0269&subsys_17aa21f6&rev_1002#4&2a0c1e7a&0&0001#"
    L"{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\ewave";

std::wstring text(orv::String const& value) {
    return value.wideBuffer();
}

std::vector<std::wstring> idsOf(orv::Array<AudioDevice> const& devices) {
    std::vector<std::wstring> ids;
    for (AudioDevice const& device : devices) {
        ids.push_back(text(device.deviceProperty().deviceId));
    }
    return ids;
}

std::vector<std::wstring> idsOf(orv::Array<AudioInterfacePtr> const& devices) {
    std::vector<std::wstring> ids;
    for (AudioInterfacePtr const& device : devices) {
        ids.push_back(text(device->deviceProperty().deviceId));
    }
    return ids;
}

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
    char const* folder = std::getenv("SONVANE_SIM_MACHINES");
    std::string const path = std::string(folder ? folder : "simulator/machines") + "/" + fileName;
    return install(audiosim::Machine::fromFile(path));
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

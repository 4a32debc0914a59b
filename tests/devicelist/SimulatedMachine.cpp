#include "SimulatedMachine.h"

#include <SimulatedEndpoint.h>

namespace devicelist {

WAVEFORMATEXTENSIBLE stereoAt(DWORD rate) {
    WAVEFORMATEXTENSIBLE format = {};
    format.Format = {WAVE_FORMAT_EXTENSIBLE, 2, rate, 4 * rate, 4, 16, 22};
    format.Samples.wValidBitsPerSample = 16;
    format.dwChannelMask = SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT;
    format.SubFormat = {0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};  // PCM
    return format;
}

std::vector<BYTE> bytesOf(WAVEFORMATEXTENSIBLE const& format) {
    BYTE const* bytes = reinterpret_cast<BYTE const*>(&format);
    return std::vector<BYTE>(bytes, bytes + sizeof format);
}

audiosim::Device& describeEndpoint(audiosim::MachineDescription& machine, EDataFlow flow, std::wstring const& id,
                                   DWORD state, std::wstring const& name, std::wstring const& description) {
    audiosim::Device& device = machine.addEndpoint(flow, id);
    device.state = state;
    device.set(L"PKEY_Device_DeviceDesc", audiosim::PropertyValue::string(name));
    device.set(AudioDevice::m_friendlyName, audiosim::PropertyValue::string(description));
    device.set(L"PKEY_AudioEngine_DeviceFormat", audiosim::PropertyValue::waveFormat(stereoAt(48000)));
    return device;
}

void SimulatedMachineTest::TearDown() {
    tearDown();
    m_installation.reset();
    m_machine.reset();
    CoUninitialize();
}

audiosim::Machine& SimulatedMachineTest::install(audiosim::MachineDescription description) {
    m_machine = std::make_unique<audiosim::Machine>(std::move(description));
    m_installation = std::make_unique<audiosim::Installation>(*m_machine);
    return *m_machine;
}

ATL::CComPtr<IMMDevice> SimulatedMachineTest::endpoint(std::wstring const& id) {
    return simulatedEndpoint(*m_machine, id);
}

std::vector<BYTE> SimulatedMachineTest::storedFormat(std::wstring const& id) {
    audiosim::MachineDescription const description = m_machine->description();
    audiosim::PropertyValue const* value =
        description.find(id)->find(audiosim::propertyKey(L"PKEY_AudioEngine_DeviceFormat"));
    return value ? value->blob : std::vector<BYTE>();
}

}  // namespace devicelist

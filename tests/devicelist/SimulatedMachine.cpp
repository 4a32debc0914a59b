#include "SimulatedMachine.h"

#include <cstring>

namespace devicelist {

namespace {
GUID const kPcmSubFormat = {0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}  // namespace

WAVEFORMATEXTENSIBLE stereoAt(DWORD rate) {
    WAVEFORMATEXTENSIBLE format = {};
    format.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
    format.Format.nChannels = 2;
    format.Format.wBitsPerSample = 16;
    format.Format.nSamplesPerSec = rate;
    format.Format.nBlockAlign = 4;
    format.Format.nAvgBytesPerSec = 4 * rate;
    format.Format.cbSize = 22;
    format.Samples.wValidBitsPerSample = 16;
    format.dwChannelMask = SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT;
    format.SubFormat = kPcmSubFormat;
    return format;
}

WAVEFORMATEXTENSIBLE stereo48k() {
    return stereoAt(48000);
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
    device.set(L"PKEY_AudioEngine_DeviceFormat", audiosim::PropertyValue::waveFormat(stereo48k()));
    return device;
}

void SimulatedMachineTest::SetUp() {
    CoInitialize(nullptr);
}

void SimulatedMachineTest::TearDown() {
    tearDown();
    m_installation.reset();
    m_machine.reset();
    CoUninitialize();
}

audiosim::Machine& SimulatedMachineTest::install(audiosim::MachineDescription description) {
    m_installation.reset();
    m_machine = std::make_unique<audiosim::Machine>(std::move(description));
    m_installation = std::make_unique<audiosim::Installation>(*m_machine);
    return *m_machine;
}

ATL::CComPtr<IMMDevice> SimulatedMachineTest::endpoint(std::wstring const& id) {
    ATL::CComPtr<IMMDeviceEnumerator> enumerator;
    m_machine->createEnumerator(__uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&enumerator));
    ATL::CComPtr<IMMDevice> device;
    enumerator->GetDevice(id.c_str(), &device);
    return device;
}

std::vector<BYTE> SimulatedMachineTest::storedFormat(std::wstring const& id) {
    audiosim::MachineDescription const description = m_machine->description();
    audiosim::Device const* device = description.find(id);
    audiosim::PropertyValue const* value =
        device ? device->find(audiosim::propertyKey(L"PKEY_AudioEngine_DeviceFormat")) : nullptr;
    return value ? value->blob : std::vector<BYTE>();
}

namespace {

std::wstring flatText(unsigned int (*length)(bool, unsigned int), bool (*copy)(bool, unsigned int, void*),
                      bool render, unsigned int index) {
    unsigned int const units = length(render, index);
    std::vector<wchar_t> buffer(units + 2, L'#');
    EXPECT_TRUE(copy(render, index, buffer.data()));
    EXPECT_EQ(std::wstring(L"##"), std::wstring(buffer.data() + units, 2)) << "the copy wrote past its length";
    return std::wstring(buffer.data(), units);
}

}  // namespace

std::wstring flatName(bool render, unsigned int index) {
    return flatText(getDeviceNameLength, getDeviceName, render, index);
}

std::wstring flatDescription(bool render, unsigned int index) {
    return flatText(getDeviceDescriptionLength, getDeviceDescription, render, index);
}

std::wstring flatId(bool render, unsigned int index) {
    return flatText(getDeviceIdLength, getDeviceId, render, index);
}

}  // namespace devicelist

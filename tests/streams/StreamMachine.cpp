#include "StreamMachine.h"

#include <analysis/SignalAnalysis.h>

#include <brel5/DiagModule.h>

#include <atomic>
#include <cstdlib>
#include <thread>

namespace streams {

const wchar_t kSpeakers[] = L"{0.0.0.00000000}.{b3a4f7c2-5d1e-4a0b-9c3f-2e8d6a1b7c40}";
const wchar_t kHeadphones[] = L"{0.0.0.00000000}.{4c8e2a91-73f0-4d5b-a6e2-9f1c0b3d8e51}";
const wchar_t kMicArray[] = L"{0.0.1.00000000}.{9a2b6c4d-1e0f-4a73-8b5c-3d6e7f8091a3}";
const wchar_t kCableInput[] = L"{0.0.0.00000000}.{9e3c4d5f-6071-4283-94a5-c6d7e8f90a1b}";
const wchar_t kCableOutput[] = L"{0.0.1.00000000}.{af4d5e60-7182-4394-a5b6-d7e8f90a1b2c}";

WAVEFORMATEX stereo16() {
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = kChannels;
    format.nSamplesPerSec = kRate;
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(kChannels * 2);
    format.nAvgBytesPerSec = kRate * format.nBlockAlign;
    return format;
}

std::string machineFile(char const* name) {
    char const* folder = std::getenv("SONVANE_SIM_MACHINES");
    return std::string(folder ? folder : "simulator/machines") + "/" + name;
}

ClientBuffer::ClientBuffer(std::vector<std::int16_t> const& sound) : samples(sound) {
    samples.insert(samples.end(), kChannels, 0);
    buffer.format = stereo16();
    buffer.data = reinterpret_cast<unsigned char*>(samples.data());
    buffer.size = sound.size() * sizeof(std::int16_t);
}

std::unique_ptr<ClientBuffer> ClientBuffer::tone(double seconds, double frequency, double amplitude) {
    const auto frames = static_cast<std::size_t>(seconds * kRate);
    return std::make_unique<ClientBuffer>(pcmanalysis::sineTone16(frequency, amplitude, kRate, kChannels, frames));
}

std::unique_ptr<ClientBuffer> ClientBuffer::silence(double seconds) {
    const auto frames = static_cast<std::size_t>(seconds * kRate);
    return std::make_unique<ClientBuffer>(std::vector<std::int16_t>(frames * kChannels, 0));
}

void StreamMachineTest::SetUp() {
    CoInitialize(nullptr);
}

void StreamMachineTest::TearDown() {
    m_installation.reset();
    m_machine.reset();
    CoUninitialize();
}

audiosim::Machine& StreamMachineTest::install(audiosim::Machine machine) {
    m_installation.reset();
    m_machine = std::make_unique<audiosim::Machine>(std::move(machine));
    m_installation = std::make_unique<audiosim::Installation>(*m_machine);
    return *m_machine;
}

audiosim::Machine& StreamMachineTest::installShipped(char const* fileName) {
    return install(audiosim::Machine::fromFile(machineFile(fileName)));
}

ATL::CComPtr<IMMDevice> StreamMachineTest::endpoint(std::wstring const& id) {
    ATL::CComPtr<IMMDeviceEnumerator> enumerator;
    m_machine->createEnumerator(__uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&enumerator));
    ATL::CComPtr<IMMDevice> device;
    enumerator->GetDevice(id.c_str(), &device);
    return device;
}

void waitUntilPlayed(libSonvane::AudioRenderer const& renderer) {
    while (renderer.isStillPlaying())
        Sleep(5);
}

void waitUntilRecorded(libSonvane::AudioCapture const& capture) {
    while (capture.isStillRecording())
        Sleep(5);
}

struct StopRequest::State {
    std::atomic<bool> done{false};
    std::thread thread;
};

StopRequest::StopRequest(audiosim::Machine& machine, std::wstring method, size_t calls)
    : m_state(std::make_unique<State>()) {
    State* state = m_state.get();
    m_state->thread = std::thread([state, &machine, method, calls] {
        while (!state->done && machine.calls().count(method) < calls)
            Sleep(2);
        if (!state->done)
            brel5::DiagModule::requestStop();
    });
}

StopRequest::~StopRequest() {
    m_state->done = true;
    m_state->thread.join();
    brel5::DiagModule::clearStop();
}

}  // namespace streams

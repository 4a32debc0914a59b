#include "StreamMachine.h"

#include <SimulatedEndpoint.h>

#include <analysis/SignalAnalysis.h>

#include <PcmFormat.h>

#include <brel5/DiagModule.h>

#include <atomic>
#include <cmath>
#include <thread>

namespace streams {

const wchar_t kCableInput[] = L"{0.0.0.00000000}.{9e3c4d5f-6071-4283-94a5-c6d7e8f90a1b}";
const wchar_t kCableOutput[] = L"{0.0.1.00000000}.{af4d5e60-7182-4394-a5b6-d7e8f90a1b2c}";

const wchar_t kJackSpeakers[] = L"{0.0.0.00000000}.{7a3c0001-0000-4000-8000-000000000001}";
const wchar_t kJackMicrophone[] = L"{0.0.1.00000000}.{7a3c0001-0000-4000-8000-000000000002}";
const wchar_t kUnplugged[] = L"{0.0.0.00000000}.{7a3c0001-0000-4000-8000-000000000003}";
const wchar_t kBare[] = L"{0.0.0.00000000}.{7a3c0001-0000-4000-8000-000000000004}";

namespace {

const wchar_t kCodec[] = L"{2}.\\\\?\\hdaudio#func_01&ven_7a3c#1#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\etopo";

KSJACK_DESCRIPTION jack(COLORREF color) {
    return audiosim::pluggedJack(eConnType3Point5mm, eGeoLocRear, color);
}

// A codec connector and an endpoint connector leading to it.
void connect(audiosim::Device& endpoint, audiosim::Topology& codec, audiosim::Part codecConnector) {
    std::wstring const name = codecConnector.name;
    codec.addConnector(std::move(codecConnector));
    endpoint.ensureTopology().addConnector(
        audiosim::Part::connector(L"To " + name, Software_IO, In).connectTo(kCodec, name));
}

}  // namespace

audiosim::Machine jackMachine() {
    audiosim::MachineDescription description;
    description.name = L"jacks";
    // All devices first: the description keeps them in a vector, so a
    // reference to one lasts only until the next is added.
    description.addEndpoint(eRender, kJackSpeakers);
    description.addEndpoint(eCapture, kJackMicrophone);
    description.addEndpoint(eRender, kUnplugged).state = DEVICE_STATE_UNPLUGGED;
    description.addEndpoint(eRender, kBare);
    description.addAdapter(kCodec, L"HDAUDIO\\FUNC_01&VEN_7A3C\\1");
    audiosim::Device& speakers = *description.find(kJackSpeakers);
    audiosim::Device& microphone = *description.find(kJackMicrophone);
    audiosim::Device& unplugged = *description.find(kUnplugged);
    audiosim::Topology& parts = description.find(kCodec)->ensureTopology();

    connect(speakers, parts, audiosim::Part::connector(L"Line", Physical_External, Out));
    connect(speakers, parts,
            audiosim::Part::connector(L"Headphone", Physical_External, Out)
                .withJack(jack(0xFF0000))
                .withJack(jack(0x00FF00)));
    connect(speakers, parts, audiosim::Part::connector(L"Speaker", Physical_External, Out).withJack(jack(0x0000FF)));

    audiosim::Part noJack = audiosim::Part::connector(L"Mic in", Physical_External, In);
    noJack.jacks.emplace();
    connect(microphone, parts, noJack);
    connect(microphone, parts, audiosim::Part::connector(L"Mic front", Physical_External, In).withJack(jack(0xFF00FF)));

    unplugged.ensureTopology().addConnector(audiosim::Part::connector(L"Nowhere", Software_IO, In));
    unplugged.ensureTopology().addConnector(audiosim::Part::connector(L"Nowhere either", Software_IO, In));
    return audiosim::Machine(description);
}

WAVEFORMATEX stereo16() {
    return pcmFormat(kChannels, 16, kRate);
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
    speakers.Release();
    microphone.Release();
    m_installation.reset();
    m_machine.reset();
    CoUninitialize();
}

audiosim::MachineDescription StreamMachineTest::shippedDescription(char const* fileName) {
    return audiosim::Machine::fromFile(shippedMachineFile(fileName)).description();
}

audiosim::Machine& StreamMachineTest::install(audiosim::Machine machine) {
    m_installation.reset();
    m_machine = std::make_unique<audiosim::Machine>(std::move(machine));
    m_installation = std::make_unique<audiosim::Installation>(*m_machine);
    return *m_machine;
}

audiosim::Machine& StreamMachineTest::install(audiosim::MachineDescription const& description) {
    return install(audiosim::Machine(description));
}

audiosim::Machine& StreamMachineTest::installShipped(char const* fileName) {
    return install(audiosim::Machine::fromFile(shippedMachineFile(fileName)));
}

audiosim::Machine& StreamMachineTest::installLaptop() {
    return installLaptop(shippedDescription("laptop.json"));
}

audiosim::Machine& StreamMachineTest::installLaptop(audiosim::MachineDescription const& edited) {
    audiosim::Machine& laptop = install(edited);
    speakers = endpoint(kSpeakers);
    microphone = endpoint(kMicArray);
    return laptop;
}

ATL::CComPtr<IMMDevice> StreamMachineTest::endpoint(std::wstring const& id) {
    return simulatedEndpoint(*m_machine, id);
}

void waitUntilPlayed(libSonvane::AudioRenderer const& renderer) {
    while (renderer.isStillPlaying())
        Sleep(5);
}

void waitUntilRecorded(libSonvane::AudioCapture const& capture) {
    while (capture.isStillRecording())
        Sleep(5);
}

void playIntoRecording(libSonvane::AudioRenderer& renderer, libSonvane::AudioCapture& capture) {
    ASSERT_TRUE(capture.start());
    ASSERT_TRUE(renderer.play(libSonvane::AudioRenderer::PlayOnce));
    waitUntilPlayed(renderer);
    EXPECT_TRUE(renderer.stop());
    waitUntilRecorded(capture);
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(0, capture.threadExitCode());
}

void expectTone(ClientBuffer const& recording, double frequency, double amplitude, double seconds) {
    const pcmanalysis::Signal left = pcmanalysis::channelOf16(recording.samples.data(), recording.frames(), kChannels, 0);
    const pcmanalysis::ToneReport report = pcmanalysis::analyseTone(left, kRate, frequency, 0.01, 20.0);
    ASSERT_TRUE(report.found);
    EXPECT_NEAR(frequency, report.frequency, 1.0);
    // The level of a sine is its amplitude over the square root of two.
    EXPECT_NEAR(20.0 * std::log10(amplitude / std::sqrt(2.0)), report.levelDb, 1.0);
    EXPECT_LT(report.longestGapMs, 5.0);
    EXPECT_NEAR(seconds, report.span.size() / static_cast<double>(kRate), 0.01);
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

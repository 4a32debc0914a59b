// AudioRendererLegacyWave and AudioCaptureLegacyWave on a simulated
// machine's wave devices: the hard time-out of a recording that never
// fills, the mapper for an endpoint without a wave number, a loop that runs
// until stop, and a tone that goes round the virtual cable.
#include "StreamMachine.h"

#include <analysis/SignalAnalysis.h>

#include <cmath>

namespace streams {
namespace {

unsigned int const kNoLegacyDevice = 0xFFFFFFFFu;

class LegacyStreamTest : public StreamMachineTest {};

TEST_F(LegacyStreamTest, ARecordingThatNeverFillsEndsAt140PercentOfItsLengthWith128) {
    audiosim::Machine& simulated = installShipped("laptop.json");
    auto recording = ClientBuffer::silence(0.05);
    ATL::CComPtr<IMMDevice> microphone = endpoint(kMicArray);
    libSonvane::AudioCaptureLegacyWave capture;
    ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));
    simulated.setClockSpeed(0.0);
    LogCapture log;
    ASSERT_TRUE(capture.start());
    // The worker gives up after 140% of 50 ms, which the double arithmetic
    // truncates to 69; wait well past that. The device is
    // left running, so the recording still shows as going on.
    const DWORD begun = GetTickCount();
    while (GetTickCount() - begun < 700)
        Sleep(10);
    EXPECT_TRUE(capture.isStillRecording());
    EXPECT_EQ(0u, simulated.calls().count(L"waveInStop"));
    EXPECT_EQ(0, capture.threadExitCode());
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(128, capture.threadExitCode());
    EXPECT_FALSE(capture.isStillRecording());
    EXPECT_EQ(0u, recording->buffer.writePosition);
    EXPECT_TRUE(log.contains("Waiting for recording to finish. Hard timeout = 69 ms.", 1)) << log.dump();
}

TEST_F(LegacyStreamTest, AnEndpointWithoutAWaveNumberPlaysOnTheMapper) {
    audiosim::MachineDescription description =
        audiosim::Machine::fromFile(machineFile("laptop.json")).description();
    description.find(kHeadphones)->wave.deviceNumber = -1;
    audiosim::Machine& simulated = install(audiosim::Machine(description));
    ATL::CComPtr<IMMDevice> headphones = endpoint(kHeadphones);
    EXPECT_EQ(kNoLegacyDevice, AudioDevice(headphones).waveLegacyDeviceID());
    EXPECT_EQ(0u, AudioDevice(endpoint(kSpeakers)).waveLegacyDeviceID());
    EXPECT_EQ(0u, AudioDevice(endpoint(kMicArray)).waveLegacyDeviceID());

    auto tone = ClientBuffer::tone(0.05, 1000.0, 0.5);
    libSonvane::AudioRendererLegacyWave renderer;
    ASSERT_TRUE(renderer.initialize(headphones, &tone->buffer));
    ASSERT_TRUE(renderer.play(1));
    waitUntilPlayed(renderer);
    EXPECT_TRUE(renderer.stop());

    // The mapper is the default render endpoint, the speakers.
    const auto opens = simulated.calls().of(L"waveOutOpen");
    ASSERT_EQ(1u, opens.size());
    EXPECT_EQ(L"waveOut mapper", opens[0].object);
    EXPECT_EQ(tone->frames() * kChannels, simulated.renderedSamples(kSpeakers).size());
    EXPECT_TRUE(simulated.renderedSamples(kHeadphones).empty());
}

TEST_F(LegacyStreamTest, OnlyPlayFlagsOfTwoLoopAndALoopRunsUntilStop) {
    audiosim::Machine& simulated = installShipped("laptop.json");
    auto tone = ClientBuffer::tone(0.02, 1000.0, 0.5);
    ATL::CComPtr<IMMDevice> speakers = endpoint(kSpeakers);
    libSonvane::AudioRendererLegacyWave renderer;
    ASSERT_TRUE(renderer.initialize(speakers, &tone->buffer));

    ASSERT_TRUE(renderer.play(4));
    waitUntilPlayed(renderer);
    EXPECT_TRUE(renderer.stop());
    EXPECT_EQ(tone->frames() * kChannels, simulated.renderedSamples(kSpeakers).size());

    simulated.clearRendered(kSpeakers);
    ASSERT_TRUE(renderer.play(2));
    while (simulated.renderedSamples(kSpeakers).size() < 3 * tone->frames() * kChannels)
        Sleep(5);
    EXPECT_TRUE(renderer.isStillPlaying());
    EXPECT_TRUE(renderer.stop());
    EXPECT_FALSE(renderer.isStillPlaying());
    const auto writes = simulated.calls().of(L"waveOutWrite");
    ASSERT_EQ(2u, writes.size());
}

TEST_F(LegacyStreamTest, AToneRenderedOnTheCablesWaveDeviceIsRecordedBackAsSent) {
    installShipped("virtual.json");
    auto tone = ClientBuffer::tone(1.0, 1000.0, 0.5);
    auto recording = ClientBuffer::silence(1.5);
    ATL::CComPtr<IMMDevice> input = endpoint(kCableInput);
    ATL::CComPtr<IMMDevice> output = endpoint(kCableOutput);
    libSonvane::AudioCaptureLegacyWave capture;
    libSonvane::AudioRendererLegacyWave renderer;
    ASSERT_TRUE(capture.initialize(output, &recording->buffer));
    ASSERT_TRUE(renderer.initialize(input, &tone->buffer));

    ASSERT_TRUE(capture.start());
    ASSERT_TRUE(renderer.play(1));
    waitUntilPlayed(renderer);
    EXPECT_TRUE(renderer.stop());
    waitUntilRecorded(capture);
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(0, capture.threadExitCode());

    const pcmanalysis::Signal left = pcmanalysis::channelOf16(recording->samples.data(), recording->frames(), kChannels, 0);
    const pcmanalysis::ToneReport report = pcmanalysis::analyseTone(left, kRate, 1000.0, 0.01, 20.0);
    ASSERT_TRUE(report.found);
    EXPECT_NEAR(1000.0, report.frequency, 1.0);
    EXPECT_NEAR(20.0 * std::log10(0.5 / std::sqrt(2.0)), report.levelDb, 1.0);
    EXPECT_LT(report.longestGapMs, 5.0);
    EXPECT_NEAR(1.0, report.span.size() / static_cast<double>(kRate), 0.01);
}

}  // namespace
}  // namespace streams

// The legacy wave number of an endpoint, and the legacy wave streams on a
// simulated machine's wave devices: the wave mapper as the fallback, which
// play flags loop, a user stop that leaves the device playing, and the hard
// time-out of a recording.
#include "StreamMachine.h"

#include <brel5/DiagModule.h>
#include <orv/Stopwatch.h>

#include <cwctype>
#include <string>
#include <vector>

namespace streams {
namespace {

const wchar_t kRender[] = L"{0.0.0.00000000}.{7a3c0003-0000-4000-8000-000000000001}";
const wchar_t kCapture[] = L"{0.0.1.00000000}.{7a3c0003-0000-4000-8000-000000000002}";
const wchar_t kOtherRender[] = L"{0.0.0.00000000}.{7a3c0003-0000-4000-8000-000000000003}";
const wchar_t kOtherCapture[] = L"{0.0.1.00000000}.{7a3c0003-0000-4000-8000-000000000004}";

std::wstring upperCase(std::wstring text) {
    for (wchar_t& unit : text)
        unit = static_cast<wchar_t>(std::towupper(unit));
    return text;
}

// An endpoint with a wave device of that number, which reports the given
// function instance id (its own id when empty).
audiosim::Device& waveEndpoint(audiosim::MachineDescription& description, EDataFlow flow, std::wstring const& id,
                               int number, std::wstring const& functionInstanceId = L"") {
    audiosim::Device& endpoint = description.addEndpoint(flow, id);
    endpoint.wave.deviceNumber = number;
    endpoint.wave.functionInstanceId = functionInstanceId;
    return endpoint;
}

// kRender and kCapture with wave devices 0 of their flows; the capture
// records a 1 kHz tone at half of full scale.
audiosim::Machine waveMachine() {
    audiosim::MachineDescription description;
    description.name = L"wave devices";
    waveEndpoint(description, eRender, kRender, 0);
    audiosim::Device& capture = waveEndpoint(description, eCapture, kCapture, 0);
    capture.stream.captureSource.kind = audiosim::CaptureSource::Tone;
    return audiosim::Machine(description);
}

// Object names of the machine's calls of one wave function, in order.
std::vector<std::wstring> objectsOf(audiosim::Machine& machine, wchar_t const* function) {
    std::vector<std::wstring> objects;
    for (audiosim::CallRecord const& call : machine.calls().of(function))
        objects.push_back(call.object);
    return objects;
}

template <class Condition>
void waitFor(Condition condition) {
    while (!condition())
        Sleep(1);
}

class LegacyWaveTest : public StreamMachineTest {};

TEST_F(LegacyWaveTest, TheFirstDeviceOfTheEndpointsFlowReportingItsExactIdWins) {
    const std::wstring otherInput = L"{0.0.1.00000000}.{7a3c0003-0000-4000-8000-0000000000ff}";
    audiosim::MachineDescription description;
    // Output 0 refuses every message, 1 stands for another endpoint, 2
    // reports our id in other case; 3 is ours, and 4 reports our id too.
    // An input device also reports the render endpoint's id, and an output
    // device the capture endpoint's.
    waveEndpoint(description, eRender, L"{0.0.0.00000000}.{7a3c0003-0000-4000-8000-000000000010}", 0);
    waveEndpoint(description, eRender, kOtherRender, 1);
    waveEndpoint(description, eRender, L"{0.0.0.00000000}.{7a3c0003-0000-4000-8000-000000000012}", 2,
                 upperCase(kRender));
    waveEndpoint(description, eRender, kRender, 3);
    waveEndpoint(description, eRender, L"{0.0.0.00000000}.{7a3c0003-0000-4000-8000-000000000014}", 4, kRender);
    waveEndpoint(description, eRender, L"{0.0.0.00000000}.{7a3c0003-0000-4000-8000-000000000015}", 5, kCapture);
    waveEndpoint(description, eCapture, otherInput, 0, kRender);
    description.addEndpoint(eCapture, kCapture);
    audiosim::Machine& simulated = install(audiosim::Machine(description));
    simulated.faults().add(audiosim::Fault::on(L"waveOutMessage", MMSYSERR_ERROR).at(L"waveOut 0"));
    LogCapture log;

    EXPECT_EQ(3u, AudioDevice(endpoint(kRender)).waveLegacyDeviceID());
    // The size and the id of each device up to ours, none asked of output 0
    // after its refusal and none of the input devices.
    EXPECT_EQ((std::vector<std::wstring>{L"waveOut 0", L"waveOut 1", L"waveOut 1", L"waveOut 2", L"waveOut 2",
                                         L"waveOut 3", L"waveOut 3"}),
              objectsOf(simulated, L"waveOutMessage"));
    EXPECT_EQ(0u, simulated.calls().count(L"waveInMessage"));
    EXPECT_TRUE(log.contains("waveMessage returns an error 1", 3)) << log.dump();
    EXPECT_TRUE(log.contains(" has wave id = 3", 2)) << log.dump();

    // The capture endpoint is looked for among the inputs only, where no
    // device reports its id.
    simulated.calls().clear();
    EXPECT_EQ(kNoLegacyDevice, AudioDevice(endpoint(kCapture)).waveLegacyDeviceID());
    EXPECT_EQ(0u, simulated.calls().count(L"waveOutMessage"));
    EXPECT_EQ(2u, simulated.calls().count(L"waveInMessage"));

    // With no input device at all, no message is sent.
    simulated.setState(otherInput, DEVICE_STATE_DISABLED);
    simulated.calls().clear();
    EXPECT_EQ(kNoLegacyDevice, AudioDevice(endpoint(kCapture)).waveLegacyDeviceID());
    EXPECT_EQ(1u, simulated.calls().count(L"waveInGetNumDevs"));
    EXPECT_EQ(0u, simulated.calls().count(L"waveInMessage"));
}

// An endpoint without a wave device opens the mapper, which stands for the
// flow's default endpoint: the sound goes there, not to the endpoint asked
// for.
TEST_F(LegacyWaveTest, AnEndpointWithoutWaveDeviceStreamsOnTheDefaultEndpointThroughTheMapper) {
    audiosim::MachineDescription description;
    description.addEndpoint(eRender, kRender);
    description.addEndpoint(eCapture, kCapture);
    waveEndpoint(description, eRender, kOtherRender, 0);
    waveEndpoint(description, eCapture, kOtherCapture, 0).stream.captureSource.kind = audiosim::CaptureSource::Tone;
    description.setDefaultForAllRoles(eRender, kOtherRender);
    description.setDefaultForAllRoles(eCapture, kOtherCapture);
    audiosim::Machine& simulated = install(audiosim::Machine(description));
    ATL::CComPtr<IMMDevice> render = endpoint(kRender);
    ATL::CComPtr<IMMDevice> capture = endpoint(kCapture);
    auto tone = ClientBuffer::tone(0.1, 1000.0, 0.5);
    auto recording = ClientBuffer::silence(0.1);
    LogCapture log;

    libSonvane::AudioRendererLegacyWave renderer;
    libSonvane::AudioCaptureLegacyWave recorder;
    ASSERT_TRUE(renderer.initialize(render, &tone->buffer)) << log.dump();
    ASSERT_TRUE(recorder.initialize(capture, &recording->buffer)) << log.dump();
    EXPECT_EQ(std::vector<std::wstring>{L"waveOut mapper"}, objectsOf(simulated, L"waveOutOpen"));
    EXPECT_EQ(std::vector<std::wstring>{L"waveIn mapper"}, objectsOf(simulated, L"waveInOpen"));

    playIntoRecording(renderer, recorder);
    EXPECT_EQ(tone->frames() * kChannels, simulated.renderedSamples(kOtherRender).size());
    EXPECT_TRUE(simulated.renderedSamples(kRender).empty());
    expectTone(*recording, 1000.0, 0.5, 0.1);

    // Missing arguments open nothing.
    EXPECT_FALSE(renderer.initialize(nullptr, &tone->buffer));
    EXPECT_FALSE(renderer.initialize(render, nullptr));
    EXPECT_EQ(2u, log.count("Invalid parameter passed to the function", 3));
    EXPECT_FALSE(recorder.initialize(capture, nullptr));
    EXPECT_TRUE(log.contains("Storage pointer is NULL", 3));
    EXPECT_EQ(1u, simulated.calls().count(L"waveOutOpen"));
    EXPECT_EQ(1u, simulated.calls().count(L"waveInOpen"));
    EXPECT_EQ(AUDCLNT_SHAREMODE_SHARED, renderer.shareMode());
    EXPECT_EQ(AUDCLNT_SHAREMODE_SHARED, recorder.shareMode());
}

// Any flags but PlayLoop play the sound once, PlayRewind included; a run
// ends when the device gives the block back. PlayLoop plays on until stop.
TEST_F(LegacyWaveTest, OnlyPlayLoopLoops) {
    audiosim::Machine& simulated = install(waveMachine());
    auto tone = ClientBuffer::tone(0.1, 1000.0, 0.5);
    const size_t onePass = tone->frames() * kChannels;
    LogCapture log;
    libSonvane::AudioRendererLegacyWave renderer;
    ASSERT_TRUE(renderer.initialize(endpoint(kRender), &tone->buffer)) << log.dump();

    for (unsigned int flags : {1u, 4u, 0u}) {
        SCOPED_TRACE(flags);
        simulated.clearRendered(kRender);
        ASSERT_TRUE(renderer.play(flags)) << log.dump();
        waitUntilPlayed(renderer);
        EXPECT_TRUE(renderer.stop()) << log.dump();
        EXPECT_EQ(onePass, simulated.renderedSamples(kRender).size());
    }

    simulated.clearRendered(kRender);
    ASSERT_TRUE(renderer.play(libSonvane::AudioRenderer::PlayLoop)) << log.dump();
    waitFor([&] { return simulated.renderedSamples(kRender).size() > 2 * onePass; });
    EXPECT_TRUE(renderer.isStillPlaying());
    const size_t resets = simulated.calls().count(L"waveOutReset");
    EXPECT_TRUE(renderer.stop()) << log.dump();
    EXPECT_LT(resets, simulated.calls().count(L"waveOutReset"));
    EXPECT_FALSE(renderer.isStillPlaying());
    EXPECT_EQ(MMSYSERR_NOERROR, simulated.calls().of(L"waveOutUnprepareHeader").back().result);

    // The one format the legacy renderer offers, whatever the device.
    ASSERT_EQ(1u, renderer.compatibleFormat().size());
    EXPECT_EQ(44100u, renderer.compatibleFormat()[0].nSamplesPerSec);
}

// The host's stop request ends the playback worker with 128 and leaves the
// device playing until the client stops; stop then answers false.
TEST_F(LegacyWaveTest, AUserStopEndsPlaybackButNotTheDevice) {
    audiosim::Machine& simulated = install(waveMachine());
    auto tone = ClientBuffer::tone(0.1, 1000.0, 0.5);
    LogCapture log;
    libSonvane::AudioRendererLegacyWave renderer;
    ASSERT_TRUE(renderer.initialize(endpoint(kRender), &tone->buffer));
    ASSERT_TRUE(renderer.play(libSonvane::AudioRenderer::PlayLoop));
    waitFor([&] { return !simulated.renderedSamples(kRender).empty(); });

    brel5::DiagModule::requestStop();
    waitFor([&] { return !renderer.isStillPlaying(); });
    brel5::DiagModule::clearStop();
    EXPECT_TRUE(log.contains("User aborted playback", 3));
    EXPECT_EQ(0u, simulated.calls().count(L"waveOutReset"));
    const size_t played = simulated.renderedSamples(kRender).size();
    waitFor([&] { return simulated.renderedSamples(kRender).size() > played; });

    EXPECT_FALSE(renderer.stop());
    EXPECT_TRUE(log.contains("Thread exit code 128", 1));
    EXPECT_EQ(1u, simulated.calls().count(L"waveOutReset"));
    // The block came back from the device, so it could be unprepared.
    ASSERT_FALSE(simulated.calls().of(L"waveOutUnprepareHeader").empty());
    EXPECT_EQ(MMSYSERR_NOERROR, simulated.calls().of(L"waveOutUnprepareHeader").back().result);
}

// A device that delivers nothing: the worker gives up at 140% of the
// buffer's length (139 ms for a tenth of a second, the product being
// truncated) with 128, the device keeps the block until stop, and the
// recording counts as going on until then. The limit only ever shrinks at
// start; setTimeout raises it again.
TEST_F(LegacyWaveTest, ARecordingEndsAtTheHardTimeOut) {
    audiosim::Machine& simulated = install(waveMachine());
    simulated.setClockSpeed(0.0);
    auto tenth = ClientBuffer::silence(0.1);
    auto second = ClientBuffer::silence(1.0);
    LogCapture log;
    libSonvane::AudioCaptureLegacyWave capture;
    ASSERT_TRUE(capture.initialize(endpoint(kCapture), &tenth->buffer));

    orv::Stopwatch const watch;
    ASSERT_TRUE(capture.start());
    waitFor([&] { return log.contains("Leaving AudioCaptureLegacyWave::record"); });
    EXPECT_GE(watch.getElapsedMilliseconds(), 139u);
    EXPECT_TRUE(log.contains("Waiting for recording to finish. Hard timeout = 139 ms.", 1));
    EXPECT_TRUE(capture.isStillRecording());
    EXPECT_EQ(0u, simulated.calls().count(L"waveInStop"));
    EXPECT_EQ(0, capture.threadExitCode()) << "the code is collected by stop only";
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(128, capture.threadExitCode());
    EXPECT_FALSE(capture.isStillRecording());

    // A second of buffer keeps the limit of the tenth.
    ASSERT_TRUE(capture.initialize(endpoint(kCapture), &second->buffer));
    log.clear();
    ASSERT_TRUE(capture.start());
    waitFor([&] { return log.contains("Leaving AudioCaptureLegacyWave::record"); });
    EXPECT_TRUE(log.contains("Hard timeout = 139 ms.", 1)) << log.dump();
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(128, capture.threadExitCode());

    // Raised again, the limit is 140% of the second, and a device four
    // times as fast as real time fills the buffer well within it.
    capture.setTimeout(100000);
    simulated.setClockSpeed(4.0);
    log.clear();
    ASSERT_TRUE(capture.start());
    waitUntilRecorded(capture);
    EXPECT_TRUE(log.contains("Hard timeout = 1400 ms.", 1)) << log.dump();
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(0, capture.threadExitCode());
    expectTone(*second, 1000.0, 0.5, 1.0);
}

}  // namespace
}  // namespace streams

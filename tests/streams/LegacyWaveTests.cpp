// The legacy wave number of an endpoint, and the legacy wave streams on
// scripted wave drivers: the wave mapper as the fallback, which play flags
// loop, the exit codes, and the hard time-out of a recording.
#include "SimulatedEndpoints.h"
#include "WaveDrivers.h"

#include <brel5/DiagModule.h>
#include <orv/Stopwatch.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <cwctype>
#include <string>
#include <vector>

using namespace streamtests;

namespace {

unsigned int const kNoLegacyDevice = 0xFFFFFFFFu;

std::wstring upperCase(std::wstring text) {
    for (wchar_t& unit : text) {
        unit = static_cast<wchar_t>(std::towupper(unit));
    }
    return text;
}

// A client buffer of silence, 48 kHz, 2 channels of 16 bits.
struct Pcm {
    std::vector<unsigned char> bytes;
    libTrelwave::StaticPCMBuffer buffer;

    explicit Pcm(double seconds) : bytes(static_cast<size_t>(seconds * 48000) * 4 + 4, 0) {
        buffer.format.wFormatTag = WAVE_FORMAT_PCM;
        buffer.format.nChannels = 2;
        buffer.format.nSamplesPerSec = 48000;
        buffer.format.wBitsPerSample = 16;
        buffer.format.nBlockAlign = 4;
        buffer.format.nAvgBytesPerSec = 48000 * 4;
        buffer.data = bytes.data();
        buffer.size = bytes.size() - 4;
    }
};

template <class Condition>
void waitFor(Condition condition) {
    while (!condition()) {
        Sleep(1);
    }
}

class LegacyWave : public ::testing::Test {
protected:
    LegacyWave()
        : m_machine(streamMachine()),
          m_render(simulatedDevice(m_machine, renderId)),
          m_capture(simulatedDevice(m_machine, captureId)) {}

    audiosim::Machine m_machine;
    ATL::CComPtr<IMMDevice> m_render;
    ATL::CComPtr<IMMDevice> m_capture;
};

}  // namespace

TEST_F(LegacyWave, TheFirstDriverOfTheEndpointsDirectionServingItsIdWins) {
    LogCapture log;
    AudioDevice render(m_render.p);
    {
        // Device 0 refuses the messages, 1 serves another endpoint, 2 ours in
        // other case; 3 and 4 both serve it. The input side also serves it.
        WaveDrivers drivers({L"", L"{0.0.0.00000000}.{other}", upperCase(renderId), renderId, renderId}, {renderId});
        EXPECT_EQ(3u, render.waveLegacyDeviceID());
        std::vector<WaveDrivers::Message> const messages = drivers.messages();
        ASSERT_EQ(7u, messages.size());
        for (WaveDrivers::Message const& message : messages) {
            EXPECT_TRUE(message.output);
            EXPECT_LE(message.device, 3u);
        }
        EXPECT_TRUE(log.contains("waveMessage returns an error ", 3));
        EXPECT_TRUE(log.contains(" has wave id = 3", 2));
    }

    AudioDevice capture(m_capture.p);
    {
        WaveDrivers drivers({captureId}, {L"{0.0.1.00000000}.{other}"});
        EXPECT_EQ(kNoLegacyDevice, capture.waveLegacyDeviceID());
        for (WaveDrivers::Message const& message : drivers.messages()) {
            EXPECT_FALSE(message.output);
        }
    }
    {
        WaveDrivers drivers({captureId}, {});
        EXPECT_EQ(kNoLegacyDevice, capture.waveLegacyDeviceID());
        EXPECT_TRUE(drivers.messages().empty());
    }
}

TEST_F(LegacyWave, AnEndpointWithoutWaveNumberOpensTheWaveMapper) {
    LogCapture log;
    WaveDrivers drivers({L"{0.0.0.00000000}.{other}"}, {L"{0.0.1.00000000}.{other}"});
    Pcm pcm(0.1);
    libSonvane::AudioRendererLegacyWave renderer;
    libSonvane::AudioCaptureLegacyWave capture;
    EXPECT_TRUE(renderer.initialize(m_render, &pcm.buffer)) << log.dump();
    EXPECT_TRUE(capture.initialize(m_capture, &pcm.buffer)) << log.dump();
    EXPECT_EQ(std::vector<UINT>{WAVE_MAPPER}, drivers.openedOutputs());
    EXPECT_EQ(std::vector<UINT>{WAVE_MAPPER}, drivers.openedInputs());

    EXPECT_FALSE(renderer.initialize(nullptr, &pcm.buffer));
    EXPECT_FALSE(renderer.initialize(m_render, nullptr));
    EXPECT_EQ(2u, log.count("Invalid parameter passed to the function", 3));
    EXPECT_FALSE(capture.initialize(m_capture, nullptr));
    EXPECT_TRUE(log.contains("Storage pointer is NULL", 3));
    EXPECT_EQ(AUDCLNT_SHAREMODE_SHARED, renderer.shareMode());
    EXPECT_EQ(AUDCLNT_SHAREMODE_SHARED, capture.shareMode());
}

// Any flags but PlayLoop play once, PlayRewind included; a run ends when
// the device hands the header back.
TEST_F(LegacyWave, OnlyPlayLoopLoops) {
    LogCapture log;
    WaveDrivers drivers({renderId}, {});
    Pcm pcm(0.1);
    libSonvane::AudioRendererLegacyWave renderer;
    ASSERT_TRUE(renderer.initialize(m_render, &pcm.buffer)) << log.dump();

    for (unsigned int flags : {1u, 4u, 0u, 2u}) {
        SCOPED_TRACE(flags);
        bool const loops = flags == libSonvane::AudioRenderer::PlayLoop;
        ASSERT_TRUE(renderer.play(flags)) << log.dump();
        waitFor([&] { return drivers.hasQueuedHeader(); });
        EXPECT_EQ(loops ? 0xFFFFFFFFu : 0u, drivers.queuedLoops());
        EXPECT_EQ(loops, (drivers.queuedFlags() & WHDR_BEGINLOOP) != 0);
        EXPECT_TRUE(renderer.isStillPlaying());
        if (!loops) {
            drivers.finishQueued();
            waitFor([&] { return !renderer.isStillPlaying(); });
        }
        EXPECT_TRUE(renderer.stop()) << log.dump();
        EXPECT_FALSE(drivers.hasQueuedHeader());
    }
    EXPECT_EQ(1u, renderer.compatibleFormat().size());
    EXPECT_EQ(44100u, renderer.compatibleFormat()[0].nSamplesPerSec);
}

// The host's stop request ends the playback worker with 128 and leaves the
// device playing until the client stops; stop then answers false.
TEST_F(LegacyWave, AUserStopEndsPlaybackButNotTheDevice) {
    LogCapture log;
    WaveDrivers drivers({renderId}, {});
    Pcm pcm(0.1);
    libSonvane::AudioRendererLegacyWave renderer;
    ASSERT_TRUE(renderer.initialize(m_render, &pcm.buffer));
    ASSERT_TRUE(renderer.play(libSonvane::AudioRenderer::PlayLoop));
    waitFor([&] { return drivers.hasQueuedHeader(); });

    brel5::DiagModule::requestStop();
    waitFor([&] { return !renderer.isStillPlaying(); });
    brel5::DiagModule::clearStop();
    EXPECT_TRUE(log.contains("User aborted playback", 3));
    EXPECT_TRUE(drivers.hasQueuedHeader());

    EXPECT_FALSE(renderer.stop());
    EXPECT_TRUE(log.contains("Thread exit code 128", 1));
    EXPECT_FALSE(drivers.hasQueuedHeader());
}

TEST_F(LegacyWave, ADeviceThatWillNotStartEndsEitherWorkerWithMinusOne) {
    LogCapture log;
    WaveDrivers drivers({renderId}, {captureId});
    drivers.fail("outPrepareHeader", MMSYSERR_ERROR);
    drivers.fail("inPrepareHeader", MMSYSERR_ERROR);
    Pcm pcm(0.1);
    libSonvane::AudioRendererLegacyWave renderer;
    libSonvane::AudioCaptureLegacyWave capture;
    ASSERT_TRUE(renderer.initialize(m_render, &pcm.buffer));
    ASSERT_TRUE(capture.initialize(m_capture, &pcm.buffer));

    EXPECT_TRUE(renderer.play(libSonvane::AudioRenderer::PlayOnce));
    EXPECT_TRUE(capture.start());
    EXPECT_FALSE(renderer.stop());
    EXPECT_TRUE(log.contains("Thread exit code -1", 1));
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(-1, capture.threadExitCode());
    EXPECT_EQ(2u, log.count("Unable to start recording", 3));
}

// A device that never hands the header back: the worker gives up at 140% of
// the buffer's length (139 ms for a tenth of a second, the product being
// truncated) with 128, the device keeps the header until stop, and
// the recording counts as going on until then. The limit only ever shrinks
// at start; setTimeout raises it again.
TEST_F(LegacyWave, ARecordingEndsAtTheHardTimeOut) {
    LogCapture log;
    WaveDrivers drivers({}, {captureId});
    Pcm tenth(0.1);
    Pcm second(1.0);
    libSonvane::AudioCaptureLegacyWave capture;
    ASSERT_TRUE(capture.initialize(m_capture, &tenth.buffer));

    orv::Stopwatch const watch;
    ASSERT_TRUE(capture.start());
    waitFor([&] { return log.contains("Leaving AudioCaptureLegacyWave::record"); });
    EXPECT_GE(watch.getElapsedMilliseconds(), 139u);
    EXPECT_TRUE(log.contains("Waiting for recording to finish. Hard timeout = 139 ms.", 1));
    EXPECT_TRUE(capture.isStillRecording());
    EXPECT_TRUE(drivers.hasQueuedHeader());
    EXPECT_EQ(0, capture.threadExitCode()) << "the code is collected by stop only";
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(128, capture.threadExitCode());
    EXPECT_FALSE(capture.isStillRecording());

    auto const recordOnce = [&](char const* limitLine) {
        log.clear();
        ASSERT_TRUE(capture.start());
        waitFor([&] { return drivers.hasQueuedHeader() && log.contains("Hard timeout = "); });
        EXPECT_TRUE(log.contains(limitLine, 1)) << log.dump();
        drivers.finishQueued();
        waitFor([&] { return !capture.isStillRecording(); });
        EXPECT_TRUE(capture.stop());
        EXPECT_EQ(0, capture.threadExitCode());
    };
    ASSERT_TRUE(capture.initialize(m_capture, &second.buffer));
    recordOnce("Hard timeout = 139 ms.");
    capture.setTimeout(100000);
    recordOnce("Hard timeout = 1400 ms.");
}

// A tone played on the default render endpoint is recorded on the default
// capture endpoint, which on this stack hears the render endpoint, once
// through the exclusive-mode streams and once through the legacy wave
// streams. The recording must hold the tone as it was sent: its frequency,
// its level, its length, and no hole in it.
//
// The loopback loses sound while its sink idles or runs with a long
// latency, so a SinkKeeper plays for the whole test, and every recording is
// waited on until it runs before the tone starts.
//
// The stack also loses the head of a render stream, never the rest: the
// loopback hears the stream from where the sink started it, and sound that
// this process hands on late at the start is dropped, not delayed. Quiet,
// that is a few milliseconds; with the process starved for 150 ms at a time
// (other programs on its core) it was up to 130 ms. The one-second tones
// therefore follow half a second of silence in the same buffer, which takes
// that loss, and the tone itself must arrive whole.
#include <libSonvane/libSonvane.h>

#include <analysis/SignalAnalysis.h>

#include <LogCapture.h>
#include <PcmFormat.h>
#include <RealStackTest.h>
#include <SinkKeeper.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>
#include <mmsystem.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

unsigned int const kRate = 48000;
unsigned int const kChannels = 2;
double const kToneHz = 1000.0;
double const kAmplitude = 0.5;
// Quieter than this counts as silence: far above the keeper and far below
// the tone, which crosses it within a sample at every zero crossing.
double const kSilence = 0.01;
double const kEdgeMs = 20.0;
double const kLeadInSeconds = 0.5;
unsigned int const kNoLegacyDevice = 0xFFFFFFFFu;

WAVEFORMATEX stereo16() {
    return pcmFormat(kChannels, 16, kRate);
}

std::size_t framesOf(double seconds) {
    return static_cast<std::size_t>(seconds * kRate);
}

std::size_t samplesOf(double milliseconds) {
    return static_cast<std::size_t>(milliseconds * kRate / 1000.0);
}

// A client's PCM buffer over samples of its own. One spare frame lies
// behind the end, where a wrapping read reaches; it holds the first frame
// again, which is what a ring would have there.
struct ClientBuffer {
    std::vector<std::int16_t> samples;
    libTrelwave::StaticPCMBuffer buffer;

    explicit ClientBuffer(std::vector<std::int16_t> const& sound) : samples(sound) {
        samples.insert(samples.end(), sound.begin(), sound.begin() + kChannels);
        buffer.format = stereo16();
        buffer.data = reinterpret_cast<unsigned char*>(samples.data());
        buffer.size = sound.size() * sizeof(std::int16_t);
    }

    static ClientBuffer tone(double seconds) {
        return ClientBuffer(pcmanalysis::sineTone16(kToneHz, kAmplitude, kRate, kChannels, framesOf(seconds)));
    }

    static ClientBuffer silence(double seconds) {
        return ClientBuffer(std::vector<std::int16_t>(framesOf(seconds) * kChannels, 0));
    }

    // The tone behind kLeadInSeconds of silence, played as one sound.
    static ClientBuffer leadInAndTone(double seconds) {
        std::vector<std::int16_t> sound(framesOf(kLeadInSeconds) * kChannels, 0);
        std::vector<std::int16_t> const tone =
            pcmanalysis::sineTone16(kToneHz, kAmplitude, kRate, kChannels, framesOf(seconds));
        sound.insert(sound.end(), tone.begin(), tone.end());
        return ClientBuffer(sound);
    }

    void clear() {
        std::fill(samples.begin(), samples.end(), 0);
        buffer.writePosition = 0;
    }

    std::size_t frames() const { return static_cast<std::size_t>(buffer.size / buffer.format.nBlockAlign); }

    pcmanalysis::Signal channel(unsigned int index) const {
        return pcmanalysis::channelOf16(samples.data(), frames(), kChannels, index);
    }

    bool runs() const { return recordingRuns(samples.data(), samples.size() - kChannels); }
};

void waitUntilRunning(ClientBuffer const& recording) {
    while (!recording.runs()) {
        Sleep(10);
    }
}

void waitWhilePlaying(libSonvane::AudioRenderer const& renderer) {
    while (renderer.isStillPlaying()) {
        Sleep(10);
    }
}

void waitWhileRecording(libSonvane::AudioCapture const& capture) {
    while (capture.isStillRecording()) {
        Sleep(10);
    }
}

// The tone heard in one stretch: at the frequency and level it was sent
// with, without a hole, and from `shortest` to `longest` seconds long.
void expectTone(pcmanalysis::Signal const& channel, double shortest, double longest) {
    double const sentLevel = pcmanalysis::rmsDb(ClientBuffer::tone(1.0).channel(0));
    pcmanalysis::ToneReport const report = pcmanalysis::analyseTone(channel, kRate, kToneHz, kSilence, kEdgeMs);
    ASSERT_TRUE(report.found) << "the recording is silent";
    EXPECT_NEAR(report.frequency, kToneHz, 1.0);
    EXPECT_NEAR(report.levelDb, sentLevel, 1.0);
    EXPECT_LE(report.longestGapMs, 5.0);
    EXPECT_GT(report.snrDb, 30.0);
    double const heardSeconds = static_cast<double>(report.span.size()) / kRate;
    EXPECT_GE(heardSeconds, shortest);
    EXPECT_LE(heardSeconds, longest);
}

class RealStackStreams : public RealStackTest {
protected:
    void SetUp() override {
        RealStackTest::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        ASSERT_TRUE(SUCCEEDED(m_platform->GetDefaultAudioEndpoint(eRender, eConsole, &m_render)));
        ASSERT_TRUE(SUCCEEDED(m_platform->GetDefaultAudioEndpoint(eCapture, eConsole, &m_capture)));
        ASSERT_TRUE(m_keeper.isPlaying());
    }

    void TearDown() override {
        m_render.Release();
        m_capture.Release();
        RealStackTest::TearDown();
    }

    // Both channels hold the tone of a second, at least `shortest` of it,
    // with silence on either side: a tone that touches an end of the
    // recording was not recorded whole, and saying so tells a late start or
    // an early end of the recording from sound that the stack lost.
    static void expectOneSecondOfTone(ClientBuffer const& recording, double shortest) {
        for (unsigned int channel = 0; channel < kChannels; ++channel) {
            SCOPED_TRACE(channel == 0 ? "left" : "right");
            pcmanalysis::Signal const signal = recording.channel(channel);
            pcmanalysis::Span const heard = pcmanalysis::activeSpan(signal, kSilence);
            EXPECT_GT(heard.begin, 0u) << "the recording began after the tone";
            EXPECT_LT(heard.end, signal.size()) << "the recording ended before the tone";
            expectTone(signal, shortest, 1.01);
        }
    }

    SinkKeeper m_keeper;
    ATL::CComPtr<IMMDevice> m_render;
    ATL::CComPtr<IMMDevice> m_capture;
};

}  // namespace

// Two rounds on the same objects: the second rewinds the renderer and
// records into the rewound buffer, so both restarts are exercised. The
// capture ends by itself once its buffer is full.
TEST_F(RealStackStreams, ExclusiveStreamsCarryAToneOfOneSecond) {
    LogCapture log;
    ClientBuffer tone = ClientBuffer::leadInAndTone(1.0);
    ClientBuffer recording = ClientBuffer::silence(3.5);

    libSonvane::AudioCaptureEx capture;
    ASSERT_TRUE(capture.initialize(m_capture, &recording.buffer)) << log.dump();
    libSonvane::AudioRendererEx renderer(m_render, &tone.buffer);

    unsigned int const once = libSonvane::AudioRenderer::PlayOnce;
    for (unsigned int flags : {once, once | libSonvane::AudioRenderer::PlayRewind}) {
        SCOPED_TRACE(flags);
        recording.clear();
        ASSERT_TRUE(capture.start()) << log.dump();
        waitUntilRunning(recording);
        ASSERT_TRUE(renderer.play(flags)) << log.dump();
        waitWhilePlaying(renderer);
        EXPECT_TRUE(renderer.stop());
        waitWhileRecording(capture);
        EXPECT_TRUE(capture.stop());
        EXPECT_EQ(0, capture.threadExitCode()) << log.dump();
        EXPECT_EQ(recording.buffer.size, recording.buffer.writePosition);

        expectOneSecondOfTone(recording, 0.99);
    }
}

TEST_F(RealStackStreams, LegacyStreamsCarryAToneOfOneSecondOnTheEndpointsWaveDevices) {
    LogCapture log;
    EXPECT_NE(kNoLegacyDevice, AudioDevice(m_render.p).waveLegacyDeviceID()) << log.dump();
    EXPECT_NE(kNoLegacyDevice, AudioDevice(m_capture.p).waveLegacyDeviceID()) << log.dump();

    // Wine's waveIn delivers its first data more than a second after it was
    // started; a shorter recording would run into the hard time-out of 140%
    // of its length before the buffer is full.
    ClientBuffer tone = ClientBuffer::leadInAndTone(1.0);
    ClientBuffer recording = ClientBuffer::silence(5.0);
    libSonvane::AudioCaptureLegacyWave capture;
    libSonvane::AudioRendererLegacyWave renderer;
    ASSERT_TRUE(capture.initialize(m_capture, &recording.buffer)) << log.dump();
    ASSERT_TRUE(renderer.initialize(m_render, &tone.buffer)) << log.dump();

    ASSERT_TRUE(capture.start()) << log.dump();
    waitUntilRunning(recording);
    ASSERT_TRUE(renderer.play(libSonvane::AudioRenderer::PlayOnce)) << log.dump();
    waitWhilePlaying(renderer);
    EXPECT_TRUE(renderer.stop()) << log.dump();
    waitWhileRecording(capture);
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(0, capture.threadExitCode()) << "the hard time-out ended the recording\n" << log.dump();
    // The legacy capture fills the storage without counting.
    EXPECT_EQ(0u, recording.buffer.writePosition);

    // The renderer resets the device once Wine marks the header done, which
    // Wine does while the last 10 to 15 ms are still to be played: the tone
    // ends that much short.
    expectOneSecondOfTone(recording, 0.97);
}

// A tenth of a second of tone, looped for a second, is still playing when
// stop comes. Each stack records its own loop: a polled exclusive capture
// spins on the one core that this stack runs on and starves Wine's wave
// mixer, which then drops out.
//
// The legacy loop is seamless. The exclusive one is heard in bursts: the
// device buffer is longer than the sound (Wine makes it eight times the
// duration asked for), and a read of more frames than the sound holds
// yields the sound once and silence behind it.
TEST_F(RealStackStreams, LoopingPlayGoesOnUntilStop) {
    LogCapture log;
    ClientBuffer tone = ClientBuffer::tone(0.1);
    auto const recordLoop = [&](libSonvane::AudioRenderer& renderer, libSonvane::AudioCapture& capture,
                                ClientBuffer& recording) {
        ASSERT_TRUE(renderer.initialize(m_render, &tone.buffer)) << log.dump();
        ASSERT_TRUE(capture.initialize(m_capture, &recording.buffer)) << log.dump();
        ASSERT_TRUE(capture.start()) << log.dump();
        waitUntilRunning(recording);
        ASSERT_TRUE(renderer.play(libSonvane::AudioRenderer::PlayLoop)) << log.dump();
        Sleep(1000);
        EXPECT_TRUE(renderer.isStillPlaying());
        EXPECT_TRUE(renderer.stop()) << log.dump();
        EXPECT_FALSE(renderer.isStillPlaying());
        waitWhileRecording(capture);
        EXPECT_TRUE(capture.stop());
    };
    {
        SCOPED_TRACE("legacy");
        libSonvane::AudioRendererLegacyWave renderer;
        libSonvane::AudioCaptureLegacyWave capture;
        ClientBuffer recording = ClientBuffer::silence(5.0);
        recordLoop(renderer, capture, recording);
        expectTone(recording.channel(0), 0.9, 5.0);
    }
    {
        SCOPED_TRACE("exclusive");
        libSonvane::AudioRendererEx renderer;
        libSonvane::AudioCaptureEx capture;
        ClientBuffer recording = ClientBuffer::silence(2.5);
        recordLoop(renderer, capture, recording);
        pcmanalysis::Signal const left = recording.channel(0);
        std::vector<pcmanalysis::Span> const bursts = pcmanalysis::soundSpans(left, kSilence, samplesOf(5.0));
        ASSERT_GE(bursts.size(), 2u) << "the sound was heard once only";
        // The first burst is the head of the stream, which the stack may
        // cut short; every later one must be whole.
        for (std::size_t burst = 1; burst < bursts.size(); ++burst) {
            expectTone(pcmanalysis::slice(left, bursts[burst]), 0.09, 0.11);
        }
    }
}

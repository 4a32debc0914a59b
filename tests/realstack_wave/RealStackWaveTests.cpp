// A tone played through WaveOut on wave device 0 while WaveIn records from
// wave device 0. On this stack the capture device hears the render device
// (a null sink and its monitor), so the recording must not be silent.
#include <libSonvane/WaveIn.h>
#include <libSonvane/WaveOut.h>

#include <LogCapture.h>
#include <PcmFormat.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <mmsystem.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

unsigned int const kRate = 48000;
unsigned int const kChannels = 2;
unsigned int const kToneHz = 1000;
double const kPi = 3.14159265358979323846;

WAVEFORMATEX stereo16() {
    return pcmFormat(kChannels, 16, kRate);
}

// Interleaved 16-bit samples of `milliseconds`, a sine of kToneHz at half of
// full scale on every channel, or silence.
std::vector<std::int16_t> samples(unsigned int milliseconds, bool tone) {
    unsigned int const frames = kRate * milliseconds / 1000;
    std::vector<std::int16_t> block(frames * kChannels, 0);
    for (unsigned int frame = 0; tone && frame < frames; ++frame) {
        double const value = 16384.0 * std::sin(2.0 * kPi * kToneHz * frame / kRate);
        for (unsigned int channel = 0; channel < kChannels; ++channel) {
            block[frame * kChannels + channel] = static_cast<std::int16_t>(value);
        }
    }
    return block;
}

libTrelwave::PCMTrack trackOver(std::vector<std::int16_t>& block) {
    libTrelwave::PCMTrack track;
    track.format = stereo16();
    track.samples.borrow(reinterpret_cast<unsigned char*>(block.data()), block.size() * sizeof(std::int16_t));
    return track;
}

int peak(std::vector<std::int16_t> const& block) {
    int highest = 0;
    for (std::int16_t sample : block) {
        highest = std::max(highest, std::abs(static_cast<int>(sample)));
    }
    return highest;
}

}  // namespace

TEST(RealStackWave, APlayedToneIsHeardByTheRecording) {
    LogCapture log;
    std::vector<std::int16_t> tone = samples(200, true);
    std::vector<std::int16_t> recording = samples(300, false);
    libTrelwave::PCMTrack const played = trackOver(tone);
    libTrelwave::PCMTrack const recorded = trackOver(recording);

    libSonvane::WaveIn input;
    libSonvane::WaveOut output;
    ASSERT_TRUE(input.open(0, recorded)) << log.dump();
    ASSERT_TRUE(output.open(0, played)) << log.dump();
    ASSERT_TRUE(input.start()) << log.dump();
    ASSERT_TRUE(output.start(false)) << log.dump();

    while (output.stillPlaying() || input.stillRecording()) {
        Sleep(10);
    }
    EXPECT_TRUE(output.stop()) << log.dump();
    EXPECT_TRUE(input.stop()) << log.dump();
    EXPECT_TRUE(input.close());

    EXPECT_GT(peak(recording), 1000) << "the recording is silent\n" << log.dump();
}

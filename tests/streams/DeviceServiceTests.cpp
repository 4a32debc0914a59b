// What an AudioDevice asks of its endpoint before a stream opens: the grid
// formats the client accepts.
#include "StreamMachine.h"

namespace streams {
namespace {

struct GridFormat {
    WORD channels;
    WORD bits;
    DWORD rate;
    bool operator==(GridFormat const& other) const {
        return channels == other.channels && bits == other.bits && rate == other.rate;
    }
};

std::vector<GridFormat> gridOf(orv::Array<WAVEFORMATEX> const& formats) {
    std::vector<GridFormat> result;
    for (WAVEFORMATEX const& format : formats)
        result.push_back({format.nChannels, format.wBitsPerSample, format.nSamplesPerSec});
    return result;
}

class DeviceServiceTest : public StreamMachineTest {};

TEST_F(DeviceServiceTest, CompatibleFormatsAreTheAcceptedGridFormatsInGridOrder) {
    audiosim::MachineDescription description = shippedDescription("laptop.json");
    // Listed out of order, with one format outside the grid.
    description.find(kSpeakers)->stream.exclusiveFormats = {
        {2, 24, 44100}, {1, 16, 48000}, {2, 16, 96000}, {2, 32, 48000}, {1, 24, 96000}};
    installLaptop(description);

    AudioDevice device(speakers);
    orv::Array<WAVEFORMATEX> formats;
    EXPECT_EQ(4u, device.compatibleFormats(formats, AUDCLNT_SHAREMODE_EXCLUSIVE));
    const std::vector<GridFormat> expected{{1, 16, 48000}, {1, 24, 96000}, {2, 16, 96000}, {2, 24, 44100}};
    EXPECT_EQ(expected, gridOf(formats));
    ASSERT_EQ(4u, formats.size());
    EXPECT_EQ(WAVE_FORMAT_PCM, formats[0].wFormatTag);
    EXPECT_EQ(2u, formats[0].nBlockAlign);
    EXPECT_EQ(96000u * 3u, formats[1].nAvgBytesPerSec);

    // In shared mode every grid format is converted from the float mix
    // format, so the engine answers each with a closest match: none is kept.
    EXPECT_EQ(0u, device.compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED));

    // 2 channels of 16 bits at 48 kHz are not among them: the renderer does
    // not open, says why, and still probes the grid on the client it got.
    auto tone = ClientBuffer::tone(0.1, 1000.0, 0.5);
    libSonvane::AudioRendererEx renderer;
    LogCapture log;
    EXPECT_FALSE(renderer.initialize(speakers, &tone->buffer));
    EXPECT_TRUE(log.contains("Format requested is not supported 0x88890008", 4)) << log.dump();
    EXPECT_EQ(expected, gridOf(renderer.compatibleFormat()));
}

}  // namespace
}  // namespace streams

// What an AudioDevice asks of its endpoint before a stream opens: the grid
// formats the client accepts, and the jacks behind the endpoint's
// connectors.
#include "StreamMachine.h"

namespace streams {
namespace {

using audiosim::Part;

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
    audiosim::MachineDescription description =
        audiosim::Machine::fromFile(machineFile("laptop.json")).description();
    // Listed out of order, with one format outside the grid.
    description.find(kSpeakers)->stream.exclusiveFormats = {
        {2, 24, 44100}, {1, 16, 48000}, {2, 16, 96000}, {2, 32, 48000}, {1, 24, 96000}};
    install(audiosim::Machine(description));

    AudioDevice speakers(endpoint(kSpeakers));
    orv::Array<WAVEFORMATEX> formats;
    EXPECT_EQ(4u, speakers.compatibleFormats(formats, AUDCLNT_SHAREMODE_EXCLUSIVE));
    const std::vector<GridFormat> expected{{1, 16, 48000}, {1, 24, 96000}, {2, 16, 96000}, {2, 24, 44100}};
    EXPECT_EQ(expected, gridOf(formats));
    ASSERT_EQ(4u, formats.size());
    EXPECT_EQ(WAVE_FORMAT_PCM, formats[0].wFormatTag);
    EXPECT_EQ(2u, formats[0].nBlockAlign);
    EXPECT_EQ(96000u * 3u, formats[1].nAvgBytesPerSec);

    // In shared mode every grid format is converted from the float mix
    // format, so the engine answers each with a closest match: none is kept.
    EXPECT_EQ(0u, speakers.compatibleFormats(formats, AUDCLNT_SHAREMODE_SHARED));

    // 2 channels of 16 bits at 48 kHz are not among them: the renderer does
    // not open, says why, and still probes the grid on the client it got.
    auto tone = ClientBuffer::tone(0.1, 1000.0, 0.5);
    ATL::CComPtr<IMMDevice> device = endpoint(kSpeakers);
    libSonvane::AudioRendererEx renderer;
    LogCapture log;
    EXPECT_FALSE(renderer.initialize(device, &tone->buffer));
    EXPECT_TRUE(log.contains("Format requested is not supported 0x88890008", 4)) << log.dump();
    EXPECT_EQ(expected, gridOf(renderer.compatibleFormat()));
}

KSJACK_DESCRIPTION jackOf(DWORD color) {
    KSJACK_DESCRIPTION jack = {};
    jack.ChannelMapping = 3;
    jack.Color = color;
    jack.ConnectionType = eConnType3Point5mm;
    jack.GeoLocation = eGeoLocRear;
    jack.GenLocation = eGenLocPrimaryBox;
    jack.PortConnection = ePortConnJack;
    jack.IsConnected = TRUE;
    return jack;
}

TEST_F(DeviceServiceTest, JacksAreReadFromTheFirstConnectorWithAJackInterfaceOnly) {
    std::wstring const adapterId = L"{2}.\\\\?\\hdaudio#func_01&ven_test#1#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\etopo";
    std::wstring const twoWays = L"{0.0.0.00000000}.{10000000-0000-0000-0000-000000000001}";
    std::wstring const emptyFirst = L"{0.0.0.00000000}.{10000000-0000-0000-0000-000000000002}";
    std::wstring const unplugged = L"{0.0.0.00000000}.{10000000-0000-0000-0000-000000000003}";

    audiosim::MachineDescription description;
    audiosim::Topology& codec = description.addAdapter(adapterId, L"HDAUDIO\\FUNC_01&VEN_TEST\\1").ensureTopology();
    codec.addConnector(Part::connector(L"No jacks", Physical_Internal, Out));
    codec.addConnector(Part::connector(L"Two jacks", Physical_External, Out).withJack(jackOf(0x00FF00)).withJack(jackOf(0x0000FF)));
    Part noneReported = Part::connector(L"Zero jacks", Physical_External, Out);
    noneReported.jacks = std::vector<KSJACK_DESCRIPTION>{};
    codec.addConnector(noneReported);
    codec.addConnector(Part::connector(L"Behind", Physical_External, Out).withJack(jackOf(0xFF0000)));
    codec.addConnector(Part::connector(L"Unplugged jack", Physical_External, Out).withJack(jackOf(0x000000)));

    const auto endpointOn = [&](std::wstring const& id, DWORD state, std::vector<std::wstring> const& connectors) {
        audiosim::Device& device = description.addEndpoint(eRender, id);
        device.state = state;
        for (size_t i = 0; i < connectors.size(); ++i) {
            device.ensureTopology().addConnector(
                Part::connector(L"Output " + std::to_wstring(i), Software_IO, In).connectTo(adapterId, connectors[i]));
        }
    };
    endpointOn(twoWays, DEVICE_STATE_ACTIVE, {L"No jacks", L"Two jacks"});
    endpointOn(emptyFirst, DEVICE_STATE_ACTIVE, {L"Zero jacks", L"Behind"});
    endpointOn(unplugged, DEVICE_STATE_UNPLUGGED, {L"Unplugged jack"});
    audiosim::Machine& simulated = install(audiosim::Machine(description));

    orv::Array<KSJACK_DESCRIPTION> jacks;
    EXPECT_EQ(2u, AudioDevice(endpoint(twoWays)).jackInfo(jacks));
    ASSERT_EQ(2u, jacks.size());
    EXPECT_EQ(0x00FF00u, jacks[0].Color);
    EXPECT_EQ(0x0000FFu, jacks[1].Color);

    // A first interface that reports no jack ends the walk all the same.
    simulated.calls().clear();
    EXPECT_EQ(0u, AudioDevice(endpoint(emptyFirst)).jackInfo(jacks));
    EXPECT_EQ(0u, jacks.size());
    EXPECT_EQ(1u, simulated.calls().count(L"IKsJackDescription::GetJackCount"));
    EXPECT_EQ(0u, simulated.calls().count(L"IKsJackDescription::GetJackDescription"));

    // An unplugged endpoint's connector leads nowhere: no jacks, and only
    // detail lines.
    LogCapture log;
    EXPECT_EQ(0u, AudioDevice(endpoint(unplugged)).jackInfo(jacks));
    EXPECT_TRUE(log.contains("No Jack Info for non-active device", 1)) << log.dump();
    for (LogCapture::Record const& record : log.records()) {
        if (record.category == "libSonvane.audioDeviceEndpoint" && record.text.find("jack") != std::string::npos)
            EXPECT_EQ(1, record.level) << record.text;
    }
}

}  // namespace
}  // namespace streams

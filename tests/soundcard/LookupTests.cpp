// Endpoints of a card by node type, flow and state.
#include "SimulatedCards.h"

#include "LogCapture.h"

#include <cwctype>

namespace soundcard {
namespace {

class Lookup : public SimulatedCards {
protected:
    void SetUp() override {
        SimulatedCards::SetUp();
        installShipped("laptop.json");
        orv::Array<SoundCard> const cards = SoundCard::enumerateSystemSoundDevices();
        m_codec = card(cards, kRealtekPath);
        m_display = card(cards, kIntelPath);
    }

    SoundCard m_codec;
    SoundCard m_display;
};

// The speakers are enumerated first, yet the headphones lead; the pointers
// point into the card's own list.
TEST_F(Lookup, HeadphonesBeforeSpeakers) {
    orv::Array<AudioDevice> copies;
    EXPECT_EQ(2u, m_codec.waveOutEndpointDevice(copies));
    EXPECT_EQ((std::vector<std::wstring>{kHeadphones, kSpeakers}), idsOf(copies));

    orv::Array<AudioInterfacePtr> pointers;
    EXPECT_EQ(2u, m_codec.waveOutEndpointDevice(pointers));
    EXPECT_EQ((std::vector<std::wstring>{kHeadphones, kSpeakers}), idsOf(pointers));
    EXPECT_EQ(1u, m_codec.speakerEndpointDevice(pointers));
    EXPECT_EQ(kSpeakers, text(pointers[2]->deviceProperty().deviceId));

    copies.clear();
    EXPECT_EQ(1u, m_display.hdmiOutEndpointDevice(copies, DEVICE_STATE_ACTIVE));
    EXPECT_EQ(0u, m_display.displayportOutEndpointDevice(copies, DEVICE_STATEMASK_ALL));
    EXPECT_EQ(0u, m_codec.hdmiOutEndpointDevice(copies, DEVICE_STATEMASK_ALL));
    EXPECT_EQ(std::vector<std::wstring>{kDigitalOutput}, idsOf(copies));
}

// A filter of 0 passes nothing and keeps what the result held; the count is
// only what this call appended.
TEST_F(Lookup, FilterOfZeroFindsNothing) {
    orv::Array<AudioDevice> result;
    m_codec.allPlaybackDevice(result);
    LogCapture log;
    EXPECT_EQ(0u, m_codec.waveOutEndpointDevice(result, 0));
    EXPECT_EQ(0u, m_codec.allPlaybackDevice(result, 0));
    EXPECT_EQ((std::vector<std::wstring>{kSpeakers, kHeadphones}), idsOf(result));
    EXPECT_EQ(3u, log.count("Number of found device = 0", 1)) << log.dump();
    EXPECT_EQ(2u, m_codec.allPlaybackDevice(result, DEVICE_STATE_ACTIVE));
}

// The plain microphone lookup knows the generic node type only; the array
// is found by the lookup with a filter, and by state.
TEST_F(Lookup, MicrophoneArrayOnlyByFilteredLookup) {
    orv::Array<AudioDevice> found;
    EXPECT_EQ(0u, m_codec.microphoneEndpointDevice(found));
    orv::Array<AudioInterfacePtr> pointers;
    EXPECT_EQ(0u, m_codec.microphoneEndpointDevice(pointers));
    EXPECT_EQ(1u, m_codec.microphoneEndpointDevice(found, DEVICE_STATE_ACTIVE));
    EXPECT_EQ(0u, m_codec.microphoneEndpointDevice(found, DEVICE_STATE_UNPLUGGED));
    EXPECT_EQ(std::vector<std::wstring>{kMicrophoneArray}, idsOf(found));
}

// hasEndpoint sees the devices behind the endpoints and ignores case; the
// typed lookups never return a device of the other flow.
TEST_F(Lookup, HasEndpointAndFlows) {
    EXPECT_TRUE(m_codec.hasEndpoint(kCodecWave));
    std::wstring shouted = kMicrophoneArray;
    for (wchar_t& unit : shouted) {
        unit = towupper(unit);
    }
    EXPECT_TRUE(m_codec.hasEndpoint(shouted.c_str()));
    EXPECT_FALSE(m_codec.hasEndpoint(kDigitalOutput));

    orv::Array<AudioDevice> found;
    EXPECT_EQ(0u, m_codec.spdifOutEndpointDevice(found));
    EXPECT_EQ(0u, m_codec.lineInEndpointDevice(found));
    EXPECT_EQ(0u, m_display.microphoneEndpointDevice(found, DEVICE_STATEMASK_ALL));
    EXPECT_EQ(0u, m_codec.loopbackMixEndpointDevice(found));
}

}  // namespace
}  // namespace soundcard

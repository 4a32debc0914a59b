// The wave device wrappers over a scripted fake of the system's wave
// functions: when a device is opened, kept, replaced and closed, what the
// header looks like between the calls, and what is logged.
#include "FakeWaveDevices.h"

#include <libSonvane/WaveIn.h>
#include <libSonvane/WaveOut.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

using libSonvane::WaveIn;
using libSonvane::WaveOut;

namespace {

class WaveDevice : public ::testing::Test {
protected:
    WaveDevice() : storage(400, 0) {
        track.format.wFormatTag = WAVE_FORMAT_PCM;
        track.format.nBlockAlign = 4;
        track.samples.borrow(storage.data(), storage.size());
    }

    template <class Wave>
    bool aimedAtTrack(Wave const& wave) const {
        return wave.header().lpData == reinterpret_cast<char const*>(storage.data()) &&
               wave.header().dwBufferLength == storage.size() && wave.header().dwFlags == 0;
    }

    FakeWaveDevices devices;
    LogCapture log;
    std::vector<unsigned char> storage;
    libTrelwave::PCMTrack track;
    libTrelwave::PCMTrack emptyTrack;
};

}  // namespace

TEST_F(WaveDevice, InputKeepsAnAimedDeviceOnTheSameIdAndReplacesItOtherwise) {
    WaveIn input;
    ASSERT_TRUE(input.open(3, track));
    std::uintptr_t const first = devices.lastOpened;
    EXPECT_EQ(3u, devices.open[first]);
    EXPECT_TRUE(aimedAtTrack(input));
    EXPECT_TRUE(log.contains("Handle value as integer 4097", 2)) << log.dump();

    EXPECT_TRUE(input.open(3, track));
    EXPECT_EQ(1u, devices.count("inOpen"));
    EXPECT_TRUE(log.contains("WaveIn object already has an open audio input device.", 2)) << log.dump();

    // An abort is cleared by open but does not force a new device.
    input.abort();
    EXPECT_TRUE(input.open(3, track));
    EXPECT_FALSE(input.isAborted());
    EXPECT_EQ(1u, devices.count("inOpen"));

    EXPECT_TRUE(input.open(5, track));
    EXPECT_FALSE(devices.isOpen(first));
    EXPECT_EQ(5u, devices.open[devices.lastOpened]);
    EXPECT_TRUE(log.contains("Closing wave input device.", 1)) << log.dump();
    EXPECT_TRUE(log.contains("waveInClose result = 0", 2)) << log.dump();

    // A finished recording leaves the header done, so the same id opens anew.
    ASSERT_TRUE(input.start());
    EXPECT_TRUE(input.stillRecording());
    devices.finishBuffer();
    EXPECT_FALSE(input.stillRecording());
    EXPECT_TRUE(input.open(5, track));
    EXPECT_EQ(3u, devices.count("inOpen"));
    EXPECT_TRUE(aimedAtTrack(input));
}

TEST_F(WaveDevice, OutputKeepsAnAimedDeviceSilentlyButOpensAnewWhenAborted) {
    WaveOut output;
    ASSERT_TRUE(output.open(1, track));
    log.clear();
    EXPECT_TRUE(output.open(1, track));
    EXPECT_EQ(1u, devices.count("outOpen"));
    for (auto const& record : log.records()) {
        EXPECT_EQ(1, record.level) << record.text;
    }

    output.abort();
    EXPECT_TRUE(output.open(1, track));
    EXPECT_EQ(2u, devices.count("outOpen"));
    EXPECT_FALSE(output.isAborted());
}

TEST_F(WaveDevice, RefusedOpensAndEmptyTracksLeaveDeviceAndHeaderAlone) {
    WaveIn input;
    WaveOut output;
    ASSERT_TRUE(input.open(0, track));
    ASSERT_TRUE(output.open(0, track));
    std::uintptr_t const lastGood = devices.lastOpened;

    EXPECT_FALSE(input.setPCMStorage(emptyTrack));
    EXPECT_FALSE(output.setPCMOutput(emptyTrack));
    EXPECT_EQ(2u, log.count("Cannot operate on empty recording buffer", 3)) << log.dump();
    EXPECT_TRUE(aimedAtTrack(input));
    EXPECT_TRUE(aimedAtTrack(output));

    devices.results["inOpen"] = WAVERR_BADFORMAT;
    devices.results["outOpen"] = WAVERR_BADFORMAT;
    EXPECT_FALSE(input.open(2, track));
    output.abort();
    EXPECT_FALSE(output.open(0, track));
    EXPECT_TRUE(log.contains("waveInOpen encountered an error 32", 3)) << log.dump();
    EXPECT_TRUE(log.contains("waveOutOpen encountered an error 32 last error ", 3)) << log.dump();
    EXPECT_EQ(0u, input.deviceId());
    EXPECT_TRUE(aimedAtTrack(input));
    EXPECT_TRUE(devices.isOpen(lastGood));
    EXPECT_EQ(0u, devices.count("inClose") + devices.count("outClose"));
}

TEST_F(WaveDevice, WithoutADeviceStopSucceedsAndCloseReportsTheSecondCall) {
    WaveIn input;
    WaveOut output;
    EXPECT_TRUE(input.stop());
    EXPECT_TRUE(output.stop());
    EXPECT_TRUE(devices.calls.empty());

    ASSERT_TRUE(input.open(0, track));
    EXPECT_TRUE(input.close());
    EXPECT_FALSE(devices.isOpen(devices.lastOpened));
    EXPECT_FALSE(input.close());
    EXPECT_TRUE(log.contains("Handle already closed", 1)) << log.dump();
}

TEST_F(WaveDevice, InputStartStopAndTheirRefusals) {
    WaveIn input;
    ASSERT_TRUE(input.open(0, track));
    ASSERT_TRUE(input.start());
    EXPECT_TRUE(input.stop());
    EXPECT_EQ(static_cast<DWORD>(WHDR_DONE), input.header().dwFlags);
    EXPECT_EQ((std::vector<std::string>{"inOpen", "inPrepareHeader", "inAddBuffer", "inStart", "inStop", "inReset",
                                        "inUnprepareHeader"}),
              devices.calls);
    EXPECT_TRUE(log.contains("waveInStart returns 0", 2));
    EXPECT_TRUE(log.contains("waveInStop returns 0", 2));
    EXPECT_TRUE(log.contains("waveInUnprepareHeader returns 0", 2));

    ASSERT_TRUE(input.setPCMStorage(track));
    devices.results["inPrepareHeader"] = MMSYSERR_NOMEM;
    EXPECT_FALSE(input.start());
    EXPECT_TRUE(log.contains("waveInPrepareHeader failed 7", 3)) << log.dump();

    // A refused queue leaves the header prepared.
    devices.results = {{"inAddBuffer", MMSYSERR_INVALHANDLE}};
    EXPECT_FALSE(input.start());
    EXPECT_TRUE(log.contains("waveInAddBuffer fails with GetLastError() = ", 3)) << log.dump();
    EXPECT_EQ(static_cast<DWORD>(WHDR_PREPARED), input.header().dwFlags);

    // A refused start is cleaned up by stop, whose result start reports; the
    // header comes back done at once.
    ASSERT_TRUE(input.setPCMStorage(track));
    devices.results = {{"inStart", MMSYSERR_ERROR}};
    EXPECT_TRUE(input.start());
    EXPECT_FALSE(input.stillRecording());

    // A refused stop neither resets nor unprepares.
    ASSERT_TRUE(input.setPCMStorage(track));
    devices.results = {{"inStop", MMSYSERR_ERROR}};
    ASSERT_TRUE(input.start());
    size_t const resets = devices.count("inReset");
    EXPECT_FALSE(input.stop());
    EXPECT_EQ(resets, devices.count("inReset"));
}

TEST_F(WaveDevice, OutputLoopFlagsStayUntilTheHeaderIsAimedAgain) {
    WaveOut output;
    ASSERT_TRUE(output.open(0, track));
    ASSERT_TRUE(output.start(true));
    EXPECT_EQ(0xFFFFFFFFu, output.header().dwLoops);
    EXPECT_EQ(WHDR_BEGINLOOP | WHDR_ENDLOOP | WHDR_PREPARED | WHDR_INQUEUE, output.header().dwFlags);
    EXPECT_TRUE(log.contains("waveOutStart returns 0", 2)) << log.dump();

    EXPECT_TRUE(output.stop());
    EXPECT_FALSE(output.stillPlaying());
    EXPECT_EQ(0xFFFFFFFFu, output.header().dwLoops);
    EXPECT_EQ(WHDR_BEGINLOOP | WHDR_ENDLOOP | WHDR_DONE, output.header().dwFlags);
    EXPECT_TRUE(log.contains("waveOutWrite returns 0", 2)) << log.dump();
    EXPECT_TRUE(log.contains("waveOutUnprepareHeader returns 0", 2)) << log.dump();

    // start clears nothing: started again without aiming, a header that
    // plays once still carries the loop flags.
    ASSERT_TRUE(output.start(false));
    EXPECT_EQ(0u, output.header().dwLoops);
    EXPECT_EQ(WHDR_BEGINLOOP | WHDR_ENDLOOP | WHDR_PREPARED | WHDR_INQUEUE, output.header().dwFlags);
    EXPECT_TRUE(output.stop());
    ASSERT_TRUE(output.setPCMOutput(track));
    EXPECT_TRUE(aimedAtTrack(output));

    // Refused writes and resets are reported and not cleaned up.
    devices.results = {{"outWrite", MMSYSERR_ERROR}, {"outReset", MMSYSERR_ERROR}};
    EXPECT_FALSE(output.start(false));
    EXPECT_FALSE(output.stop());
    EXPECT_EQ(2u, devices.count("outUnprepareHeader"));
}

TEST_F(WaveDevice, AbortOnlyMarksTheTransfer) {
    WaveIn input;
    WaveOut output;
    ASSERT_TRUE(input.open(0, track));
    ASSERT_TRUE(output.open(0, track));
    ASSERT_TRUE(input.start());
    ASSERT_TRUE(output.start(false));
    size_t const callsBefore = devices.calls.size();

    input.abort();
    output.abort();
    EXPECT_FALSE(input.stillRecording());
    EXPECT_FALSE(output.stillPlaying());
    EXPECT_EQ(callsBefore, devices.calls.size());
    EXPECT_NE(0u, input.header().dwFlags & WHDR_INQUEUE);
    EXPECT_NE(0u, output.header().dwFlags & WHDR_INQUEUE);
}

TEST_F(WaveDevice, TheLastHolderOfAHandleClosesIt) {
    std::uintptr_t handle = 0;
    {
        WaveOut original;
        ASSERT_TRUE(original.open(0, track));
        handle = devices.lastOpened;
        WaveOut assigned;
        assigned = WaveOut(original);
        original = WaveOut();
        EXPECT_TRUE(devices.isOpen(handle));

        // Copies made and dropped on several threads at once: the count is
        // kept under the handle's lock, so the device stays open.
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&assigned] {
                for (int i = 0; i < 2000; ++i) {
                    WaveOut copy(assigned);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_TRUE(devices.isOpen(handle));
    }
    EXPECT_EQ(1u, devices.count("outClose"));
    EXPECT_TRUE(log.contains("waveOutClose result = 0", 1)) << log.dump();

    WaveIn input;
    ASSERT_TRUE(input.open(0, track));
    WaveIn copy(input);
    EXPECT_TRUE(input.close());
    EXPECT_TRUE(devices.isOpen(devices.lastOpened));
    EXPECT_TRUE(copy.close());
    EXPECT_FALSE(devices.isOpen(devices.lastOpened));
}

TEST_F(WaveDevice, InputInitializationCheckLogsEachTermAndAThrowingCloseIsPassedOn) {
    WaveIn input;
    ASSERT_TRUE(input.open(0, track));
    log.clear();
    EXPECT_TRUE(input.isInitialized());
    std::vector<std::string> lines;
    for (auto const& record : log.records()) {
        if (record.level == 2) {
            lines.push_back(record.text.substr(record.text.find(' ') + 1));
        }
    }
    EXPECT_EQ((std::vector<std::string>{"Checking WaveIn::isInitialized", "isHandleValid = TRUE",
                                        "goodBufferLength = TRUE", "nonNullDataPtr = TRUE", "m_header.dwFlags = 0"}),
              lines);

    devices.throwOnClose = true;
    HWAVEIN inputHandle = reinterpret_cast<HWAVEIN>(0x77);
    HWAVEOUT outputHandle = reinterpret_cast<HWAVEOUT>(0x78);
    EXPECT_THROW(libSonvane::WaveInHandleStorage::destroy(inputHandle), std::runtime_error);
    EXPECT_THROW(libSonvane::WaveOutHandleStorage::destroy(outputHandle), std::runtime_error);
    EXPECT_TRUE(log.contains("WaveInHandleStorage.destroy encounters unknown exception", 4)) << log.dump();
    EXPECT_TRUE(log.contains("WaveOutHandleStorage.destroy encounters unknown exception", 4)) << log.dump();
    devices.throwOnClose = false;
}

// The wave device wrappers over a scripted fake of the system's wave
// functions: when a device is opened, kept, replaced and closed, what the
// header looks like between the calls, and what is logged.
#include "FakeWaveDevices.h"

#include <libSonvane/WaveIn.h>
#include <libSonvane/WaveOut.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <thread>
#include <vector>

using libSonvane::WaveIn;
using libSonvane::WaveInHandleStorage;
using libSonvane::WaveOut;
using libSonvane::WaveOutHandleStorage;

namespace {

MMRESULT const kBadFormat = WAVERR_BADFORMAT;  // 32

// A track over samples of its own: 100 frames of 16-bit stereo at 8 kHz.
struct TestTrack {
    TestTrack() : storage(400, 0) {
        track.format.wFormatTag = WAVE_FORMAT_PCM;
        track.format.nChannels = 2;
        track.format.nSamplesPerSec = 8000;
        track.format.wBitsPerSample = 16;
        track.format.nBlockAlign = 4;
        track.format.nAvgBytesPerSec = 32000;
        track.samples.borrow(storage.data(), storage.size());
    }

    std::vector<unsigned char> storage;
    libTrelwave::PCMTrack track;
};

class WaveDevice : public ::testing::Test {
protected:
    FakeWaveDevices devices;
    LogCapture log;
    TestTrack tone;
    libTrelwave::PCMTrack emptyTrack;

    bool aimedAt(WAVEHDR const& header, TestTrack const& target) {
        return header.lpData == reinterpret_cast<char const*>(target.storage.data()) &&
               header.dwBufferLength == target.storage.size();
    }
};

}  // namespace

TEST_F(WaveDevice, InputOpenKeepsAnAimedDeviceAndReplacesItForAnotherId) {
    WaveIn input;
    ASSERT_TRUE(input.open(3, tone.track));
    std::uintptr_t const first = devices.lastOpened();
    EXPECT_EQ(3u, devices.deviceOf(first));
    EXPECT_EQ(8000u, devices.lastFormat().nSamplesPerSec);
    EXPECT_TRUE(aimedAt(input.header(), tone));
    EXPECT_TRUE(input.isInitialized());
    EXPECT_TRUE(log.contains("Handle value as integer 4096", 2)) << log.dump();

    log.clear();
    EXPECT_TRUE(input.open(3, tone.track));
    EXPECT_EQ(1u, devices.count("inOpen"));
    EXPECT_TRUE(log.contains("WaveIn object already has an open audio input device.", 2)) << log.dump();

    log.clear();
    EXPECT_TRUE(input.open(5, tone.track));
    EXPECT_EQ(2u, devices.count("inOpen"));
    EXPECT_FALSE(devices.isOpen(first));
    EXPECT_TRUE(devices.isOpen(devices.lastOpened()));
    EXPECT_EQ(5u, input.deviceId());
    EXPECT_TRUE(log.contains("Closing wave input device.", 1)) << log.dump();
    EXPECT_TRUE(log.contains("waveInClose result = 0", 2)) << log.dump();
}

TEST_F(WaveDevice, InputOpensAgainAfterAFinishedRecordingButNotAfterAnAbort) {
    WaveIn input;
    ASSERT_TRUE(input.open(0, tone.track));
    ASSERT_TRUE(input.start());
    EXPECT_TRUE(input.stillRecording());
    devices.finishBuffer();
    EXPECT_FALSE(input.stillRecording());

    // The done header is no longer "initialized", so the same id opens anew.
    EXPECT_TRUE(input.open(0, tone.track));
    EXPECT_EQ(2u, devices.count("inOpen"));
    EXPECT_EQ(0u, input.header().dwFlags);

    // An abort is cleared by open and does not force a new device.
    input.abort();
    EXPECT_TRUE(input.open(0, tone.track));
    EXPECT_FALSE(input.isAborted());
    EXPECT_EQ(2u, devices.count("inOpen"));
}

TEST_F(WaveDevice, OutputOpensAnewWhenAborted) {
    WaveOut output;
    ASSERT_TRUE(output.open(1, tone.track));
    log.clear();
    EXPECT_TRUE(output.open(1, tone.track));
    EXPECT_EQ(1u, devices.count("outOpen"));
    for (auto const& record : log.records()) {
        EXPECT_EQ(1, record.level) << record.text;
    }

    output.abort();
    EXPECT_TRUE(output.open(1, tone.track));
    EXPECT_EQ(2u, devices.count("outOpen"));
    EXPECT_FALSE(output.isAborted());
}

TEST_F(WaveDevice, FailedOpenLeavesTheOldDeviceAndHeader) {
    WaveIn input;
    WaveOut output;
    ASSERT_TRUE(input.open(0, tone.track));
    ASSERT_TRUE(output.open(0, tone.track));
    std::uintptr_t const lastGood = devices.lastOpened();
    ASSERT_TRUE(input.start());

    devices.results["inOpen"] = kBadFormat;
    devices.results["outOpen"] = kBadFormat;
    EXPECT_FALSE(input.open(2, tone.track));
    output.abort();
    EXPECT_FALSE(output.open(0, tone.track));

    EXPECT_TRUE(log.contains("waveInOpen encountered an error 32", 3)) << log.dump();
    EXPECT_TRUE(log.contains("waveOutOpen encountered an error 32 last error ", 3)) << log.dump();
    EXPECT_EQ(0u, input.deviceId());
    EXPECT_NE(0u, input.header().dwFlags & WHDR_PREPARED);
    EXPECT_TRUE(devices.isOpen(lastGood));
    EXPECT_EQ(0u, devices.count("inClose") + devices.count("outClose"));
}

TEST_F(WaveDevice, AnEmptyTrackIsRefusedAndTheHeaderKept) {
    WaveIn input;
    WaveOut output;
    ASSERT_TRUE(input.open(0, tone.track));
    ASSERT_TRUE(output.open(0, tone.track));

    EXPECT_FALSE(input.setPCMStorage(emptyTrack));
    EXPECT_FALSE(output.setPCMOutput(emptyTrack));
    EXPECT_EQ(2u, log.count("Cannot operate on empty recording buffer", 3)) << log.dump();
    EXPECT_TRUE(aimedAt(input.header(), tone));
    EXPECT_TRUE(aimedAt(output.header(), tone));

    // Opening with an empty track opens the device but leaves it unaimed.
    WaveIn unaimed;
    EXPECT_FALSE(unaimed.open(4, emptyTrack));
    EXPECT_TRUE(devices.isOpen(devices.lastOpened()));
    EXPECT_FALSE(unaimed.isInitialized());
}

TEST_F(WaveDevice, WithoutADeviceStopSucceedsAndCloseReportsTheSecondCall) {
    WaveIn input;
    WaveOut output;
    EXPECT_TRUE(input.stop());
    EXPECT_TRUE(output.stop());
    EXPECT_TRUE(devices.calls().empty());

    ASSERT_TRUE(input.open(0, tone.track));
    EXPECT_TRUE(input.close());
    EXPECT_FALSE(devices.isOpen(devices.lastOpened()));
    EXPECT_FALSE(input.close());
    EXPECT_TRUE(log.contains("Handle already closed", 1)) << log.dump();
    EXPECT_TRUE(input.stop());
}

TEST_F(WaveDevice, InputRecordingRunsThroughPrepareQueueStartAndStop) {
    WaveIn input;
    ASSERT_TRUE(input.open(0, tone.track));
    ASSERT_TRUE(input.start());
    EXPECT_EQ(WHDR_PREPARED | WHDR_INQUEUE, input.header().dwFlags);
    EXPECT_TRUE(log.contains("waveInStart returns 0", 2)) << log.dump();

    EXPECT_TRUE(input.stop());
    EXPECT_EQ(static_cast<DWORD>(WHDR_DONE), input.header().dwFlags);
    EXPECT_TRUE(log.contains("waveInStop returns 0", 2)) << log.dump();
    EXPECT_TRUE(log.contains("waveInUnprepareHeader returns 0", 2)) << log.dump();

    std::vector<std::string> names;
    for (auto const& call : devices.calls()) {
        names.push_back(call.name);
    }
    EXPECT_EQ((std::vector<std::string>{"inOpen", "inPrepareHeader", "inAddBuffer", "inStart", "inStop", "inReset",
                                        "inUnprepareHeader"}),
              names);

    // A second stop, as when client and worker both stop, meets a header
    // that is already given back; only its results are logged.
    devices.results["inUnprepareHeader"] = WAVERR_UNPREPARED;
    EXPECT_FALSE(input.stop());
}

TEST_F(WaveDevice, InputStartFailuresAndTheirCleanUp) {
    WaveIn input;
    ASSERT_TRUE(input.open(0, tone.track));

    devices.results["inPrepareHeader"] = MMSYSERR_NOMEM;
    EXPECT_FALSE(input.start());
    EXPECT_TRUE(log.contains("waveInPrepareHeader failed 7", 3)) << log.dump();

    devices.results.clear();
    devices.results["inAddBuffer"] = MMSYSERR_INVALHANDLE;
    EXPECT_FALSE(input.start());
    EXPECT_TRUE(log.contains("waveInAddBuffer fails with GetLastError() = ", 3)) << log.dump();
    EXPECT_NE(0u, input.header().dwFlags & WHDR_PREPARED);
    EXPECT_EQ(0u, devices.count("inUnprepareHeader"));

    // A refused start is cleaned up by stop, whose result it reports; the
    // header comes back done at once.
    devices.results.clear();
    ASSERT_TRUE(input.setPCMStorage(tone.track));
    devices.results["inStart"] = MMSYSERR_ERROR;
    EXPECT_TRUE(input.start());
    EXPECT_TRUE(log.contains("waveInStart returns 1", 2)) << log.dump();
    EXPECT_FALSE(input.stillRecording());

    // A refused stop neither resets nor unprepares.
    devices.results.clear();
    ASSERT_TRUE(input.setPCMStorage(tone.track));
    ASSERT_TRUE(input.start());
    size_t const resets = devices.count("inReset");
    devices.results["inStop"] = MMSYSERR_ERROR;
    EXPECT_FALSE(input.stop());
    EXPECT_EQ(resets, devices.count("inReset"));
}

TEST_F(WaveDevice, OutputLoopFlagsStayUntilTheHeaderIsAimedAgain) {
    WaveOut output;
    ASSERT_TRUE(output.open(0, tone.track));
    ASSERT_TRUE(output.start(true));
    EXPECT_EQ(0xFFFFFFFFu, output.header().dwLoops);
    EXPECT_EQ(WHDR_BEGINLOOP | WHDR_ENDLOOP | WHDR_PREPARED | WHDR_INQUEUE, output.header().dwFlags);
    EXPECT_TRUE(output.stillPlaying());
    EXPECT_TRUE(log.contains("waveOutStart returns 0", 2)) << log.dump();

    EXPECT_TRUE(output.stop());
    EXPECT_FALSE(output.stillPlaying());
    EXPECT_EQ(0xFFFFFFFFu, output.header().dwLoops);
    EXPECT_EQ(WHDR_BEGINLOOP | WHDR_ENDLOOP | WHDR_DONE, output.header().dwFlags);
    EXPECT_TRUE(log.contains("waveOutWrite returns 0", 2)) << log.dump();
    EXPECT_TRUE(log.contains("waveOutUnprepareHeader returns 0", 2)) << log.dump();

    // start itself clears nothing: started again without aiming, a header
    // that plays once still carries the loop flags.
    EXPECT_FALSE(output.isInitialized());
    ASSERT_TRUE(output.start(false));
    EXPECT_EQ(0u, output.header().dwLoops);
    EXPECT_EQ(WHDR_BEGINLOOP | WHDR_ENDLOOP | WHDR_PREPARED | WHDR_INQUEUE, output.header().dwFlags);
    EXPECT_TRUE(output.stop());

    ASSERT_TRUE(output.setPCMOutput(tone.track));
    EXPECT_EQ(0u, output.header().dwFlags);
    EXPECT_TRUE(output.isInitialized());
    ASSERT_TRUE(output.start(false));
    EXPECT_EQ(WHDR_PREPARED | WHDR_INQUEUE, output.header().dwFlags);
    devices.finishBuffer();
    EXPECT_FALSE(output.stillPlaying());
}

TEST_F(WaveDevice, OutputStartAndStopReportRefusals) {
    WaveOut output;
    ASSERT_TRUE(output.open(0, tone.track));

    devices.results["outPrepareHeader"] = MMSYSERR_NOMEM;
    EXPECT_FALSE(output.start(false));
    EXPECT_TRUE(log.contains("waveOutPrepareHeader failed 7", 3)) << log.dump();
    EXPECT_EQ(0u, devices.count("outWrite"));

    // A refused write is not cleaned up.
    devices.results.clear();
    devices.results["outWrite"] = MMSYSERR_ERROR;
    EXPECT_FALSE(output.start(false));
    EXPECT_TRUE(log.contains("waveOutStart returns 1", 2)) << log.dump();
    EXPECT_EQ(0u, devices.count("outReset"));

    devices.results.clear();
    devices.results["outReset"] = MMSYSERR_ERROR;
    EXPECT_FALSE(output.stop());
    EXPECT_EQ(0u, devices.count("outUnprepareHeader"));
}

TEST_F(WaveDevice, AbortOnlyMarksTheTransfer) {
    WaveIn input;
    WaveOut output;
    ASSERT_TRUE(input.open(0, tone.track));
    ASSERT_TRUE(output.open(0, tone.track));
    ASSERT_TRUE(input.start());
    ASSERT_TRUE(output.start(false));
    size_t const callsBefore = devices.calls().size();

    input.abort();
    output.abort();
    EXPECT_TRUE(input.isAborted());
    EXPECT_FALSE(input.stillRecording());
    EXPECT_FALSE(output.stillPlaying());
    EXPECT_EQ(callsBefore, devices.calls().size());
    EXPECT_NE(0u, input.header().dwFlags & WHDR_INQUEUE);
    EXPECT_NE(0u, output.header().dwFlags & WHDR_INQUEUE);
}

TEST_F(WaveDevice, TheLastHolderOfAHandleClosesIt) {
    std::uintptr_t handle = 0;
    {
        WaveOut original;
        ASSERT_TRUE(original.open(0, tone.track));
        handle = devices.lastOpened();
        WaveOut assigned;
        {
            WaveOut copy(original);
            assigned = copy;
        }
        original = WaveOut();
        EXPECT_TRUE(devices.isOpen(handle));
        EXPECT_TRUE(aimedAt(assigned.header(), tone));

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
        EXPECT_EQ(0u, devices.count("outClose"));
    }
    EXPECT_FALSE(devices.isOpen(handle));
    EXPECT_EQ(1u, devices.count("outClose"));
    EXPECT_TRUE(log.contains("waveOutClose result = 0", 1)) << log.dump();

    WaveIn input;
    ASSERT_TRUE(input.open(0, tone.track));
    WaveIn copy(input);
    EXPECT_TRUE(input.close());
    EXPECT_TRUE(devices.isOpen(devices.lastOpened()));
    EXPECT_TRUE(copy.close());
    EXPECT_FALSE(devices.isOpen(devices.lastOpened()));
}

TEST_F(WaveDevice, InputInitializationCheckLogsEachTerm) {
    WaveIn input;
    ASSERT_TRUE(input.open(0, tone.track));
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

    EXPECT_TRUE(input.close());
    EXPECT_FALSE(input.isInitialized());
    EXPECT_TRUE(log.contains("isHandleValid = FALSE", 2)) << log.dump();
}

TEST_F(WaveDevice, ACloseThatThrowsIsLoggedAndPassedOn) {
    devices.throwOnClose = true;
    HWAVEIN input = reinterpret_cast<HWAVEIN>(0x77);
    HWAVEOUT output = reinterpret_cast<HWAVEOUT>(0x78);
    EXPECT_THROW(WaveInHandleStorage::dispose(input), std::runtime_error);
    EXPECT_THROW(WaveOutHandleStorage::dispose(output), std::runtime_error);
    EXPECT_TRUE(log.contains("WaveInHandleStorage.destroy encounters unknown exception", 4)) << log.dump();
    EXPECT_TRUE(log.contains("WaveOutHandleStorage.destroy encounters unknown exception", 4)) << log.dump();
}

// AudioRendererLegacyWave and AudioCaptureLegacyWave on a simulated
// machine's own wave devices, which play and fill their headers on the
// machine's clock: what refused wave calls cost, and a tone that goes round
// the virtual cable.
#include "StreamMachine.h"

#include <vector>

namespace streams {
namespace {

class LegacyStreamTest : public StreamMachineTest {};

TEST_F(LegacyStreamTest, RefusedWaveCallsCostANumberFailAnOpenOrEndTheWorker) {
    using audiosim::Fault;
    audiosim::Machine& simulated = installLaptop();
    auto tone = ClientBuffer::tone(0.02, 1000.0, 0.5);
    auto recording = ClientBuffer::silence(0.02);
    LogCapture log;

    // A driver that does not answer costs its number only; no devices, no
    // search.
    simulated.faults().add(Fault::on(L"waveOutMessage", MMSYSERR_ERROR).at(L"waveOut 0").onCall(1));
    EXPECT_EQ(kNoLegacyDevice, AudioDevice(speakers).waveLegacyDeviceID());
    EXPECT_EQ(0u, AudioDevice(speakers).waveLegacyDeviceID());
    EXPECT_TRUE(log.contains("waveMessage returns an error 1", 3)) << log.dump();
    simulated.faults().add(Fault::on(L"waveInMessage", MMSYSERR_ERROR).onCall(1));
    EXPECT_EQ(kNoLegacyDevice, AudioDevice(microphone).waveLegacyDeviceID());
    simulated.faults().add(Fault::on(L"waveOutGetNumDevs", MMSYSERR_ERROR));
    EXPECT_EQ(kNoLegacyDevice, AudioDevice(speakers).waveLegacyDeviceID());
    simulated.faults().add(Fault::on(L"waveInGetNumDevs", MMSYSERR_ERROR));
    const size_t messages = simulated.calls().count(L"waveInMessage");
    EXPECT_EQ(kNoLegacyDevice, AudioDevice(microphone).waveLegacyDeviceID());
    EXPECT_EQ(messages, simulated.calls().count(L"waveInMessage"));
    simulated.faults().clear();

    // A refused open fails initialize; playing anyway ends the worker at
    // once, since no header can be prepared without a device.
    {
        simulated.faults().add(Fault::on(L"waveOutOpen", MMSYSERR_ALLOCATED));
        libSonvane::AudioRendererLegacyWave renderer;
        EXPECT_FALSE(renderer.initialize(speakers, &tone->buffer));
        EXPECT_TRUE(log.contains("waveOutOpen encountered an error 4", 3)) << log.dump();
        simulated.faults().clear();
        EXPECT_TRUE(renderer.play(1));
        waitUntilPlayed(renderer);
        EXPECT_FALSE(renderer.stop());
        EXPECT_TRUE(log.contains("Unable to start recording", 3)) << log.dump();
    }
    // Refused prepare, write, add and start: a device that will not start
    // ends either worker with -1.
    for (const wchar_t* method : {L"waveOutPrepareHeader", L"waveOutWrite"}) {
        simulated.faults().add(Fault::on(method, MMSYSERR_NOMEM));
        libSonvane::AudioRendererLegacyWave renderer;
        ASSERT_TRUE(renderer.initialize(speakers, &tone->buffer));
        log.clear();
        EXPECT_TRUE(renderer.play(1));
        waitUntilPlayed(renderer);
        EXPECT_FALSE(renderer.stop()) << method;
        EXPECT_TRUE(log.contains("Unable to start recording", 3)) << log.dump();
        EXPECT_TRUE(log.contains("Thread exit code -1", 1)) << log.dump();
        simulated.faults().clear();
        simulated.calls().clear();
    }
    {
        simulated.faults().add(Fault::on(L"waveInOpen", MMSYSERR_ALLOCATED));
        libSonvane::AudioCaptureLegacyWave capture;
        EXPECT_FALSE(capture.initialize(microphone, &recording->buffer));
        EXPECT_TRUE(log.contains("waveInOpen encountered an error 4", 3)) << log.dump();
        simulated.faults().clear();
    }
    {
        simulated.faults().add(Fault::on(L"waveInPrepareHeader", MMSYSERR_NOMEM));
        libSonvane::AudioCaptureLegacyWave capture;
        ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));
        log.clear();
        EXPECT_TRUE(capture.start());
        EXPECT_TRUE(capture.stop());
        EXPECT_EQ(-1, capture.threadExitCode());
        EXPECT_TRUE(log.contains("waveInPrepareHeader failed 7", 3)) << log.dump();
        EXPECT_TRUE(log.contains("Unable to start recording", 3)) << log.dump();
        simulated.faults().clear();
    }
    {
        simulated.faults().add(Fault::on(L"waveInAddBuffer", MMSYSERR_NOMEM));
        libSonvane::AudioCaptureLegacyWave capture;
        ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));
        EXPECT_TRUE(capture.start());
        // The header never comes back done, so the recording shows as going
        // on until stop collects the worker.
        EXPECT_TRUE(capture.stop());
        EXPECT_EQ(-1, capture.threadExitCode());
        EXPECT_TRUE(log.contains("waveInAddBuffer fails with GetLastError() = ", 3)) << log.dump();
        simulated.faults().clear();

        // A refused start is cleaned up by stopping, which hands the header
        // back: the worker sees it done and ends normally.
        simulated.faults().add(Fault::on(L"waveInStart", MMSYSERR_NOMEM));
        EXPECT_TRUE(capture.start());
        waitUntilRecorded(capture);
        EXPECT_TRUE(capture.stop());
        EXPECT_EQ(0, capture.threadExitCode());
        EXPECT_TRUE(log.contains("waveInStart returns 7", 2)) << log.dump();
        simulated.faults().clear();
    }
    // Stopping, unpreparing and closing report only to the log: the streams
    // end as usual. A failed reset or stop skips the unprepare behind it, so
    // each group fails on a run of its own.
    const std::vector<std::vector<const wchar_t*>> groups = {
        {L"waveOutReset", L"waveInReset", L"waveOutClose", L"waveInClose"},
        {L"waveOutUnprepareHeader", L"waveInUnprepareHeader"},
        {L"waveInStop"}};
    for (const auto& group : groups) {
        for (const wchar_t* method : group)
            simulated.faults().add(Fault::on(method, MMSYSERR_ERROR).withOut(audiosim::OutPointer::Set));
        simulated.calls().clear();
        {
            libSonvane::AudioRendererLegacyWave renderer;
            libSonvane::AudioCaptureLegacyWave capture;
            ASSERT_TRUE(renderer.initialize(speakers, &tone->buffer));
            ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));
            ASSERT_TRUE(renderer.play(1));
            ASSERT_TRUE(capture.start());
            waitUntilPlayed(renderer);
            waitUntilRecorded(capture);
            renderer.stop();
            EXPECT_TRUE(capture.stop());
            EXPECT_EQ(0, capture.threadExitCode()) << group.front();
        }
        EXPECT_EQ(1u, simulated.calls().count(L"waveOutClose")) << group.front();
        EXPECT_EQ(1u, simulated.calls().count(L"waveInClose")) << group.front();
        simulated.faults().clear();
    }
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

    playIntoRecording(renderer, capture);
    expectTone(*recording, 1000.0, 0.5, 1.0);
}

}  // namespace
}  // namespace streams

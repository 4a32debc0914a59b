// AudioRendererEx and AudioCaptureEx on simulated endpoints: how they size
// the device buffer when the driver refuses, what each refused call does to
// the stream, the capture's exit codes, and a tone that goes round a
// loopback and comes back as sent.
#include "StreamMachine.h"

#include <cmath>
#include <audioclient.h>

#include <sstream>

namespace streams {
namespace {

using audiosim::Fault;

const HRESULT kBufferSizeError = static_cast<HRESULT>(0x88890016);   // AUDCLNT_E_BUFFER_SIZE_ERROR

// The buffer durations of every IAudioClient::Initialize in the call log,
// with the stream flags in front: "0x40000 50000000".
std::vector<std::string> initializeCalls(audiosim::Machine& machine) {
    std::vector<std::string> calls;
    for (const audiosim::CallRecord& call : machine.calls().of(L"IAudioClient::Initialize")) {
        std::wstringstream fields(call.arguments);
        std::wstring mode, flags, duration;
        std::getline(fields, mode, L',');
        std::getline(fields, flags, L',');
        std::getline(fields, duration, L',');
        calls.push_back(std::string(flags.begin() + 1, flags.end()) + std::string(duration.begin(), duration.end()));
    }
    return calls;
}

std::vector<std::string> halvings(const char* flags, long long from, long long downTo) {
    std::vector<std::string> calls;
    for (long long duration = from;; duration /= 2) {
        calls.push_back(std::string(flags) + " " + std::to_string(duration));
        if (duration <= downTo)
            return calls;
    }
}

class ExclusiveStreamTest : public StreamMachineTest {};

TEST_F(ExclusiveStreamTest, RendererAsksForTheWholeSoundAndHalvesOnEveryRefusalDownToTheDefaultPeriod) {
    audiosim::Machine& simulated = installLaptop();
    auto tone = ClientBuffer::tone(1.0, 1000.0, 0.5);
    {
        libSonvane::AudioRendererEx renderer;
        // The laptop takes at most half a second.
        ASSERT_TRUE(renderer.initialize(speakers, &tone->buffer));
        EXPECT_EQ((std::vector<std::string>{"0x0 10000000", "0x0 5000000"}), initializeCalls(simulated));

        simulated.calls().clear();
        simulated.faults().add(Fault::on(L"IAudioClient::Initialize", E_FAIL));
        LogCapture log;
        EXPECT_FALSE(renderer.initialize(speakers, &tone->buffer));
        // Two attempts, each from the whole sound down to the default period.
        std::vector<std::string> expected = halvings("0x0", 10000000, 100000);
        const std::vector<std::string> once = expected;
        expected.insert(expected.end(), once.begin(), once.end());
        EXPECT_EQ(expected, initializeCalls(simulated));
        EXPECT_TRUE(log.contains("Unable to initialize IAudioClient. System audio driver is in bad state", 4))
            << log.dump();

        // A stream that did not open makes no call when asked to play.
        const size_t calls = simulated.calls().size();
        EXPECT_FALSE(renderer.play(1));
        EXPECT_EQ(calls, simulated.calls().size());
    }
    // Every client made along the way was let go.
    EXPECT_EQ(0u, simulated.liveReferences(std::wstring(L"IAudioClient ") + kSpeakers));
}

TEST_F(ExclusiveStreamTest, CaptureTriesEventModeFirstAndHalvesOnTheSizeRefusalsOnly) {
    audiosim::MachineDescription description = shippedDescription("laptop.json");
    audiosim::Machine& simulated = installLaptop(description);
    auto recording = ClientBuffer::silence(0.5);
    {
        libSonvane::AudioCaptureEx capture;
        ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));
        EXPECT_EQ(halvings("0x40000", 50000000, 5000000), initializeCalls(simulated));
        EXPECT_EQ(128, capture.threadExitCode());
    }

    // A driver that answers a size error the capture does not halve on: one
    // try in event mode, one plain, and no stream.
    description.find(kMicArray)->stream.bufferRefusal = kBufferSizeError;
    audiosim::Machine& strict = installLaptop(description);
    libSonvane::AudioCaptureEx capture;
    LogCapture log;
    EXPECT_FALSE(capture.initialize(microphone, &recording->buffer));
    EXPECT_EQ((std::vector<std::string>{"0x40000 50000000", "0x0 50000000"}), initializeCalls(strict));
    EXPECT_TRUE(log.contains("IAudioClient::Initialize returns 0x88890016", 3)) << log.dump();
}

TEST_F(ExclusiveStreamTest, RefusedServiceStartAndBufferEndTheStreamsAsDesigned) {
    audiosim::Machine& simulated = installLaptop();
    // Longer than the half second the device buffer can hold, so that the
    // renderer delivers more than once.
    auto tone = ClientBuffer::tone(1.0, 1000.0, 0.5);
    auto recording = ClientBuffer::silence(0.2);
    libSonvane::AudioRendererEx renderer;
    libSonvane::AudioCaptureEx capture;
    ASSERT_TRUE(renderer.initialize(speakers, &tone->buffer));
    ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));

    {
        const size_t fault = simulated.faults().add(Fault::on(L"IAudioClient::GetService", E_OUTOFMEMORY));
        LogCapture log;
        EXPECT_FALSE(renderer.play(1));
        EXPECT_FALSE(capture.start());
        EXPECT_EQ(2u, log.count("IAudioClient::GetService failed 0x8007000E", 4)) << log.dump();
        simulated.faults().remove(fault);
    }
    {
        // The worker dies on Start; only the host's stop request ends the
        // caller's wait for it.
        const size_t fault = simulated.faults().add(Fault::on(L"IAudioClient::Start", E_FAIL));
        LogCapture log;
        {
            StopRequest stop(simulated, L"IAudioClient::Start", 1);
            EXPECT_FALSE(renderer.play(1));
        }
        {
            StopRequest stop(simulated, L"IAudioClient::Start", 2);
            EXPECT_FALSE(capture.start());
        }
        EXPECT_EQ(2u, log.count("IAudioClient::Start failed", 3)) << log.dump();
        EXPECT_EQ(2u, log.count("User aborted the playback. Thread may have died", 4)) << log.dump();
        EXPECT_EQ(-1, capture.threadExitCode());
        EXPECT_TRUE(renderer.stop());
        simulated.faults().remove(fault);
    }
    {
        // The renderer's second delivery (the first primes the device) and
        // the capture's first packet are refused: both workers end by
        // themselves, the capture with 0 and nothing recorded.
        simulated.faults().add(Fault::on(L"IAudioRenderClient::GetBuffer", E_FAIL).onCall(2));
        simulated.faults().add(Fault::on(L"IAudioCaptureClient::GetBuffer", E_FAIL));
        LogCapture log;
        ASSERT_TRUE(renderer.play(1 | 4));
        waitUntilPlayed(renderer);
        EXPECT_TRUE(renderer.stop());
        ASSERT_TRUE(capture.start());
        waitUntilRecorded(capture);
        EXPECT_EQ(0, capture.threadExitCode());
        EXPECT_EQ(0u, recording->buffer.writePosition);
        EXPECT_TRUE(log.contains("GetBuffer failed 0x80004005", 4)) << log.dump();
        EXPECT_TRUE(log.contains("GetBuffer failed 0x80004005", 3)) << log.dump();
    }
}

TEST_F(ExclusiveStreamTest, CaptureOfAFullBufferOrOfAPacketBiggerThanTheRoomLeft) {
    // A microphone that hears a steady tone, so that what lands in the
    // buffer can be told from the silence it held.
    audiosim::MachineDescription description = shippedDescription("laptop.json");
    description.find(kMicArray)->stream.captureSource = {audiosim::CaptureSource::Tone, 1000.0, 0.25, L""};
    audiosim::Machine& simulated = installLaptop(description);

    // Event mode: the worker waits for one packet, which has no room, drops
    // it, and ends.
    auto full = ClientBuffer::silence(0.01);
    full->buffer.writePosition = full->buffer.size;
    libSonvane::AudioCaptureEx capture;
    ASSERT_TRUE(capture.initialize(microphone, &full->buffer));
    ASSERT_TRUE(capture.start());
    waitUntilRecorded(capture);
    EXPECT_EQ(0, capture.threadExitCode());
    EXPECT_EQ(1u, simulated.calls().count(L"IAudioCaptureClient::ReleaseBuffer"));

    // 100 frames of room and packets of 15000: the packet's head fills the
    // buffer, the whole packet is released, and the recording is done.
    auto small = ClientBuffer::silence(100.0 / kRate);
    ASSERT_TRUE(capture.initialize(microphone, &small->buffer));
    simulated.calls().clear();
    ASSERT_TRUE(capture.start());
    waitUntilRecorded(capture);
    EXPECT_EQ(0, capture.threadExitCode());
    EXPECT_EQ(small->buffer.size, small->buffer.writePosition);
    const auto releases = simulated.calls().of(L"IAudioCaptureClient::ReleaseBuffer");
    ASSERT_EQ(1u, releases.size());
    EXPECT_EQ(L"15000", releases[0].arguments);
    // The packet's head, as the microphone heard it.
    EXPECT_NEAR(0.25 * 32767 * std::sin(2 * 3.14159265 * 1000 * 3 / kRate), small->samples[6], 2);

    // Polled: with no event mode the worker sees the full buffer and ends
    // without asking for a packet.
    description.find(kMicArray)->stream.eventDriven = false;
    audiosim::Machine& polled = installLaptop(description);
    libSonvane::AudioCaptureEx plain;
    ASSERT_TRUE(plain.initialize(microphone, &full->buffer));
    ASSERT_TRUE(plain.start());
    waitUntilRecorded(plain);
    EXPECT_EQ(0, plain.threadExitCode());
    EXPECT_EQ(0u, polled.calls().count(L"IAudioCaptureClient::GetBuffer"));
}

TEST_F(ExclusiveStreamTest, UnexaminedResultsLeaveTheStreamsRunningAndExaminedOnesStopThem) {
    using audiosim::OutPointer;
    audiosim::Machine& simulated = installLaptop();
    auto tone = ClientBuffer::tone(1.0, 1000.0, 0.5);
    auto recording = ClientBuffer::silence(0.2);

    // Calls whose answers the streams do not look at fail after doing their
    // work: both streams run to their end all the same.
    for (const wchar_t* method : {L"IAudioClient::GetStreamLatency", L"IAudioClient::Reset", L"IAudioClient::Stop",
                                  L"IAudioRenderClient::ReleaseBuffer", L"IAudioCaptureClient::ReleaseBuffer",
                                  L"IAudioCaptureClient::GetNextPacketSize"})
        simulated.faults().add(Fault::on(method, E_FAIL).withOut(OutPointer::Set));
    {
        libSonvane::AudioRendererEx renderer;
        libSonvane::AudioCaptureEx capture;
        ASSERT_TRUE(renderer.initialize(speakers, &tone->buffer));
        ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));
        ASSERT_TRUE(capture.start());
        ASSERT_TRUE(renderer.play(1 | 4));
        waitUntilPlayed(renderer);
        waitUntilRecorded(capture);
        EXPECT_TRUE(renderer.stop());
        EXPECT_EQ(0, capture.threadExitCode());
        EXPECT_EQ(recording->buffer.size, recording->buffer.writePosition);
        EXPECT_GE(simulated.rendered(kSpeakers).samples.size(), (tone->frames() - kRate / 1000) * kChannels);
    }
    simulated.faults().clear();

    // A refused event handle makes the capture run polled on a stream that
    // was opened event-driven, which the device will not start without its
    // event: the worker dies on Start and only the host's stop ends the wait.
    {
        simulated.faults().add(Fault::on(L"IAudioClient::SetEventHandle", E_FAIL));
        libSonvane::AudioCaptureEx capture;
        ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));
        const size_t starts = simulated.calls().count(L"IAudioClient::Start");
        {
            StopRequest stop(simulated, L"IAudioClient::Start", starts + 1);
            EXPECT_FALSE(capture.start());
        }
        EXPECT_EQ(-1, capture.threadExitCode());
        EXPECT_EQ(static_cast<HRESULT>(0x88890014), simulated.calls().of(L"IAudioClient::Start").back().result);
        simulated.faults().clear();
    }

    // A device period that cannot be read is 0: one request of 0, no halving.
    {
        simulated.faults().add(Fault::on(L"IAudioClient::GetDevicePeriod", E_FAIL));
        simulated.calls().clear();
        libSonvane::AudioCaptureEx capture;
        EXPECT_TRUE(capture.initialize(microphone, &recording->buffer));
        const auto initializes = simulated.calls().of(L"IAudioClient::Initialize");
        ASSERT_EQ(1u, initializes.size());
        EXPECT_EQ(L"1, 0x40000, 0, 0, 2ch 16bit 48000Hz, null", initializes[0].arguments);
        simulated.faults().clear();
    }

    // A padding that cannot be read is 0, so the renderer asks for the whole
    // device buffer while it is still full, and the device refuses.
    {
        simulated.faults().add(Fault::on(L"IAudioClient::GetCurrentPadding", E_FAIL));
        libSonvane::AudioRendererEx renderer;
        ASSERT_TRUE(renderer.initialize(speakers, &tone->buffer));
        LogCapture log;
        ASSERT_TRUE(renderer.play(1 | 4));
        waitUntilPlayed(renderer);
        EXPECT_TRUE(renderer.stop());
        EXPECT_TRUE(log.contains("GetBuffer failed 0x88890006", 4)) << log.dump();
        simulated.faults().clear();
    }

    // A refused format or buffer size: no stream, with the device's code.
    {
        simulated.faults().add(Fault::on(L"IAudioClient::IsFormatSupported", AUDCLNT_E_UNSUPPORTED_FORMAT));
        LogCapture log;
        libSonvane::AudioCaptureEx capture;
        EXPECT_FALSE(capture.initialize(microphone, &recording->buffer));
        EXPECT_TRUE(log.contains("Format requested is not supported 0x88890008", 4)) << log.dump();
        simulated.faults().clear();
        simulated.faults().add(Fault::on(L"IAudioClient::GetBufferSize", E_FAIL));
        libSonvane::AudioRendererEx renderer;
        EXPECT_FALSE(renderer.initialize(speakers, &tone->buffer));
        EXPECT_TRUE(log.contains("IAudioClient::GetBufferSize returns 0x80004005 Max Frame Size 0", 2)) << log.dump();
    }

    // The polled capture reads the packet size into the frame count of the
    // packet it took last: once the size cannot be read, it fetches packet
    // after packet all the same and fills the buffer. A clock this fast has
    // packets waiting at every look.
    {
        audiosim::MachineDescription description = shippedDescription("laptop.json");
        description.find(kMicArray)->stream.eventDriven = false;
        description.find(kMicArray)->stream.captureSource = {audiosim::CaptureSource::Tone, 1000.0, 0.25, L""};
        audiosim::Machine& polled = installLaptop(description);
        // Packets of 15000 frames: four to fill a second.
        auto room = ClientBuffer::silence(1.0);
        libSonvane::AudioCaptureEx capture;
        ASSERT_TRUE(capture.initialize(microphone, &room->buffer));
        polled.setClockSpeed(1000000.0);
        polled.faults().add(Fault::on(L"IAudioCaptureClient::GetNextPacketSize", E_FAIL).window(2, 0));
        ASSERT_TRUE(capture.start());
        while (capture.isStillRecording() && polled.calls().count(L"IAudioCaptureClient::GetNextPacketSize") < 10000)
            Sleep(1);
        EXPECT_TRUE(capture.stop());
        EXPECT_EQ(room->buffer.size, room->buffer.writePosition);
    }
}

TEST_F(ExclusiveStreamTest, EventWorkerEndsWith258WhenTheDeviceStopsSignalling) {
    audiosim::Machine& simulated = installLaptop();
    auto recording = ClientBuffer::silence(0.5);
    libSonvane::AudioCaptureEx capture;
    ASSERT_TRUE(capture.initialize(microphone, &recording->buffer));
    simulated.setClockSpeed(0.0);
    capture.setTimeout(50);
    LogCapture log;
    ASSERT_TRUE(capture.start());
    waitUntilRecorded(capture);
    EXPECT_FALSE(capture.isStillRecording());
    EXPECT_EQ(258, capture.threadExitCode());
    EXPECT_TRUE(capture.stop());
    EXPECT_EQ(0u, recording->buffer.writePosition);
    EXPECT_TRUE(log.contains("Timeout waiting for IMMDevice object to signal for more audio data", 3)) << log.dump();
}

TEST_F(ExclusiveStreamTest, AToneRenderedOnTheCableIsRecordedBackAsSent) {
    audiosim::Machine& simulated = installShipped("virtual.json");
    auto tone = ClientBuffer::tone(1.0, 1000.0, 0.5);
    auto recording = ClientBuffer::silence(2.0);
    ATL::CComPtr<IMMDevice> input = endpoint(kCableInput);
    ATL::CComPtr<IMMDevice> output = endpoint(kCableOutput);
    libSonvane::AudioCaptureEx capture;
    libSonvane::AudioRendererEx renderer;
    ASSERT_TRUE(capture.initialize(output, &recording->buffer));
    ASSERT_TRUE(renderer.initialize(input, &tone->buffer));

    playIntoRecording(renderer, capture);
    EXPECT_EQ(recording->buffer.size, recording->buffer.writePosition);
    expectTone(*recording, 1000.0, 0.5, 1.0);
    // The machine kept the sound as the renderer sent it. The drain before
    // the client stops is slept in whole milliseconds, truncated, so up to a
    // millisecond of the end may go unplayed.
    EXPECT_GE(simulated.rendered(kCableInput).samples.size(), (tone->frames() - kRate / 1000) * kChannels);
}

}  // namespace
}  // namespace streams

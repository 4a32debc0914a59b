// Audio clients on the simulated clock: formats per share mode, buffer and
// event refusals, padding that falls as the device plays, capture packets of
// one period signalled once per period, and the loopback from a render
// endpoint to a capture endpoint.
#include "SimulatorTestSupport.h"

#include <PcmFormat.h>

#include <audioclient.h>

#include <cmath>
#include <vector>

namespace simtests {
namespace {

const HRESULT kBufferTooLarge = static_cast<HRESULT>(0x88890006);
const HRESULT kUnsupportedFormat = static_cast<HRESULT>(0x88890008);
const HRESULT kEventNotExpected = static_cast<HRESULT>(0x88890011);
const HRESULT kInvalidPeriod = static_cast<HRESULT>(0x88890020);
const HRESULT kDeviceInUse = static_cast<HRESULT>(0x8889000A);
const HRESULT kDeviceInvalidated = static_cast<HRESULT>(0x88890004);
const HRESULT kExclusiveNotAllowed = static_cast<HRESULT>(0x8889000E);

const wchar_t cableInputId[] = L"{0.0.0.00000000}.{9e3c4d5f-6071-4283-94a5-c6d7e8f90a1b}";
const wchar_t cableOutputId[] = L"{0.0.1.00000000}.{af4d5e60-7182-4394-a5b6-d7e8f90a1b2c}";

ATL::CComPtr<IAudioClient> audioClient(audiosim::Machine& machine, const std::wstring& id) {
    ATL::CComPtr<IAudioClient> client;
    device(machine, id)->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&client));
    return client;
}

template <class Service>
ATL::CComPtr<Service> service(IAudioClient* client) {
    ATL::CComPtr<Service> result;
    client->GetService(__uuidof(Service), reinterpret_cast<void**>(&result));
    return result;
}

UINT32 padding(IAudioClient* client) {
    UINT32 frames = 0;
    client->GetCurrentPadding(&frames);
    return frames;
}

// Writes `frames` frames of a 16-bit stereo tone into the render client.
void writeTone(IAudioRenderClient* render, UINT32 frames, UINT32 first, double frequency, double amplitude) {
    BYTE* data = nullptr;
    ASSERT_EQ(S_OK, render->GetBuffer(frames, &data));
    auto* samples = reinterpret_cast<int16_t*>(data);
    for (UINT32 i = 0; i < frames; ++i) {
        const auto value = static_cast<int16_t>(std::lround(amplitude * 32767.0 *
                                                            std::sin(2.0 * 3.14159265358979 * frequency * (first + i) / 48000.0)));
        samples[2 * i] = value;
        samples[2 * i + 1] = value;
    }
    ASSERT_EQ(S_OK, render->ReleaseBuffer(frames, 0));
}

// Crossings from below zero to zero or above, per second.
double frequencyOf(const std::vector<float>& mono, double rate) {
    int crossings = 0;
    for (size_t i = 1; i < mono.size(); ++i)
        crossings += (mono[i - 1] < 0.0f && mono[i] >= 0.0f) ? 1 : 0;
    return crossings * rate / static_cast<double>(mono.size());
}

float peakOf(const std::vector<float>& samples) {
    float peak = 0.0f;
    for (float sample : samples)
        peak = std::max(peak, std::fabs(sample));
    return peak;
}

class StreamTest : public ComTest {};

TEST_F(StreamTest, FormatsAndBufferLimitsAreAnsweredPerShareMode) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IAudioClient> client = audioClient(machine, speakersId);
    ASSERT_NE(nullptr, client.p);

    WAVEFORMATEX accepted = pcmFormat(2, 16, 48000);
    WAVEFORMATEX mono = pcmFormat(1, 16, 48000);
    EXPECT_EQ(S_OK, client->IsFormatSupported(AUDCLNT_SHAREMODE_EXCLUSIVE, &accepted, nullptr));
    EXPECT_EQ(kUnsupportedFormat, client->IsFormatSupported(AUDCLNT_SHAREMODE_EXCLUSIVE, &mono, nullptr));
    // Shared mode converts: the closest match is the mix format.
    WAVEFORMATEX* closest = nullptr;
    EXPECT_EQ(S_FALSE, client->IsFormatSupported(AUDCLNT_SHAREMODE_SHARED, &accepted, &closest));
    ASSERT_NE(nullptr, closest);
    EXPECT_EQ(2, closest->nChannels);
    EXPECT_EQ(32, closest->wBitsPerSample);
    CoTaskMemFree(closest);
    EXPECT_EQ(kUnsupportedFormat, client->IsFormatSupported(AUDCLNT_SHAREMODE_SHARED, &accepted, nullptr));

    REFERENCE_TIME defaultPeriod = 0;
    REFERENCE_TIME minimumPeriod = 0;
    EXPECT_EQ(S_OK, client->GetDevicePeriod(&defaultPeriod, &minimumPeriod));
    EXPECT_EQ(100000, defaultPeriod);
    EXPECT_EQ(30000, minimumPeriod);

    // Beyond the 0.5 s the driver allows, and below the minimum period.
    EXPECT_EQ(kInvalidPeriod, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 10000000, 10000000, &accepted, nullptr));
    EXPECT_EQ(kInvalidPeriod, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 20000, 20000, &accepted, nullptr));
    EXPECT_EQ(kUnsupportedFormat, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 5000000, 5000000, &mono, nullptr));
    // An endpoint unplugged after its client was made opens no stream until it is back.
    machine.setState(speakersId, DEVICE_STATE_UNPLUGGED);
    EXPECT_EQ(kDeviceInvalidated, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 5000000, 5000000, &accepted, nullptr));
    machine.setState(speakersId, DEVICE_STATE_ACTIVE);
    ASSERT_EQ(S_OK, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 5000000, 5000000, &accepted, nullptr));
    UINT32 frames = 0;
    EXPECT_EQ(S_OK, client->GetBufferSize(&frames));
    EXPECT_EQ(24000u, frames);
    // A plain stream has no use for an event.
    EXPECT_EQ(kEventNotExpected, client->SetEventHandle(reinterpret_cast<HANDLE>(1)));
    void* wrongFlow = nullptr;
    EXPECT_EQ(E_NOINTERFACE, client->GetService(__uuidof(IAudioCaptureClient), &wrongFlow));

    // The faulty machine's speakers refuse exclusive mode altogether.
    audiosim::Machine faulty = audiosim::Machine::fromFile(shippedMachineFile("faulty.json"));
    ATL::CComPtr<IAudioClient> refusing =
        audioClient(faulty, L"{0.0.0.00000000}.{d1e2f3a4-b5c6-4d7e-8f90-a1b2c3d4e5f6}");
    ASSERT_NE(nullptr, refusing.p);
    EXPECT_EQ(kExclusiveNotAllowed, refusing->IsFormatSupported(AUDCLNT_SHAREMODE_EXCLUSIVE, &accepted, nullptr));
}

TEST_F(StreamTest, TheRefusalsAreChosenInTheDescription) {
    const char* text = R"({"name": "refusals", "endpoints": [
        {"id": "{0.0.1.00000000}.{1}", "flow": "capture",
         "stream": {"exclusiveFormats": [{"channels": 2, "bits": 16, "rate": 48000}], "eventDriven": false,
                    "eventRefusal": "AUDCLNT_E_UNSUPPORTED_FORMAT", "bufferRefusal": "0x88890016",
                    "maximumBuffer": 1000000}}]})";
    audiosim::Machine machine = audiosim::Machine::fromJson(text, "refusals.json");
    WAVEFORMATEX format = pcmFormat(2, 16, 48000);
    ATL::CComPtr<IAudioClient> client = audioClient(machine, L"{0.0.1.00000000}.{1}");
    EXPECT_EQ(kUnsupportedFormat, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, AUDCLNT_STREAMFLAGS_EVENTCALLBACK,
                                                     100000, 100000, &format, nullptr));
    EXPECT_EQ(static_cast<HRESULT>(0x88890016),
              client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 2000000, 2000000, &format, nullptr));
    EXPECT_EQ(S_OK, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 1000000, 1000000, &format, nullptr));

    std::string bad = text;
    bad.replace(bad.find("0x88890016"), 10, "AUDCLNT_E_NOPE");
    try {
        audiosim::Machine::fromJson(bad, "refusals.json");
        ADD_FAILURE() << "a refusal that names no HRESULT is an error";
    } catch (const audiosim::DescriptionError& error) {
        EXPECT_EQ("/endpoints/0/stream/bufferRefusal", error.place());
    }
}

TEST_F(StreamTest, RenderPaddingFallsAtTheSampleRateAndTheMachineKeepsWhatWasPlayed) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IAudioClient> client = audioClient(machine, speakersId);
    WAVEFORMATEX format = pcmFormat(2, 16, 48000);
    ASSERT_EQ(S_OK, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 2000000, 2000000, &format, nullptr));
    ATL::CComPtr<IAudioRenderClient> render = service<IAudioRenderClient>(client);
    ASSERT_NE(nullptr, render.p);

    BYTE* data = nullptr;
    EXPECT_EQ(kBufferTooLarge, render->GetBuffer(9601, &data));
    writeTone(render, 9600, 0, 1000.0, 0.5);
    EXPECT_EQ(9600u, padding(client));
    EXPECT_EQ(kBufferTooLarge, render->GetBuffer(1, &data));

    // Nothing plays before Start, nor while the clock stands still.
    Sleep(30);
    EXPECT_EQ(9600u, padding(client));
    machine.setClockSpeed(0.0);
    ASSERT_EQ(S_OK, client->Start());
    const UINT32 frozen = padding(client);
    Sleep(30);
    EXPECT_EQ(frozen, padding(client));
    machine.setClockSpeed(1.0);

    UINT32 last = padding(client);
    while (last > 0) {
        Sleep(10);
        const UINT32 now = padding(client);
        EXPECT_LE(now, last);
        last = now;
    }
    EXPECT_EQ(S_OK, client->Stop());
    EXPECT_EQ(S_FALSE, client->Stop());

    const audiosim::RenderedAudio played = machine.rendered(speakersId);
    EXPECT_EQ(2, played.channels);
    EXPECT_EQ(48000u, played.sampleRate);
    ASSERT_EQ(2u * 9600u, played.samples.size());
    std::vector<float> left;
    for (size_t i = 0; i < played.samples.size(); i += 2)
        left.push_back(played.samples[i]);
    EXPECT_NEAR(0.5, peakOf(left), 0.001);
    EXPECT_NEAR(1000.0, frequencyOf(left, 48000.0), 10.0);
}

TEST_F(StreamTest, CapturePacketsComeOncePerPeriodFromTheSourceWithTheEvent) {
    audiosim::Machine machine = laptopHearingATone();
    ATL::CComPtr<IAudioClient> client = audioClient(machine, micArrayId);
    WAVEFORMATEX format = pcmFormat(2, 16, 48000);
    ASSERT_EQ(S_OK, client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, AUDCLNT_STREAMFLAGS_EVENTCALLBACK, 100000, 100000,
                                       &format, nullptr));
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    ASSERT_EQ(S_OK, client->SetEventHandle(event));
    ATL::CComPtr<IAudioCaptureClient> capture = service<IAudioCaptureClient>(client);
    ASSERT_NE(nullptr, capture.p);
    ASSERT_EQ(S_OK, client->Start());

    std::vector<float> left;
    UINT64 expectedPosition = 0;
    for (int packet = 0; packet < 10; ++packet) {
        ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, INFINITE));
        UINT32 size = 0;
        ASSERT_EQ(S_OK, capture->GetNextPacketSize(&size));
        ASSERT_EQ(480u, size);
        BYTE* data = nullptr;
        UINT32 frames = 0;
        DWORD flags = 0;
        UINT64 position = 0;
        ASSERT_EQ(S_OK, capture->GetBuffer(&data, &frames, &flags, &position, nullptr));
        EXPECT_EQ(480u, frames);
        EXPECT_EQ(expectedPosition, position);
        // Taking less than the whole packet is refused.
        EXPECT_EQ(static_cast<HRESULT>(0x88890009), capture->ReleaseBuffer(frames - 1));
        const auto* samples = reinterpret_cast<const int16_t*>(data);
        for (UINT32 i = 0; i < frames; ++i)
            left.push_back(samples[2 * i] / 32768.0f);
        ASSERT_EQ(S_OK, capture->ReleaseBuffer(frames));
        expectedPosition = position + frames;
    }
    client->Stop();
    CloseHandle(event);
    // The microphone array hears a 1 kHz tone at a quarter of full scale.
    EXPECT_NEAR(0.25, peakOf(left), 0.01);
    EXPECT_NEAR(1000.0, frequencyOf(left, 48000.0), 20.0);

    // An endpoint without event mode refuses the event-driven stream.
    audiosim::MachineDescription description = machine.description();
    description.find(micArrayId)->stream.eventDriven = false;
    audiosim::Machine noEvents(description);
    EXPECT_EQ(kDeviceInUse, audioClient(noEvents, micArrayId)
                                ->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, AUDCLNT_STREAMFLAGS_EVENTCALLBACK, 100000,
                                             100000, &format, nullptr));
}

TEST_F(StreamTest, ALoopbackEndpointRecordsWhatTheRenderEndpointPlays) {
    audiosim::Machine machine = audiosim::Machine::fromFile(shippedMachineFile("virtual.json"));
    WAVEFORMATEX format = pcmFormat(2, 16, 48000);
    ATL::CComPtr<IAudioClient> output = audioClient(machine, cableOutputId);
    ASSERT_EQ(S_OK, output->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 100000, 100000, &format, nullptr));
    ATL::CComPtr<IAudioCaptureClient> capture = service<IAudioCaptureClient>(output);
    ATL::CComPtr<IAudioClient> input = audioClient(machine, cableInputId);
    ASSERT_EQ(S_OK, input->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, 0, 2000000, 2000000, &format, nullptr));
    ATL::CComPtr<IAudioRenderClient> render = service<IAudioRenderClient>(input);
    writeTone(render, 9600, 0, 750.0, 0.4);

    ASSERT_EQ(S_OK, output->Start());
    ASSERT_EQ(S_OK, input->Start());
    std::vector<float> left;
    // Record until the played tone has gone by and silence follows it.
    bool heard = false;
    int silentPackets = 0;
    while (!heard || silentPackets < 3) {
        UINT32 size = 0;
        capture->GetNextPacketSize(&size);
        if (size == 0) {
            Sleep(2);
            continue;
        }
        BYTE* data = nullptr;
        UINT32 frames = 0;
        DWORD flags = 0;
        ASSERT_EQ(S_OK, capture->GetBuffer(&data, &frames, &flags, nullptr, nullptr));
        std::vector<float> packet;
        const auto* samples = reinterpret_cast<const int16_t*>(data);
        for (UINT32 i = 0; i < frames; ++i)
            packet.push_back(samples[2 * i] / 32768.0f);
        capture->ReleaseBuffer(frames);
        const bool loud = peakOf(packet) > 0.1f;
        heard = heard || loud;
        silentPackets = heard && !loud ? silentPackets + 1 : 0;
        if (heard)
            left.insert(left.end(), packet.begin(), packet.end());
    }
    input->Stop();
    output->Stop();

    // The tone as played: its level, its pitch, and all of its 9600 frames.
    EXPECT_NEAR(0.4, peakOf(left), 0.01);
    size_t first = left.size();
    size_t last = 0;
    for (size_t i = 0; i < left.size(); ++i) {
        if (left[i] != 0.0f) {
            first = std::min(first, i);
            last = i;
        }
    }
    EXPECT_NEAR(9600.0, static_cast<double>(last - first + 1), 2.0);
    left.resize(9600);
    EXPECT_NEAR(750.0, frequencyOf(left, 48000.0), 10.0);
}

}  // namespace
}  // namespace simtests

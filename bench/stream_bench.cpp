// Two figures of the PCM streams on the real stack, printed for users to
// know, never checked:
//
// - start latency: the time from play returning until the first non-silent
//   frame shows in a recording of the capture endpoint, which hears the
//   render endpoint. It is what a speaker test waits before its recording
//   holds the tone, so it includes the capture's own packet delay. Measured
//   for the exclusive pair and for the legacy pair.
// - CPU cost: the process CPU time (user and kernel) that a polled worker
//   burns per second of audio, the renderer playing a one-second tone once
//   (with the time that play takes to end, since the device buffer may be
//   longer than the sound and is drained), and the capture recording two
//   seconds. Both workers spin without
//   sleeping by design, so the figure is about one core's worth of time
//   less what the audio stack itself takes.
//
// A SinkKeeper plays all along, as in the real-stack tests, so that the
// loopback neither idles nor loses the start of a sound. Runs under
// scripts/winerun, which pins the program to the wineserver's core, the same
// way every time.
#include <libSonvane/libSonvane.h>

#include <analysis/SignalAnalysis.h>

#include "BenchTiming.h"

#include <SinkKeeper.h>
#include <PcmFormat.h>

#include <windows.h>
#include <mmdeviceapi.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

unsigned int const kRate = 48000;
unsigned int const kChannels = 2;
int const kRounds = 5;
// A sample louder than this counts as sound (1% of full scale).
int const kSoundThreshold = 328;

WAVEFORMATEX stereo16() {
    return pcmFormat(kChannels, 16, kRate);
}

// A PCM buffer over samples of its own, with a spare frame behind the end
// for a wrapping read.
struct ClientBuffer {
    std::vector<std::int16_t> samples;
    libTrelwave::StaticPCMBuffer buffer;

    explicit ClientBuffer(std::vector<std::int16_t> const& sound) : samples(sound) {
        samples.resize(sound.size() + kChannels, 0);
        buffer.format = stereo16();
        buffer.data = reinterpret_cast<unsigned char*>(samples.data());
        buffer.size = sound.size() * sizeof(std::int16_t);
    }
};

ClientBuffer tone(double seconds) {
    std::size_t const frames = static_cast<std::size_t>(seconds * kRate);
    return ClientBuffer(pcmanalysis::sineTone16(1000.0, 0.5, kRate, kChannels, frames));
}

ClientBuffer silence(double seconds) {
    return ClientBuffer(std::vector<std::int16_t>(static_cast<std::size_t>(seconds * kRate) * kChannels, 0));
}

double processCpuMs() {
    FILETIME created, exited, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
    auto const units = [](FILETIME const& time) {
        return (static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
    };
    return (units(kernel) + units(user)) / 10000.0;
}

// The recording is read while the stream writes it: the samples are only
// looked at, and a torn read at worst delays the finding by one poll.
bool soundIn(ClientBuffer const& recording) {
    std::int16_t const* const samples = recording.samples.data();
    std::size_t const count = recording.samples.size() - kChannels;
    for (std::size_t index = 0; index < count; ++index) {
        if (std::abs(static_cast<int>(samples[index])) > kSoundThreshold) {
            return true;
        }
    }
    return false;
}

struct Figures {
    std::vector<double> values;

    void add(double value) { values.push_back(value); }

    void print(char const* what, char const* unit) {
        if (values.empty()) {
            std::printf("%-46s no result\n", what);
            return;
        }
        std::sort(values.begin(), values.end());
        std::printf("%-46s median %8.1f %s  min %8.1f  max %8.1f  (%zu rounds)\n", what, values[values.size() / 2],
                    unit, values.front(), values.back(), values.size());
    }
};

// One round: record, play, and poll the recording for the tone. Returns
// the time from play returning to the first sound seen, or -1.
double startLatencyMs(libSonvane::AudioRenderer& renderer, libSonvane::AudioCapture& capture, IMMDevice* render,
                      IMMDevice* input) {
    ClientBuffer sound = tone(1.0);
    ClientBuffer recording = silence(3.0);
    if (!capture.initialize(input, &recording.buffer) || !renderer.initialize(render, &sound.buffer) ||
        !capture.start()) {
        return -1.0;
    }
    // The capture's own start-up is not counted.
    while (!recordingRuns(recording.samples.data(), recording.samples.size() - kChannels)) {
        Sleep(1);
    }
    if (!renderer.play(libSonvane::AudioRenderer::PlayOnce)) {
        capture.stop();
        return -1.0;
    }
    double const played = nowMilliseconds();
    double heard = -1.0;
    while (capture.isStillRecording() && heard < 0.0) {
        if (soundIn(recording)) {
            heard = nowMilliseconds() - played;
        }
        Sleep(1);
    }
    renderer.stop();
    capture.stop();
    return heard;
}

void measureStartLatency(IMMDevice* render, IMMDevice* input) {
    Figures exclusive;
    Figures legacy;
    for (int round = 0; round < kRounds; ++round) {
        libSonvane::AudioRendererEx exclusiveRenderer;
        libSonvane::AudioCaptureEx exclusiveCapture;
        double const exclusiveMs = startLatencyMs(exclusiveRenderer, exclusiveCapture, render, input);
        if (exclusiveMs >= 0.0) {
            exclusive.add(exclusiveMs);
        }
        libSonvane::AudioRendererLegacyWave legacyRenderer;
        libSonvane::AudioCaptureLegacyWave legacyCapture;
        double const legacyMs = startLatencyMs(legacyRenderer, legacyCapture, render, input);
        if (legacyMs >= 0.0) {
            legacy.add(legacyMs);
        }
    }
    exclusive.print("play to first sound, exclusive streams", "ms");
    legacy.print("play to first sound, legacy wave streams", "ms");
}

void measureWorkerCpu(IMMDevice* render, IMMDevice* input) {
    Figures renderer;
    Figures running;
    Figures capture;
    for (int round = 0; round < kRounds; ++round) {
        ClientBuffer sound = tone(1.0);
        libSonvane::AudioRendererEx player;
        if (player.initialize(render, &sound.buffer)) {
            double const cpu = processCpuMs();
            double const wall = nowMilliseconds();
            if (player.play(libSonvane::AudioRenderer::PlayOnce)) {
                while (player.isStillPlaying()) {
                    Sleep(10);
                }
                player.stop();
                renderer.add(processCpuMs() - cpu);
                running.add((nowMilliseconds() - wall) / 1000.0);
            }
        }

        ClientBuffer recording = silence(2.0);
        libSonvane::AudioCaptureEx recorder;
        if (recorder.initialize(input, &recording.buffer)) {
            double const cpu = processCpuMs();
            if (recorder.start()) {
                while (recorder.isStillRecording()) {
                    Sleep(10);
                }
                recorder.stop();
                capture.add((processCpuMs() - cpu) / 2.0);
            }
        }
    }
    renderer.print("CPU per second of audio, AudioRendererEx", "ms/s");
    running.print("  its play of one second runs, drain included", "s");
    capture.print("CPU per second of recording, AudioCaptureEx", "ms/s");
}

}  // namespace

int main() {
    SinkKeeper const keeper;
    CoInitialize(nullptr);
    ATL::CComPtr<IMMDeviceEnumerator> enumerator;
    HRESULT const hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                                        __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&enumerator));
    ATL::CComPtr<IMMDevice> render;
    ATL::CComPtr<IMMDevice> input;
    if (FAILED(hr) || FAILED(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &render)) ||
        FAILED(enumerator->GetDefaultAudioEndpoint(eCapture, eConsole, &input))) {
        std::printf("no default endpoints: is the audio stack running?\n");
        return 1;
    }
    measureStartLatency(render, input);
    measureWorkerCpu(render, input);
    render.Release();
    input.Release();
    enumerator.Release();
    CoUninitialize();
    return 0;
}

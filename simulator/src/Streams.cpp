#include "Streams.h"

#include "Text.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

namespace audiosim::detail {

namespace {

long long counterNow() {
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

std::wstring outputKey(const std::wstring& endpoint) {
    return lower(endpoint);
}

// How often the ticker looks at the streams, in real milliseconds: well
// below the shortest device period a machine describes.
const auto kTickInterval = std::chrono::milliseconds(1);

const double kPi = 3.14159265358979323846;

}  // namespace

// ---- SimClock

SimClock::SimClock() {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    m_frequency = static_cast<double>(frequency.QuadPart);
    m_baseCounter = counterNow();
}

double SimClock::now() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_baseTime + static_cast<double>(counterNow() - m_baseCounter) / m_frequency * m_speed;
}

// A new speed applies from now on: the time passed so far is kept.
void SimClock::setSpeed(double speed) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const long long counter = counterNow();
    m_baseTime += static_cast<double>(counter - m_baseCounter) / m_frequency * m_speed;
    m_baseCounter = counter;
    m_speed = speed < 0.0 ? 0.0 : speed;
}

double SimClock::speed() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_speed;
}

// ---- PcmLayout

PcmLayout PcmLayout::of(const WAVEFORMATEX& format) {
    PcmLayout layout;
    layout.channels = format.nChannels;
    layout.rate = format.nSamplesPerSec;
    layout.bits = format.wBitsPerSample;
    layout.blockAlign = format.nBlockAlign;
    layout.isFloat = format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT;
    if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE && format.cbSize >= 22)
        layout.isFloat = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format).SubFormat.Data1 == WAVE_FORMAT_IEEE_FLOAT;
    return layout;
}

bool PcmLayout::usable() const {
    const bool knownBits = isFloat ? bits == 32 : (bits == 8 || bits == 16 || bits == 24 || bits == 32);
    return knownBits && channels > 0 && rate > 0 && blockAlign >= channels * bits / 8;
}

float PcmLayout::read(const BYTE* frame, WORD channel) const {
    const BYTE* sample = frame + channel * (bits / 8);
    if (isFloat) {
        float value;
        std::memcpy(&value, sample, sizeof value);
        return value;
    }
    switch (bits) {
    case 8: return (static_cast<int>(sample[0]) - 128) / 128.0f;
    case 16: {
        int16_t value;
        std::memcpy(&value, sample, sizeof value);
        return value / 32768.0f;
    }
    case 24: {
        const int32_t value = static_cast<int32_t>((static_cast<uint32_t>(sample[0]) << 8) |
                                                   (static_cast<uint32_t>(sample[1]) << 16) |
                                                   (static_cast<uint32_t>(sample[2]) << 24)) >> 8;
        return value / 8388608.0f;
    }
    default: {
        int32_t value;
        std::memcpy(&value, sample, sizeof value);
        return static_cast<float>(value / 2147483648.0);
    }
    }
}

void PcmLayout::write(float value, BYTE* frame, WORD channel) const {
    BYTE* sample = frame + channel * (bits / 8);
    if (isFloat) {
        std::memcpy(sample, &value, sizeof value);
        return;
    }
    const double clamped = std::max(-1.0, std::min(1.0, static_cast<double>(value)));
    switch (bits) {
    case 8: sample[0] = static_cast<BYTE>(std::lround(clamped * 127.0) + 128); break;
    case 16: {
        const int16_t scaled = static_cast<int16_t>(std::lround(clamped * 32767.0));
        std::memcpy(sample, &scaled, sizeof scaled);
        break;
    }
    case 24: {
        const int32_t scaled = static_cast<int32_t>(std::lround(clamped * 8388607.0));
        sample[0] = static_cast<BYTE>(scaled & 0xFF);
        sample[1] = static_cast<BYTE>((scaled >> 8) & 0xFF);
        sample[2] = static_cast<BYTE>((scaled >> 16) & 0xFF);
        break;
    }
    default: {
        const int32_t scaled = static_cast<int32_t>(std::llround(clamped * 2147483647.0));
        std::memcpy(sample, &scaled, sizeof scaled);
        break;
    }
    }
}

// ---- StreamHub

StreamHub::~StreamHub() {
    stop();
}

void StreamHub::add(const std::shared_ptr<Runner>& runner) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_runners.push_back(runner);
    }
    std::lock_guard<std::mutex> lock(m_tickerMutex);
    if (!m_ticker.joinable() && !m_stopping)
        m_ticker = std::thread([this] { tickerLoop(); });
}

void StreamHub::remove(const Runner* runner) {
    std::shared_ptr<Runner> removed;
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = std::find_if(m_runners.begin(), m_runners.end(),
                                    [&](const std::shared_ptr<Runner>& entry) { return entry.get() == runner; });
    if (found != m_runners.end())
        m_runners.erase(found);
}

void StreamHub::stop() {
    {
        std::lock_guard<std::mutex> lock(m_tickerMutex);
        m_stopping = true;
        m_tickerWake.notify_all();
    }
    if (m_ticker.joinable() && m_ticker.get_id() != std::this_thread::get_id())
        m_ticker.join();
    else if (m_ticker.joinable())
        m_ticker.detach();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_runners.clear();
}

void StreamHub::tickerLoop() {
    for (;;) {
        {
            std::unique_lock<std::mutex> lock(m_tickerMutex);
            m_tickerWake.wait_for(lock, kTickInterval, [&] { return m_stopping; });
            if (m_stopping)
                return;
        }
        std::vector<std::shared_ptr<Runner>> runners;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            runners = m_runners;
        }
        const double now = clock.now();
        for (const auto& runner : runners)
            runner->tick(now);
    }
}

void StreamHub::advanceRenderers(const std::wstring& endpoint, double now) {
    std::vector<std::shared_ptr<Runner>> renderers;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& runner : m_runners) {
            if (runner->rendersTo(endpoint))
                renderers.push_back(runner);
        }
    }
    for (const auto& runner : renderers)
        runner->tick(now);
}

size_t StreamHub::openSegment(const std::wstring& endpoint, double start, WORD channels, DWORD rate) {
    std::lock_guard<std::mutex> lock(m_mutex);
    Output& output = m_outputs[outputKey(endpoint)];
    output.segments.push_back(Segment{start, channels, rate, {}});
    if (output.rendered.channels != channels || output.rendered.sampleRate != rate)
        output.rendered = RenderedAudio{channels, rate, {}};
    return output.segments.size() - 1;
}

void StreamHub::appendSegment(const std::wstring& endpoint, size_t segment, const std::vector<float>& frames,
                              bool fromClient) {
    std::lock_guard<std::mutex> lock(m_mutex);
    Output& output = m_outputs[outputKey(endpoint)];
    if (segment >= output.segments.size())
        return;
    Segment& target = output.segments[segment];
    target.samples.insert(target.samples.end(), frames.begin(), frames.end());
    if (fromClient && output.rendered.channels == target.channels && output.rendered.sampleRate == target.rate)
        output.rendered.samples.insert(output.rendered.samples.end(), frames.begin(), frames.end());
}

std::vector<float> StreamHub::played(const std::wstring& endpoint, double start, double step, size_t frames,
                                     WORD channels, double now) {
    advanceRenderers(endpoint, now);
    std::vector<float> result(frames * channels, 0.0f);
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_outputs.find(outputKey(endpoint));
    if (found == m_outputs.end())
        return result;
    const auto& segments = found->second.segments;
    for (size_t frame = 0; frame < frames; ++frame) {
        const double time = start + static_cast<double>(frame) * step;
        // The latest segment that began by then is what was playing.
        for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
            if (time < segment->start || segment->channels == 0)
                continue;
            const auto index = static_cast<size_t>((time - segment->start) * segment->rate);
            if (index < segment->samples.size() / segment->channels) {
                for (WORD channel = 0; channel < channels; ++channel) {
                    const WORD mapped = std::min<WORD>(channel, static_cast<WORD>(segment->channels - 1));
                    result[frame * channels + channel] = segment->samples[index * segment->channels + mapped];
                }
            }
            break;
        }
    }
    return result;
}

RenderedAudio StreamHub::rendered(const std::wstring& endpoint) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_outputs.find(outputKey(endpoint));
    return found == m_outputs.end() ? RenderedAudio{} : found->second.rendered;
}

void StreamHub::clearRendered(const std::wstring& endpoint) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_outputs.find(outputKey(endpoint));
    if (found != m_outputs.end())
        found->second.rendered.samples.clear();
}

void recordFromSource(StreamHub& hub, const CaptureSource& source, double start, unsigned long long firstFrame,
                      size_t frames, const PcmLayout& layout, BYTE* out, double now) {
    std::vector<float> samples;
    if (source.kind == CaptureSource::Loopback) {
        const double first = start + static_cast<double>(firstFrame) / layout.rate - kLoopbackLatency;
        samples = hub.played(source.endpoint, first, 1.0 / layout.rate, frames, layout.channels, now);
    } else {
        samples.assign(frames * layout.channels, 0.0f);
        if (source.kind == CaptureSource::Tone) {
            for (size_t frame = 0; frame < frames; ++frame) {
                const double phase = 2.0 * kPi * source.frequency * static_cast<double>(firstFrame + frame) / layout.rate;
                const auto value = static_cast<float>(source.amplitude * std::sin(phase));
                for (WORD channel = 0; channel < layout.channels; ++channel)
                    samples[frame * layout.channels + channel] = value;
            }
        }
    }
    for (size_t frame = 0; frame < frames; ++frame) {
        for (WORD channel = 0; channel < layout.channels; ++channel)
            layout.write(samples[frame * layout.channels + channel], out + frame * layout.blockAlign, channel);
    }
}

std::wstring formatText(const WAVEFORMATEX* format) {
    if (!format)
        return L"null";
    const PcmLayout layout = PcmLayout::of(*format);
    std::wstring text = std::to_wstring(format->nChannels) + L"ch " + std::to_wstring(format->wBitsPerSample) + L"bit " +
                        std::to_wstring(format->nSamplesPerSec) + L"Hz";
    if (layout.isFloat)
        text += L" float";
    if (format->wFormatTag == WAVE_FORMAT_EXTENSIBLE)
        text += L" extensible";
    return text;
}

}  // namespace audiosim::detail

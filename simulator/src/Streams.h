// The machine's simulated clock and what runs on it: audio clients and wave
// devices consume and produce frames as simulated time passes, render
// endpoints keep what they played, and capture endpoints record from their
// configured source, which may be what a render endpoint plays.
//
// Simulated time follows QueryPerformanceCounter, scaled by a speed factor
// (1 by default, 0 freezes every stream of the machine). Tying it to real
// time lets the library's worker threads, their Sleep calls and their event
// waits behave as on hardware. Positions are computed from the clock when a
// stream is asked, so padding and packets are exact at each call; a ticker
// thread, running while any stream runs, signals event handles once per
// period and completes wave headers.
#pragma once

#include <audiosim/Machine.h>
#include <audiosim/Model.h>

#include <windows.h>
#include <mmreg.h>

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace audiosim::detail {

class SimClock {
public:
    SimClock();
    // Seconds of simulated time since the machine was made.
    double now() const;
    void setSpeed(double speed);
    double speed() const;

private:
    mutable std::mutex m_mutex;
    double m_frequency = 1.0;
    long long m_baseCounter = 0;
    double m_baseTime = 0.0;
    double m_speed = 1.0;
};

// Reads and writes the samples of one PCM layout as floats in -1..1.
struct PcmLayout {
    WORD channels = 0;
    DWORD rate = 0;
    WORD bits = 0;
    WORD blockAlign = 0;
    bool isFloat = false;

    static PcmLayout of(const WAVEFORMATEX& format);
    // Whether samples of this layout can be read and written.
    bool usable() const;
    float read(const BYTE* frame, WORD channel) const;
    void write(float value, BYTE* frame, WORD channel) const;
};

// Something that moves with the clock: an audio client or a wave device.
class Runner {
public:
    virtual ~Runner() = default;
    // Brings the stream up to simulated time `now`.
    virtual void tick(double now) = 0;
    // Whether the stream plays on this render endpoint, so that a loopback
    // reader can bring it up to date first.
    virtual bool rendersTo(const std::wstring& endpoint) const = 0;
};

class StreamHub {
public:
    StreamHub() = default;
    ~StreamHub();
    StreamHub(const StreamHub&) = delete;
    StreamHub& operator=(const StreamHub&) = delete;

    SimClock clock;

    // Runners tick while they are added; the ticker thread runs while there
    // is any.
    void add(const std::shared_ptr<Runner>& runner);
    void remove(const Runner* runner);
    void stop();

    // ---- What render endpoints played. A stream opens a segment when it
    // starts, at the simulated time of its first frame, and appends every
    // frame the device consumed: the client's frames, and silence where the
    // client left the device without data.
    size_t openSegment(const std::wstring& endpoint, double start, WORD channels, DWORD rate);
    void appendSegment(const std::wstring& endpoint, size_t segment, const std::vector<float>& frames,
                       bool fromClient);
    // What the endpoint played at `time` on `channel` (the last channel for
    // a channel it does not have), after bringing its streams up to `now`;
    // 0 where nothing played.
    // What the endpoint played on `channels` channels (a channel it does not
    // have reads its last one) for `frames` frames from `start`, `step`
    // seconds apart, after bringing its streams up to `now`; silence where
    // nothing played.
    std::vector<float> played(const std::wstring& endpoint, double start, double step, size_t frames, WORD channels,
                              double now);
    RenderedAudio rendered(const std::wstring& endpoint) const;
    void clearRendered(const std::wstring& endpoint);

private:
    void tickerLoop();
    void advanceRenderers(const std::wstring& endpoint, double now);

    struct Segment {
        double start = 0.0;
        WORD channels = 0;
        DWORD rate = 0;
        std::vector<float> samples;
    };
    struct Output {
        std::vector<Segment> segments;
        RenderedAudio rendered;
    };

    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<Runner>> m_runners;
    std::map<std::wstring, Output> m_outputs;   // by upper-case endpoint id

    std::mutex m_tickerMutex;
    std::condition_variable m_tickerWake;
    std::thread m_ticker;
    bool m_stopping = false;
};

// Writes `frames` frames of what a capture endpoint records from its source,
// in the layout given, beginning at frame `firstFrame` of a recording whose
// frame 0 lies at simulated time `start`.
void recordFromSource(StreamHub& hub, const CaptureSource& source, double start, unsigned long long firstFrame,
                      size_t frames, const PcmLayout& layout, BYTE* out, double now);

// "2ch 16bit 48000Hz", with " float" or " extensible" where it applies; for
// the call log.
std::wstring formatText(const WAVEFORMATEX* format);

// The delay between a render endpoint playing a frame and a loopback capture
// endpoint recording it, in seconds.
constexpr double kLoopbackLatency = 0.001;

}  // namespace audiosim::detail

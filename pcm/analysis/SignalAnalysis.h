#pragma once
// Tone generation and the measurements that tell whether a recording holds
// a tone: its frequency, its level, the longest hole in it, and how far it
// stands above everything else. Plain C++ with no platform calls, shared by
// the real-stack tests and the command-line tool's loopback check.
//
// A signal is one channel as fractions of full scale (-1 to 1). Levels are
// in dB of full scale by RMS, so a full-scale sine measures about -3 dB.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace pcmanalysis {

typedef std::vector<double> Signal;

// Interleaved 16-bit frames of a sine of `frequency` Hz at `amplitude` of
// full scale, the same on every channel, starting at phase 0.
std::vector<std::int16_t> sineTone16(double frequency, double amplitude, unsigned sampleRate, unsigned channels,
                                     std::size_t frames);

// One channel of interleaved 16-bit frames.
Signal channelOf16(std::int16_t const* interleaved, std::size_t frames, unsigned channels, unsigned channel);

// A stretch of samples, [begin, end).
struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t size() const { return end - begin; }
    bool empty() const { return end <= begin; }
};

Signal slice(Signal const& signal, Span span);
// The span with `margin` samples taken off either end; empty when too short.
Span shrink(Span span, std::size_t margin);

// From the first to the last sample whose magnitude reaches `threshold`;
// empty for a signal that never does.
Span activeSpan(Signal const& signal, double threshold);

// The stretches of sound: runs of samples that reach `threshold`, apart
// from each other by more than `minimumGap` samples below it.
std::vector<Span> soundSpans(Signal const& signal, double threshold, std::size_t minimumGap);

// The longest run of consecutive samples below `threshold` in magnitude.
std::size_t longestSilence(Signal const& signal, double threshold);

// Power of one frequency by the Goertzel recurrence over the Hann-windowed
// signal. Comparable only between calls on the same signal.
double goertzelPower(Signal const& signal, double frequency, double sampleRate);

// The frequency in [low, high] with the largest Goertzel power: a scan in
// quarter-hertz steps, then the strongest step refined to about 1 mHz. The
// refinement needs the tone's main lobe to be wider than a step, which holds
// for signals shorter than about eight seconds.
double dominantFrequency(Signal const& signal, double sampleRate, double low, double high);

double rms(Signal const& signal);
// RMS in dB of full scale; -300 for a silent or empty signal.
double rmsDb(Signal const& signal);

// The best-fitting sine of `frequency` against what is left once it is taken
// away, in dB; 300 when nothing is left.
double signalToNoiseDb(Signal const& signal, double frequency, double sampleRate);

// What a tone check needs, measured on one recorded channel.
struct ToneReport {
    bool found = false;      // some sample reached the silence threshold
    Span span;               // first to last sample above it
    double frequency = 0;    // Hz, over the span less its edges
    double levelDb = -300;   // dB of full scale, over the same part
    double snrDb = 0;        // tone against the rest, over the same part
    double longestGapMs = 0; // longest run below the threshold inside the span
};

// Measures the tone near `expectedFrequency` (searched within 20 Hz of it).
// Samples below `silenceThreshold` count as silence; `edgeMs` is left out
// at both ends of the span for frequency, level and noise, where fades and
// resampler transients sit.
ToneReport analyseTone(Signal const& signal, double sampleRate, double expectedFrequency, double silenceThreshold,
                       double edgeMs);

}  // namespace pcmanalysis

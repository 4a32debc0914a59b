#include <analysis/SignalAnalysis.h>

#include <algorithm>
#include <cmath>

namespace pcmanalysis {

namespace {

double const kPi = 3.14159265358979323846;
double const kScanStep = 0.25;
double const kRefinedTo = 0.001;
double const kNoSignalDb = -300.0;
double const kNoNoiseDb = 300.0;
double const kSearchWidthHz = 20.0;

double hann(std::size_t index, std::size_t count) {
    if (count < 2) {
        return 1.0;
    }
    return 0.5 - 0.5 * std::cos(2.0 * kPi * static_cast<double>(index) / static_cast<double>(count - 1));
}

double toDb(double power) {
    return 10.0 * std::log10(power);
}

}  // namespace

std::vector<std::int16_t> sineTone16(double frequency, double amplitude, unsigned sampleRate, unsigned channels,
                                     std::size_t frames) {
    std::vector<std::int16_t> block(frames * channels, 0);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        double const value = amplitude * 32767.0 * std::sin(2.0 * kPi * frequency * frame / sampleRate);
        std::int16_t const sample = static_cast<std::int16_t>(std::lround(value));
        std::fill_n(block.begin() + frame * channels, channels, sample);
    }
    return block;
}

Signal channelOf16(std::int16_t const* interleaved, std::size_t frames, unsigned channels, unsigned channel) {
    Signal signal(frames);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        signal[frame] = interleaved[frame * channels + channel] / 32768.0;
    }
    return signal;
}

Signal slice(Signal const& signal, Span span) {
    std::size_t const end = std::min(span.end, signal.size());
    std::size_t const begin = std::min(span.begin, end);
    return Signal(signal.begin() + begin, signal.begin() + end);
}

Span shrink(Span span, std::size_t margin) {
    if (span.size() <= 2 * margin) {
        return Span{span.begin, span.begin};
    }
    return Span{span.begin + margin, span.end - margin};
}

Span activeSpan(Signal const& signal, double threshold) {
    Span span;
    auto const loud = [threshold](double sample) { return std::fabs(sample) >= threshold; };
    auto const first = std::find_if(signal.begin(), signal.end(), loud);
    if (first == signal.end()) {
        return span;
    }
    auto const last = std::find_if(signal.rbegin(), signal.rend(), loud);
    span.begin = static_cast<std::size_t>(first - signal.begin());
    span.end = static_cast<std::size_t>(signal.rend() - last);
    return span;
}

std::vector<Span> soundSpans(Signal const& signal, double threshold, std::size_t minimumGap) {
    std::vector<Span> spans;
    std::size_t quiet = 0;
    for (std::size_t index = 0; index < signal.size(); ++index) {
        if (std::fabs(signal[index]) < threshold) {
            ++quiet;
            continue;
        }
        if (spans.empty() || quiet > minimumGap) {
            spans.push_back(Span{index, index + 1});
        } else {
            spans.back().end = index + 1;
        }
        quiet = 0;
    }
    return spans;
}

std::size_t longestSilence(Signal const& signal, double threshold) {
    std::size_t longest = 0;
    std::size_t run = 0;
    for (double sample : signal) {
        run = std::fabs(sample) < threshold ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return longest;
}

double goertzelPower(Signal const& signal, double frequency, double sampleRate) {
    double const coefficient = 2.0 * std::cos(2.0 * kPi * frequency / sampleRate);
    double previous = 0.0;
    double beforePrevious = 0.0;
    for (std::size_t index = 0; index < signal.size(); ++index) {
        double const current = signal[index] * hann(index, signal.size()) + coefficient * previous - beforePrevious;
        beforePrevious = previous;
        previous = current;
    }
    return previous * previous + beforePrevious * beforePrevious - coefficient * previous * beforePrevious;
}

double dominantFrequency(Signal const& signal, double sampleRate, double low, double high) {
    double best = low;
    double bestPower = -1.0;
    for (double frequency = low; frequency <= high; frequency += kScanStep) {
        double const power = goertzelPower(signal, frequency, sampleRate);
        if (power > bestPower) {
            bestPower = power;
            best = frequency;
        }
    }
    // Ternary search: the power is unimodal around the peak inside the
    // main lobe.
    double left = best - kScanStep;
    double right = best + kScanStep;
    while (right - left > kRefinedTo) {
        double const third = (right - left) / 3.0;
        if (goertzelPower(signal, left + third, sampleRate) < goertzelPower(signal, right - third, sampleRate)) {
            left += third;
        } else {
            right -= third;
        }
    }
    return (left + right) / 2.0;
}

double rms(Signal const& signal) {
    if (signal.empty()) {
        return 0.0;
    }
    double sum = 0.0;
    for (double sample : signal) {
        sum += sample * sample;
    }
    return std::sqrt(sum / static_cast<double>(signal.size()));
}

double rmsDb(Signal const& signal) {
    double const value = rms(signal);
    return value > 0.0 ? 20.0 * std::log10(value) : kNoSignalDb;
}

// Least squares of a cosine and a sine of the frequency against the signal.
double signalToNoiseDb(Signal const& signal, double frequency, double sampleRate) {
    double const step = 2.0 * kPi * frequency / sampleRate;
    double cc = 0.0, ss = 0.0, cs = 0.0, xc = 0.0, xs = 0.0;
    for (std::size_t index = 0; index < signal.size(); ++index) {
        double const c = std::cos(step * index);
        double const s = std::sin(step * index);
        cc += c * c;
        ss += s * s;
        cs += c * s;
        xc += signal[index] * c;
        xs += signal[index] * s;
    }
    double const determinant = cc * ss - cs * cs;
    if (determinant == 0.0) {
        return kNoSignalDb;
    }
    double const a = (xc * ss - xs * cs) / determinant;
    double const b = (xs * cc - xc * cs) / determinant;
    double tonePower = 0.0;
    double noisePower = 0.0;
    for (std::size_t index = 0; index < signal.size(); ++index) {
        double const fitted = a * std::cos(step * index) + b * std::sin(step * index);
        tonePower += fitted * fitted;
        noisePower += (signal[index] - fitted) * (signal[index] - fitted);
    }
    if (noisePower == 0.0) {
        return kNoNoiseDb;
    }
    return toDb(tonePower / noisePower);
}

ToneReport analyseTone(Signal const& signal, double sampleRate, double expectedFrequency, double silenceThreshold,
                       double edgeMs) {
    ToneReport report;
    report.span = activeSpan(signal, silenceThreshold);
    report.found = !report.span.empty();
    if (!report.found) {
        return report;
    }
    Signal const active = slice(signal, report.span);
    report.longestGapMs = longestSilence(active, silenceThreshold) * 1000.0 / sampleRate;

    std::size_t const edge = static_cast<std::size_t>(edgeMs * sampleRate / 1000.0);
    Signal const inner = slice(signal, shrink(report.span, edge));
    if (inner.empty()) {
        return report;
    }
    report.frequency = dominantFrequency(inner, sampleRate, expectedFrequency - kSearchWidthHz,
                                         expectedFrequency + kSearchWidthHz);
    report.levelDb = rmsDb(inner);
    report.snrDb = signalToNoiseDb(inner, report.frequency, sampleRate);
    return report;
}

}  // namespace pcmanalysis

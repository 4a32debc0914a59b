#include <analysis/SignalAnalysis.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

namespace {

double const kRate = 48000.0;
double const kThreshold = 0.01;

// `before` and `after` seconds of silence around `seconds` of a sine.
pcmanalysis::Signal toneInSilence(double frequency, double amplitude, double before, double seconds, double after) {
    std::size_t const frames = static_cast<std::size_t>(seconds * kRate);
    std::vector<std::int16_t> const tone = pcmanalysis::sineTone16(frequency, amplitude, 48000, 2, frames);
    pcmanalysis::Signal signal(static_cast<std::size_t>(before * kRate), 0.0);
    pcmanalysis::Signal const channel = pcmanalysis::channelOf16(tone.data(), frames, 2, 1);
    signal.insert(signal.end(), channel.begin(), channel.end());
    signal.resize(signal.size() + static_cast<std::size_t>(after * kRate), 0.0);
    return signal;
}

}  // namespace

TEST(SignalAnalysis, MeasuresATonePlacedInSilence) {
    pcmanalysis::Signal const signal = toneInSilence(1000.4, 0.5, 0.2, 1.0, 0.3);
    pcmanalysis::ToneReport const report = pcmanalysis::analyseTone(signal, kRate, 1000.0, kThreshold, 10.0);

    ASSERT_TRUE(report.found);
    EXPECT_NEAR(report.frequency, 1000.4, 0.01);
    EXPECT_NEAR(report.levelDb, 20.0 * std::log10(0.5 / std::sqrt(2.0)), 0.05);
    EXPECT_GT(report.snrDb, 60.0);
    // The span starts at the first sample that reaches the threshold, a few
    // samples into the sine, and ends within a cycle of its end.
    EXPECT_NEAR(static_cast<double>(report.span.begin), 0.2 * kRate, 3.0);
    EXPECT_NEAR(static_cast<double>(report.span.end), 1.2 * kRate, 48.0);
    // Zero crossings alone are no gap worth a millisecond.
    EXPECT_LT(report.longestGapMs, 0.1);

    pcmanalysis::Signal const silence(48000, 0.0);
    EXPECT_FALSE(pcmanalysis::analyseTone(silence, kRate, 1000.0, kThreshold, 10.0).found);
    EXPECT_EQ(pcmanalysis::rmsDb(silence), -300.0);
}

TEST(SignalAnalysis, FindsAHoleAndNoiseInsideTheTone) {
    pcmanalysis::Signal signal = toneInSilence(1000.0, 0.5, 0.1, 1.0, 0.1);
    std::size_t const holeStart = static_cast<std::size_t>(0.6 * kRate);
    std::fill_n(signal.begin() + holeStart, 480, 0.0);
    EXPECT_NEAR(pcmanalysis::analyseTone(signal, kRate, 1000.0, kThreshold, 10.0).longestGapMs, 10.0, 0.1);
    // The hole splits the sound in two only for a minimum gap shorter than
    // the hole; zero crossings never do.
    std::vector<pcmanalysis::Span> const halves = pcmanalysis::soundSpans(signal, kThreshold, 240);
    ASSERT_EQ(2u, halves.size());
    EXPECT_NEAR(static_cast<double>(halves[0].end), static_cast<double>(holeStart), 48.0);
    EXPECT_NEAR(static_cast<double>(halves[1].begin), static_cast<double>(holeStart + 480), 48.0);
    EXPECT_EQ(1u, pcmanalysis::soundSpans(signal, kThreshold, 600).size());

    // White noise 40 dB below the tone's power.
    pcmanalysis::Signal noisy = toneInSilence(1000.0, 0.5, 0.0, 1.0, 0.0);
    double const noiseRms = (0.5 / std::sqrt(2.0)) * std::pow(10.0, -40.0 / 20.0);
    std::mt19937 generator(7);
    std::normal_distribution<double> noise(0.0, noiseRms);
    for (double& sample : noisy) {
        sample += noise(generator);
    }
    EXPECT_NEAR(pcmanalysis::signalToNoiseDb(noisy, 1000.0, kRate), 40.0, 0.5);
    EXPECT_NEAR(pcmanalysis::dominantFrequency(noisy, kRate, 980.0, 1020.0), 1000.0, 0.05);
}

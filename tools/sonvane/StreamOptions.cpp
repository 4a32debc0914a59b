#include "StreamOptions.h"

#include "Text.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>

void StreamOptions::check() const {
    format.check();
    parseStack(stack);
    if (!(seconds > 0.0) || seconds > 600.0) {
        throw usageError("the duration lies above 0 and up to 600 seconds, not " + fixed(seconds, 3));
    }
}

size_t StreamOptions::frames() const {
    return static_cast<size_t>(seconds * format.rate + 0.5);
}

void ToneOptions::check(PcmFormat const& format) const {
    if (!(frequency > 0.0) || frequency >= format.rate / 2.0) {
        throw usageError("the tone's frequency lies above 0 and below half the sample rate (" +
                         std::to_string(format.rate / 2) + " Hz), not " + fixed(frequency, 1));
    }
    if (levelDb > 0.0 || levelDb < -90.0) {
        throw usageError("the tone's level lies between -90 and 0 dBFS, not " + fixed(levelDb, 1));
    }
}

void addStreamOptions(CLI::App& command, StreamOptions& options, char const* secondsHelp) {
    command.add_option("--stack", options.stack, "exclusive (the endpoint's audio client) or legacy (wave devices)")
        ->capture_default_str();
    command.add_option("--seconds", options.seconds, secondsHelp)->capture_default_str();
    command.add_option("--rate", options.format.rate, "Sample rate in Hz")->capture_default_str();
    command.add_option("--bits", options.format.bits, "Bits per sample: 16, 24 or 32")->capture_default_str();
    command.add_option("--channels", options.format.channels, "Number of channels")->capture_default_str();
}

void addToneOptions(CLI::App& command, ToneOptions& options) {
    command.add_option("--frequency", options.frequency, "Tone frequency in Hz")->capture_default_str();
    command.add_option("--level", options.levelDb, "Tone peak level in dB of full scale")->capture_default_str();
}

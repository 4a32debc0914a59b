#pragma once
// Command-line options shared by the commands that play or record.
#include "Pcm.h"
#include "Streams.h"

#include <string>

namespace CLI {
class App;
}

struct StreamOptions {
    PcmFormat format;
    std::string stack = "exclusive";
    double seconds = 2.0;

    Stack chosenStack() const { return parseStack(stack); }
    // Checks the format and the duration; throws a usage error.
    void check() const;
    size_t frames() const;
};

struct ToneOptions {
    double frequency = 1000.0;
    double levelDb = -6.0;

    void check(PcmFormat const& format) const;
};

void addStreamOptions(CLI::App& command, StreamOptions& options, char const* secondsHelp);
void addToneOptions(CLI::App& command, ToneOptions& options);

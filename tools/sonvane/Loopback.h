#pragma once
// The loopback test: a tone played on a render endpoint while a capture
// endpoint records, and the recording measured against stated limits. The
// 'loopback' command prints the result; 'report' draws it.
#include "Endpoints.h"
#include "StreamOptions.h"

#include <analysis/SignalAnalysis.h>

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

struct LoopbackLimits {
    double frequencyHz = 1.0;   // largest distance from the tone's frequency
    double levelDb = 1.0;       // largest distance from the tone's level
    double snrDb = 40.0;        // smallest signal-to-noise ratio
    double gapMs = 5.0;         // longest silence inside the tone
    double lengthShare = 0.2;   // largest share of the tone's length heard missing or added
};

struct LoopbackSettings {
    std::string render;
    std::string capture;
    StreamOptions stream;
    ToneOptions tone;
    LoopbackLimits limits;
    std::string saveFile;   // where to keep the recording as WAV; empty: nowhere
};

struct LoopbackCheck {
    std::string name;
    std::string measured;
    std::string limit;
    bool passed = false;
};

struct LoopbackResult {
    unsigned int renderIndex = 0;
    std::string renderName;
    unsigned int captureIndex = 0;
    std::string captureName;
    LoopbackSettings settings;
    pcmanalysis::ToneReport tone;
    double levelDb = -300.0;        // peak level of the tone as heard
    double toneSeconds = 0.0;       // length of the tone as heard
    std::vector<LoopbackCheck> checks;
    bool passed = false;
    bool stopped = false;           // Ctrl+C came first; nothing was measured
    pcmanalysis::Signal recording;  // the first channel of what was recorded
};

// Plays and records; throws a device error when a stream refuses.
LoopbackResult runLoopback(LoopbackSettings const& settings, EndpointList const& endpoints);

// The result without the samples.
nlohmann::json loopbackJson(LoopbackResult const& result);
std::string loopbackText(nlohmann::json const& data);

namespace CLI {
class App;
}
// The loopback's options, shared by 'loopback' and 'report'.
void addLoopbackOptions(CLI::App& command, LoopbackSettings& settings);

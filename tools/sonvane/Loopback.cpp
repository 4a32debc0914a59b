#include "Loopback.h"

#include "AtomicFile.h"
#include "Console.h"
#include "Streams.h"
#include "Text.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

// Recording runs this much longer than the tone: the tone starts after the
// recording and reaches it late by the stacks' latency, which on a busy
// machine reaches two seconds.
double const kRecordingMarginSeconds = 2.0;
// The tone starts once the recording delivers sound, and no later than
// this: a capture stream that has only just been started may hand over its
// first packets late, and a tone played into that time would be lost. A
// device that delivers digital silence gets the tone after this wait.
double const kLongestLeadInSeconds = 1.5;
// Fades and resampler transients sit at the tone's ends; the measurements
// leave them out.
double const kEdgeMs = 20.0;
// Silence is what lies 20 dB under the loudest sample heard, and never
// less than -60 dBFS, so that a quiet device's noise is not taken for a tone.
double const kSilenceBelowPeak = 0.1;
double const kSilenceFloor = 0.001;

double silenceThreshold(pcmanalysis::Signal const& recording) {
    double peak = 0.0;
    for (double sample : recording) {
        peak = std::max(peak, std::fabs(sample));
    }
    return std::max(peak * kSilenceBelowPeak, kSilenceFloor);
}

LoopbackCheck check(std::string name, std::string measured, std::string limit, bool passed) {
    return {std::move(name), std::move(measured), std::move(limit), passed};
}

std::vector<LoopbackCheck> judge(LoopbackResult const& result) {
    LoopbackLimits const& limits = result.settings.limits;
    ToneOptions const& sent = result.settings.tone;
    std::vector<LoopbackCheck> checks;
    checks.push_back(check("tone heard", result.tone.found ? "yes" : "no", "yes", result.tone.found));
    if (!result.tone.found) {
        return checks;
    }
    double const seconds = result.settings.stream.seconds;
    // Too long means the recording holds something else than the tone sent.
    double const shortest = seconds * (1.0 - limits.lengthShare);
    double const longest = seconds * (1.0 + limits.lengthShare);
    checks.push_back(check("length", fixed(result.toneSeconds, 3) + " s",
                           fixed(shortest, 3) + " to " + fixed(longest, 3) + " s",
                           result.toneSeconds >= shortest && result.toneSeconds <= longest));
    checks.push_back(check("frequency", fixed(result.tone.frequency, 2) + " Hz",
                           fixed(sent.frequency, 1) + " +/- " + fixed(limits.frequencyHz, 2) + " Hz",
                           std::fabs(result.tone.frequency - sent.frequency) <= limits.frequencyHz));
    checks.push_back(check("level", fixed(result.levelDb, 2) + " dBFS",
                           fixed(sent.levelDb, 1) + " +/- " + fixed(limits.levelDb, 2) + " dB",
                           std::fabs(result.levelDb - sent.levelDb) <= limits.levelDb));
    checks.push_back(check("signal to noise", fixed(result.tone.snrDb, 1) + " dB", ">= " + fixed(limits.snrDb, 1) + " dB",
                           result.tone.snrDb >= limits.snrDb));
    checks.push_back(check("longest gap", fixed(result.tone.longestGapMs, 2) + " ms",
                           "<= " + fixed(limits.gapMs, 2) + " ms", result.tone.longestGapMs <= limits.gapMs));
    return checks;
}

void measure(LoopbackResult& result, PcmBlock const& recorded, size_t frames) {
    double const rate = result.settings.stream.format.rate;
    result.recording = recorded.channel(0, frames);
    result.tone = pcmanalysis::analyseTone(result.recording, rate, result.settings.tone.frequency,
                                           silenceThreshold(result.recording), kEdgeMs);
    result.levelDb = result.tone.levelDb > -300.0 ? sinePeakDb(result.tone.levelDb) : -300.0;
    result.toneSeconds = static_cast<double>(result.tone.span.size()) / rate;
    result.checks = judge(result);
    result.passed = std::all_of(result.checks.begin(), result.checks.end(),
                                [](LoopbackCheck const& one) { return one.passed; });
}

}  // namespace

LoopbackResult runLoopback(LoopbackSettings const& settings, EndpointList const& endpoints) {
    settings.stream.check();
    settings.tone.check(settings.stream.format);
    Stack const stack = settings.stream.chosenStack();
    Endpoint const& render = endpoints.selectForStream(settings.render, FlowWanted::Render);
    Endpoint const& capture = endpoints.selectForStream(settings.capture, FlowWanted::Capture);

    LoopbackResult result;
    result.settings = settings;
    result.renderIndex = render.index;
    result.renderName = render.name();
    result.captureIndex = capture.index;
    result.captureName = capture.name();

    std::unique_ptr<AtomicFile> saved;
    if (!settings.saveFile.empty()) {
        saved = std::make_unique<AtomicFile>(settings.saveFile);
    }
    PcmFormat const& format = settings.stream.format;
    PcmBlock tone(format, settings.stream.frames());
    tone.fillTone(settings.tone.frequency, settings.tone.levelDb);
    double const recordingSeconds = kLongestLeadInSeconds + settings.stream.seconds + kRecordingMarginSeconds;
    PcmBlock recorded(format, static_cast<size_t>(recordingSeconds * format.rate));
    Recorder recorder(stack, capture.device, recorded);
    Player player(stack, render.device, tone);

    Progress progress("loopback from \"" + render.name() + "\" to \"" + capture.name() + "\"", recordingSeconds);
    double const limit = recordingSeconds * 1.5 + 2.0;
    bool const finished =
        recorder.start() && waitWhile([&] { return !recorder.hasSound(); }, &progress, kLongestLeadInSeconds) &&
        player.start(false) &&
        waitWhile([&] { return recorder.isRecording() || player.isPlaying(); }, &progress, limit);
    player.stop();
    recorder.stop();
    if (!finished) {
        result.stopped = true;
        return result;
    }
    measure(result, recorded, recorder.recordedFrames());
    if (saved) {
        writeWav(*saved, recorded, recorder.recordedFrames());
    }
    return result;
}

nlohmann::json loopbackJson(LoopbackResult const& result) {
    nlohmann::json checks = nlohmann::json::array();
    for (LoopbackCheck const& one : result.checks) {
        checks.push_back(
            {{"name", one.name}, {"measured", one.measured}, {"limit", one.limit}, {"passed", one.passed}});
    }
    LoopbackSettings const& settings = result.settings;
    return {
        {"render", {{"endpoint", result.renderIndex}, {"name", result.renderName}}},
        {"capture", {{"endpoint", result.captureIndex}, {"name", result.captureName}}},
        {"stack", settings.stream.stack},
        {"format", settings.stream.format.text()},
        {"sent", {{"frequency", settings.tone.frequency}, {"levelDb", settings.tone.levelDb}, {"seconds", settings.stream.seconds}}},
        {"heard",
         {{"found", result.tone.found},
          {"frequency", result.tone.frequency},
          {"levelDb", result.levelDb},
          {"snrDb", result.tone.snrDb},
          {"longestGapMs", result.tone.longestGapMs},
          {"seconds", result.toneSeconds},
          {"startSeconds", static_cast<double>(result.tone.span.begin) / settings.stream.format.rate}}},
        {"checks", checks},
        {"stopped", result.stopped},
        {"result", result.stopped ? "STOPPED" : (result.passed ? "PASS" : "FAIL")},
    };
}

std::string loopbackText(nlohmann::json const& data) {
    std::string text = "Loopback: " + fixed(data["sent"]["frequency"].get<double>(), 1) + " Hz at " +
                       fixed(data["sent"]["levelDb"].get<double>(), 1) + " dBFS for " +
                       fixed(data["sent"]["seconds"].get<double>(), 1) + " s, played on " +
                       std::to_string(data["render"]["endpoint"].get<unsigned int>()) + " \"" +
                       data["render"]["name"].get<std::string>() + "\", recorded on " +
                       std::to_string(data["capture"]["endpoint"].get<unsigned int>()) + " \"" +
                       data["capture"]["name"].get<std::string>() + "\" (" + data["stack"].get<std::string>() + ", " +
                       data["format"].get<std::string>() + ")\n";
    if (data["stopped"].get<bool>()) {
        return text + "Stopped before the recording was complete; nothing was measured.\n";
    }
    TextTable table({"CHECK", "MEASURED", "LIMIT", "RESULT"});
    for (auto const& one : data["checks"]) {
        table.addRow({one["name"], one["measured"], one["limit"], one["passed"].get<bool>() ? "PASS" : "FAIL"});
    }
    return text + table.render("  ") + data["result"].get<std::string>() + "\n";
}

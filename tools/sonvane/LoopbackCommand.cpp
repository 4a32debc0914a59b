// sonvane loopback: play a tone, record it, and say whether what came back
// is the tone that was sent.
#include "Console.h"
#include "Loopback.h"
#include "Session.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

ExitCode runLoopbackCommand(Session& session, LoopbackSettings const& settings) {
    EndpointList const endpoints = EndpointList::read();
    LoopbackResult const result = runLoopback(settings, endpoints);
    session.emit(loopbackJson(result), loopbackText);
    if (result.stopped) {
        if (!settings.saveFile.empty()) {
            console::note("stopped; " + settings.saveFile + " was not written");
        }
        return ExitCode::Stopped;
    }
    return result.passed ? ExitCode::Ok : ExitCode::TestFailed;
}

}  // namespace

void addLoopbackOptions(CLI::App& command, LoopbackSettings& settings) {
    command.add_option("--render", settings.render, "Render endpoint: number, id or part of the name (default: the default one)");
    command.add_option("--capture", settings.capture, "Capture endpoint: number, id or part of the name (default: the default one)");
    addStreamOptions(command, settings.stream, "Length of the tone");
    addToneOptions(command, settings.tone);
    command.add_option("--save", settings.saveFile, "Keep the recording in this WAV file");
    command.add_option("--max-frequency-error", settings.limits.frequencyHz, "Limit in Hz")->capture_default_str();
    command.add_option("--max-level-error", settings.limits.levelDb, "Limit in dB")->capture_default_str();
    command.add_option("--min-snr", settings.limits.snrDb, "Limit in dB")->capture_default_str();
    command.add_option("--max-gap", settings.limits.gapMs, "Longest silence inside the tone, in ms")->capture_default_str();
}

void addLoopbackCommand(CLI::App& app, CommandRunner& chosen) {
    auto settings = std::make_shared<LoopbackSettings>();
    settings->stream.seconds = 1.0;
    CLI::App* command = app.add_subcommand(
        "loopback", "Play a tone on a render endpoint while recording a capture endpoint, and check frequency, "
                    "level, signal to noise and gaps against limits (PASS or FAIL)");
    addLoopbackOptions(*command, *settings);
    command->callback([&chosen, settings] {
        chosen = [settings](Session& session) { return runLoopbackCommand(session, *settings); };
    });
}

// sonvane play: a test tone on a render endpoint, once or looped.
#include "Console.h"
#include "Endpoints.h"
#include "Session.h"
#include "StreamOptions.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace {

struct PlayOptions {
    std::string endpoint;
    StreamOptions stream;
    ToneOptions tone;
    bool loop = false;
    double stopAfter = 0.0;
};

std::string playText(nlohmann::json const& data) {
    std::string text = data["stopped"].get<bool>() ? "Stopped " : "Played ";
    text += std::string(data["loop"].get<bool>() ? "a looped " : "a ") + fixed(data["seconds"].get<double>(), 1) +
            " s tone of " + fixed(data["frequency"].get<double>(), 1) + " Hz at " +
            fixed(data["levelDb"].get<double>(), 1) + " dBFS on " + std::to_string(data["endpoint"].get<unsigned int>()) +
            " \"" + data["name"].get<std::string>() + "\" (" + data["stack"].get<std::string>() + ", " +
            data["format"].get<std::string>() + ") for " + fixed(data["elapsedSeconds"].get<double>(), 1) + " s\n";
    return text;
}

ExitCode runPlay(Session& session, PlayOptions const& options) {
    options.stream.check();
    options.tone.check(options.stream.format);
    Stack const stack = options.stream.chosenStack();
    EndpointList const endpoints = EndpointList::read();
    Endpoint const& endpoint = endpoints.selectForStream(options.endpoint, FlowWanted::Render);

    PcmBlock block(options.stream.format, options.stream.frames());
    block.fillTone(options.tone.frequency, options.tone.levelDb);
    Player player(stack, endpoint.device, block);

    bool const loop = options.loop || options.stopAfter > 0.0;
    Progress progress("playing on \"" + endpoint.name() + "\"", loop ? options.stopAfter : options.stream.seconds);
    bool finished = player.start(loop) &&
                    waitWhile([&player] { return player.isPlaying(); }, &progress, loop ? options.stopAfter : 0.0);
    double const played = progress.elapsedSeconds();
    player.stop();
    // A loop ends by Ctrl+C or by its time limit; either is its normal end.
    bool const stopped = !finished && !loop;

    session.emit({{"endpoint", endpoint.index},
                  {"name", endpoint.name()},
                  {"stack", stackName(stack)},
                  {"format", options.stream.format.text()},
                  {"frequency", options.tone.frequency},
                  {"levelDb", options.tone.levelDb},
                  {"seconds", options.stream.seconds},
                  {"loop", loop},
                  {"elapsedSeconds", played},
                  {"stopped", stopped}},
                 playText);
    return stopped ? ExitCode::Stopped : ExitCode::Ok;
}

}  // namespace

void addPlayCommand(CLI::App& app, CommandRunner& chosen) {
    auto options = std::make_shared<PlayOptions>();
    CLI::App* command = app.add_subcommand("play", "Play a test tone on a render endpoint");
    command->add_option("endpoint", options->endpoint, "Number, id or part of the name (default: the default render endpoint)");
    addStreamOptions(*command, options->stream, "Length of the tone");
    addToneOptions(*command, options->tone);
    command->add_flag("--loop", options->loop, "Play the tone over and over until Ctrl+C");
    command->add_option("--stop-after", options->stopAfter, "Loop, and stop after this many seconds");
    command->callback([&chosen, options] {
        chosen = [options](Session& session) { return runPlay(session, *options); };
    });
}

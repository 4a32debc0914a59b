// sonvane record: a capture endpoint into a WAV file.
#include "AtomicFile.h"
#include "Console.h"
#include "Endpoints.h"
#include "Session.h"
#include "StreamOptions.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

namespace {

struct RecordOptions {
    std::string file;
    std::string endpoint;
    StreamOptions stream;
};

// The loudest sample in dBFS; null for a recording of pure zeros, which
// has no level in decibels at all.
nlohmann::json peakDb(PcmBlock const& block, size_t frames) {
    double peak = 0.0;
    for (unsigned int channel = 0; channel < block.format().channels; ++channel) {
        for (double sample : block.channel(channel, frames)) {
            peak = std::max(peak, std::fabs(sample));
        }
    }
    return peak > 0.0 ? nlohmann::json(rounded(20.0 * std::log10(peak), 2)) : nlohmann::json();
}

std::string peakText(nlohmann::json const& peak) {
    return peak.is_null() ? "silent (every sample zero)" : "peak " + fixed(peak.get<double>(), 1) + " dBFS";
}

std::string recordText(nlohmann::json const& data) {
    std::string text = "Recorded " + fixed(data["recordedSeconds"].get<double>(), 2) + " s from " +
                       std::to_string(data["endpoint"].get<unsigned int>()) + " \"" + data["name"].get<std::string>() +
                       "\" into " + data["file"].get<std::string>() + " (" + data["stack"].get<std::string>() + ", " +
                       data["format"].get<std::string>() + "), " + peakText(data["peakDb"]) + "\n";
    if (data["timedOut"].get<bool>()) {
        text += "The recording ran into its time limit; its end may be silent.\n";
    }
    return text;
}

ExitCode runRecord(Session& session, RecordOptions const& options) {
    options.stream.check();
    Stack const stack = options.stream.chosenStack();
    AtomicFile file(options.file);
    EndpointList const endpoints = EndpointList::read();
    Endpoint const& endpoint = endpoints.selectForStream(options.endpoint, FlowWanted::Capture);

    PcmBlock block(options.stream.format, options.stream.frames());
    Recorder recorder(stack, endpoint.device, block);
    Progress progress("recording from \"" + endpoint.name() + "\"", options.stream.seconds);
    // The legacy stack gives up by itself at 140% of the recording's length;
    // the margin here only keeps a silent device from holding the tool.
    double const limit = options.stream.seconds * 1.5 + 2.0;
    bool const finished =
        recorder.start() && waitWhile([&recorder] { return recorder.isRecording(); }, &progress, limit);
    int const exitCode = recorder.stop();
    if (!finished) {
        console::note("stopped; " + options.file + " was not written");
        return ExitCode::Stopped;
    }
    size_t const frames = recorder.recordedFrames();
    if (frames == 0) {
        throw deviceError("the endpoint delivered no sound; nothing was written");
    }
    writeWav(file, block, frames);

    session.emit({{"endpoint", endpoint.index},
                  {"name", endpoint.name()},
                  {"file", options.file},
                  {"stack", stackName(stack)},
                  {"format", options.stream.format.text()},
                  {"recordedSeconds", static_cast<double>(frames) / options.stream.format.rate},
                  {"peakDb", peakDb(block, frames)},
                  {"timedOut", exitCode == 128}},
                 recordText);
    return ExitCode::Ok;
}

}  // namespace

void addRecordCommand(CLI::App& app, CommandRunner& chosen) {
    auto options = std::make_shared<RecordOptions>();
    CLI::App* command = app.add_subcommand("record", "Record a capture endpoint into a WAV file");
    command->add_option("file", options->file, "The WAV file to write")->required();
    command->add_option("endpoint", options->endpoint, "Number, id or part of the name (default: the default capture endpoint)");
    addStreamOptions(*command, options->stream, "Length of the recording");
    command->callback([&chosen, options] {
        chosen = [options](Session& session) { return runRecord(session, *options); };
    });
}

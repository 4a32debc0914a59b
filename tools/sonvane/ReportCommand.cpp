// sonvane report: the hardware report as one HTML file.
#include "AtomicFile.h"
#include "Console.h"
#include "Hardware.h"
#include "Loopback.h"
#include "Report.h"
#include "Session.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <windows.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

struct ReportOptions {
    std::string output = "sonvane-report.html";
    bool noLoopback = false;
    LoopbackSettings loopback;
};

std::string computerName() {
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    return GetComputerNameW(name, &length) ? utf8(std::wstring(name, length)) : std::string("this computer");
}

std::string now() {
    SYSTEMTIME time = {};
    GetLocalTime(&time);
    char text[32];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u", time.wYear, time.wMonth, time.wDay, time.wHour,
                  time.wMinute);
    return text;
}

std::string reportText(nlohmann::json const& data) {
    return "Wrote the report of " + data["machine"].get<std::string>() + " to " + data["file"].get<std::string>() +
           " (" + std::to_string(data["cards"].get<unsigned int>()) +
           (data["cards"].get<unsigned int>() == 1 ? " card" : " cards") + ", loopback " +
           data["loopback"].get<std::string>() + ")\n";
}

ExitCode runReport(Session& session, ReportOptions const& options) {
    AtomicFile file(options.output);
    EndpointList const endpoints = EndpointList::read();
    ReportContents contents;
    contents.machine = session.machine.empty() ? computerName() : session.machine;
    contents.made = now();
    contents.cards = describeCards(endpoints);

    std::unique_ptr<LoopbackResult> loopback;
    if (options.noLoopback) {
        contents.loopbackFailure = "The loopback test was not asked for.";
    } else {
        // A machine whose streams refuse still gets its report; the page says why the test is missing.
        try {
            loopback = std::make_unique<LoopbackResult>(runLoopback(options.loopback, endpoints));
        } catch (ToolError const& failure) {
            if (failure.code() != ExitCode::Device) {
                throw;
            }
            contents.loopbackFailure = std::string("The loopback test could not run: ") + failure.what();
            console::note(std::string("the loopback test could not run: ") + failure.what());
        }
        if (loopback && loopback->stopped) {
            console::note("stopped; the report was not written");
            return ExitCode::Stopped;
        }
    }
    if (loopback) {
        contents.loopback = loopbackJson(*loopback);
        contents.recording = loopback.get();
    }
    file.write(reportHtml(contents));
    file.commit();

    std::string const result = contents.loopback.is_null() ? "not run" : contents.loopback["result"].get<std::string>();
    session.emit({{"file", options.output},
                  {"machine", contents.machine},
                  {"cards", contents.cards["cards"].size()},
                  {"loopback", result}},
                 reportText);
    // The page is written either way; the code tells a script what the
    // loopback found, as 'sonvane loopback' does.
    return result == "FAIL" ? ExitCode::TestFailed : ExitCode::Ok;
}

}  // namespace

void addReportCommand(CLI::App& app, CommandRunner& chosen) {
    auto options = std::make_shared<ReportOptions>();
    options->loopback.stream.seconds = 1.0;
    CLI::App* command = app.add_subcommand(
        "report", "Write the hardware report: one HTML file with the cards, their connector maps and the loopback test");
    command->add_option("-o,--output", options->output, "The HTML file to write")->capture_default_str();
    command->add_flag("--no-loopback", options->noLoopback, "Leave the loopback test out");
    addLoopbackOptions(*command, options->loopback);
    command->callback([&chosen, options] {
        chosen = [options](Session& session) { return runReport(session, *options); };
    });
}

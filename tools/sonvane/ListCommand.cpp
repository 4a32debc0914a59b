// sonvane list: the flat device list, both directions, numbered as every
// other command numbers endpoints.
#include "Console.h"
#include "Names.h"
#include "Session.h"
#include "Text.h"

#include <libSonvane/sonvaneflat.h>

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace {

using TextLength = unsigned int (*)(bool, unsigned int);
using TextCopy = bool (*)(bool, unsigned int, void*);

// The flat functions write exactly the reported length and no terminator.
std::string flatText(TextLength length, TextCopy copy, bool render, unsigned int index) {
    std::wstring text(length(render, index), L'\0');
    if (!text.empty() && !copy(render, index, &text[0])) {
        return std::string();
    }
    return utf8(text);
}

// Ends the flat functions' session however the command ends.
class FlatSession {
public:
    FlatSession() : m_started(initialize()) {}
    ~FlatSession() { tearDown(); }
    bool started() const { return m_started; }

private:
    bool m_started;
};

// Every command names an endpoint "Speakers (Realtek High Definition Audio)":
// the device description with the adapter's name. The flat functions hand
// out the two parts, crosswise to their names, and those are kept under the
// names of what they hold.
std::string endpointName(std::string const& deviceDesc, std::string const& adapterName) {
    if (!deviceDesc.empty() && !adapterName.empty()) {
        return deviceDesc + " (" + adapterName + ")";
    }
    return deviceDesc + adapterName;
}

nlohmann::json readFlatList() {
    FlatSession flat;
    if (!flat.started()) {
        throw deviceError(libraryLog::explain("the flat device list cannot start"));
    }
    nlohmann::json endpoints = nlohmann::json::array();
    unsigned int number = 0;
    for (bool render : {true, false}) {
        unsigned int const count = numDevices(render);
        for (unsigned int i = 0; i < count; ++i) {
            unsigned int const type = getDeviceType(render, i);
            std::string const deviceDesc = flatText(getDeviceNameLength, getDeviceName, render, i);
            std::string const adapterName = flatText(getDeviceDescriptionLength, getDeviceDescription, render, i);
            std::string const id = flatText(getDeviceIdLength, getDeviceId, render, i);
            std::string const name = endpointName(deviceDesc, adapterName);
            endpoints.push_back({
                {"index", number++},
                {"flow", render ? "render" : "capture"},
                {"state", stateName(getDeviceState(render, i))},
                {"type", flatTypeName(type)},
                {"name", name.empty() ? id : name},
                {"deviceDesc", deviceDesc},
                {"adapterName", adapterName},
                {"id", id},
            });
        }
    }
    return {{"endpoints", endpoints}};
}

std::string listText(nlohmann::json const& data) {
    TextTable table({"#", "FLOW", "STATE", "TYPE", "NAME", "DESCRIPTION", "ID"});
    for (auto const& endpoint : data["endpoints"]) {
        table.addRow({std::to_string(endpoint["index"].get<unsigned int>()), endpoint["flow"], endpoint["state"],
                      endpoint["type"], endpoint["deviceDesc"], endpoint["adapterName"], endpoint["id"]});
    }
    if (data["endpoints"].empty()) {
        return "No audio endpoints.\n";
    }
    return table.render();
}

}  // namespace

void addListCommand(CLI::App& app, CommandRunner& chosen) {
    CLI::App* command = app.add_subcommand("list", "List every audio endpoint through the flat device functions");
    command->callback([&chosen] {
        chosen = [](Session& session) {
            session.emit(readFlatList(), listText);
            return ExitCode::Ok;
        };
    });
}

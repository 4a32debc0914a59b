// sonvane cards: the machine's sound cards as the library assembles them.
#include "Console.h"
#include "Hardware.h"
#include "Session.h"
#include "Text.h"

#include <CLI/CLI.hpp>

#include <string>

namespace {

std::string yesNo(nlohmann::json const& value) {
    if (value.is_null()) {
        return "-";
    }
    return value.get<bool>() ? "yes" : "no";
}

std::string numbers(nlohmann::json const& list) {
    std::string text;
    for (auto const& number : list) {
        text += (text.empty() ? "" : ", ") + std::to_string(number.get<unsigned int>());
    }
    return text;
}

std::string volumeText(nlohmann::json const& volume) {
    if (volume.is_null()) {
        return "-";
    }
    std::string text = fixed(volume["masterDb"].get<double>(), 2) + " dB";
    if (volume.contains("masterPercent")) {
        text = std::to_string(volume["masterPercent"].get<unsigned int>()) + "% " + text;
    }
    if (!volume["muted"].is_null() && volume["muted"].get<bool>()) {
        text += " muted";
    }
    return text;
}

std::string endpointsText(nlohmann::json const& card) {
    TextTable table({"#", "FLOW", "STATE", "NODE TYPE", "WAVE", "VOLUME", "NAME"});
    for (auto const& endpoint : card["endpoints"]) {
        std::string name = endpoint["name"].get<std::string>();
        if (endpoint["default"].get<bool>()) {
            name += "  (default)";
        }
        table.addRow({std::to_string(endpoint["index"].get<unsigned int>()), endpoint["flow"], endpoint["state"],
                      endpoint["nodeType"].get<std::string>().empty() ? "-" : endpoint["nodeType"].get<std::string>(),
                      endpoint["waveId"].is_null() ? "-" : std::to_string(endpoint["waveId"].get<unsigned int>()),
                      volumeText(endpoint["volume"]), name});
    }
    return table.render("    ");
}

std::string kindsText(nlohmann::json const& byKind) {
    static std::pair<char const*, char const*> const words[] = {
        {"speaker", "speakers"},      {"headphonesAndSpeakers", "headphones, then speakers"},
        {"hdmiOut", "HDMI out"},      {"displayPortOut", "DisplayPort out"},
        {"spdifOut", "S/PDIF out"},   {"microphone", "microphones"},
        {"lineIn", "line in"},        {"spdifIn", "S/PDIF in"},
    };
    std::string text;
    for (auto const& word : words) {
        if (!byKind[word.first].empty()) {
            text += "    " + std::string(word.second) + ": " + numbers(byKind[word.first]) + "\n";
        }
    }
    return text.empty() ? "    none recognised\n" : text;
}

std::string jacksText(nlohmann::json const& card) {
    std::string text;
    for (auto const& endpoint : card["endpoints"]) {
        for (auto const& jack : endpoint["jacks"]) {
            text += "    " + std::to_string(endpoint["index"].get<unsigned int>()) + ": " +
                    jack["connection"].get<std::string>() + ", " + jack["location"].get<std::string>() + ", colour " +
                    jack["color"].get<std::string>() + (jack["connected"].get<bool>() ? ", plugged in" : ", empty") +
                    "\n";
        }
    }
    return text;
}

std::string microphonesText(nlohmann::json const& card) {
    std::string text;
    for (auto const& endpoint : card["endpoints"]) {
        if (!endpoint.contains("microphone")) {
            continue;
        }
        nlohmann::json const& kind = endpoint["microphone"];
        text += "    " + std::to_string(endpoint["index"].get<unsigned int>()) + ": internal " +
                yesNo(kind["internal"]) + ", integrated " + yesNo(kind["integrated"]) + ", external analog jack " +
                yesNo(kind["externalAnalogJack"]) + ", USB " + yesNo(kind["usb"]) + ", virtual " +
                yesNo(kind["virtual"]) + "\n";
    }
    return text;
}

std::string connectorMapText(nlohmann::json const& map) {
    nlohmann::json const& connectors = map["connectors"];
    nlohmann::json const& devices = map["devices"];
    auto const label = [&](size_t index) {
        nlohmann::json const& connector = connectors[index];
        return "\"" + connector["name"].get<std::string>() + "\" of " +
               devices[connector["device"].get<size_t>()]["name"].get<std::string>();
    };
    std::string text;
    for (auto const& link : map["links"]) {
        char const* const joint = link["kind"] == "cable" ? " ==cable== " : " --path-- ";
        text += "    " + label(link["from"].get<size_t>()) + joint + label(link["to"].get<size_t>()) + "\n";
    }
    return text;
}

std::string controlsText(nlohmann::json const& controls) {
    std::string text;
    for (auto const& control : controls) {
        std::string levels;
        for (auto const& channel : control["channels"]) {
            levels += (levels.empty() ? "" : " / ") + fixed(channel["db"].get<double>(), 2);
        }
        text += "    endpoint " + std::to_string(control["endpoint"].get<unsigned int>()) + " at connector \"" +
                control["connector"].get<std::string>() + "\": " + (levels.empty() ? "no channels" : levels + " dB");
        if (control.contains("range")) {
            text += " (range " + fixed(control["range"]["minDb"].get<double>(), 2) + " to " +
                    fixed(control["range"]["maxDb"].get<double>(), 2) + " dB)";
        }
        text += control["muted"].is_null() ? ", no mute" : std::string(", muted ") + yesNo(control["muted"]);
        text += "\n";
    }
    return text;
}

std::string selectorText(nlohmann::json const& selector) {
    if (selector["selectedPart"].is_null()) {
        return "selection unknown";
    }
    std::string const part = "part " + std::to_string(selector["selectedPart"].get<unsigned int>());
    if (!selector.contains("selected")) {
        return "selects " + part;
    }
    std::string inputs;
    for (auto const& input : selector["inputs"]) {
        inputs += (inputs.empty() ? "" : ", ") + input.get<std::string>();
    }
    return "\"" + selector["selector"].get<std::string>() + "\" selects \"" + selector["selected"].get<std::string>() +
           "\" (" + part + ") of " + inputs;
}

std::string section(std::string const& title, std::string const& body) {
    return body.empty() ? std::string() : "  " + title + "\n" + body;
}

std::string cardsText(nlohmann::json const& data) {
    if (data["cards"].empty()) {
        return "No sound cards.\n";
    }
    std::string text;
    for (auto const& card : data["cards"]) {
        std::string const id = card["id"].get<std::string>();
        text += "Card " + std::to_string(card["number"].get<unsigned int>()) + ": " +
                (id.empty() ? "(no device instance path)" : id) + "\n";
        text += section("Endpoints", endpointsText(card));
        text += section("By kind", kindsText(card["byKind"]));
        text += section("Microphones", microphonesText(card));
        text += section("Jacks", jacksText(card));
        std::string internal;
        for (auto const& device : card["internalDevices"]) {
            internal += "    " + device["name"].get<std::string>() + "\n";
            if (device["name"] != device["id"]) {
                internal += "      " + device["id"].get<std::string>() + "\n";
            }
        }
        text += section("Devices behind the endpoints", internal);
        text += section("Connector map", connectorMapText(card["connectorMap"]));
        text += section("Hardware volume controls", controlsText(card["hardwareControls"]));
        std::string selectors;
        for (auto const& selector : card["inputSelectors"]) {
            selectors += "    " + selectorText(selector) + "\n";
        }
        text += section("Input selectors", selectors);
        text += "\n";
    }
    text += std::string("External microphones may be tested: ") +
            (data["externalMicTesting"].get<bool>() ? "yes" : "no") + " (setting AllowExternalMicTesting.value)\n";
    return text;
}

}  // namespace

void addCardsCommand(CLI::App& app, CommandRunner& chosen) {
    CLI::App* command = app.add_subcommand(
        "cards", "Show the sound cards: endpoints by kind, jacks, wave numbers, microphones, connector map, "
                 "hardware volume controls and input selectors");
    command->callback([&chosen] {
        chosen = [](Session& session) {
            EndpointList const endpoints = EndpointList::read();
            session.emit(describeCards(endpoints), cardsText);
            return ExitCode::Ok;
        };
    });
}

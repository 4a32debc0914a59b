#include "Report.h"

#include "Svg.h"
#include "Text.h"

#include <string>

namespace {

char const* const kStyle = R"(
body { font: 14px/1.45 "DejaVu Sans", "Segoe UI", Arial, sans-serif; color: #1d2330; margin: 0; background: #f4f6f9; }
header { background: #1f3a5f; color: #fff; padding: 18px 32px; }
header h1 { margin: 0 0 4px; font-size: 24px; }
header p { margin: 0; opacity: .85; }
main { padding: 8px 32px 32px; max-width: 1240px; }
section { background: #fff; border: 1px solid #d8dde6; border-radius: 8px; padding: 8px 20px 16px; margin: 18px 0; }
h2 { font-size: 19px; margin: 12px 0 6px; } h3 { font-size: 15px; margin: 16px 0 6px; color: #33415c; }
table { border-collapse: collapse; margin: 4px 0 8px; }
th, td { text-align: left; padding: 3px 10px; border-bottom: 1px solid #e6e9ef; vertical-align: top; }
th { background: #eef1f6; font-weight: 600; }
.id, .path { font-family: "DejaVu Sans Mono", Consolas, monospace; font-size: 12px; color: #56627a; }
.badge { display: inline-block; padding: 2px 10px; border-radius: 10px; font-weight: 700; color: #fff; }
.pass { background: #2e7d32; } .fail { background: #c62828; } .none { background: #78849e; }
.empty, .note { color: #56627a; font-style: italic; }
.facts span { margin-right: 24px; }
svg { display: block; margin: 6px 0 10px; max-width: 100%; height: auto; }
svg text { font-family: "DejaVu Sans", Arial, sans-serif; }
.endpoint-box { fill: #e3edf9; stroke: #3f6fb0; stroke-width: 1.5; }
.adapter-box { fill: #f3eee2; stroke: #a07a2c; stroke-width: 1.5; }
.box-title { font-size: 12px; font-weight: 700; fill: #1d2330; } .box-kind { font-size: 10px; fill: #56627a; }
.connector-row { fill: #fff; stroke: #9aa5b8; } .connector-label { font-size: 11px; fill: #1d2330; }
.cable { fill: none; stroke: #1f3a5f; stroke-width: 2; }
.signal-path { fill: none; stroke: #c0622a; stroke-width: 1.6; stroke-dasharray: 5 3; }
.plot-area { fill: #fbfcfe; stroke: #9aa5b8; } .grid { stroke: #e2e6ee; stroke-width: 1; }
.tick { font-size: 10px; fill: #56627a; } .caption { font-size: 12px; fill: #33415c; }
.envelope { stroke: #3f6fb0; stroke-width: 1; fill: none; } .trace { fill: none; stroke: #3f6fb0; stroke-width: 1.4; }
.tone-span { fill: #2e7d32; opacity: .08; }
.marker { stroke: #c62828; stroke-dasharray: 4 3; } .marker-label { font-size: 11px; fill: #c62828; }
)";

std::string cell(std::string const& text) {
    return "<td>" + escapeXml(text) + "</td>";
}

std::string headerRow(std::initializer_list<char const*> names) {
    std::string row = "<tr>";
    for (char const* name : names) {
        row += "<th>" + std::string(name) + "</th>";
    }
    return row + "</tr>\n";
}

std::string orDash(nlohmann::json const& value) {
    if (value.is_null()) {
        return "-";
    }
    if (value.is_string()) {
        return value.get<std::string>().empty() ? "-" : value.get<std::string>();
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    return value.dump();
}

std::string volumeWords(nlohmann::json const& volume) {
    if (volume.is_null()) {
        return "-";
    }
    std::string text = fixed(volume["masterDb"].get<double>(), 1) + " dB";
    if (volume.contains("masterPercent")) {
        text = std::to_string(volume["masterPercent"].get<unsigned int>()) + "%, " + text;
    }
    if (!volume["muted"].is_null() && volume["muted"].get<bool>()) {
        text += ", muted";
    }
    return text;
}

std::string endpointsTable(nlohmann::json const& endpoints) {
    std::string html = "<table>\n" + headerRow({"#", "Name", "Flow", "State", "Node type", "Wave", "Volume", "Jacks"});
    for (auto const& endpoint : endpoints) {
        std::string jacks;
        for (auto const& jack : endpoint["jacks"]) {
            jacks += (jacks.empty() ? "" : "; ") + jack["connection"].get<std::string>() + ", " +
                     jack["location"].get<std::string>();
        }
        std::string name = escapeXml(endpoint["name"].get<std::string>());
        if (endpoint["default"].get<bool>()) {
            name += " <em>(default)</em>";
        }
        html += "<tr>" + cell(std::to_string(endpoint["index"].get<unsigned int>())) + "<td>" + name +
                "<br><span class=\"id\">" + escapeXml(endpoint["id"].get<std::string>()) + "</span></td>" +
                cell(endpoint["flow"]) + cell(endpoint["state"]) + cell(orDash(endpoint["nodeType"])) +
                cell(orDash(endpoint["waveId"])) + cell(volumeWords(endpoint["volume"])) + cell(jacks.empty() ? "-" : jacks) +
                "</tr>\n";
    }
    return html + "</table>\n";
}

std::string microphonesTable(nlohmann::json const& endpoints) {
    std::string rows;
    for (auto const& endpoint : endpoints) {
        if (!endpoint.contains("microphone")) {
            continue;
        }
        nlohmann::json const& kind = endpoint["microphone"];
        rows += "<tr>" + cell(std::to_string(endpoint["index"].get<unsigned int>())) + cell(orDash(kind["internal"])) +
                cell(orDash(kind["integrated"])) + cell(orDash(kind["externalAnalogJack"])) + cell(orDash(kind["usb"])) +
                cell(orDash(kind["virtual"])) + "</tr>\n";
    }
    if (rows.empty()) {
        return std::string();
    }
    return "<h3>Microphones</h3>\n<table>\n" +
           headerRow({"#", "Internal", "Integrated", "External analog jack", "USB", "Virtual"}) + rows + "</table>\n";
}

std::string kindsList(nlohmann::json const& byKind) {
    static std::pair<char const*, char const*> const words[] = {
        {"speaker", "Speakers"},       {"headphonesAndSpeakers", "Headphones, then speakers"},
        {"hdmiOut", "HDMI out"},       {"displayPortOut", "DisplayPort out"},
        {"spdifOut", "S/PDIF out"},    {"microphone", "Microphones"},
        {"lineIn", "Line in"},         {"spdifIn", "S/PDIF in"},
    };
    std::string items;
    for (auto const& word : words) {
        std::string numbers;
        for (auto const& number : byKind[word.first]) {
            numbers += (numbers.empty() ? "" : ", ") + std::to_string(number.get<unsigned int>());
        }
        if (!numbers.empty()) {
            items += "<li>" + std::string(word.second) + ": " + numbers + "</li>";
        }
    }
    return items.empty() ? "<p class=\"empty\">No endpoint of a kind the card knows.</p>\n" : "<ul>" + items + "</ul>\n";
}

std::string controlsTable(nlohmann::json const& controls) {
    if (controls.empty()) {
        return "<p class=\"empty\">None found.</p>\n";
    }
    std::string html = "<table>\n" + headerRow({"Endpoint", "At connector", "Channels (dB)", "Range (dB)", "Muted"});
    for (auto const& control : controls) {
        std::string levels;
        for (auto const& channel : control["channels"]) {
            levels += (levels.empty() ? "" : " / ") + fixed(channel["db"].get<double>(), 2);
        }
        std::string const range = control.contains("range") ? fixed(control["range"]["minDb"].get<double>(), 2) + " to " +
                                                                   fixed(control["range"]["maxDb"].get<double>(), 2)
                                                             : "-";
        html += "<tr>" + cell(std::to_string(control["endpoint"].get<unsigned int>())) +
                cell(control["connector"].get<std::string>() +
                     (control["connectorType"].get<std::string>().empty()
                          ? std::string()
                          : " (" + control["connectorType"].get<std::string>() + ")")) +
                cell(levels.empty() ? "-" : levels) + cell(range) +
                cell(control["muted"].is_null() ? "no mute node" : orDash(control["muted"])) + "</tr>\n";
    }
    return html + "</table>\n";
}

std::string cardName(nlohmann::json const& card) {
    std::string const id = card["id"].get<std::string>();
    return id.empty() ? "(no device instance path)" : id;
}

std::string cardSection(nlohmann::json const& card) {
    std::string const number = std::to_string(card["number"].get<unsigned int>());
    std::string html = "<section class=\"card\" id=\"card-" + number + "\">\n<h2>Card " + number + "</h2>\n";
    html += "<p class=\"path\">" + escapeXml(cardName(card)) + "</p>\n";
    html += "<h3>Endpoints</h3>\n" + endpointsTable(card["endpoints"]);
    html += "<h3>Endpoints by kind</h3>\n" + kindsList(card["byKind"]);
    html += microphonesTable(card["endpoints"]);
    std::string devices;
    for (auto const& device : card["internalDevices"]) {
        devices += "<li>" + escapeXml(device["name"].get<std::string>()) + "<br><span class=\"id\">" +
                   escapeXml(device["id"].get<std::string>()) + "</span></li>";
    }
    html += "<h3>Devices behind the endpoints</h3>\n" +
            (devices.empty() ? "<p class=\"empty\">None.</p>\n" : "<ul>" + devices + "</ul>\n");
    html += "<h3>Connector map</h3>\n" + connectorMapSvg(card["connectorMap"]);
    html += "<h3>Hardware volume and mute controls</h3>\n" + controlsTable(card["hardwareControls"]);
    std::string selectors;
    for (auto const& selector : card["inputSelectors"]) {
        if (selector.contains("selected")) {
            std::string inputs;
            for (auto const& input : selector["inputs"]) {
                inputs += (inputs.empty() ? "" : ", ") + input.get<std::string>();
            }
            selectors += "<li>" + escapeXml(selector["selector"].get<std::string>()) + " selects <b>" +
                         escapeXml(selector["selected"].get<std::string>()) + "</b> (part " +
                         orDash(selector["selectedPart"]) + ") of " + escapeXml(inputs) + "</li>";
        } else {
            selectors += "<li>selects part " + orDash(selector["selectedPart"]) + "</li>";
        }
    }
    html += "<h3>Input selectors</h3>\n" + (selectors.empty() ? "<p class=\"empty\">None.</p>\n" : "<ul>" + selectors + "</ul>\n");
    return html + "</section>\n";
}

std::string badge(std::string const& result) {
    char const* const kind = result == "PASS" ? "pass" : (result == "FAIL" ? "fail" : "none");
    return "<span class=\"badge " + std::string(kind) + "\">" + escapeXml(result) + "</span>";
}

std::string loopbackSection(ReportContents const& contents) {
    std::string html = "<section id=\"loopback\">\n<h2>Loopback test</h2>\n";
    if (contents.loopback.is_null()) {
        return html + "<p class=\"note\">" + escapeXml(contents.loopbackFailure) + "</p>\n</section>\n";
    }
    nlohmann::json const& data = contents.loopback;
    html += "<p>" + badge(data["result"]) + " A tone of " + fixed(data["sent"]["frequency"].get<double>(), 1) +
            " Hz at " + fixed(data["sent"]["levelDb"].get<double>(), 1) + " dBFS for " +
            fixed(data["sent"]["seconds"].get<double>(), 1) + " s, played on <b>" +
            escapeXml(data["render"]["name"].get<std::string>()) + "</b> and recorded on <b>" +
            escapeXml(data["capture"]["name"].get<std::string>()) + "</b> (" + escapeXml(data["stack"]) + " stack, " +
            escapeXml(data["format"]) + ").</p>\n";
    html += "<table>\n" + headerRow({"Check", "Measured", "Limit", "Result"});
    for (auto const& one : data["checks"]) {
        html += "<tr>" + cell(one["name"]) + cell(one["measured"]) + cell(one["limit"]) + "<td>" +
                badge(one["passed"].get<bool>() ? "PASS" : "FAIL") + "</td></tr>\n";
    }
    html += "</table>\n";
    if (contents.recording && !contents.recording->recording.empty()) {
        LoopbackResult const& result = *contents.recording;
        double const rate = result.settings.stream.format.rate;
        html += "<h3>Waveform</h3>\n" +
                waveformSvg(result.recording, rate, result.tone.span, result.settings.tone.frequency);
        html += "<h3>Spectrum</h3>\n" +
                spectrumSvg(result.recording, rate, result.tone.span, result.settings.tone.frequency);
    }
    return html + "</section>\n";
}

std::string summary(ReportContents const& contents) {
    unsigned int endpoints = 0;
    unsigned int active = 0;
    for (auto const& card : contents.cards["cards"]) {
        for (auto const& endpoint : card["endpoints"]) {
            ++endpoints;
            active += endpoint["state"] == "active" ? 1 : 0;
        }
    }
    std::string const result = contents.loopback.is_null() ? "NOT RUN" : contents.loopback["result"].get<std::string>();
    return "<section id=\"summary\">\n<h2>Summary</h2>\n<p class=\"facts\"><span>Cards: <b>" +
           std::to_string(contents.cards["cards"].size()) + "</b></span><span>Endpoints: <b>" +
           std::to_string(endpoints) + "</b> (" + std::to_string(active) +
           " active)</span><span>External microphones may be tested: <b>" +
           (contents.cards["externalMicTesting"].get<bool>() ? "yes" : "no") + "</b></span><span>Loopback: " +
           badge(result) + "</span></p>\n</section>\n";
}

}  // namespace

std::string reportHtml(ReportContents const& contents) {
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>Audio hardware report: " +
                       escapeXml(contents.machine) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n";
    html += "<header><h1>Audio hardware report</h1><p>" + escapeXml(contents.machine) + " &middot; made by sonvane on " +
            escapeXml(contents.made) + "</p></header>\n<main>\n";
    html += summary(contents);
    for (auto const& card : contents.cards["cards"]) {
        html += cardSection(card);
    }
    if (contents.cards["cards"].empty()) {
        html += "<section><p class=\"empty\">No sound cards.</p></section>\n";
    }
    html += loopbackSection(contents);
    return html + "</main>\n</body>\n</html>\n";
}

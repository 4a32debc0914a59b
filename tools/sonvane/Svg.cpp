#include "Svg.h"

#include "Text.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>
#include <vector>

std::string escapeXml(std::string const& text) {
    std::string escaped;
    for (char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

namespace {

std::string number(double value) {
    return fixed(value, 1);
}

// Long device and connector names are cut to what fits in a box.
std::string shortened(std::string const& text, size_t characters) {
    if (text.size() <= characters) {
        return text;
    }
    size_t cut = characters - 1;
    while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) {
        --cut;
    }
    return text.substr(0, cut) + "\xE2\x80\xA6";
}

std::string svgOpen(char const* kind, double width, double height, std::string const& title) {
    return "<svg class=\"" + std::string(kind) + "\" xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(width) +
           "\" height=\"" + number(height) + "\" viewBox=\"0 0 " + number(width) + " " + number(height) +
           "\" role=\"img\"><title>" + escapeXml(title) + "</title>\n";
}

std::string textAt(double x, double y, std::string const& text, char const* style) {
    return "<text x=\"" + number(x) + "\" y=\"" + number(y) + "\" class=\"" + style + "\">" + escapeXml(text) +
           "</text>\n";
}

// --- Connector map ----------------------------------------------------------

double const kBoxWidth = 290.0;
double const kColumnGap = 120.0;
double const kTitleHeight = 40.0;
double const kRowHeight = 26.0;
double const kBoxGap = 24.0;
double const kMargin = 20.0;
// Rows leave a lane on the box's left for the signal paths inside it.
double const kRowLeft = 26.0;
double const kRowRight = 10.0;

struct Placed {
    double x = 0.0;
    double y = 0.0;
    double height = 0.0;
};

struct MapLayout {
    std::vector<Placed> devices;
    std::vector<double> rowY;      // centre of each connector's row
    double width = 0.0;
    double height = 0.0;
};

MapLayout layOut(nlohmann::json const& map) {
    nlohmann::json const& devices = map["devices"];
    nlohmann::json const& connectors = map["connectors"];
    MapLayout layout;
    layout.devices.resize(devices.size());
    layout.rowY.resize(connectors.size());
    std::vector<std::vector<size_t>> rowsOf(devices.size());
    for (size_t i = 0; i < connectors.size(); ++i) {
        rowsOf[connectors[i]["device"].get<size_t>()].push_back(i);
    }
    std::map<unsigned int, double> columnBottom;
    for (size_t d = 0; d < devices.size(); ++d) {
        unsigned int const column = devices[d]["depth"].get<unsigned int>();
        double& bottom = columnBottom.emplace(column, kMargin).first->second;
        Placed& placed = layout.devices[d];
        placed.x = kMargin + column * (kBoxWidth + kColumnGap);
        placed.y = bottom;
        placed.height = kTitleHeight + std::max<size_t>(rowsOf[d].size(), 1) * kRowHeight + 8.0;
        for (size_t r = 0; r < rowsOf[d].size(); ++r) {
            layout.rowY[rowsOf[d][r]] = placed.y + kTitleHeight + r * kRowHeight + kRowHeight / 2.0;
        }
        bottom += placed.height + kBoxGap;
        layout.width = std::max(layout.width, placed.x + kBoxWidth + kMargin + 40.0);
        layout.height = std::max(layout.height, bottom + kMargin);
    }
    return layout;
}

// "Speakers (Realtek High Definition Audio)" shows as "Speakers" over
// "Realtek High Definition Audio", "Realtek ..., etopo" as "Realtek ..."
// over "etopo": names this long do not fit one line of a box.
std::pair<std::string, std::string> titleLines(std::string const& name) {
    size_t const bracket = name.find(" (");
    if (bracket != std::string::npos && name.back() == ')') {
        return {name.substr(0, bracket), name.substr(bracket + 2, name.size() - bracket - 3)};
    }
    size_t const comma = name.rfind(", ");
    if (comma != std::string::npos) {
        return {name.substr(0, comma), name.substr(comma + 2)};
    }
    return {name, std::string()};
}

std::string deviceBox(nlohmann::json const& device, Placed const& placed) {
    bool const endpoint = device["endpoint"].get<bool>();
    std::string svg = "<g class=\"device\"><rect x=\"" + number(placed.x) + "\" y=\"" + number(placed.y) +
                      "\" width=\"" + number(kBoxWidth) + "\" height=\"" + number(placed.height) +
                      "\" rx=\"8\" class=\"" + (endpoint ? "endpoint-box" : "adapter-box") + "\"/>\n";
    std::pair<std::string, std::string> const title = titleLines(device["name"].get<std::string>());
    std::string detail = endpoint ? "endpoint" : "device behind the endpoints";
    if (!title.second.empty()) {
        detail = title.second + " \xC2\xB7 " + detail;
    }
    svg += textAt(placed.x + 10, placed.y + 16, shortened(title.first, 40), "box-title");
    svg += textAt(placed.x + 10, placed.y + 31, shortened(detail, 52), "box-kind");
    return svg + "</g>\n";
}

std::string connectorRow(nlohmann::json const& connector, Placed const& box, double centre) {
    std::string svg = "<g class=\"connector\"><rect x=\"" + number(box.x + kRowLeft) + "\" y=\"" +
                      number(centre - 10) + "\" width=\"" + number(kBoxWidth - kRowLeft - kRowRight) +
                      "\" height=\"20\" rx=\"4\" class=\"connector-row\"/>\n";
    std::string const label = shortened(connector["name"].get<std::string>(), 22) + "  " +
                              connector["type"].get<std::string>() + ", " + connector["flow"].get<std::string>();
    svg += textAt(box.x + kRowLeft + 6, centre + 4, label, "connector-label");
    return svg + "</g>\n";
}

// A cable runs from the right end of a row in the left box to the left end
// of a row in the right box; within one column it bows out to the right.
std::string cablePath(Placed const& from, double fromY, Placed const& to, double toY) {
    if (from.x > to.x) {
        return cablePath(to, toY, from, fromY);
    }
    double const startX = from.x + kBoxWidth - kRowRight;
    std::ostringstream d;
    if (from.x == to.x) {
        double const bow = startX + kRowRight + 50;
        d << "M" << number(startX) << "," << number(fromY) << " C" << number(bow) << "," << number(fromY) << " "
          << number(bow) << "," << number(toY) << " " << number(startX) << "," << number(toY);
    } else {
        double const endX = to.x + kRowLeft;
        double const middle = (startX + endX) / 2.0;
        d << "M" << number(startX) << "," << number(fromY) << " C" << number(middle) << "," << number(fromY) << " "
          << number(middle) << "," << number(toY) << " " << number(endX) << "," << number(toY);
    }
    return "<path class=\"cable\" d=\"" + d.str() + "\"/>\n";
}

// A signal path joins two rows of one box through the lane on its left.
std::string signalPath(Placed const& box, double fromY, double toY) {
    double const rowX = box.x + kRowLeft;
    double const bow = std::min(kRowLeft - 4.0, 8.0 + std::fabs(toY - fromY) / 8.0);
    std::ostringstream d;
    d << "M" << number(rowX) << "," << number(fromY) << " C" << number(rowX - bow) << "," << number(fromY) << " "
      << number(rowX - bow) << "," << number(toY) << " " << number(rowX) << "," << number(toY);
    return "<path class=\"signal-path\" d=\"" + d.str() + "\"/>\n";
}

// --- Plots ------------------------------------------------------------------

struct Axes {
    double left = 60.0;
    double top = 16.0;
    double width = 820.0;
    double height = 170.0;

    double right() const { return left + width; }
    double bottom() const { return top + height; }
};

std::string frame(Axes const& axes) {
    return "<rect class=\"plot-area\" x=\"" + number(axes.left) + "\" y=\"" + number(axes.top) + "\" width=\"" +
           number(axes.width) + "\" height=\"" + number(axes.height) + "\"/>\n";
}

std::string gridLine(double x1, double y1, double x2, double y2) {
    return "<line class=\"grid\" x1=\"" + number(x1) + "\" y1=\"" + number(y1) + "\" x2=\"" + number(x2) +
           "\" y2=\"" + number(y2) + "\"/>\n";
}

std::string linearTicksX(Axes const& axes, double from, double to, double step, std::string const& unit, int decimals) {
    std::string svg;
    for (double value = std::ceil(from / step) * step; value <= to + step * 1e-6; value += step) {
        double const x = axes.left + (value - from) / (to - from) * axes.width;
        svg += gridLine(x, axes.top, x, axes.bottom());
        svg += textAt(x - 12, axes.bottom() + 14, fixed(value, decimals) + unit, "tick");
    }
    return svg;
}

std::string linearTicksY(Axes const& axes, double from, double to, double step, int decimals) {
    std::string svg;
    for (double value = std::ceil(from / step) * step; value <= to + step * 1e-6; value += step) {
        double const y = axes.bottom() - (value - from) / (to - from) * axes.height;
        svg += gridLine(axes.left, y, axes.right(), y);
        svg += textAt(axes.left - 44, y + 4, fixed(value, decimals), "tick");
    }
    return svg;
}

double niceStep(double range, int wanted) {
    double const raw = range / wanted;
    double const power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 5.0, 10.0}) {
        if (raw <= factor * power) {
            return factor * power;
        }
    }
    return 10.0 * power;
}

// The envelope of the whole recording: one vertical stroke from the lowest
// to the highest sample of each pixel column.
std::string envelope(pcmanalysis::Signal const& recording, Axes const& axes) {
    std::ostringstream d;
    size_t const columns = static_cast<size_t>(axes.width);
    for (size_t column = 0; column < columns && !recording.empty(); ++column) {
        size_t const begin = column * recording.size() / columns;
        size_t const end = std::max(begin + 1, (column + 1) * recording.size() / columns);
        auto const range = std::minmax_element(recording.begin() + begin, recording.begin() + std::min(end, recording.size()));
        double const x = axes.left + column + 0.5;
        double const high = axes.top + (1.0 - *range.second) / 2.0 * axes.height;
        double const low = axes.top + (1.0 - *range.first) / 2.0 * axes.height;
        d << "M" << number(x) << "," << number(high) << "V" << number(std::max(low, high + 0.5));
    }
    return "<path class=\"envelope\" d=\"" + d.str() + "\"/>\n";
}

std::string samples(pcmanalysis::Signal const& recording, size_t first, size_t count, Axes const& axes) {
    std::ostringstream points;
    for (size_t i = 0; i < count && first + i < recording.size(); ++i) {
        double const x = axes.left + static_cast<double>(i) / std::max<size_t>(count - 1, 1) * axes.width;
        double const y = axes.top + (1.0 - recording[first + i]) / 2.0 * axes.height;
        points << number(x) << "," << number(y) << " ";
    }
    return "<polyline class=\"trace\" points=\"" + points.str() + "\"/>\n";
}

pcmanalysis::Signal middleOf(pcmanalysis::Signal const& recording, pcmanalysis::Span tone, size_t length) {
    size_t const middle = (tone.begin + tone.end) / 2;
    size_t const begin = middle > length / 2 ? middle - length / 2 : 0;
    return pcmanalysis::slice(recording, pcmanalysis::Span{begin, std::min(begin + length, tone.end)});
}

}  // namespace

std::string connectorMapSvg(nlohmann::json const& map) {
    if (map["devices"].empty()) {
        return "<p class=\"empty\">No connector map: the endpoints of this card have no device topology.</p>\n";
    }
    MapLayout const layout = layOut(map);
    std::string svg = svgOpen("connector-map", layout.width, layout.height + 24, "Connector map");
    for (size_t d = 0; d < map["devices"].size(); ++d) {
        svg += deviceBox(map["devices"][d], layout.devices[d]);
    }
    nlohmann::json const& connectors = map["connectors"];
    for (size_t c = 0; c < connectors.size(); ++c) {
        svg += connectorRow(connectors[c], layout.devices[connectors[c]["device"].get<size_t>()], layout.rowY[c]);
    }
    for (auto const& link : map["links"]) {
        size_t const from = link["from"].get<size_t>();
        size_t const to = link["to"].get<size_t>();
        Placed const& fromBox = layout.devices[connectors[from]["device"].get<size_t>()];
        Placed const& toBox = layout.devices[connectors[to]["device"].get<size_t>()];
        svg += link["kind"] == "cable" ? cablePath(fromBox, layout.rowY[from], toBox, layout.rowY[to])
                                       : signalPath(fromBox, layout.rowY[from], layout.rowY[to]);
    }
    double const legendY = layout.height + 8;
    svg += "<path class=\"cable\" d=\"M20," + number(legendY) + " H60\"/>" + textAt(66, legendY + 4, "cable between devices", "tick");
    svg += "<path class=\"signal-path\" d=\"M230," + number(legendY) + " H270\"/>" +
           textAt(276, legendY + 4, "signal path inside a device", "tick");
    return svg + "</svg>\n";
}

std::string waveformSvg(pcmanalysis::Signal const& recording, double sampleRate, pcmanalysis::Span tone,
                        double toneFrequency) {
    Axes overview;
    Axes detail;
    detail.top = overview.bottom() + 46.0;
    double const seconds = recording.size() / sampleRate;
    std::string svg = svgOpen("waveform", overview.right() + 20, detail.bottom() + 34, "Waveform of the recording");
    svg += frame(overview) + linearTicksX(overview, 0.0, seconds, niceStep(seconds, 8), " s", 1) +
           linearTicksY(overview, -1.0, 1.0, 0.5, 1) + envelope(recording, overview);
    if (!tone.empty()) {
        double const x1 = overview.left + tone.begin / sampleRate / seconds * overview.width;
        double const x2 = overview.left + tone.end / sampleRate / seconds * overview.width;
        svg += "<rect class=\"tone-span\" x=\"" + number(x1) + "\" y=\"" + number(overview.top) + "\" width=\"" +
               number(x2 - x1) + "\" height=\"" + number(overview.height) + "\"/>\n";
    }
    svg += textAt(overview.left, overview.bottom() + 30, "Whole recording (shaded: the tone as heard)", "caption");

    // Five periods of the tone, or 5 ms where there is no tone.
    double const window = toneFrequency > 0.0 ? 5.0 / toneFrequency : 0.005;
    size_t const count = std::max<size_t>(static_cast<size_t>(window * sampleRate), 2);
    pcmanalysis::Signal const middle =
        tone.empty() ? pcmanalysis::slice(recording, {0, count}) : middleOf(recording, tone, count);
    svg += frame(detail) + linearTicksX(detail, 0.0, window * 1000.0, niceStep(window * 1000.0, 10), " ms", 1) +
           linearTicksY(detail, -1.0, 1.0, 0.5, 1) + samples(middle, 0, middle.size(), detail);
    svg += textAt(detail.left, detail.bottom() + 30, "Middle of the tone, sample by sample", "caption");
    return svg + "</svg>\n";
}

std::string spectrumSvg(pcmanalysis::Signal const& recording, double sampleRate, pcmanalysis::Span tone,
                        double toneFrequency) {
    Axes axes;
    axes.height = 220.0;
    double const low = 20.0;
    double const high = sampleRate / 2.0;
    double const floorDb = -140.0;
    // A quarter of a second of the tone is plenty for a picture and keeps
    // the hundreds of single-frequency measurements quick.
    size_t const length = std::min<size_t>(static_cast<size_t>(sampleRate / 4), tone.empty() ? recording.size() : tone.size());
    pcmanalysis::Signal const part = tone.empty() ? pcmanalysis::slice(recording, {0, length}) : middleOf(recording, tone, length);
    // A Hann-windowed sine of peak amplitude A over N samples measures
    // (A * N / 4) squared; that makes the scale dB of full scale.
    double const fullScale = 20.0 * std::log10(std::max<double>(part.size(), 1.0) / 4.0);
    auto const xOf = [&](double frequency) {
        return axes.left + std::log10(frequency / low) / std::log10(high / low) * axes.width;
    };
    auto const yOf = [&](double db) {
        return axes.top + (0.0 - std::max(db, floorDb)) / (0.0 - floorDb) * axes.height;
    };

    std::string svg = svgOpen("spectrum", axes.right() + 20, axes.bottom() + 40, "Spectrum of the recording");
    svg += frame(axes) + linearTicksY(axes, floorDb, 0.0, 20.0, 0);
    for (double frequency : {20.0, 50.0, 100.0, 200.0, 500.0, 1000.0, 2000.0, 5000.0, 10000.0, 20000.0}) {
        if (frequency <= high) {
            double const x = xOf(frequency);
            svg += gridLine(x, axes.top, x, axes.bottom());
            svg += textAt(x - 12, axes.bottom() + 14,
                          frequency >= 1000.0 ? fixed(frequency / 1000.0, 0) + "k" : fixed(frequency, 0), "tick");
        }
    }
    std::ostringstream points;
    int const steps = 600;
    for (int step = 0; step <= steps && !part.empty(); ++step) {
        double const frequency = low * std::pow(high / low, static_cast<double>(step) / steps);
        double const power = pcmanalysis::goertzelPower(part, frequency, sampleRate);
        double const db = power > 0.0 ? 10.0 * std::log10(power) - fullScale : floorDb;
        points << number(xOf(frequency)) << "," << number(yOf(db)) << " ";
    }
    svg += "<polyline class=\"trace\" points=\"" + points.str() + "\"/>\n";
    if (toneFrequency > low && toneFrequency < high) {
        double const x = xOf(toneFrequency);
        svg += "<line class=\"marker\" x1=\"" + number(x) + "\" y1=\"" + number(axes.top) + "\" x2=\"" + number(x) +
               "\" y2=\"" + number(axes.bottom()) + "\"/>\n" +
               textAt(x + 4, axes.top + 12, fixed(toneFrequency, 0) + " Hz sent", "marker-label");
    }
    svg += textAt(axes.left, axes.bottom() + 32, "Level in dB of full scale by frequency in Hz", "caption");
    return svg + "</svg>\n";
}

// The tool's own parts, in process: the PCM it makes and reads back, the
// files it writes, and the pictures of the report measured against what
// they claim to show.
#include "AtomicFile.h"
#include "Pcm.h"
#include "Svg.h"
#include "Text.h"
#include "ToolError.h"
#include "ToolProcess.h"

#include <analysis/SignalAnalysis.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Box {
    double x = 0;
    double y = 0;
    double width = 0;
};

// libstdc++'s regular expressions recurse per character, which long path
// data would overflow; the pictures are taken apart by hand.
std::vector<std::string> tags(std::string const& svg, std::string const& element, std::string const& kind) {
    std::vector<std::string> found;
    for (size_t at = svg.find("<" + element + " "); at != std::string::npos; at = svg.find("<" + element + " ", at + 1)) {
        std::string const tag = svg.substr(at, svg.find('>', at) - at + 1);
        if (tag.find("class=\"" + kind + "\"") != std::string::npos) {
            found.push_back(tag);
        }
    }
    return found;
}

std::string text(std::string const& tag, std::string const& name) {
    size_t const start = tag.find(" " + name + "=\"");
    if (start == std::string::npos) {
        return std::string();
    }
    size_t const value = start + name.size() + 3;
    return tag.substr(value, tag.find('"', value) - value);
}

double number(std::string const& tag, std::string const& name) {
    return std::strtod(text(tag, name).c_str(), nullptr);
}

std::vector<double> numbersIn(std::string const& data) {
    std::vector<double> values;
    char const* cursor = data.c_str();
    while (*cursor) {
        if ((*cursor >= '0' && *cursor <= '9') || *cursor == '-') {
            char* end = nullptr;
            values.push_back(std::strtod(cursor, &end));
            cursor = end;
        } else {
            ++cursor;
        }
    }
    return values;
}

std::vector<Box> rects(std::string const& svg, std::string const& kind) {
    std::vector<Box> found;
    for (std::string const& tag : tags(svg, "rect", kind)) {
        found.push_back({number(tag, "x"), number(tag, "y"), number(tag, "width")});
    }
    return found;
}

std::vector<double> path(std::string const& svg, std::string const& kind, size_t which) {
    return numbersIn(text(tags(svg, "path", kind).at(which), "d"));
}

std::vector<std::pair<double, double>> tracePoints(std::string const& svg, size_t which) {
    std::vector<double> const values = numbersIn(text(tags(svg, "polyline", "trace").at(which), "points"));
    std::vector<std::pair<double, double>> points;
    for (size_t i = 0; i + 1 < values.size(); i += 2) {
        points.emplace_back(values[i], values[i + 1]);
    }
    return points;
}

nlohmann::json twoDeviceMap() {
    return {
        {"devices",
         {{{"id", "e"}, {"name", "Speakers (Codec)"}, {"endpoint", true}, {"depth", 0}},
          {{"id", "a"}, {"name", "Codec & <Co>, etopo"}, {"endpoint", false}, {"depth", 1}}}},
        {"connectors",
         {{{"id", "c0"}, {"name", "Speakers"}, {"type", "software I/O"}, {"flow", "in"}, {"nodeType", ""}, {"device", 0}},
          {{"id", "c1"}, {"name", "Render Input"}, {"type", "internal"}, {"flow", "in"}, {"nodeType", ""}, {"device", 1}},
          {{"id", "c2"}, {"name", "Speaker"}, {"type", "internal"}, {"flow", "out"}, {"nodeType", ""}, {"device", 1}}}},
        {"links", {{{"from", 0}, {"to", 2}, {"kind", "cable"}}, {{"from", 1}, {"to", 2}, {"kind", "path"}}}},
    };
}

pcmanalysis::Signal toneWithSilence(double rate) {
    pcmanalysis::Signal signal(static_cast<size_t>(rate), 0.0);
    for (size_t i = static_cast<size_t>(0.2 * rate); i < static_cast<size_t>(0.7 * rate); ++i) {
        signal[i] = 0.5 * std::sin(2.0 * 3.14159265358979 * 1000.0 * i / rate);
    }
    return signal;
}

}  // namespace

TEST(ToolParts, AToneKeepsItsFrequencyAndLevelInEverySampleWidth) {
    for (unsigned int bits : {16u, 24u, 32u}) {
        SCOPED_TRACE(bits);
        PcmFormat format;
        format.bits = bits;
        format.channels = 3;
        PcmBlock block(format, 24000);
        block.fillTone(1000.0, -6.0);
        pcmanalysis::Signal const first = block.channel(0, block.frames());
        pcmanalysis::ToneReport const tone = pcmanalysis::analyseTone(first, format.rate, 1000.0, 0.01, 5.0);
        ASSERT_TRUE(tone.found);
        EXPECT_NEAR(1000.0, tone.frequency, 0.01);
        EXPECT_NEAR(-6.0, sinePeakDb(tone.levelDb), 0.02);
        EXPECT_EQ(first, block.channel(2, block.frames())) << "every channel carries the same tone";
        // The spare frame behind the sound is the silence a wrapping read finds.
        for (size_t byte = block.bytes(); byte < block.bytes() + format.frameBytes(); ++byte) {
            EXPECT_EQ(0, block.data()[byte]);
        }
    }
}

TEST(ToolParts, AFileAppearsWholeOnCommitAndNotAtAllOtherwise) {
    ScratchFolder folder;
    PcmFormat format;
    format.bits = 24;
    format.channels = 1;
    PcmBlock block(format, 100);
    block.fillTone(1000.0, -6.0);
    {
        AtomicFile file(folder.file("tone.wav"));
        EXPECT_EQ(1u, folder.names().size()) << "the temporary file stands beside the target";
        writeWav(file, block, 60);
    }
    std::string const bytes = folder.read("tone.wav");
    ASSERT_EQ(44u + 60 * 3, bytes.size());
    EXPECT_EQ(24, static_cast<unsigned char>(bytes[34]));
    EXPECT_EQ(0, bytes.compare(44, 180, std::string(reinterpret_cast<char const*>(block.data()), 180)));

    { AtomicFile abandoned(folder.file("abandoned.txt")); abandoned.write("half"); }
    EXPECT_EQ(std::vector<std::string>{"tone.wav"}, folder.names());

    try {
        AtomicFile unwritable(folder.file("no folder\\x.wav"));
        ADD_FAILURE() << "a file in a missing folder was made";
    } catch (ToolError const& failure) {
        EXPECT_EQ(ExitCode::File, failure.code());
    }
}

TEST(ToolParts, TablesLineUpNamesWithAccents) {
    TextTable table({"#", "NAME", "STATE"});
    table.addRow({"0", "Haut-parleurs (Réaltek)", "active"});
    table.addRow({"10", "Mic", "unplugged"});
    std::string const text = table.render();
    std::vector<std::string> lines;
    for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        lines.push_back(text.substr(start, end - start));
    }
    ASSERT_EQ(3u, lines.size());
    auto const column = [](std::string const& line, std::string const& word) {
        size_t characters = 0;
        for (char c : line.substr(0, line.find(word))) {
            characters += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
        }
        return characters;
    };
    EXPECT_EQ(column(lines[0], "STATE"), column(lines[1], "active"));
    EXPECT_EQ(column(lines[0], "STATE"), column(lines[2], "unplugged"));
}

TEST(ToolParts, ConnectorMapDrawsCablesBetweenRowsAndPathsInsideABox) {
    std::string const svg = connectorMapSvg(twoDeviceMap());
    EXPECT_NE(std::string::npos, svg.find("<svg class=\"connector-map\""));
    EXPECT_NE(std::string::npos, svg.find("Codec &amp; &lt;Co&gt;")) << "names are escaped";
    EXPECT_EQ(std::string::npos, svg.find("<Co>"));

    std::vector<Box> boxes = rects(svg, "endpoint-box");
    boxes.push_back(rects(svg, "adapter-box").at(0));
    std::vector<Box> const rows = rects(svg, "connector-row");
    ASSERT_EQ(2u, boxes.size());
    ASSERT_EQ(3u, rows.size());
    EXPECT_GT(boxes[1].x, boxes[0].x + boxes[0].width) << "the device behind the endpoint stands to its right";

    std::vector<double> const cable = path(svg, "cable", 0);   // the legend's sample comes last
    EXPECT_DOUBLE_EQ(rows[0].x + rows[0].width, cable.front()) << "leaves the endpoint's row at its right end";
    EXPECT_DOUBLE_EQ(rows[0].y + 10, cable[1]);
    EXPECT_DOUBLE_EQ(rows[2].x, cable[cable.size() - 2]) << "enters the codec's row at its left end";
    EXPECT_DOUBLE_EQ(rows[2].y + 10, cable.back());

    std::vector<double> const inside = path(svg, "signal-path", 0);
    EXPECT_DOUBLE_EQ(rows[1].x, inside.front());
    EXPECT_DOUBLE_EQ(rows[1].y + 10, inside[1]);
    EXPECT_DOUBLE_EQ(rows[2].y + 10, inside.back());
    EXPECT_GT(inside[2], boxes[1].x) << "the path bows within the box, not into the cables";

    EXPECT_EQ(std::string::npos, connectorMapSvg({{"devices", nlohmann::json::array()}}).find("<svg"));
}

TEST(ToolParts, PlotsShowTheToneWhereAndHowLoudItIs) {
    double const rate = 48000.0;
    pcmanalysis::Signal const recording = toneWithSilence(rate);
    pcmanalysis::Span const tone = pcmanalysis::activeSpan(recording, 0.05);

    std::string const spectrum = spectrumSvg(recording, rate, tone, 1000.0);
    Box const area = rects(spectrum, "plot-area").at(0);
    std::vector<std::pair<double, double>> const curve = tracePoints(spectrum, 0);
    auto const peak = std::min_element(curve.begin(), curve.end(),
                                       [](auto const& a, auto const& b) { return a.second < b.second; });
    double const marker = number(tags(spectrum, "line", "marker").at(0), "x1");
    EXPECT_NEAR(marker, peak->first, 3.0) << "the highest point sits at the tone's frequency";
    double const minus6Db = area.y + 6.0 / 140.0 * 220.0;
    EXPECT_NEAR(minus6Db, peak->second, 2.0) << "a half-scale tone peaks at -6 dB of full scale";

    std::string const waveform = waveformSvg(recording, rate, tone, 1000.0);
    Box const overview = rects(waveform, "plot-area").at(0);
    Box const shaded = rects(waveform, "tone-span").at(0);
    EXPECT_NEAR(overview.x + 0.2 * overview.width, shaded.x, 1.0);
    EXPECT_NEAR(0.5 * overview.width, shaded.width, 1.0);

    std::vector<std::pair<double, double>> const detail = tracePoints(waveform, 0);
    double const middle = rects(waveform, "plot-area").at(1).y + 170.0 / 2.0;
    int upwardCrossings = 0;
    for (size_t i = 1; i < detail.size(); ++i) {
        upwardCrossings += detail[i - 1].second > middle && detail[i].second <= middle ? 1 : 0;
    }
    EXPECT_NEAR(5, upwardCrossings, 1) << "five periods of the tone, sample by sample";
}

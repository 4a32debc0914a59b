// The tool on the shipped laptop machine of the simulator: a codec with a
// topology, jacks, hardware volume nodes and an input selector, none of
// which the real stack under Wine has.
#include "ToolProcess.h"

#include <ShippedMachines.h>

#include <analysis/SignalAnalysis.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string const kSpeakers = shippedlaptop::narrowId(shippedlaptop::kSpeakers);
std::string const kHeadphones = shippedlaptop::narrowId(shippedlaptop::kHeadphones);
std::string const kJackMicrophone = shippedlaptop::narrowId(shippedlaptop::kMicrophone);
std::string const kMicrophoneArray = shippedlaptop::narrowId(shippedlaptop::kMicrophoneArray);

ToolRun onLaptop(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--machine", machine("laptop.json")});
    return runTool(arguments);
}

nlohmann::json cardWith(nlohmann::json const& cards, std::string const& pathPart) {
    for (auto const& card : cards["cards"]) {
        if (card["id"].get<std::string>().find(pathPart) != std::string::npos) {
            return card;
        }
    }
    ADD_FAILURE() << "no card with " << pathPart << " in " << cards.dump(1);
    return nlohmann::json();
}

nlohmann::json endpointWith(nlohmann::json const& card, std::string const& id) {
    for (auto const& endpoint : card["endpoints"]) {
        if (endpoint["id"] == id) {
            return endpoint;
        }
    }
    ADD_FAILURE() << "no endpoint " << id << " on the card";
    return nlohmann::json();
}

// The id of the endpoint with this number in the laptop's list.
std::string endpointWithIndex(nlohmann::json const& number) {
    nlohmann::json const endpoints = onLaptop({"--json", "list"}).json()["endpoints"];
    return endpoints[number.get<size_t>()]["id"].get<std::string>();
}

unsigned int countOf(nlohmann::json const& links, char const* kind) {
    unsigned int count = 0;
    for (auto const& link : links) {
        count += link["kind"] == kind ? 1 : 0;
    }
    return count;
}

}  // namespace

TEST(CliOnTheLaptop, CardsShowKindsJacksTheConnectorMapAndTheHardwareControls) {
    ToolRun const run = onLaptop({"--json", "cards"});
    ASSERT_EQ(0, run.exitCode) << run.describe();
    nlohmann::json const cards = run.json();
    ASSERT_EQ(2u, cards["cards"].size());
    nlohmann::json const codec = cardWith(cards, "VEN_10EC");

    nlohmann::json const speakers = endpointWith(codec, kSpeakers);
    nlohmann::json const headphones = endpointWith(codec, kHeadphones);
    EXPECT_EQ("Speakers (Realtek High Definition Audio)", speakers["name"]);
    EXPECT_TRUE(speakers["default"].get<bool>());
    EXPECT_EQ("Speaker", speakers["nodeType"]);
    EXPECT_EQ(0, speakers["waveId"]);
    EXPECT_EQ(nlohmann::json::array({headphones["index"], speakers["index"]}), codec["byKind"]["headphonesAndSpeakers"]);
    ASSERT_EQ(1u, headphones["jacks"].size());
    EXPECT_EQ("3.5 mm", headphones["jacks"][0]["connection"]);
    EXPECT_EQ("#00FF00", headphones["jacks"][0]["color"]);

    // Four endpoint topologies, the codec's topology and its wave filter;
    // a cable from each active endpoint and two between the filters, each
    // drawn once though both of its ends report it; six signal paths inside.
    nlohmann::json const& map = codec["connectorMap"];
    EXPECT_EQ(6u, map["devices"].size()) << map.dump(1);
    EXPECT_EQ(5u, countOf(map["links"], "cable")) << map.dump(1);
    EXPECT_EQ(6u, countOf(map["links"], "path")) << map.dump(1);
    EXPECT_EQ(2u, codec["internalDevices"].size());

    bool speakerVolumeSeen = false;
    for (auto const& control : codec["hardwareControls"]) {
        if (control["endpoint"] == speakers["index"] && control["connector"] == "Speaker") {
            speakerVolumeSeen = true;
            EXPECT_DOUBLE_EQ(-46.5, control["range"]["minDb"].get<double>());
            EXPECT_FALSE(control["muted"].is_null()) << "the mute node beside the volume node was not found";
        }
    }
    EXPECT_TRUE(speakerVolumeSeen) << codec["hardwareControls"].dump(1);
    ASSERT_EQ(1u, codec["inputSelectors"].size());
    EXPECT_EQ("Internal Mic Array", codec["inputSelectors"][0]["selected"]);
    nlohmann::json const array = endpointWith(codec, kMicrophoneArray);
    EXPECT_TRUE(array["microphone"]["internal"].get<bool>());
    EXPECT_FALSE(array["microphone"]["externalAnalogJack"].get<bool>());

    ToolRun const text = onLaptop({"cards"});
    ASSERT_EQ(0, text.exitCode) << text.describe();
    EXPECT_NE(std::string::npos, text.out.find("==cable==")) << text.out;
    EXPECT_NE(std::string::npos, text.out.find("Hardware volume controls")) << text.out;
}

TEST(CliOnTheLaptop, VolumeAndMuteAreSetAndReadBack) {
    ToolRun const speakers = onLaptop({"--json", "volume", "get", "speakers"});
    ASSERT_EQ(0, speakers.exitCode) << speakers.describe();
    EXPECT_DOUBLE_EQ(-12.0, speakers.json()["volume"]["masterDb"].get<double>());
    EXPECT_DOUBLE_EQ(-65.25, speakers.json()["volume"]["range"]["minDb"].get<double>());

    ToolRun const decibels = onLaptop({"--json", "volume", "set", "-30dB", "Headphones"});
    ASSERT_EQ(0, decibels.exitCode) << decibels.describe();
    EXPECT_DOUBLE_EQ(-30.0, decibels.json()["volume"]["masterDb"].get<double>());

    ToolRun const percent = onLaptop({"--json", "volume", "set", "40%", "Headphones"});
    ASSERT_EQ(0, percent.exitCode) << percent.describe();
    EXPECT_EQ(40u, percent.json()["volume"]["masterPercent"].get<unsigned int>());

    ToolRun const channel = onLaptop({"--json", "volume", "set", "-20dB", "Speakers", "--channel", "1"});
    ASSERT_EQ(0, channel.exitCode) << channel.describe();
    nlohmann::json const channels = channel.json()["volume"]["channels"];
    EXPECT_DOUBLE_EQ(-12.0, channels[0]["db"].get<double>());
    EXPECT_DOUBLE_EQ(-20.0, channels[1]["db"].get<double>());

    ToolRun const outside = onLaptop({"volume", "set", "-80dB", "Headphones"});
    EXPECT_EQ(3, outside.exitCode) << "the device cannot take it\n" << outside.describe();
    EXPECT_NE(std::string::npos, outside.err.find("-65.25 to 0.00 dB")) << outside.describe();

    ToolRun const muted = onLaptop({"--json", "mute", "set", "on", "Speakers"});
    ASSERT_EQ(0, muted.exitCode) << muted.describe();
    EXPECT_TRUE(muted.json()["muted"].get<bool>());
}

TEST(CliOnTheLaptop, WatchPrintsScriptedEventsAsTheyArrive) {
    ScratchFolder folder;
    folder.write("events.json", R"([
        {"do": "fireStateChanged", "id": ")" + kJackMicrophone + R"(", "state": "active"},
        {"do": "fireDefaultChanged", "id": ")" + kHeadphones + R"(", "flow": "render", "role": "console"},
        {"do": "flushEvents"}
    ])");
    ToolRun const run = onLaptop({"--json", "watch", "--seconds", "0.5", "--script", folder.file("events.json")});
    ASSERT_EQ(0, run.exitCode) << run.describe();

    std::istringstream lines(run.out);
    std::string line;
    std::vector<nlohmann::json> events;
    while (std::getline(lines, line)) {
        events.push_back(nlohmann::json::parse(line));
    }
    ASSERT_FALSE(events.empty());
    EXPECT_EQ("end", events.back()["event"]);
    EXPECT_EQ(events.size() - 1, events.back()["events"].get<size_t>());
    auto const seen = [&](char const* source, char const* what, std::string const& id) {
        for (auto const& event : events) {
            if (event["source"] == source && event["event"] == what && (id.empty() || event["id"] == id)) {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(seen("card", "endpoint state changed", "")) << run.out;
    EXPECT_TRUE(seen("endpoint", "state changed", kJackMicrophone)) << run.out;
    EXPECT_TRUE(seen("endpoint", "became the default", kHeadphones)) << run.out;
    for (auto const& event : events) {
        if (event["source"] == "endpoint" && event["id"] == kJackMicrophone) {
            EXPECT_EQ("Microphone (Realtek High Definition Audio)", event.value("name", "")) << "as the text line names it";
        }
    }
}

// The microphone array in the lid hears the speakers in the base, so the
// example machine passes its own loopback test: what was played comes back
// at its level and length.
TEST(CliOnTheLaptop, LoopbackPassesFromTheSpeakersToTheMicrophoneArray) {
    ToolRun const run = onLaptop({"--json", "loopback"});
    EXPECT_EQ(0, run.exitCode) << run.describe();
    nlohmann::json const result = run.json();
    EXPECT_EQ("PASS", result["result"]);
    EXPECT_EQ(kSpeakers, endpointWithIndex(result["render"]["endpoint"]));
    EXPECT_EQ(kMicrophoneArray, endpointWithIndex(result["capture"]["endpoint"]));
    EXPECT_GE(result["checks"].size(), 6u) << result["checks"].dump(1);
    for (auto const& check : result["checks"]) {
        EXPECT_TRUE(check["passed"].get<bool>()) << check.dump();
    }
    EXPECT_NEAR(result["sent"]["levelDb"].get<double>(), result["heard"]["levelDb"].get<double>(), 0.5);
    EXPECT_NEAR(result["sent"]["seconds"].get<double>(), result["heard"]["seconds"].get<double>(), 0.05);
}

// With a microphone array that hears a steady 1 kHz tone at a quarter of
// full scale, whichever stack records it, the file holds that tone.
TEST(CliOnTheLaptop, RecordingsHoldWhatTheMicrophoneHears) {
    ScratchFolder folder;
    std::ifstream shipped(machine("laptop.json"), std::ios::binary);
    nlohmann::json laptop = nlohmann::json::parse(shipped);
    for (auto& endpoint : laptop["endpoints"]) {
        if (endpoint["id"] == kMicrophoneArray) {
            endpoint["stream"]["captureSource"] = {{"kind", "tone"}, {"frequency", 1000}, {"amplitude", 0.25}};
        }
    }
    folder.write("tone-laptop.json", laptop.dump(1));
    for (char const* stack : {"exclusive", "legacy"}) {
        SCOPED_TRACE(stack);
        std::string const name = std::string(stack) + ".wav";
        ToolRun const run = runTool({"--machine", folder.file("tone-laptop.json"), "record", folder.file(name),
                                     "microphone", "--stack", stack, "--seconds", "0.5"});
        ASSERT_EQ(0, run.exitCode) << run.describe();
        EXPECT_NE(std::string::npos, run.out.find("Microphone Array")) << "a name part picks the active endpoint";

        std::string const bytes = folder.read(name);
        ASSERT_EQ(44u + 24000 * 4, bytes.size());
        std::vector<std::int16_t> samples((bytes.size() - 44) / 2);
        std::memcpy(samples.data(), bytes.data() + 44, bytes.size() - 44);
        for (unsigned int channel = 0; channel < 2; ++channel) {
            pcmanalysis::Signal const heard = pcmanalysis::channelOf16(samples.data(), 24000, 2, channel);
            pcmanalysis::ToneReport const tone = pcmanalysis::analyseTone(heard, 48000, 1000.0, 0.01, 5.0);
            EXPECT_NEAR(1000.0, tone.frequency, 0.5);
            EXPECT_NEAR(-12.0, tone.levelDb + 3.01, 0.5);
            EXPECT_LE(tone.longestGapMs, 1.0);
        }
    }

    // The shipped array hears only the speakers: with nothing playing every
    // sample is zero, which has no peak in decibels.
    ToolRun const silent = onLaptop({"--json", "record", folder.file("silent.wav"), "--seconds", "0.2"});
    ASSERT_EQ(0, silent.exitCode) << silent.describe();
    EXPECT_TRUE(silent.json()["peakDb"].is_null()) << silent.out;
    ToolRun const silentText = onLaptop({"record", folder.file("silent.wav"), "--seconds", "0.2"});
    EXPECT_NE(std::string::npos, silentText.out.find("every sample zero")) << silentText.describe();
}

TEST(CliOnTheLaptop, EveryReadingCommandAnswersInJsonAndEveryCommandExplainsItself) {
    for (std::vector<std::string> const& command :
         {std::vector<std::string>{"list"}, {"cards"}, {"volume", "get", "3"}, {"mute", "get", "headphones"}}) {
        std::vector<std::string> arguments = {"--json"};
        arguments.insert(arguments.end(), command.begin(), command.end());
        ToolRun const run = onLaptop(arguments);
        EXPECT_EQ(0, run.exitCode) << run.describe();
        EXPECT_FALSE(run.json().is_discarded()) << command[0] << " printed no JSON:\n" << run.out;
    }

    // One endpoint is one "index" and one "name" in every command's JSON, so
    // that a script can join the results of two commands.
    nlohmann::json const listed = onLaptop({"--json", "list"}).json()["endpoints"][1];
    nlohmann::json const read = onLaptop({"--json", "volume", "get", "1"}).json();
    nlohmann::json const carded = endpointWith(cardWith(onLaptop({"--json", "cards"}).json(), "VEN_10EC"), kHeadphones);
    EXPECT_EQ("Headphones (Realtek High Definition Audio)", listed["name"]);
    EXPECT_EQ(listed["name"], read["name"]);
    EXPECT_EQ(listed["name"], carded["name"]);
    EXPECT_EQ(listed["index"], read["endpoint"]);
    EXPECT_EQ(listed["index"], carded["index"]);
    EXPECT_EQ("Headphones", listed["deviceDesc"]) << "the flat functions' texts by what they hold";
    EXPECT_EQ(listed["deviceDesc"], carded["deviceDesc"]);
    EXPECT_EQ(listed["adapterName"], carded["adapterName"]);

    ToolRun const help = runTool({"--help"});
    EXPECT_EQ(0, help.exitCode) << help.describe();
    for (char const* word : {"list", "cards", "volume", "mute", "play", "record", "loopback", "watch", "report",
                             "Exit codes", "--machine", "--json"}) {
        EXPECT_NE(std::string::npos, help.out.find(word)) << word << " is not in the help";
    }
    ToolRun const loopbackHelp = runTool({"loopback", "--help"});
    EXPECT_EQ(0, loopbackHelp.exitCode);
    EXPECT_NE(std::string::npos, loopbackHelp.out.find("--max-gap")) << loopbackHelp.describe();
}

// The array hears the speakers only: a loopback from the headphones fails,
// and a report built on it is written all the same but ends as the
// loopback would, so that a script learns of the failure.
TEST(CliOnTheLaptop, AReportWithAFailedLoopbackIsWrittenAndEndsWithTheLoopbacksCode) {
    ScratchFolder folder;
    ToolRun const run = onLaptop({"--json", "report", "-o", folder.file("report.html"), "--render", "headphones",
                                  "--seconds", "0.3"});
    EXPECT_EQ(1, run.exitCode) << run.describe();
    EXPECT_EQ("FAIL", run.json()["loopback"]) << run.describe();
    EXPECT_EQ((std::vector<std::string>{"report.html"}), folder.names());
}

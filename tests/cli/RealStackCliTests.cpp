// The tool on the machine's own audio stack: Wine's endpoints over the
// PulseAudio null sink, whose monitor hears what is played.
#include "ToolProcess.h"

#include <SinkKeeper.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

nlohmann::json listed() {
    ToolRun const run = runTool({"--json", "list"});
    EXPECT_EQ(0, run.exitCode) << run.describe();
    return run.json()["endpoints"];
}

nlohmann::json firstActive(nlohmann::json const& endpoints, std::string const& flow) {
    for (auto const& endpoint : endpoints) {
        if (endpoint["flow"] == flow && endpoint["state"] == "active") {
            return endpoint;
        }
    }
    ADD_FAILURE() << "no active " << flow << " endpoint in " << endpoints.dump();
    return nlohmann::json();
}

std::string lowerCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::uint32_t field32(std::string const& bytes, size_t at) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, 4);
    return value;
}

std::uint16_t field16(std::string const& bytes, size_t at) {
    std::uint16_t value = 0;
    std::memcpy(&value, bytes.data() + at, 2);
    return value;
}

// A plain PCM WAV file whose header agrees with its length.
void expectWholeWav(std::string const& bytes, unsigned int rate, unsigned int channels, unsigned int frames) {
    ASSERT_GE(bytes.size(), 44u);
    EXPECT_EQ("RIFF", bytes.substr(0, 4));
    EXPECT_EQ("WAVEfmt ", bytes.substr(8, 8));
    EXPECT_EQ(bytes.size() - 8, field32(bytes, 4));
    EXPECT_EQ(1, field16(bytes, 20));
    EXPECT_EQ(channels, field16(bytes, 22));
    EXPECT_EQ(rate, field32(bytes, 24));
    EXPECT_EQ("data", bytes.substr(36, 4));
    EXPECT_EQ(frames * channels * 2, field32(bytes, 40));
    EXPECT_EQ(bytes.size() - 44, field32(bytes, 40));
}

size_t occurrences(std::string const& text, std::string const& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

}  // namespace

TEST(CliOnTheRealStack, ListsEveryEndpointAsTextAndAsJsonNumberedRenderFirst) {
    nlohmann::json const endpoints = listed();
    ASSERT_GE(endpoints.size(), 2u);
    bool captureSeen = false;
    for (size_t i = 0; i < endpoints.size(); ++i) {
        EXPECT_EQ(i, endpoints[i]["index"].get<size_t>());
        captureSeen = captureSeen || endpoints[i]["flow"] == "capture";
        EXPECT_TRUE(endpoints[i]["flow"] == "capture" || !captureSeen) << "a render endpoint after a capture one";
    }
    firstActive(endpoints, "render");
    firstActive(endpoints, "capture");

    ToolRun const text = runTool({"list"});
    ASSERT_EQ(0, text.exitCode) << text.describe();
    for (auto const& endpoint : endpoints) {
        EXPECT_NE(std::string::npos, text.out.find(endpoint["id"].get<std::string>())) << text.out;
    }
}

TEST(CliOnTheRealStack, ChoosesAnEndpointByNumberIdOrPartOfItsName) {
    nlohmann::json const render = firstActive(listed(), "render");
    unsigned int const index = render["index"].get<unsigned int>();
    std::string const name = render["name"].get<std::string>();
    for (std::string const& choice :
         {std::to_string(index), lowerCase(render["id"].get<std::string>()), lowerCase(name.substr(1))}) {
        ToolRun const run = runTool({"--json", "volume", "get", choice});
        ASSERT_EQ(0, run.exitCode) << choice << "\n" << run.describe();
        EXPECT_EQ(index, run.json()["endpoint"].get<unsigned int>()) << choice;
    }

    ToolRun const unknown = runTool({"volume", "get", "no endpoint is called this"});
    EXPECT_EQ(3, unknown.exitCode) << unknown.describe();
    ASSERT_EQ(1u, unknown.errorLines().size()) << unknown.describe();
    EXPECT_NE(std::string::npos, unknown.err.find("no endpoint is called this"));

    nlohmann::json const capture = firstActive(listed(), "capture");
    ToolRun const wrongFlow = runTool({"play", capture["index"].dump(), "--seconds", "0.1"});
    EXPECT_EQ(3, wrongFlow.exitCode) << wrongFlow.describe();
    EXPECT_NE(std::string::npos, wrongFlow.err.find("is a capture endpoint")) << wrongFlow.describe();
}

TEST(CliOnTheRealStack, RecordsWholeWaveFilesOnBothStacksAndNothingWhereItCannotWrite) {
    ScratchFolder folder;
    for (char const* stack : {"exclusive", "legacy"}) {
        std::string const name = std::string(stack) + ".wav";
        ToolRun const run = runTool({"record", folder.file(name), "--stack", stack, "--seconds", "0.25"});
        ASSERT_EQ(0, run.exitCode) << run.describe();
        expectWholeWav(folder.read(name), 48000, 2, 12000);
    }
    EXPECT_EQ(2u, folder.names().size()) << "temporary files were left behind";

    ToolRun const unwritable = runTool({"record", folder.file("no such folder\\take.wav"), "--seconds", "0.1"});
    EXPECT_EQ(4, unwritable.exitCode) << unwritable.describe();
    ASSERT_EQ(1u, unwritable.errorLines().size()) << unwritable.describe();
    EXPECT_NE(std::string::npos, unwritable.err.find("take.wav"));
    EXPECT_EQ(2u, folder.names().size());
}

TEST(CliOnTheRealStack, LoopbackHearsTheToneOnBothStacks) {
    // The null sink must run, or its monitor loses the tone; the keeper also
    // gives this test its turn among the programs that record the loopback.
    SinkKeeper const keeper;
    ASSERT_TRUE(keeper.isPlaying());

    ToolRun const exclusive = runTool({"--json", "loopback"});
    ASSERT_EQ(0, exclusive.exitCode) << exclusive.describe();
    nlohmann::json const result = exclusive.json();
    EXPECT_EQ("PASS", result["result"]);
    EXPECT_NEAR(1000.0, result["heard"]["frequency"].get<double>(), 1.0);
    EXPECT_NEAR(-6.0, result["heard"]["levelDb"].get<double>(), 1.0);
    EXPECT_EQ(6u, result["checks"].size());

    ToolRun const legacy = runTool({"loopback", "--stack", "legacy", "--frequency", "440", "--level", "-12"});
    EXPECT_EQ(0, legacy.exitCode) << legacy.describe();
    EXPECT_EQ(0u, occurrences(legacy.out, "FAIL")) << legacy.describe();
    ASSERT_GE(legacy.out.size(), 5u);
    EXPECT_EQ("PASS\n", legacy.out.substr(legacy.out.size() - 5)) << legacy.describe();
}

TEST(CliOnTheRealStack, PlaysOnceOrLoopsUntilItsTimeIsUp) {
    ToolRun const once = runTool({"--json", "play", "--stack", "legacy", "--seconds", "0.2"});
    ASSERT_EQ(0, once.exitCode) << once.describe();
    EXPECT_FALSE(once.json()["loop"].get<bool>());
    EXPECT_FALSE(once.json()["stopped"].get<bool>());

    ToolRun const looped = runTool({"--json", "play", "--stop-after", "0.4", "--seconds", "0.1"});
    ASSERT_EQ(0, looped.exitCode) << looped.describe();
    EXPECT_TRUE(looped.json()["loop"].get<bool>());
    EXPECT_GE(looped.json()["elapsedSeconds"].get<double>(), 0.4) << "a loop ended before its time";
}

// Mistakes of the user and refusals of the machine: one clear line on
// standard error each, an exit code a script can act on, nothing on
// standard output and no half-written file.
#include "ToolProcess.h"

#include <gtest/gtest.h>

#include <string>

namespace {

void expectOneLine(ToolRun const& run, int exitCode, std::string const& words) {
    EXPECT_EQ(exitCode, run.exitCode) << run.describe();
    ASSERT_EQ(1u, run.errorLines().size()) << run.describe();
    EXPECT_EQ(0u, run.errorLines()[0].find("sonvane: ")) << run.describe();
    EXPECT_NE(std::string::npos, run.err.find(words)) << run.describe();
    EXPECT_TRUE(run.out.empty()) << run.describe();
}

}  // namespace

TEST(CliBadInput, EachMistakeGetsOneClearLineAndItsExitCode) {
    expectOneLine(runTool({"frobnicate"}), 2, "unknown command 'frobnicate'");
    expectOneLine(runTool({"list", "--bogus"}), 2, "--bogus");
    expectOneLine(runTool({"volume", "set", "loud"}), 2, "cannot read the level \"loud\"");
    expectOneLine(runTool({"volume", "set", "-12"}), 2, "for decibels write -12dB");
    expectOneLine(runTool({"play", "--bits", "12"}), 2, "12-bit");
    expectOneLine(runTool({"watch", "--script", "events.json"}), 2, "--machine");
    // A command group without its word names the words, and a command's
    // mistake points at that command's help.
    expectOneLine(runTool({"volume"}), 2, "get or set");
    expectOneLine(runTool({"record"}), 2, "see 'sonvane record --help'");

    ScratchFolder folder;
    expectOneLine(runTool({"--machine", folder.file("absent.json"), "list"}), 4, "absent.json: there is no such file");
    expectOneLine(runTool({"--machine", folder.path(), "list"}), 4, "it is a folder");
    expectOneLine(runTool({"--machine", machine("laptop.json"), "watch", "--script", folder.file("absent.json")}), 4,
                  "event script");
    // A path written the Unix way (as under Wine) is a file, not an option:
    // the folder is missing, so it cannot be written.
    expectOneLine(runTool({"--machine", machine("laptop.json"), "record", "/no-such-folder/take.wav", "--seconds", "0.1"}),
                  4, "cannot write /no-such-folder/take.wav");
    folder.write("broken.json", R"({"name": "broken", "endpoints": [{"id": "x", "flow": "sideways"}]})");
    ToolRun const broken = runTool({"--machine", folder.file("broken.json"), "list"});
    expectOneLine(broken, 4, "broken.json");
    EXPECT_NE(std::string::npos, broken.err.find("/endpoints/0")) << "the place in the file is named\n" << broken.describe();

    expectOneLine(runTool({"--machine", machine("laptop.json"), "volume", "get", "Toaster"}), 3,
                  "no endpoint matches \"Toaster\"");
    expectOneLine(runTool({"--machine", machine("laptop.json"), "volume", "get", "Realtek"}), 3,
                  "matches several endpoints");
    // What the endpoint cannot take is its refusal, told with what it takes.
    expectOneLine(runTool({"--machine", machine("laptop.json"), "volume", "set", "40", "speak", "--channel", "2"}), 3,
                  "2 channels; there is no channel 2");
}

TEST(CliBadInput, AFormatTheDeviceRefusesEndsBeforeAnyFileAppears) {
    ScratchFolder folder;
    // The laptop's microphone array takes 16-bit stereo at 44.1 and 48 kHz
    // in exclusive mode, nothing else.
    ToolRun const record = runTool({"--machine", machine("laptop.json"), "record", folder.file("take.wav"),
                                    "Microphone Array", "--rate", "22050"});
    expectOneLine(record, 3, "22050 Hz");
    EXPECT_NE(std::string::npos, record.err.find("try its own format, --rate 48000 --bits 16 --channels 2"))
        << "the refusal tells the options the device takes\n" << record.describe();
    EXPECT_TRUE(folder.names().empty()) << "a file was left behind";

    expectOneLine(runTool({"--machine", machine("laptop.json"), "play", "Speakers", "--channels", "1"}), 3,
                  "refuses to play");
    // The laptop's combo-jack microphone is unplugged: no stream is tried.
    expectOneLine(runTool({"--machine", machine("laptop.json"), "record", folder.file("take.wav"), "4"}), 3,
                  "is unplugged; only an active endpoint can record");
    EXPECT_TRUE(folder.names().empty()) << "a file was left behind";
}

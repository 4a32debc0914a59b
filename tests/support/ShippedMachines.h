#pragma once
// The machines the simulator ships, as the tests find them, and the ids of
// the laptop, the one most tests run on. The ids mirror
// simulator/machines/laptop.json letter for letter: when an id changes there,
// change it here, and every area follows.
#include <cstdlib>
#include <string>

// The test runner points SONVANE_SIM_MACHINES at the shipped machines; a test
// program started by hand from the top of the source tree finds them there.
inline std::string shippedMachineFile(std::string const& name) {
    char const* folder = std::getenv("SONVANE_SIM_MACHINES");
    return std::string(folder ? folder : "simulator/machines") + "/" + name;
}

namespace shippedlaptop {

// Endpoints, by their friendly names.
inline constexpr wchar_t kSpeakers[] = L"{0.0.0.00000000}.{b3a4f7c2-5d1e-4a0b-9c3f-2e8d6a1b7c40}";
inline constexpr wchar_t kHeadphones[] = L"{0.0.0.00000000}.{4c8e2a91-73f0-4d5b-a6e2-9f1c0b3d8e51}";
// The HDMI output of the display audio.
inline constexpr wchar_t kDigitalOutput[] = L"{0.0.0.00000000}.{e17d5b3a-0c29-4f84-b1a6-7d3e9c2f0a62}";
inline constexpr wchar_t kMicrophoneArray[] = L"{0.0.1.00000000}.{9a2b6c4d-1e0f-4a73-8b5c-3d6e7f8091a3}";
// The combo jack's microphone, unplugged as shipped.
inline constexpr wchar_t kMicrophone[] = L"{0.0.1.00000000}.{2f5e8d1c-6b4a-4e39-9d7f-0a1b2c3d4e74}";

// The Realtek codec: its topology and wave devices and its device instance.
inline constexpr wchar_t kCodecTopology[] =
    L"{2}.\\\\?\\hdaudio#func_01&ven_10ec&dev_0269&subsys_17aa21f6&rev_1002#4&2a0c1e7a&0&0001#"
    L"{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\etopo";
inline constexpr wchar_t kCodecWave[] =
    L"{2}.\\\\?\\hdaudio#func_01&ven_10ec&dev_0269&subsys_17aa21f6&rev_1002#4&2a0c1e7a&0&0001#"
    L"{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\ewave";
inline constexpr wchar_t kCodecInstance[] =
    L"HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269&SUBSYS_17AA21F6&REV_1002\\4&2A0C1E7A&0&0001";

// The path property of each card's endpoints, which groups them into cards.
inline constexpr wchar_t kRealtekPath[] =
    L"{1}.HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269&SUBSYS_17AA21F6&REV_1002\\4&2A0C1E7A&0&0001";
inline constexpr wchar_t kIntelPath[] =
    L"{1}.HDAUDIO\\FUNC_01&VEN_8086&DEV_2806&SUBSYS_80860101&REV_1000\\4&2A0C1E7A&0&0301";

// An id as the command-line tool reads and prints it; the ids are plain
// ASCII, so each character carries over as it is.
inline std::string narrowId(wchar_t const* id) {
    std::string narrow;
    for (; *id != L'\0'; ++id) {
        narrow.push_back(static_cast<char>(*id));
    }
    return narrow;
}

}  // namespace shippedlaptop

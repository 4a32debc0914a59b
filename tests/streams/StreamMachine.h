#pragma once
// What the stream tests share: a simulated machine installed for the length
// of a test (a shipped one, an edited copy of one, or one built here), its
// endpoints as the machine hands them out, a client PCM buffer over samples
// of its own, and waits without a time limit for a stream to end.
#include <libSonvane/libSonvane.h>

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <LogCapture.h>
#include <ShippedMachines.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace streams {

// The laptop's endpoints.
using shippedlaptop::kHeadphones;
using shippedlaptop::kSpeakers;
inline constexpr auto& kMicArray = shippedlaptop::kMicrophoneArray;
// The virtual cable: what CABLE Input plays, CABLE Output records.
extern const wchar_t kCableInput[];
extern const wchar_t kCableOutput[];

// Endpoints of jackMachine(), each with a topology whose connectors lead to
// connectors of one codec adapter:
//  - kJackSpeakers: a connector to a part without jacks, one to a part with
//    two jacks (red, then green), one to a part with one jack (blue);
//  - kJackMicrophone: a connector to a part whose jack interface reports no
//    jack, then one to a part with one jack;
//  - kUnplugged: unplugged, its connectors lead nowhere;
//  - kBare: no topology.
extern const wchar_t kJackSpeakers[];
extern const wchar_t kJackMicrophone[];
extern const wchar_t kUnplugged[];
extern const wchar_t kBare[];
audiosim::Machine jackMachine();

unsigned int const kRate = 48000;
unsigned int const kChannels = 2;
// What an endpoint's legacy wave number is when no wave device stands for it.
unsigned int const kNoLegacyDevice = 0xFFFFFFFFu;

WAVEFORMATEX stereo16();

// A client's PCM buffer. One spare frame lies behind the end, where a
// wrapping read reaches.
struct ClientBuffer {
    std::vector<std::int16_t> samples;
    libTrelwave::StaticPCMBuffer buffer;

    explicit ClientBuffer(std::vector<std::int16_t> const& sound);
    ClientBuffer(ClientBuffer const&) = delete;
    ClientBuffer& operator=(ClientBuffer const&) = delete;
    static std::unique_ptr<ClientBuffer> tone(double seconds, double frequency, double amplitude);
    static std::unique_ptr<ClientBuffer> silence(double seconds);
    std::size_t frames() const { return static_cast<std::size_t>(buffer.size / buffer.format.nBlockAlign); }
};

class StreamMachineTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A shipped machine's description, for a test to edit before it
    // installs it.
    static audiosim::MachineDescription shippedDescription(char const* fileName);
    audiosim::Machine& install(audiosim::Machine machine);
    audiosim::Machine& install(audiosim::MachineDescription const& description);
    audiosim::Machine& installShipped(char const* fileName);
    // The laptop, as shipped or as edited, with `speakers` and `microphone`
    // (its array) taken from it.
    audiosim::Machine& installLaptop();
    audiosim::Machine& installLaptop(audiosim::MachineDescription const& edited);
    // The endpoint as the machine hands it out.
    ATL::CComPtr<IMMDevice> endpoint(std::wstring const& id);
    audiosim::Machine& machine() { return *m_machine; }

    ATL::CComPtr<IMMDevice> speakers;
    ATL::CComPtr<IMMDevice> microphone;

private:
    std::unique_ptr<audiosim::Machine> m_machine;
    std::unique_ptr<audiosim::Installation> m_installation;
};

// Polls until the stream has ended; there is no time limit.
void waitUntilPlayed(libSonvane::AudioRenderer const& renderer);
void waitUntilRecorded(libSonvane::AudioCapture const& capture);

// Starts the recording, plays the renderer's sound once into it, and waits
// until both have ended; the recording must end normally.
void playIntoRecording(libSonvane::AudioRenderer& renderer, libSonvane::AudioCapture& capture);

// The left channel of the recording holds one tone of that frequency and
// amplitude, `seconds` long and without a gap.
void expectTone(ClientBuffer const& recording, double frequency, double amplitude, double seconds);

// Raises the host's stop request from another thread once `calls` calls of
// `method` are in the machine's call log, and clears it when it ends.
class StopRequest {
public:
    StopRequest(audiosim::Machine& machine, std::wstring method, size_t calls);
    ~StopRequest();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace streams

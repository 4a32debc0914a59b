#pragma once
// A simulated machine installed for one test, and what the sound card tests
// share: reading cards, endpoints and the simulator's call log as plain
// text.
#include <libSonvane/libSonvane.h>

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <DeviceIds.h>
#include <ShippedMachines.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace soundcard {

// The path property that groups endpoints into cards.
extern wchar_t const kPathKey[];

// The laptop's endpoints and devices.
using shippedlaptop::kCodecTopology;
using shippedlaptop::kCodecWave;
using shippedlaptop::kDigitalOutput;
using shippedlaptop::kHeadphones;
using shippedlaptop::kIntelPath;
using shippedlaptop::kMicrophone;
using shippedlaptop::kMicrophoneArray;
using shippedlaptop::kRealtekPath;
using shippedlaptop::kSpeakers;

class SimulatedCards : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    audiosim::Machine& install(audiosim::Machine machine);
    // A machine of simulator/machines by file name.
    audiosim::Machine& installShipped(std::string const& fileName);
    audiosim::Machine& machine() { return *m_machine; }

    // The card whose path is `path`; fails the test when there is none.
    static SoundCard card(orv::Array<SoundCard> const& cards, std::wstring const& path);
    // A card's endpoint as a device of the library.
    static AudioDevice endpoint(std::wstring const& id);

    // The names of the parts on which `method` was called since the log was
    // last cleared, in call order; only calls whose arguments contain
    // `argument`, and only connectors when `connectorsOnly`.
    std::vector<std::wstring> partsCalled(std::wstring const& method, std::wstring const& argument = L"",
                                          bool connectorsOnly = false);

private:
    std::unique_ptr<audiosim::Machine> m_machine;
    std::unique_ptr<audiosim::Installation> m_installation;
};

// A machine built in a test: endpoints by flow, id and path.
audiosim::Device& addEndpoint(audiosim::MachineDescription& description, EDataFlow flow, std::wstring const& id,
                              std::wstring const& path);

}  // namespace soundcard

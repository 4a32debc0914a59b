#pragma once
// A small simulated machine per test, installed in place of the system's
// audio stack for the test's length, and the helpers the device list tests
// share.
#include <libSonvane/libSonvane.h>

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <FlatText.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace devicelist {

// 2 channels of 16 bits as the 40 bytes of a WAVEFORMATEXTENSIBLE.
WAVEFORMATEXTENSIBLE stereoAt(DWORD rate);
std::vector<BYTE> bytesOf(WAVEFORMATEXTENSIBLE const& format);

// An endpoint with its device description (the flat list's "name"), its
// friendly name (the "description") and a 48 kHz device format.
audiosim::Device& describeEndpoint(audiosim::MachineDescription& machine, EDataFlow flow, std::wstring const& id,
                                   DWORD state, std::wstring const& name, std::wstring const& description);

class SimulatedMachineTest : public testing::Test {
protected:
    void SetUp() override { CoInitialize(nullptr); }
    // Leaves the flat functions torn down, whatever the test did.
    void TearDown() override;

    audiosim::Machine& install(audiosim::MachineDescription description);
    // The endpoint as the machine hands it out.
    ATL::CComPtr<IMMDevice> endpoint(std::wstring const& id);
    // The device format that the machine's store holds for the endpoint.
    std::vector<BYTE> storedFormat(std::wstring const& id);

private:
    std::unique_ptr<audiosim::Machine> m_machine;
    std::unique_ptr<audiosim::Installation> m_installation;
};

}  // namespace devicelist

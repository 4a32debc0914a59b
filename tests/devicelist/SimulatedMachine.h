#pragma once
// A small simulated machine per test, installed in place of the system's
// audio stack for the test's length, and the helpers the device list tests
// share.
#include <libSonvane/libSonvane.h>

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>

#include <memory>
#include <string>
#include <vector>

namespace devicelist {

// The endpoint format every described endpoint starts with: 2 channels,
// 16 bits, 48 kHz as a 40-byte WAVEFORMATEXTENSIBLE.
WAVEFORMATEXTENSIBLE stereo48k();
// The same with another rate, as a test's changed format.
WAVEFORMATEXTENSIBLE stereoAt(DWORD rate);

// An endpoint with its device description ("name" of the flat list), its
// friendly name ("description") and a device format.
audiosim::Device& describeEndpoint(audiosim::MachineDescription& machine, EDataFlow flow, std::wstring const& id,
                                   DWORD state, std::wstring const& name, std::wstring const& description);

class SimulatedMachineTest : public testing::Test {
protected:
    void SetUp() override;
    // Leaves the flat functions torn down, whatever the test did.
    void TearDown() override;

    audiosim::Machine& install(audiosim::MachineDescription description);
    audiosim::Machine& machine() { return *m_machine; }

    // The endpoint as the machine hands it out.
    ATL::CComPtr<IMMDevice> endpoint(std::wstring const& id);
    // The device format that the machine's store holds for the endpoint.
    std::vector<BYTE> storedFormat(std::wstring const& id);

private:
    std::unique_ptr<audiosim::Machine> m_machine;
    std::unique_ptr<audiosim::Installation> m_installation;
};

std::vector<BYTE> bytesOf(WAVEFORMATEXTENSIBLE const& format);

// A text of the flat list, read as a plain caller must: the length first,
// then exactly that many units into a buffer with guard units behind them.
std::wstring flatName(bool render, unsigned int index);
std::wstring flatDescription(bool render, unsigned int index);
std::wstring flatId(bool render, unsigned int index);

}  // namespace devicelist

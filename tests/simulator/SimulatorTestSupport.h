#pragma once
// Helpers of the simulator's own tests: the shipped machines, COM set-up and
// plain platform calls on a machine without installing it.
#include <audiosim/SdkNames.h>

#include <COM/AtlComPtr.h>

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <ShippedMachines.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <devicetopology.h>
#include <endpointvolume.h>
#include <mmdeviceapi.h>

#include <string>

namespace simtests {

// The laptop's devices.
inline constexpr auto& speakersId = shippedlaptop::kSpeakers;
inline constexpr auto& headphonesId = shippedlaptop::kHeadphones;
inline constexpr auto& hdmiId = shippedlaptop::kDigitalOutput;
inline constexpr auto& micArrayId = shippedlaptop::kMicrophoneArray;
inline constexpr auto& comboMicId = shippedlaptop::kMicrophone;
inline constexpr auto& codecTopologyId = shippedlaptop::kCodecTopology;
inline constexpr auto& codecWaveId = shippedlaptop::kCodecWave;
inline constexpr auto& codecInstanceId = shippedlaptop::kCodecInstance;

audiosim::Machine laptop();
// The laptop with its microphone array hearing a steady 1 kHz tone at a
// quarter of full scale instead of its speakers, for tests of what a
// capture source delivers without anything playing.
audiosim::Machine laptopHearingATone();

// A simulator self-test installs without counting towards the library's
// fault coverage.
audiosim::InstallOptions selfTestOptions();

// COM on the test's thread for the length of a test.
class ComTest : public testing::Test {
protected:
    void SetUp() override { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    void TearDown() override { CoUninitialize(); }
};

ATL::CComPtr<IMMDeviceEnumerator> enumerator(audiosim::Machine& machine);
ATL::CComPtr<IMMDevice> device(audiosim::Machine& machine, const std::wstring& id);
ATL::CComPtr<IDeviceTopology> topology(audiosim::Machine& machine, const std::wstring& id);
// A part of a device's topology by its name.
ATL::CComPtr<IPart> part(audiosim::Machine& machine, const std::wstring& deviceId, const std::wstring& name);
std::wstring partName(IPart* part);
template <class Interface>
ATL::CComPtr<Interface> activate(IPart* part) {
    ATL::CComPtr<Interface> result;
    part->Activate(CLSCTX_ALL, __uuidof(Interface), reinterpret_cast<void**>(&result));
    return result;
}

// Takes a COM task string and frees it.
std::wstring take(LPWSTR text);

}  // namespace simtests

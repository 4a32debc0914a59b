// Installing a machine: CoCreateInstance reaches it from the threads that
// should reach it and the system again afterwards; the platform layer's
// device tree and kernel are served and given back.
#include "SimulatorTestSupport.h"

#include <platform/Platform.h>

#include <thread>

namespace simtests {
namespace {

// Where CoCreateInstance of the device enumerator goes from the calling
// thread: 1 the simulator, 0 the system, -1 nowhere.
int createdEnumeratorIsSimulated() {
    ATL::CComPtr<IMMDeviceEnumerator> created;
    if (FAILED(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMMDeviceEnumerator),
                                reinterpret_cast<void**>(&created))))
        return -1;
    return audiosim::isSimulatedObject(created) ? 1 : 0;
}

template <class Body>
int onThread(DWORD apartment, Body body) {
    int result = -2;
    std::thread([&] {
        CoInitializeEx(nullptr, apartment);
        result = body();
        CoUninitialize();
    }).join();
    return result;
}

class InstallationTest : public ComTest {};

TEST_F(InstallationTest, CoCreateInstanceReachesTheMachineOnlyWhileInstalled) {
    audiosim::Machine machine = laptop();
    {
        audiosim::Installation installation(machine, selfTestOptions());
        ATL::CComPtr<IMMDeviceEnumerator> created;
        ASSERT_EQ(S_OK, CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&created)));
        EXPECT_TRUE(audiosim::isSimulatedObject(created));
        ATL::CComPtr<IMMDeviceCollection> all;
        ASSERT_EQ(S_OK, created->EnumAudioEndpoints(eAll, DEVICE_STATEMASK_ALL, &all));
        UINT count = 0;
        all->GetCount(&count);
        EXPECT_EQ(5u, count);
        EXPECT_EQ(1u, machine.calls().count(L"IClassFactory::CreateInstance"));
    }
    EXPECT_EQ(0, createdEnumeratorIsSimulated());
}

TEST_F(InstallationTest, OtherThreadsReachTheMachineThroughTheirApartment) {
    audiosim::Machine machine = laptop();
    audiosim::Installation installation(machine, selfTestOptions());
    EXPECT_EQ(1, createdEnumeratorIsSimulated());
    // The multithreaded apartment has a registration of its own.
    EXPECT_EQ(1, onThread(COINIT_MULTITHREADED, createdEnumeratorIsSimulated));
    // Another single-threaded apartment sees the system until it registers.
    EXPECT_EQ(0, onThread(COINIT_APARTMENTTHREADED, createdEnumeratorIsSimulated));
    EXPECT_EQ(1, onThread(COINIT_APARTMENTTHREADED, [&] {
                  audiosim::ApartmentRegistration registration(installation);
                  return createdEnumeratorIsSimulated();
              }));
}

TEST_F(InstallationTest, WithoutTheMultithreadedRegistrationThatApartmentSeesTheSystem) {
    audiosim::Machine machine = laptop();
    audiosim::InstallOptions options = selfTestOptions();
    options.registerInMultithreadedApartment = false;
    audiosim::Installation installation(machine, options);
    EXPECT_EQ(1, createdEnumeratorIsSimulated());
    EXPECT_EQ(0, onThread(COINIT_MULTITHREADED, createdEnumeratorIsSimulated));
}

TEST_F(InstallationTest, ServesTheDeviceTreeAndTheVersionAndGivesThemBack) {
    audiosim::Machine machine = laptop();
    std::wstring parent;
    const auto atLeast = [](DWORD major, DWORD minor) {
        OSVERSIONINFOEXW info{};
        info.dwOSVersionInfoSize = sizeof info;
        info.dwMajorVersion = major;
        info.dwMinorVersion = minor;
        DWORDLONG mask = 0;
        mask = VerSetConditionMask(mask, VER_MAJORVERSION, VER_GREATER_EQUAL);
        mask = VerSetConditionMask(mask, VER_MINORVERSION, VER_GREATER_EQUAL);
        mask = VerSetConditionMask(mask, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
        return platform::kernel().verifyVersionInfo(&info, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR,
                                                    mask) != FALSE;
    };
    {
        audiosim::Installation installation(machine, selfTestOptions());
        ASSERT_TRUE(platform::deviceTree().parentInstanceId(codecInstanceId, parent));
        EXPECT_EQ(L"PCI\\VEN_8086&DEV_9D71&SUBSYS_21F617AA&REV_21\\3&11583659&0&FB", parent);
        EXPECT_FALSE(platform::deviceTree().parentInstanceId(L"USB\\VID_0000&PID_0000\\0", parent));
        EXPECT_TRUE(atLeast(6, 0));
        EXPECT_TRUE(atLeast(6, 1));
        EXPECT_FALSE(atLeast(6, 2));
        EXPECT_FALSE(atLeast(10, 0));
    }
    {
        audiosim::InstallOptions windows10 = selfTestOptions();
        windows10.osMajor = 10;
        windows10.osMinor = 0;
        audiosim::Installation installation(machine, windows10);
        EXPECT_TRUE(atLeast(6, 2));
        EXPECT_TRUE(atLeast(10, 0));
    }
    EXPECT_FALSE(platform::deviceTree().parentInstanceId(codecInstanceId, parent));
}

}  // namespace
}  // namespace simtests

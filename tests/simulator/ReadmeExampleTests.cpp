// The example of simulator/README.md, "Testing your module without audio
// hardware", kept compiling and passing here.
#include <audiosim/SdkNames.h>   // first: the audio headers in an order mingw-w64 accepts

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <gtest/gtest.h>

#include <mmdeviceapi.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::string machineFile(const char* name) {
    // tests/CMakeLists.txt sets SONVANE_SIM_MACHINES to simulator/machines.
    return std::string(std::getenv("SONVANE_SIM_MACHINES")) + "/" + name;
}

std::wstring text(const PROPVARIANT& value) {
    return value.vt == VT_LPWSTR ? value.pwszVal : L"";
}

TEST(MyModule, ListsTheLaptopsEndpoints) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    {
        audiosim::Machine machine = audiosim::Machine::fromFile(machineFile("laptop.json"));
        audiosim::Installation installation(machine);

        IMMDeviceEnumerator* enumerator = nullptr;
        ASSERT_EQ(S_OK, CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&enumerator)));
        IMMDeviceCollection* active = nullptr;
        ASSERT_EQ(S_OK, enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, &active));

        std::vector<std::wstring> names;
        UINT count = 0;
        active->GetCount(&count);
        for (UINT i = 0; i < count; ++i) {
            IMMDevice* device = nullptr;
            active->Item(i, &device);
            IPropertyStore* store = nullptr;
            device->OpenPropertyStore(STGM_READ, &store);
            PROPVARIANT name;
            store->GetValue(audiosim::propertyKey(L"PKEY_Device_FriendlyName"), &name);
            names.push_back(text(name));
            PropVariantClear(&name);
            store->Release();
            device->Release();
        }
        active->Release();
        enumerator->Release();

        EXPECT_EQ((std::vector<std::wstring>{L"Speakers (Realtek High Definition Audio)",
                                             L"Headphones (Realtek High Definition Audio)",
                                             L"Digital Output (Intel(R) Display Audio)",
                                             L"Microphone Array (Realtek High Definition Audio)"}),
                  names);
        // What the module asked, in order, and that it let go of everything.
        EXPECT_EQ(1u, machine.calls().count(L"IMMDeviceEnumerator::EnumAudioEndpoints"));
        EXPECT_EQ(4u, machine.calls().count(L"IMMDevice::OpenPropertyStore"));
        EXPECT_EQ(0u, machine.totalLiveReferences());
    }
    CoUninitialize();
}

}  // namespace

// The machine of the README's "A machine of your own", taken from the README
// itself, loads and is what the text says it is; and the calls of "What a
// test can check" work as shown.
namespace {

std::string readmeMachine() {
    std::ifstream readme(std::string(std::getenv("SONVANE_SIM_MACHINES")) + "/../README.md", std::ios::binary);
    std::string const text((std::istreambuf_iterator<char>(readme)), std::istreambuf_iterator<char>());
    size_t const section = text.find("### A machine of your own");
    size_t const begin = text.find("```json\n", section);
    size_t const end = text.find("\n```", begin);
    if (section == std::string::npos || begin == std::string::npos || end == std::string::npos) {
        return std::string();
    }
    return text.substr(begin + 8, end - begin - 8);
}

TEST(MyModule, TheReadmesOwnMachineIsOneUsbMicrophone) {
    std::string const json = readmeMachine();
    ASSERT_FALSE(json.empty()) << "the README has no machine of its own";
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    {
        audiosim::Machine machine = audiosim::Machine::fromJson(json, "usb-microphone.json");
        size_t const refusal = machine.faults().add(
            audiosim::Fault::on(L"IMMDevice::OpenPropertyStore", E_ACCESSDENIED).firstCalls(1));
        audiosim::Installation installation(machine);

        IMMDeviceEnumerator* enumerator = nullptr;
        ASSERT_EQ(S_OK, CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                                         __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&enumerator)));
        IMMDeviceCollection* all = nullptr;
        ASSERT_EQ(S_OK, enumerator->EnumAudioEndpoints(eAll, DEVICE_STATE_ACTIVE, &all));
        UINT count = 0;
        all->GetCount(&count);
        EXPECT_EQ(1u, count);
        all->Release();

        IMMDevice* microphone = nullptr;
        ASSERT_EQ(S_OK, enumerator->GetDefaultAudioEndpoint(eCapture, eConsole, &microphone));
        IPropertyStore* store = nullptr;
        EXPECT_EQ(E_ACCESSDENIED, microphone->OpenPropertyStore(STGM_READ, &store)) << "the fault's first call";
        ASSERT_EQ(S_OK, microphone->OpenPropertyStore(STGM_READ, &store));
        PROPVARIANT name;
        store->GetValue(audiosim::propertyKey(L"PKEY_Device_FriendlyName"), &name);
        EXPECT_EQ(L"Microphone (USB Microphone)", text(name));
        PropVariantClear(&name);
        store->Release();
        microphone->Release();
        enumerator->Release();

        EXPECT_EQ(1u, machine.faults().fired(refusal));
        EXPECT_EQ(2u, machine.calls().count(L"IMMDevice::OpenPropertyStore"));
        EXPECT_EQ(0u, machine.totalLiveReferences());
    }
    CoUninitialize();
}

}  // namespace

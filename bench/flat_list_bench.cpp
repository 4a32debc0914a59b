// The flat device list on the real audio stack (initialize, both counts,
// every getter for every endpoint, tearDown) beside two baselines measured in
// the same process and run, interleaved round by round:
//   floor    exactly the platform calls the library makes for that list, in
//            its order: what this design cannot go below;
//   minimal  only the calls needed for the same answers, to show what the
//            design's extra reads (every property, the volume control, the
//            read-write store) cost.
// Prints medians and ratios; never fails.
#include <libSonvane/libSonvane.h>

#include "BenchTiming.h"

#include <windows.h>
#include <mmdeviceapi.h>
#include <propidl.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

int const kWarmUpRounds = 20;
int const kRounds = 300;

PROPERTYKEY const kDeviceDescKey = {
    {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 2};
PROPERTYKEY const kEnumeratorNameKey = {
    {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 24};
PROPERTYKEY const kDeviceFormatKey = {
    {0xF19F064D, 0x082C, 0x4E27, {0xBC, 0x73, 0x68, 0x82, 0xA1, 0xBB, 0x8E, 0x4C}}, 0};
PROPERTYKEY const kSupportsEventDrivenKey = {
    {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 7};
PROPERTYKEY const kPhysicalSpeakersKey = {
    {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 3};
PROPERTYKEY const kEndpointGuidKey = {
    {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 4};

// The eight keys the library reads through its typed reader, in its order.
PROPERTYKEY const* const kReadKeys[] = {
    &kDeviceDescKey,          &kDeviceFormatKey,           &kSupportsEventDrivenKey,
    &kEnumeratorNameKey,      &AudioDevice::m_instancePathKey, &AudioDevice::m_driverNodeStrongName,
    &AudioDevice::m_friendlyName, &kPhysicalSpeakersKey,
};

// What each contender answers, so that the three can be checked to agree.
struct Answers {
    std::vector<std::wstring> texts;
    std::vector<unsigned int> numbers;
    bool operator==(Answers const& other) const { return texts == other.texts && numbers == other.numbers; }
};

// --- The library ------------------------------------------------------------

std::wstring flatText(unsigned int (*length)(bool, unsigned int), bool (*copy)(bool, unsigned int, void*),
                      bool render, unsigned int index) {
    std::wstring text(length(render, index), L'\0');
    copy(render, index, &text[0]);
    return text;
}

void libraryList(Answers& answers) {
    initialize();
    unsigned int const counts[2] = {numDevices(true), numDevices(false)};
    for (bool render : {true, false}) {
        unsigned int const count = counts[render ? 0 : 1];
        answers.numbers.push_back(count);
        for (unsigned int i = 0; i < count; ++i) {
            answers.texts.push_back(flatText(getDeviceNameLength, getDeviceName, render, i));
            answers.texts.push_back(flatText(getDeviceDescriptionLength, getDeviceDescription, render, i));
            answers.texts.push_back(flatText(getDeviceIdLength, getDeviceId, render, i));
            answers.numbers.push_back(getDeviceState(render, i));
            answers.numbers.push_back(getDeviceType(render, i));
        }
    }
    tearDown();
}

// --- Shared pieces of the baselines -----------------------------------------

ATL::CComPtr<IMMDeviceEnumerator> createEnumerator() {
    ATL::CComPtr<IMMDeviceEnumerator> enumerator;
    CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMMDeviceEnumerator),
                     reinterpret_cast<void**>(&enumerator));
    return enumerator;
}

std::wstring deviceId(IMMDevice* device) {
    LPWSTR id = nullptr;
    device->GetId(&id);
    std::wstring text = id ? id : L"";
    CoTaskMemFree(id);
    return text;
}

std::wstring readText(IPropertyStore* store, PROPERTYKEY const& key) {
    PROPVARIANT value;
    PropVariantInit(&value);
    store->GetValue(key, &value);
    std::wstring text = value.vt == VT_LPWSTR ? value.pwszVal : L"";
    PropVariantClear(&value);
    return text;
}

// Without a topology, or with one whose first connector leads nowhere, the
// flat type is "none". This stack has no topology at all.
unsigned int nodeTypeNumber(IMMDevice* device) {
    ATL::CComPtr<IDeviceTopology> topology;
    device->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&topology));
    return 0xFFFFFFFFu;
}

struct Endpoint {
    std::wstring name;
    std::wstring description;
    std::wstring id;
    unsigned int state = 0;
    unsigned int type = 0xFFFFFFFFu;
};

template <class ReadDevice>
void listWith(IMMDeviceEnumerator* enumerator, ReadDevice readDevice, Answers& answers) {
    std::vector<Endpoint> lists[2];
    for (int flow = 0; flow < 2; ++flow) {
        ATL::CComPtr<IMMDeviceCollection> collection;
        enumerator->EnumAudioEndpoints(flow == 0 ? eRender : eCapture, DEVICE_STATEMASK_ALL, &collection);
        UINT count = 0;
        collection->GetCount(&count);
        for (UINT i = 0; i < count; ++i) {
            ATL::CComPtr<IMMDevice> device;
            collection->Item(i, &device);
            lists[flow].push_back(readDevice(device.p));
        }
    }
    for (std::vector<Endpoint> const& list : lists) {
        answers.numbers.push_back(static_cast<unsigned int>(list.size()));
        for (Endpoint const& endpoint : list) {
            answers.texts.push_back(endpoint.name);
            answers.texts.push_back(endpoint.description);
            answers.texts.push_back(endpoint.id);
            answers.numbers.push_back(endpoint.state);
            answers.numbers.push_back(endpoint.type);
        }
    }
}

// --- Floor: the library's platform calls, nothing else ---------------------

Endpoint readLikeTheLibrary(IMMDevice* device) {
    Endpoint endpoint;
    endpoint.id = deviceId(device);
    endpoint.type = nodeTypeNumber(device);
    ATL::CComPtr<IPropertyStore> store;
    device->OpenPropertyStore(STGM_READWRITE, &store);
    for (PROPERTYKEY const* key : kReadKeys) {
        std::wstring const text = readText(store, *key);
        if (key == &kDeviceDescKey) {
            endpoint.name = text;
        } else if (key == &AudioDevice::m_friendlyName) {
            endpoint.description = text;
        }
    }
    PROPVARIANT guidText;
    PropVariantInit(&guidText);
    if (SUCCEEDED(store->GetValue(kEndpointGuidKey, &guidText))) {
        GUID directSound;
        CLSIDFromString(guidText.pwszVal, &directSound);
    }
    DWORD state = 0;
    device->GetState(&state);
    endpoint.state = state;
    for (int query = 0; query < 2; ++query) {  // isEndpoint while reading, then for the volume control
        ATL::CComPtr<IMMEndpoint> asEndpoint;
        device->QueryInterface(__uuidof(IMMEndpoint), reinterpret_cast<void**>(&asEndpoint));
    }
    ATL::CComPtr<IAudioEndpointVolume> volume;
    device->Activate(__uuidof(IAudioEndpointVolume), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&volume));
    return endpoint;
}

void floorList(Answers& answers) {
    CoInitialize(nullptr);
    {
        ATL::CComPtr<IMMDeviceEnumerator> enumerator = createEnumerator();
        listWith(enumerator, readLikeTheLibrary, answers);
    }
    CoUninitialize();
}

// --- Minimal: only what the answers need -----------------------------------

Endpoint readMinimal(IMMDevice* device) {
    Endpoint endpoint;
    endpoint.id = deviceId(device);
    ATL::CComPtr<IPropertyStore> store;
    device->OpenPropertyStore(STGM_READ, &store);
    endpoint.name = readText(store, kDeviceDescKey);
    endpoint.description = readText(store, AudioDevice::m_friendlyName);
    DWORD state = 0;
    device->GetState(&state);
    endpoint.state = state;
    endpoint.type = nodeTypeNumber(device);
    return endpoint;
}

void minimalList(Answers& answers) {
    ATL::CComPtr<IMMDeviceEnumerator> enumerator = createEnumerator();
    listWith(enumerator, readMinimal, answers);
}

// --- Measuring --------------------------------------------------------------

double timed(void (*list)(Answers&)) {
    Answers answers;
    double const start = nowMicroseconds();
    list(answers);
    return nowMicroseconds() - start;
}

}  // namespace

int main() {
    CoInitialize(nullptr);

    Answers library, floor, minimal;
    libraryList(library);
    floorList(floor);
    minimalList(minimal);
    std::printf("endpoints: %u render, %u capture; answers agree: floor %s, minimal %s\n",
                library.numbers.empty() ? 0u : library.numbers[0],
                library.numbers.size() > 1 ? library.numbers[1 + 2 * library.numbers[0]] : 0u,
                floor == library ? "yes" : "NO", minimal == library ? "yes" : "NO");

    void (*const contenders[3])(Answers&) = {libraryList, floorList, minimalList};
    std::vector<double> times[3];
    for (int round = 0; round < kWarmUpRounds + kRounds; ++round) {
        for (int c = 0; c < 3; ++c) {
            // Rotating the order keeps any effect of position off one contender.
            int const which = (round + c) % 3;
            double const microseconds = timed(contenders[which]);
            if (round >= kWarmUpRounds) {
                times[which].push_back(microseconds);
            }
        }
    }
    double const libraryMedian = median(times[0]);
    double const floorMedian = median(times[1]);
    double const minimalMedian = median(times[2]);
    std::printf("flat list, median of %d interleaved rounds:\n", kRounds);
    std::printf("  library                       %9.1f us\n", libraryMedian);
    std::printf("  floor (the library's calls)   %9.1f us   library/floor   = %.3f (target <= 1.15)\n", floorMedian,
                libraryMedian / floorMedian);
    std::printf("  minimal (calls for answers)   %9.1f us   library/minimal = %.3f\n", minimalMedian,
                libraryMedian / minimalMedian);
    CoUninitialize();
    return 0;
}

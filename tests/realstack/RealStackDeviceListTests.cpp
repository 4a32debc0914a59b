// The device list against the platform's own enumerator in the same process,
// and the device format that a device object puts back when it goes.
#include <libSonvane/libSonvane.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>
#include <propidl.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

PROPERTYKEY const kDeviceDescKey = {
    {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 2};
PROPERTYKEY const kDeviceFormatKey = {
    {0xF19F064D, 0x082C, 0x4E27, {0xBC, 0x73, 0x68, 0x82, 0xA1, 0xBB, 0x8E, 0x4C}}, 0};

// What the platform says about one endpoint, read without the library.
struct PlatformEndpoint {
    std::wstring id;
    std::wstring deviceDesc;
    std::wstring friendlyName;
    DWORD state = 0;
};

class RealStack : public ::testing::Test {
protected:
    void SetUp() override {
        CoInitialize(nullptr);
        HRESULT const hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                                            __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&m_enumerator));
        ASSERT_TRUE(SUCCEEDED(hr)) << "no device enumerator on this machine: is the audio stack running?";
    }
    void TearDown() override {
        m_enumerator.Release();
        CoUninitialize();
    }

    static std::wstring stringValue(IPropertyStore* store, PROPERTYKEY const& key) {
        PROPVARIANT value;
        PropVariantInit(&value);
        std::wstring text;
        if (SUCCEEDED(store->GetValue(key, &value)) && value.vt == VT_LPWSTR) {
            text = value.pwszVal;
        }
        PropVariantClear(&value);
        return text;
    }

    std::vector<PlatformEndpoint> listDirectly(EDataFlow flow) {
        std::vector<PlatformEndpoint> endpoints;
        ATL::CComPtr<IMMDeviceCollection> collection;
        EXPECT_TRUE(SUCCEEDED(m_enumerator->EnumAudioEndpoints(flow, DEVICE_STATEMASK_ALL, &collection)));
        UINT count = 0;
        collection->GetCount(&count);
        for (UINT i = 0; i < count; ++i) {
            ATL::CComPtr<IMMDevice> device;
            collection->Item(i, &device);
            PlatformEndpoint endpoint;
            LPWSTR id = nullptr;
            device->GetId(&id);
            endpoint.id = id;
            CoTaskMemFree(id);
            device->GetState(&endpoint.state);
            ATL::CComPtr<IPropertyStore> store;
            if (SUCCEEDED(device->OpenPropertyStore(STGM_READ, &store))) {
                endpoint.deviceDesc = stringValue(store, kDeviceDescKey);
                endpoint.friendlyName = stringValue(store, AudioDevice::m_friendlyName);
            }
            endpoints.push_back(endpoint);
        }
        return endpoints;
    }

    ATL::CComPtr<IMMDevice> defaultRender() {
        ATL::CComPtr<IMMDevice> device;
        m_enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &device);
        return device;
    }

    static bool readFormat(IMMDevice* device, WAVEFORMATEXTENSIBLE& format) {
        ATL::CComPtr<IPropertyStore> store;
        if (FAILED(device->OpenPropertyStore(STGM_READ, &store))) {
            return false;
        }
        PROPVARIANT value;
        PropVariantInit(&value);
        bool const found = SUCCEEDED(store->GetValue(kDeviceFormatKey, &value)) && value.vt == VT_BLOB &&
                           value.blob.cbSize == sizeof format;
        if (found) {
            std::memcpy(&format, value.blob.pBlobData, sizeof format);
        }
        PropVariantClear(&value);
        return found;
    }

    static void writeFormat(IMMDevice* device, WAVEFORMATEXTENSIBLE const& format) {
        ATL::CComPtr<IPropertyStore> store;
        ASSERT_TRUE(SUCCEEDED(device->OpenPropertyStore(STGM_READWRITE, &store)));
        PROPVARIANT value;
        PropVariantInit(&value);
        value.vt = VT_BLOB;
        value.blob.cbSize = sizeof format;
        value.blob.pBlobData = reinterpret_cast<BYTE*>(const_cast<WAVEFORMATEXTENSIBLE*>(&format));
        ASSERT_TRUE(SUCCEEDED(store->SetValue(kDeviceFormatKey, value)));
        store->Commit();
    }

    ATL::CComPtr<IMMDeviceEnumerator> m_enumerator;
};

typedef bool (*CopyText)(bool, unsigned int, void*);
typedef unsigned int (*TextLength)(bool, unsigned int);

// Reads one text the way a plain caller must: length first, then the units,
// with a guard unit behind them that the copy must not touch.
std::wstring flatText(TextLength length, CopyText copy, bool render, unsigned int index) {
    unsigned int const units = length(render, index);
    std::vector<wchar_t> buffer(units + 1, L'#');
    EXPECT_TRUE(copy(render, index, buffer.data()));
    EXPECT_EQ(L'#', buffer[units]) << "a copy wrote past its length";
    return std::wstring(buffer.data(), units);
}

TEST_F(RealStack, FlatListAgreesWithThePlatformEnumerator) {
    ASSERT_TRUE(initialize());
    for (bool render : {true, false}) {
        SCOPED_TRACE(render ? "render" : "capture");
        std::vector<PlatformEndpoint> const expected = listDirectly(render ? eRender : eCapture);
        unsigned int const count = numDevices(render);
        ASSERT_EQ(expected.size(), count);
        for (unsigned int i = 0; i < count; ++i) {
            EXPECT_EQ(expected[i].id, flatText(getDeviceIdLength, getDeviceId, render, i));
            EXPECT_EQ(expected[i].deviceDesc, flatText(getDeviceNameLength, getDeviceName, render, i));
            EXPECT_EQ(expected[i].friendlyName, flatText(getDeviceDescriptionLength, getDeviceDescription, render, i));
            EXPECT_EQ(expected[i].state, getDeviceState(render, i));
            EXPECT_EQ(0xFFFFFFFFu, getDeviceType(render, i)) << "this stack has no topology";
        }
        EXPECT_EQ(0u, getDeviceIdLength(render, count));
        EXPECT_EQ(0u, getDeviceState(render, count));
        EXPECT_EQ(0xFFFFFFFFu, getDeviceType(render, count));
        wchar_t untouched = L'#';
        EXPECT_FALSE(getDeviceName(render, count, &untouched));
        EXPECT_EQ(L'#', untouched);
    }
    tearDown();
}

// By id the device is looked up through the process-wide enumerator, which
// stays until the library unloads at the end of this program.
TEST_F(RealStack, DeviceByIdIsTheSameEndpointAsByInterface) {
    AudioDevice byInterface(defaultRender().p);
    ASSERT_TRUE(byInterface.isInitialized());
    AudioDevice byId(byInterface.deviceProperty().deviceId);
    ASSERT_TRUE(byId.isInitialized());
    EXPECT_TRUE(byId == byInterface);
    EXPECT_EQ(byInterface.deviceProperty().endpointType, byId.deviceProperty().endpointType);
    EXPECT_EQ(1u, byId.deviceProperty().state);
    EXPECT_TRUE(byId.isDefaultEndpoint());

    LogCapture log;
    AudioDevice unknown(orv::String("{0.0.0.00000000}.{00000000-0000-0000-0000-000000000000}"));
    EXPECT_FALSE(unknown.isInitialized());
    EXPECT_TRUE(log.contains("IMMDeviceEnumerator::GetDevice returns 0x", 3)) << log.dump();
}

TEST_F(RealStack, ChangedDeviceFormatIsBackAfterTheLastChangedCopyIsGone) {
    ATL::CComPtr<IMMDevice> endpoint = defaultRender();
    ASSERT_TRUE(endpoint != nullptr);
    WAVEFORMATEXTENSIBLE original;
    ASSERT_TRUE(readFormat(endpoint, original)) << "the endpoint has no 40-byte device format";

    WAVEFORMATEXTENSIBLE changed = original;
    changed.Format.nSamplesPerSec = original.Format.nSamplesPerSec == 44100 ? 48000 : 44100;
    changed.Format.nAvgBytesPerSec = changed.Format.nSamplesPerSec * changed.Format.nBlockAlign;

    WAVEFORMATEXTENSIBLE seen = {};
    {
        AudioDevice device(endpoint.p);
        ASSERT_TRUE(device.isInitialized());
        {
            AudioDevice copiedBeforeTheChange(device);
            ASSERT_TRUE(device.setFormat(changed));
            EXPECT_EQ(changed.Format.nSamplesPerSec, device.deviceProperty().deviceFormat.Format.nSamplesPerSec);
        }
        ASSERT_TRUE(readFormat(endpoint, seen));
        EXPECT_EQ(changed.Format.nSamplesPerSec, seen.Format.nSamplesPerSec)
            << "a copy taken before the change has nothing to put back";
        {
            AudioDevice changedCopy(device);
        }
        ASSERT_TRUE(readFormat(endpoint, seen));
        EXPECT_EQ(original.Format.nSamplesPerSec, seen.Format.nSamplesPerSec)
            << "any copy that carries the changed record puts the format back when it dies";

        ASSERT_TRUE(device.setFormat(changed));
        ASSERT_TRUE(readFormat(endpoint, seen));
        EXPECT_EQ(changed.Format.nSamplesPerSec, seen.Format.nSamplesPerSec);
    }
    ASSERT_TRUE(readFormat(endpoint, seen));
    EXPECT_EQ(0, std::memcmp(&original, &seen, sizeof seen));
    if (std::memcmp(&original, &seen, sizeof seen) != 0) {
        writeFormat(endpoint, original);
    }
}

}  // namespace

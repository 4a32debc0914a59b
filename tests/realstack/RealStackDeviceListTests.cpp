// The device list against the platform's own enumerator in the same process,
// and the device format that a device object puts back when it goes.
#include <libSonvane/libSonvane.h>

#include <FlatText.h>
#include <RealStackTest.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>
#include <propidl.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

PROPERTYKEY const kDeviceDescKey = {
    {0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 2};
PROPERTYKEY const kDeviceFormatKey = {
    {0xF19F064D, 0x082C, 0x4E27, {0xBC, 0x73, 0x68, 0x82, 0xA1, 0xBB, 0x8E, 0x4C}}, 0};

// One value of an endpoint's store, read without the library.
std::vector<BYTE> storedValue(IMMDevice* device, PROPERTYKEY const& key) {
    ATL::CComPtr<IPropertyStore> store;
    PROPVARIANT value;
    PropVariantInit(&value);
    std::vector<BYTE> bytes;
    if (SUCCEEDED(device->OpenPropertyStore(STGM_READ, &store)) && SUCCEEDED(store->GetValue(key, &value))) {
        if (value.vt == VT_LPWSTR) {
            BYTE const* text = reinterpret_cast<BYTE const*>(value.pwszVal);
            bytes.assign(text, text + std::wcslen(value.pwszVal) * sizeof(wchar_t));
        } else if (value.vt == VT_BLOB) {
            bytes.assign(value.blob.pBlobData, value.blob.pBlobData + value.blob.cbSize);
        }
    }
    PropVariantClear(&value);
    return bytes;
}

std::wstring storedText(IMMDevice* device, PROPERTYKEY const& key) {
    std::vector<BYTE> const bytes = storedValue(device, key);
    return std::wstring(reinterpret_cast<wchar_t const*>(bytes.data()), bytes.size() / sizeof(wchar_t));
}

void writeFormat(IMMDevice* device, std::vector<BYTE> format) {
    ATL::CComPtr<IPropertyStore> store;
    ASSERT_TRUE(SUCCEEDED(device->OpenPropertyStore(STGM_READWRITE, &store)));
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_BLOB;
    value.blob.cbSize = static_cast<ULONG>(format.size());
    value.blob.pBlobData = format.data();
    store->SetValue(kDeviceFormatKey, value);
    store->Commit();
}

class RealStack : public RealStackTest {};

TEST_F(RealStack, FlatListAgreesWithThePlatformEnumerator) {
    ASSERT_TRUE(initialize());
    for (bool render : {true, false}) {
        SCOPED_TRACE(render ? "render" : "capture");
        ATL::CComPtr<IMMDeviceCollection> collection;
        m_platform->EnumAudioEndpoints(render ? eRender : eCapture, DEVICE_STATEMASK_ALL, &collection);
        UINT count = 0;
        collection->GetCount(&count);
        ASSERT_EQ(count, numDevices(render));
        for (UINT i = 0; i < count; ++i) {
            ATL::CComPtr<IMMDevice> device;
            collection->Item(i, &device);
            LPWSTR id = nullptr;
            device->GetId(&id);
            EXPECT_EQ(std::wstring(id), flatText(getDeviceIdLength, getDeviceId, render, i));
            CoTaskMemFree(id);
            DWORD state = 0;
            device->GetState(&state);
            EXPECT_EQ(state, getDeviceState(render, i));
            EXPECT_EQ(storedText(device, kDeviceDescKey), flatText(getDeviceNameLength, getDeviceName, render, i));
            EXPECT_EQ(storedText(device, AudioDevice::m_friendlyName),
                      flatText(getDeviceDescriptionLength, getDeviceDescription, render, i));
            EXPECT_EQ(0xFFFFFFFFu, getDeviceType(render, i)) << "this stack has no topology";
        }
        EXPECT_EQ(0u, getDeviceIdLength(render, count));
        EXPECT_EQ(0xFFFFFFFFu, getDeviceType(render, count));
    }
    tearDown();
}

TEST_F(RealStack, ChangedDeviceFormatIsBackAfterTheDevicesAreGone) {
    ATL::CComPtr<IMMDevice> endpoint;
    m_platform->GetDefaultAudioEndpoint(eRender, eConsole, &endpoint);
    ASSERT_TRUE(endpoint != nullptr);
    std::vector<BYTE> const original = storedValue(endpoint, kDeviceFormatKey);
    ASSERT_EQ(40u, original.size());

    WAVEFORMATEXTENSIBLE changed;
    std::memcpy(&changed, original.data(), sizeof changed);
    changed.Format.nSamplesPerSec = changed.Format.nSamplesPerSec == 44100 ? 48000 : 44100;
    changed.Format.nAvgBytesPerSec = changed.Format.nSamplesPerSec * changed.Format.nBlockAlign;
    {
        AudioDevice device(endpoint.p);
        AudioDevice copy(device);
        ASSERT_TRUE(copy.setFormat(changed));
        EXPECT_NE(original, storedValue(endpoint, kDeviceFormatKey));
        EXPECT_TRUE(copy.isDefaultEndpoint());
        EXPECT_TRUE(AudioDevice(copy.deviceProperty().deviceId) == copy) << "found again by its id";
    }
    EXPECT_EQ(original, storedValue(endpoint, kDeviceFormatKey));
    if (original != storedValue(endpoint, kDeviceFormatKey)) {
        writeFormat(endpoint, original);
    }
}

// The platform's own answers decide: every grid format that the client
// accepts with S_OK, and no other, in the grid's order.
// Both default endpoints; the exclusive-mode list is printed so that a run
// shows what this machine's driver takes.
TEST_F(RealStack, CompatibleFormatsAreTheGridFormatsTheClientAccepts) {
  for (EDataFlow flow : {eRender, eCapture}) {
    ATL::CComPtr<IMMDevice> endpoint;
    m_platform->GetDefaultAudioEndpoint(flow, eConsole, &endpoint);
    ASSERT_TRUE(endpoint != nullptr);
    AudioDevice device(endpoint.p);
    ATL::CComPtr<IAudioClient> client = device.audioClient();
    ASSERT_TRUE(client != nullptr);
    for (AUDCLNT_SHAREMODE mode : {AUDCLNT_SHAREMODE_EXCLUSIVE, AUDCLNT_SHAREMODE_SHARED}) {
        std::vector<WAVEFORMATEX> accepted;
        for (WORD channels : {1, 2}) {
            for (WORD bits : {16, 24}) {
                for (DWORD rate : {44100, 48000, 96000}) {
                    WORD const align = static_cast<WORD>(channels * bits / 8);
                    WAVEFORMATEX const format = {WAVE_FORMAT_PCM, channels, rate, rate * align, align, bits, 0};
                    WAVEFORMATEX* closest = nullptr;
                    bool const shared = mode == AUDCLNT_SHAREMODE_SHARED;
                    if (client->IsFormatSupported(mode, &format, shared ? &closest : nullptr) == S_OK) {
                        accepted.push_back(format);
                    }
                    CoTaskMemFree(closest);
                }
            }
        }
        orv::Array<WAVEFORMATEX> formats;
        ASSERT_EQ(accepted.size(), device.compatibleFormats(formats, mode));
        for (unsigned int i = 0; i < formats.size(); ++i) {
            EXPECT_EQ(0, std::memcmp(&accepted[i], &formats[i], sizeof(WAVEFORMATEX))) << i;
            if (mode == AUDCLNT_SHAREMODE_EXCLUSIVE) {
                std::printf("%s exclusive: %u ch, %u bits, %lu Hz\n", flow == eRender ? "render" : "capture",
                            formats[i].nChannels, formats[i].wBitsPerSample, formats[i].nSamplesPerSec);
            }
        }
    }
  }
}

}  // namespace

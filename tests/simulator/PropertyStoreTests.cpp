// Property stores: every variant type the description gives, missing keys,
// and writes that reach the machine only through Commit.
#include "SimulatorTestSupport.h"

namespace simtests {
namespace {

const PROPERTYKEY kFriendlyName = audiosim::propertyKey(L"PKEY_Device_FriendlyName");
const PROPERTYKEY kFormFactor = audiosim::propertyKey(L"PKEY_AudioEndpoint_FormFactor");
const wchar_t kDeviceId[] = L"{0.0.0.00000000}.{00000000-0000-4000-8000-0000000000aa}";

// A machine with one endpoint whose store holds one value of each kind.
audiosim::Machine storeMachine() {
    const std::string json = R"json({
      "endpoints": [{
        "id": "{0.0.0.00000000}.{00000000-0000-4000-8000-0000000000aa}", "flow": "render",
        "properties": [
          {"key": "PKEY_Device_FriendlyName", "type": "VT_LPWSTR", "value": "Speakers (Test)"},
          {"key": "PKEY_AudioEndpoint_FormFactor", "type": "VT_UI4", "value": 1},
          {"key": "{11111111-2222-3333-4444-555555555555},7", "type": "VT_BLOB", "hex": "01 02 0a"},
          {"key": "{11111111-2222-3333-4444-555555555555},8", "type": "VT_BLOB", "size": 70000, "fill": 171},
          {"key": "{11111111-2222-3333-4444-555555555555},9", "type": "VT_CLSID", "value": "{6994AD04-93EF-11D0-A3CC-00A0C9223196}"},
          {"key": "{11111111-2222-3333-4444-555555555555},10", "type": "VT_BOOL", "value": true},
          {"key": "{11111111-2222-3333-4444-555555555555},11", "type": "VT_EMPTY"},
          {"key": "PKEY_AudioEngine_DeviceFormat", "type": "VT_BLOB", "format": {"channels": 2, "bits": 24, "rate": 96000}}
        ]}]})json";
    return audiosim::Machine::fromJson(json, "store.json");
}

ATL::CComPtr<IPropertyStore> openStore(audiosim::Machine& machine, DWORD mode) {
    ATL::CComPtr<IPropertyStore> store;
    EXPECT_EQ(S_OK, device(machine, kDeviceId)->OpenPropertyStore(mode, &store));
    return store;
}

class PropertyStoreTest : public ComTest {};

TEST_F(PropertyStoreTest, ValuesComeBackWithTheirTypesAndMissingKeysAreEmpty) {
    audiosim::Machine machine = storeMachine();
    ATL::CComPtr<IPropertyStore> store = openStore(machine, STGM_READ);
    PROPVARIANT value;

    ASSERT_EQ(S_OK, store->GetValue(kFriendlyName, &value));
    ASSERT_EQ(VT_LPWSTR, value.vt);
    EXPECT_STREQ(L"Speakers (Test)", value.pwszVal);
    PropVariantClear(&value);

    ASSERT_EQ(S_OK, store->GetValue(audiosim::propertyKey(L"{11111111-2222-3333-4444-555555555555},7"), &value));
    ASSERT_EQ(VT_BLOB, value.vt);
    ASSERT_EQ(3u, value.blob.cbSize);
    EXPECT_EQ(0x0a, value.blob.pBlobData[2]);
    PropVariantClear(&value);

    ASSERT_EQ(S_OK, store->GetValue(audiosim::propertyKey(L"{11111111-2222-3333-4444-555555555555},8"), &value));
    ASSERT_EQ(70000u, value.blob.cbSize);
    EXPECT_EQ(0xAB, value.blob.pBlobData[69999]);
    PropVariantClear(&value);

    ASSERT_EQ(S_OK, store->GetValue(audiosim::propertyKey(L"{11111111-2222-3333-4444-555555555555},9"), &value));
    ASSERT_EQ(VT_CLSID, value.vt);
    EXPECT_EQ(0x6994AD04ul, value.puuid->Data1);
    PropVariantClear(&value);

    ASSERT_EQ(S_OK, store->GetValue(audiosim::propertyKey(L"{11111111-2222-3333-4444-555555555555},10"), &value));
    EXPECT_EQ(VT_BOOL, value.vt);
    EXPECT_EQ(VARIANT_TRUE, value.boolVal);
    PropVariantClear(&value);

    // The engine's format is the 40 bytes of a WAVEFORMATEXTENSIBLE.
    ASSERT_EQ(S_OK, store->GetValue(audiosim::propertyKey(L"PKEY_AudioEngine_DeviceFormat"), &value));
    ASSERT_EQ(40u, value.blob.cbSize);
    const auto* format = reinterpret_cast<const WAVEFORMATEXTENSIBLE*>(value.blob.pBlobData);
    EXPECT_EQ(WAVE_FORMAT_EXTENSIBLE, format->Format.wFormatTag);
    EXPECT_EQ(96000u, format->Format.nSamplesPerSec);
    EXPECT_EQ(6u, format->Format.nBlockAlign);
    PropVariantClear(&value);

    // A key that is listed empty and one that is not there at all read alike.
    for (const wchar_t* key : {L"{11111111-2222-3333-4444-555555555555},11", L"PKEY_Device_EnumeratorName"}) {
        value.vt = VT_UI4;
        EXPECT_EQ(S_OK, store->GetValue(audiosim::propertyKey(key), &value));
        EXPECT_EQ(VT_EMPTY, value.vt);
    }

    DWORD count = 0;
    store->GetCount(&count);
    EXPECT_EQ(8u, count);
    PROPERTYKEY key{};
    ASSERT_EQ(S_OK, store->GetAt(1, &key));
    EXPECT_EQ(L"PKEY_AudioEndpoint_FormFactor", audiosim::propertyKeyName(key));
    EXPECT_EQ(E_INVALIDARG, store->GetAt(8, &key));
}

TEST_F(PropertyStoreTest, AWriteReachesTheMachineAtCommitAndOnlyLaterStoresSeeIt) {
    audiosim::Machine machine = storeMachine();
    ATL::CComPtr<IPropertyStore> writer = openStore(machine, STGM_READWRITE);
    ATL::CComPtr<IPropertyStore> openedBefore = openStore(machine, STGM_READ);
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_UI4;
    value.ulVal = 4;
    ASSERT_EQ(S_OK, writer->SetValue(kFormFactor, value));

    const auto formFactor = [](IPropertyStore* store) {
        PROPVARIANT read;
        store->GetValue(kFormFactor, &read);
        return read.ulVal;
    };
    EXPECT_EQ(4u, formFactor(writer));
    EXPECT_EQ(1u, formFactor(openStore(machine, STGM_READ)));
    ASSERT_EQ(S_OK, writer->Commit());
    EXPECT_EQ(4u, formFactor(openStore(machine, STGM_READ)));
    EXPECT_EQ(1u, formFactor(openedBefore));
    EXPECT_EQ(4, machine.description().find(kDeviceId)->find(kFormFactor)->integer);

    // A store opened for reading refuses writes.
    EXPECT_EQ(STG_E_ACCESSDENIED, openedBefore->SetValue(kFormFactor, value));
    EXPECT_EQ(STG_E_ACCESSDENIED, openedBefore->Commit());
    // A new key written and committed is there for the next store.
    value.vt = VT_LPWSTR;
    value.pwszVal = const_cast<LPWSTR>(L"HDAUDIO");
    ASSERT_EQ(S_OK, writer->SetValue(audiosim::propertyKey(L"PKEY_Device_EnumeratorName"), value));
    writer->Commit();
    PROPVARIANT read;
    openStore(machine, STGM_READ)->GetValue(audiosim::propertyKey(L"PKEY_Device_EnumeratorName"), &read);
    ASSERT_EQ(VT_LPWSTR, read.vt);
    EXPECT_STREQ(L"HDAUDIO", read.pwszVal);
    PropVariantClear(&read);
}

}  // namespace
}  // namespace simtests

// Cards built from the real stack, compared with what the platform's own
// enumerator reports in the same process. Wine gives its endpoints no device
// instance path and no topology, so its cards are the endpoints grouped by
// an empty (or whatever) path, with empty connector maps.
#include <libSonvane/libSonvane.h>

#include <DeviceIds.h>
#include <LogCapture.h>
#include <RealStackTest.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>
#include <propidl.h>

#include <map>
#include <string>
#include <vector>

namespace {

struct PlatformEndpoint {
    std::wstring id;
    std::wstring path;
    DWORD state = 0;
};

class RealStackCards : public RealStackTest {
protected:
    std::vector<PlatformEndpoint> listDirectly(EDataFlow flow, DWORD states) {
        std::vector<PlatformEndpoint> endpoints;
        ATL::CComPtr<IMMDeviceCollection> collection;
        EXPECT_TRUE(SUCCEEDED(m_platform->EnumAudioEndpoints(flow, states, &collection)));
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
                PROPVARIANT value;
                PropVariantInit(&value);
                if (SUCCEEDED(store->GetValue(AudioDevice::m_instancePathKey, &value)) && value.vt == VT_LPWSTR) {
                    endpoint.path = value.pwszVal;
                }
                PropVariantClear(&value);
            }
            endpoints.push_back(endpoint);
        }
        return endpoints;
    }
};

TEST_F(RealStackCards, EndpointsAreGroupedByTheirPathCaptureFirst) {
    std::vector<PlatformEndpoint> const capture = listDirectly(eCapture, DEVICE_STATEMASK_ALL);
    std::vector<PlatformEndpoint> const render = listDirectly(eRender, DEVICE_STATEMASK_ALL);
    ASSERT_FALSE(render.empty()) << "the stack offers no render endpoint";

    // Paths in order of first appearance, and the render ids under each.
    std::vector<std::wstring> paths;
    std::map<std::wstring, std::vector<std::wstring>> renderIds;
    for (auto const* list : {&capture, &render}) {
        for (PlatformEndpoint const& endpoint : *list) {
            if (renderIds.find(endpoint.path) == renderIds.end()) {
                paths.push_back(endpoint.path);
                renderIds[endpoint.path];
            }
            if (list == &render) {
                renderIds[endpoint.path].push_back(endpoint.id);
            }
        }
    }

    orv::Array<SoundCardInterfacePtr> cards;
    enumerateSoundCards(cards);
    ASSERT_EQ(paths.size(), cards.size());
    for (orv::Uint32 i = 0; i < cards.size(); ++i) {
        SoundCard& card = *static_cast<SoundCard*>(cards[i].get());
        EXPECT_EQ(paths[i], text(card.deviceId()));

        orv::Array<AudioDevice> playback;
        card.allPlaybackDevice(playback);
        EXPECT_EQ(renderIds[paths[i]], idsOf(playback));
        for (auto const* list : {&capture, &render}) {
            for (PlatformEndpoint const& endpoint : *list) {
                EXPECT_EQ(endpoint.path == paths[i], card.hasEndpoint(endpoint.id.c_str())) << endpoint.id.c_str();
            }
        }
    }
    for (SoundCardInterfacePtr const& card : cards) {
        delete card.get();
    }
}

// Without topology every walk finds nothing, and nothing stops the process.
TEST_F(RealStackCards, CardsWithoutTopologyAnswerEmpty) {
    orv::Array<SoundCard> cards = SoundCard::enumerateSystemSoundDevices();
    ASSERT_GT(cards.size(), 0u);
    for (SoundCard& card : cards) {
        orv::Array<AudioDevice> playback;
        card.allPlaybackDevice(playback);
        for (AudioDevice const& endpoint : playback) {
            orv::Array<SoundCard::VolumeController> records;
            EXPECT_EQ(0u, card.volumeController(endpoint, records));
        }
        orv::Array<ATL::CComPtr<IAudioInputSelector>> selectors;
        EXPECT_EQ(0u, card.recordingMux(selectors));

        // No node type behind any endpoint: the typed lookups find nothing,
        // the untyped one with a filter finds the active render endpoints.
        orv::Array<AudioDevice> found;
        EXPECT_EQ(0u, card.waveOutEndpointDevice(found));
        EXPECT_EQ(0u, card.microphoneEndpointDevice(found, DEVICE_STATEMASK_ALL));
        orv::Array<AudioInterfacePtr> pointers;
        EXPECT_EQ(0u, card.waveOutEndpointDevice(pointers));
        orv::Uint32 active = 0;
        for (AudioDevice const& endpoint : playback) {
            active += endpoint.deviceProperty().state == DEVICE_STATE_ACTIVE ? 1 : 0;
        }
        EXPECT_EQ(active, card.allPlaybackDevice(found, DEVICE_STATE_ACTIVE));
    }
}

// Each card is found again by the hardware id in its path; a path without
// one gives an empty id, which finds the first such card.
TEST_F(RealStackCards, EachCardIsFoundByItsInstanceId) {
    orv::Array<SoundCard> const cards = SoundCard::enumerateSystemSoundDevices();
    ASSERT_GT(cards.size(), 0u);
    for (SoundCard const& card : cards) {
        std::wstring const path = text(card.deviceId());
        size_t const dot = path.find(L'.');
        std::wstring const expected =
            dot == std::wstring::npos ? std::wstring() : path.substr(dot + 1, path.find(L'.', dot + 1) - dot - 1);
        LogCapture log;
        EXPECT_EQ(expected, text(card.instanceId()));
        EXPECT_EQ(expected.empty(), log.contains("Unrecognized device id format", 3)) << log.dump();

        SoundCard found;
        ASSERT_TRUE(SoundCard::createSoundCard(card.instanceId(), found)) << path.c_str();
        EXPECT_EQ(0, orv::String::compareNoCase(found.instanceId(), card.instanceId()));
    }
}

// The short-lived lister lists every state of one flow, replacing what the
// output held.
TEST_F(RealStackCards, ShortLivedListerReplacesItsOutput) {
    libSonvane::EndpointDeviceEnumerator lister;
    ASSERT_TRUE(lister.isInitialized());
    orv::Array<AudioDevice> devices;
    lister.audioDevices(eCapture, devices);
    LogCapture log;
    orv::Uint32 const count = lister.audioDevices(eRender, devices);
    std::vector<std::wstring> expected;
    for (PlatformEndpoint const& endpoint : listDirectly(eRender, DEVICE_STATEMASK_ALL)) {
        expected.push_back(endpoint.id);
    }
    EXPECT_EQ(expected.size(), count);
    EXPECT_EQ(expected, idsOf(devices));
    EXPECT_TRUE(log.contains("Device state index 15 found " + std::to_string(count) + " devices", 2)) << log.dump();
}

}  // namespace

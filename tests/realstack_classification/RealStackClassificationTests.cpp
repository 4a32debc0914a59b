// Endpoint classification against the machine's own audio stack. Wine has no
// device topology and no enumerator name in its stores, so every endpoint
// reads as: no jack, a zero node type, an empty enumerator name. Each
// question must answer that without a crash, and the answers are fixed:
//
//   isInternalMicrophone    false: the zero node type is not a microphone
//                           ("... is not a recognized microphone device.")
//   isExternalAnalogJack    false: no jack ("Audio device has no topology")
//   isUSBMicrophone         false: no enumerator name
//   isVirtualDevice         false: no enumerator name
//   isIntegratedMicrophone  true: nothing turns the endpoint away, so the
//                           last step decides, render endpoints included
#include <libSonvane/libSonvane.h>

#include "LogCapture.h"

#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>

#include <string>

namespace {

class RealStackClassification : public ::testing::Test {
protected:
    void SetUp() override { CoInitialize(nullptr); }
    void TearDown() override { CoUninitialize(); }

    // Every endpoint of both directions, in every state.
    static orv::Array<AudioDevice> allEndpoints() {
        libSonvane::EndpointDeviceEnumerator lister;
        EXPECT_TRUE(lister.isInitialized()) << "no device enumerator: is the audio stack running?";
        orv::Array<AudioDevice> all;
        if (!lister.isInitialized()) {
            return all;
        }
        orv::Array<AudioDevice> capture;
        lister.audioDevices(eRender, all);
        lister.audioDevices(eCapture, capture);
        for (unsigned int index = 0; index < capture.size(); ++index) {
            all.append(capture[index]);
        }
        return all;
    }
};

TEST_F(RealStackClassification, EveryEndpointIsClassifiedAsAnEndpointWithoutTopology) {
    orv::Array<AudioDevice> endpoints = allEndpoints();
    ASSERT_GT(endpoints.size(), 1u) << "the stack should offer at least its default endpoints";

    for (unsigned int index = 0; index < endpoints.size(); ++index) {
        AudioDevice& device = endpoints[index];
        std::string const name = device.deviceProperty().friendlyName.toUtf8();
        SCOPED_TRACE(name);
        ASSERT_TRUE(!device.deviceTopology()) << "this stack has a device topology: the answers differ";
        ASSERT_TRUE(device.deviceProperty().enumeratorName.empty()) << "this stack names its enumerators";

        LogCapture log;
        EXPECT_FALSE(libSonvane::isInternalMicrophone(device));
        EXPECT_TRUE(log.contains(" is not a recognized microphone device.", 3)) << log.dump();

        log.clear();
        EXPECT_FALSE(libSonvane::isExternalAnalogJack(device));
        EXPECT_TRUE(log.contains("Audio device has no topology", 3)) << log.dump();
        EXPECT_TRUE(log.contains("Number of jack information 0", 1));

        EXPECT_FALSE(libSonvane::isUSBMicrophone(device));
        EXPECT_FALSE(libSonvane::isVirtualDevice(device));

        log.clear();
        EXPECT_TRUE(libSonvane::isIntegratedMicrophone(device));
        EXPECT_TRUE(log.contains("Is not a KSNODETYPE_MICROPHONE node", 1)) << log.dump();
    }
}

}  // namespace

// Volume controllers: the percent formulas of both variants against the
// simulator's level nodes and endpoint volume, mute, failing getters, and what
// a controller without an interface still answers.
#include <libSonvane/volumecontroller.h>

#include "LogCapture.h"
#include "SimulatedObjects.h"

#include <audiosim/Machine.h>

#include <gtest/gtest.h>

namespace {

using topologytests::activate;
using topologytests::simulatedDevice;
using topologytests::simulatedTopology;
using topologytests::speakersId;
using topologytests::volumeMachine;

// The regular controller of one subunit of the speakers' topology.
VolumeController<RegularVolumeController> subunitController(audiosim::Machine& machine, unsigned int index) {
    AudioDeviceTopology topology = simulatedTopology(machine, speakersId);
    AudioPart node = topology.subunit()[index].part();
    RegularVolumeController description{activate<IAudioVolumeLevel>(node), activate<IAudioMute>(node),
                                        node.subType(), node.name()};
    return VolumeController<RegularVolumeController>(description);
}

std::vector<float> masterNodeLevels(audiosim::Machine& machine) {
    AudioDeviceTopology topology = simulatedTopology(machine, speakersId);
    return machine.part(topology.subunit()[0].id().wideBuffer()).volume->levelsDb;
}

TEST(VolumeControllerTest, RegularControlComputesPercentFromItsDecibelRange) {
    audiosim::Machine machine = volumeMachine();
    VolumeController<RegularVolumeController> controller = subunitController(machine, 0);
    ASSERT_TRUE(controller.hasVolumeControl());
    ASSERT_EQ(2u, controller.numChannel());

    // -48 dB is half way through -96..0: 50 per channel, while the master
    // formula adds its half inside the product and reads 100.
    EXPECT_EQ(50u, controller.volumeLevelPercent(0));
    EXPECT_EQ(50u, controller.volumeLevelPercent(1));
    EXPECT_EQ(100u, controller.masterVolumeLevelPercent());

    VolumeControllerInterface::DbVolumeRange range = {};
    EXPECT_TRUE(controller.volumeRangeDecibel(1, range));
    EXPECT_FLOAT_EQ(-96.0f, range.minimum);
    EXPECT_FLOAT_EQ(0.0f, range.maximum);

    // Percent goes in as a point of the range and reads back in decibels.
    EXPECT_TRUE(controller.setVolumeLevelPercent(0, 25));
    EXPECT_FLOAT_EQ(-72.0f, controller.volumeLevelDecibel(0));
    EXPECT_FLOAT_EQ(-48.0f, controller.volumeLevelDecibel(1));
    EXPECT_FLOAT_EQ(-60.0f, controller.masterVolumeLevelDecibel());
    EXPECT_FLOAT_EQ(-72.0f, masterNodeLevels(machine)[0]);
    EXPECT_EQ(25u, controller.volumeLevelPercent(0));

    // No master percent setter on a topology node; the decibel one works.
    EXPECT_FALSE(controller.setMasterVolumeLevelPercent(80));
    EXPECT_FLOAT_EQ(-72.0f, masterNodeLevels(machine)[0]);
    EXPECT_TRUE(controller.setMasterVolumeLevelDecibel(0.0f));
    EXPECT_EQ(150u, controller.masterVolumeLevelPercent());
    EXPECT_TRUE(controller.setMasterVolumeLevelDecibel(-96.0f));
    EXPECT_EQ(50u, controller.masterVolumeLevelPercent());
    EXPECT_EQ(0u, controller.volumeLevelPercent(1));

    EXPECT_FALSE(controller.setVolumeLevelDecibel(5, -10.0f)) << "a channel the node does not have";
}

TEST(VolumeControllerTest, RegularControlMutesOnlyWhereTheNodeHasAMute) {
    audiosim::Machine machine = volumeMachine();
    VolumeController<RegularVolumeController> withMute = subunitController(machine, 0);
    ASSERT_TRUE(withMute.hasMuteControl());
    EXPECT_FALSE(withMute.isMuted());
    EXPECT_TRUE(withMute.setMute(true));
    EXPECT_TRUE(withMute.isMuted());
    AudioDeviceTopology topology = simulatedTopology(machine, speakersId);
    EXPECT_TRUE(*machine.part(topology.subunit()[0].id().wideBuffer()).mute);

    // A mute that cannot be read counts as muted.
    EXPECT_TRUE(withMute.setMute(false));
    machine.faults().add(audiosim::Fault::on(L"IAudioMute::GetMute", E_FAIL));
    EXPECT_TRUE(withMute.isMuted());

    VolumeController<RegularVolumeController> withoutMute = subunitController(machine, 1);
    EXPECT_TRUE(withoutMute.hasVolumeControl());
    EXPECT_FALSE(withoutMute.hasMuteControl());
}

TEST(VolumeControllerTest, EndpointControlRoundsScalarsAndReadsFailuresAsZeroOrMuted) {
    audiosim::Machine machine = volumeMachine();
    VolumeController<EndpointVolumeController> controller = topologytests::endpointController(machine);
    ASSERT_EQ(2u, controller.numChannel());

    EXPECT_EQ(50u, controller.volumeLevelPercent(0));   // scalar 0.504
    EXPECT_EQ(51u, controller.volumeLevelPercent(1));   // scalar 0.506
    EXPECT_EQ(51u, controller.masterVolumeLevelPercent());
    EXPECT_FLOAT_EQ(-49.6f, controller.volumeLevelDecibel(0));

    EXPECT_TRUE(controller.setVolumeLevelPercent(0, 30));
    EXPECT_FLOAT_EQ(-70.0f, machine.endpointVolume(speakersId).levelsDb[0]);
    EXPECT_TRUE(controller.setMasterVolumeLevelPercent(100));
    EXPECT_EQ(100u, controller.masterVolumeLevelPercent());
    EXPECT_TRUE(controller.setMasterVolumeLevelDecibel(-20.0f));
    EXPECT_FLOAT_EQ(-20.0f, controller.masterVolumeLevelDecibel());

    EXPECT_FALSE(controller.isMuted());
    EXPECT_TRUE(controller.setMute(true));
    EXPECT_TRUE(machine.endpointVolume(speakersId).muted);
    EXPECT_TRUE(controller.setMute(false));

    // Failing getters are not examined: a level reads 0 percent, the mute
    // reads muted, and refused setters answer false.
    machine.faults().add(audiosim::Fault::on(L"IAudioEndpointVolume::GetChannelVolumeLevelScalar", E_FAIL));
    machine.faults().add(audiosim::Fault::on(L"IAudioEndpointVolume::GetMute", E_FAIL));
    machine.faults().add(audiosim::Fault::on(L"IAudioEndpointVolume::SetMute", E_ACCESSDENIED));
    EXPECT_EQ(0u, controller.volumeLevelPercent(0));
    EXPECT_TRUE(controller.isMuted());
    EXPECT_FALSE(controller.setMute(true));
}

TEST(VolumeControllerTest, ControllersWithoutInterfacesAnswerWithoutCallingThePlatform) {
    LogCapture log;
    EndpointVolumeController endpointDescription{nullptr, GUID(), orv::String("Speakers")};
    VolumeController<EndpointVolumeController> endpoint(endpointDescription);
    EXPECT_EQ(0u, endpoint.numChannel());
    // The endpoint variant claims both controls even around no interface.
    EXPECT_TRUE(endpoint.hasVolumeControl());
    EXPECT_TRUE(endpoint.hasMuteControl());
    EXPECT_TRUE(endpoint.ownerName() == orv::String("Speakers"));

    ATL::CComPtr<VolumeChangeNotification> notification;
    notification.Attach(new VolumeChangeNotification);
    EXPECT_FALSE(endpoint.registerVolumeChangeNotification(notification));
    EXPECT_TRUE(log.contains("Volume controller has not been initialized yet", 3)) << log.dump();

    VolumeController<RegularVolumeController> regular(RegularVolumeController{nullptr, nullptr, GUID(), orv::String()});
    EXPECT_EQ(0u, regular.numChannel());
    EXPECT_FALSE(regular.hasVolumeControl());
    EXPECT_FALSE(regular.hasMuteControl());
    EXPECT_FALSE(regular.registerVolumeChangeNotification(notification));
}

TEST(VolumeControllerDeathTest, RegularMasterPercentWithoutChannelsStops) {
    EXPECT_EXIT(
        {
            VolumeController<RegularVolumeController> regular(
                RegularVolumeController{nullptr, nullptr, GUID(), orv::String()});
            regular.masterVolumeLevelPercent();
        },
        testing::ExitedWithCode(7), "Assertion failed: numChannel\\(\\) > 0");
}

}  // namespace

// Volume controllers: the percent formulas of both variants against the
// simulator's level nodes and endpoint volume, mute, what each getter and
// setter of both variants makes of a refused platform call, and what a
// controller without an interface still answers.
#include <libSonvane/volumecontroller.h>

#include "LogCapture.h"
#include "SimulatedObjects.h"

#include <audiosim/Machine.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using topologytests::activate;
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

audiosim::Part masterNode(audiosim::Machine& machine) {
    AudioDeviceTopology topology = simulatedTopology(machine, speakersId);
    return machine.part(topology.subunit()[0].id().wideBuffer());
}

std::vector<float> masterNodeLevels(audiosim::Machine& machine) {
    return masterNode(machine).volume->levelsDb;
}

// Lines the controllers wrote above the trace level; a refused call is
// answered through the result alone.
size_t controllerReports(LogCapture const& log) {
    size_t reports = 0;
    for (LogCapture::Record const& record : log.records()) {
        if (record.category == "libSonvane.volumecontroller" && record.level > 1) {
            ++reports;
        }
    }
    return reports;
}

// Makes every later call of `method` fail with `result`, leaving its outs as
// they were or, with OutPointer::Set, filled as if it had worked.
void refuse(audiosim::Machine& machine, std::wstring const& method, HRESULT result = E_FAIL,
            audiosim::OutPointer out = audiosim::OutPointer::Null) {
    machine.faults().clear();
    machine.faults().add(audiosim::Fault::on(method, result).withOut(out));
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

TEST(VolumeControllerTest, EndpointGettersTakeWhatARefusedCallLeftInTheirOuts) {
    audiosim::Machine machine = volumeMachine();
    VolumeController<EndpointVolumeController> controller = topologytests::endpointController(machine);
    LogCapture log;

    // Refused before anything was written: each getter reads its start value.
    refuse(machine, L"IAudioEndpointVolume::GetChannelCount");
    EXPECT_EQ(0u, controller.numChannel());
    refuse(machine, L"IAudioEndpointVolume::GetChannelVolumeLevel");
    EXPECT_FLOAT_EQ(0.0f, controller.volumeLevelDecibel(1));
    refuse(machine, L"IAudioEndpointVolume::GetMasterVolumeLevel");
    EXPECT_FLOAT_EQ(0.0f, controller.masterVolumeLevelDecibel());
    refuse(machine, L"IAudioEndpointVolume::GetMasterVolumeLevelScalar");
    EXPECT_EQ(0u, controller.masterVolumeLevelPercent());

    // Written and then refused: the result is not looked at, so what was
    // written stands.
    refuse(machine, L"IAudioEndpointVolume::GetChannelCount", E_FAIL, audiosim::OutPointer::Set);
    EXPECT_EQ(2u, controller.numChannel());
    refuse(machine, L"IAudioEndpointVolume::GetChannelVolumeLevel", E_FAIL, audiosim::OutPointer::Set);
    EXPECT_FLOAT_EQ(-49.4f, controller.volumeLevelDecibel(1));
    refuse(machine, L"IAudioEndpointVolume::GetMasterVolumeLevel", E_FAIL, audiosim::OutPointer::Set);
    EXPECT_FLOAT_EQ(-49.4f, controller.masterVolumeLevelDecibel());
    refuse(machine, L"IAudioEndpointVolume::GetMasterVolumeLevelScalar", E_FAIL, audiosim::OutPointer::Set);
    EXPECT_EQ(51u, controller.masterVolumeLevelPercent());

    EXPECT_EQ(0u, controllerReports(log)) << log.dump();
}

TEST(VolumeControllerTest, EndpointSettersRefusedByThePlatformAnswerFalseAndChangeNothing) {
    audiosim::Machine machine = volumeMachine();
    VolumeController<EndpointVolumeController> controller = topologytests::endpointController(machine);
    LogCapture log;

    // Values the endpoint accepts when nothing is injected, so only the
    // refusal can say no.
    refuse(machine, L"IAudioEndpointVolume::SetChannelVolumeLevelScalar", E_ACCESSDENIED);
    EXPECT_FALSE(controller.setVolumeLevelPercent(0, 30));
    refuse(machine, L"IAudioEndpointVolume::SetMasterVolumeLevelScalar", E_ACCESSDENIED);
    EXPECT_FALSE(controller.setMasterVolumeLevelPercent(100));
    refuse(machine, L"IAudioEndpointVolume::SetMasterVolumeLevel");
    EXPECT_FALSE(controller.setMasterVolumeLevelDecibel(-20.0f));

    EXPECT_EQ((std::vector<float>{-49.6f, -49.4f}), machine.endpointVolume(speakersId).levelsDb);
    EXPECT_EQ(0u, controllerReports(log)) << log.dump();
}

TEST(VolumeControllerTest, RegularControlComputesOnFromWhatARefusedReadingLeft) {
    audiosim::Machine machine = volumeMachine();
    VolumeController<RegularVolumeController> controller = subunitController(machine, 0);
    LogCapture log;

    refuse(machine, L"IAudioVolumeLevel::GetChannelCount");
    EXPECT_EQ(0u, controller.numChannel());
    refuse(machine, L"IAudioVolumeLevel::GetChannelCount", E_FAIL, audiosim::OutPointer::Set);
    EXPECT_EQ(2u, controller.numChannel());

    // The mean asks for the channel count at every step: a count refused on
    // the second step ends the sum after channel 0, and the division asks
    // again and gets 2.
    machine.faults().clear();
    machine.faults().add(audiosim::Fault::on(L"IAudioVolumeLevel::GetChannelCount", E_FAIL).onCall(2));
    EXPECT_FLOAT_EQ(-24.0f, controller.masterVolumeLevelDecibel());

    // A refused level reads 0 dB, the top of this node's range, and the
    // percents are computed from that.
    refuse(machine, L"IAudioVolumeLevel::GetLevel");
    EXPECT_FLOAT_EQ(0.0f, controller.volumeLevelDecibel(0));
    EXPECT_EQ(100u, controller.volumeLevelPercent(0));
    EXPECT_EQ(150u, controller.masterVolumeLevelPercent());

    // A refused range answers false whatever was written into the record.
    VolumeControllerInterface::DbVolumeRange range = {1.0f, 2.0f, 3.0f};
    refuse(machine, L"IAudioVolumeLevel::GetLevelRange");
    EXPECT_FALSE(controller.volumeRangeDecibel(0, range));
    EXPECT_FLOAT_EQ(1.0f, range.minimum);
    EXPECT_FLOAT_EQ(2.0f, range.maximum);
    refuse(machine, L"IAudioVolumeLevel::GetLevelRange", E_FAIL, audiosim::OutPointer::Set);
    EXPECT_FALSE(controller.volumeRangeDecibel(0, range));
    EXPECT_FLOAT_EQ(-96.0f, range.minimum);

    // The percent setter goes on over a range of 0..0 dB, where every
    // percent is 0 dB.
    refuse(machine, L"IAudioVolumeLevel::GetLevelRange");
    EXPECT_TRUE(controller.setVolumeLevelPercent(1, 25));
    EXPECT_EQ((std::vector<float>{-48.0f, 0.0f}), masterNodeLevels(machine));

    EXPECT_EQ(0u, controllerReports(log)) << log.dump();
}

TEST(VolumeControllerTest, RegularSettersRefusedByTheNodeAnswerFalseAndChangeNothing) {
    audiosim::Machine machine = volumeMachine();
    VolumeController<RegularVolumeController> controller = subunitController(machine, 0);
    LogCapture log;

    refuse(machine, L"IAudioVolumeLevel::SetLevel", E_ACCESSDENIED);
    EXPECT_FALSE(controller.setVolumeLevelDecibel(0, -10.0f));
    EXPECT_FALSE(controller.setVolumeLevelPercent(1, 75));
    refuse(machine, L"IAudioVolumeLevel::SetLevelUniform");
    EXPECT_FALSE(controller.setMasterVolumeLevelDecibel(-20.0f));
    refuse(machine, L"IAudioMute::SetMute");
    EXPECT_FALSE(controller.setMute(true));

    machine.faults().clear();
    audiosim::Part node = masterNode(machine);
    EXPECT_EQ((std::vector<float>{-48.0f, -48.0f}), node.volume->levelsDb);
    EXPECT_FALSE(*node.mute);
    EXPECT_EQ(0u, controllerReports(log)) << log.dump();
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

// The endpoint volume: decibels and scalars on one linear scale, the master
// as the loudest channel, the range enforced, steps.
#include "SimulatorTestSupport.h"

namespace simtests {
namespace {

class VolumeTest : public ComTest {};

ATL::CComPtr<IAudioEndpointVolume> endpointVolume(audiosim::Machine& machine, const wchar_t* id) {
    ATL::CComPtr<IAudioEndpointVolume> volume;
    device(machine, id)->Activate(__uuidof(IAudioEndpointVolume), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&volume));
    return volume;
}

TEST_F(VolumeTest, ScalarsMapLinearlyOntoTheRangeAndTheMasterMovesAllChannels) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IAudioEndpointVolume> volume = endpointVolume(machine, speakersId);
    float minDb = 0, maxDb = 0, stepDb = 0;
    volume->GetVolumeRange(&minDb, &maxDb, &stepDb);
    EXPECT_FLOAT_EQ(-65.25f, minDb);
    EXPECT_FLOAT_EQ(0.0f, maxDb);
    EXPECT_FLOAT_EQ(0.75f, stepDb);

    ASSERT_EQ(S_OK, volume->SetMasterVolumeLevelScalar(0.5f, nullptr));
    float db = 0;
    volume->GetMasterVolumeLevel(&db);
    EXPECT_FLOAT_EQ(-32.625f, db);

    // Channels apart: the master is the louder one and moves both.
    ASSERT_EQ(S_OK, volume->SetChannelVolumeLevel(0, -40.0f, nullptr));
    volume->GetMasterVolumeLevel(&db);
    EXPECT_FLOAT_EQ(-32.625f, db);
    ASSERT_EQ(S_OK, volume->SetMasterVolumeLevel(-10.0f, nullptr));
    volume->GetChannelVolumeLevel(0, &db);
    EXPECT_FLOAT_EQ(-17.375f, db);
    float scalar = 0;
    volume->GetChannelVolumeLevelScalar(1, &scalar);
    EXPECT_FLOAT_EQ((65.25f - 10.0f) / 65.25f, scalar);
    // Moving the master down to the floor keeps the quieter channel at it.
    volume->SetMasterVolumeLevelScalar(0.0f, nullptr);
    volume->GetChannelVolumeLevel(0, &db);
    EXPECT_FLOAT_EQ(-65.25f, db);

    // Out of range and unknown channels are refused and change nothing.
    volume->SetMasterVolumeLevel(-6.0f, nullptr);
    EXPECT_EQ(E_INVALIDARG, volume->SetMasterVolumeLevelScalar(1.5f, nullptr));
    EXPECT_EQ(E_INVALIDARG, volume->SetMasterVolumeLevel(0.5f, nullptr));
    EXPECT_EQ(E_INVALIDARG, volume->SetChannelVolumeLevel(2, -6.0f, nullptr));
    EXPECT_EQ(E_INVALIDARG, volume->GetChannelVolumeLevel(2, &db));
    volume->GetMasterVolumeLevel(&db);
    EXPECT_FLOAT_EQ(-6.0f, db);

    UINT step = 0, steps = 0;
    volume->GetVolumeStepInfo(&step, &steps);
    EXPECT_EQ(88u, steps);
    EXPECT_EQ(79u, step);
    volume->VolumeStepUp(nullptr);
    volume->GetVolumeStepInfo(&step, &steps);
    EXPECT_EQ(80u, step);

    // Another object on the same endpoint, and the machine, see the same.
    float other = 0;
    endpointVolume(machine, speakersId)->GetMasterVolumeLevel(&other);
    EXPECT_FLOAT_EQ(-5.25f, other);
    EXPECT_FLOAT_EQ(-5.25f, machine.endpointVolume(speakersId).masterDb());
}

TEST_F(VolumeTest, AnEndpointWithoutVolumeRefusesTheInterface) {
    audiosim::Machine machine = audiosim::Machine::fromJson(R"({"endpoints": [
        {"id": "{0.0.0.00000000}.{00000000-0000-4000-8000-000000000001}", "flow": "render", "volume": null}]})",
                                                             "novolume.json");
    ATL::CComPtr<IAudioEndpointVolume> volume;
    EXPECT_EQ(E_NOINTERFACE, device(machine, L"{0.0.0.00000000}.{00000000-0000-4000-8000-000000000001}")
                                 ->Activate(__uuidof(IAudioEndpointVolume), CLSCTX_ALL, nullptr,
                                            reinterpret_cast<void**>(&volume)));
    EXPECT_EQ(nullptr, volume.p);
}

}  // namespace
}  // namespace simtests

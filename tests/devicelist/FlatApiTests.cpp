// The flat device list on simulated machines: what a plain caller sees of
// every device state, of unreadable devices, of bad indexes, and of the life
// of the flat enumerator.
#include "SimulatedMachine.h"

#include <LogCapture.h>

#include <audiosim/Faults.h>

namespace devicelist {
namespace {

wchar_t const kSpeakers[] = L"{0.0.0.00000000}.{11111111-0000-0000-0000-000000000001}";
wchar_t const kDisabled[] = L"{0.0.0.00000000}.{11111111-0000-0000-0000-000000000002}";
wchar_t const kNotPresent[] = L"{0.0.0.00000000}.{11111111-0000-0000-0000-000000000004}";
wchar_t const kUnplugged[] = L"{0.0.0.00000000}.{11111111-0000-0000-0000-000000000008}";
wchar_t const kMicrophone[] = L"{0.0.1.00000000}.{22222222-0000-0000-0000-000000000001}";

std::wstring nameAt(bool render, unsigned int i) { return flatText(getDeviceNameLength, getDeviceName, render, i); }
std::wstring descriptionAt(bool render, unsigned int i) {
    return flatText(getDeviceDescriptionLength, getDeviceDescription, render, i);
}
std::wstring idAt(bool render, unsigned int i) { return flatText(getDeviceIdLength, getDeviceId, render, i); }

class FlatApi : public SimulatedMachineTest {
protected:
    // Four render endpoints, one per device state in the order of the state
    // bits, and one capture endpoint.
    audiosim::Machine& installFourStates() {
        audiosim::MachineDescription description;
        describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
        describeEndpoint(description, eRender, kDisabled, DEVICE_STATE_DISABLED, L"Line Out", L"Realtek Audio");
        describeEndpoint(description, eRender, kNotPresent, DEVICE_STATE_NOTPRESENT, L"Headset", L"USB Headset");
        describeEndpoint(description, eRender, kUnplugged, DEVICE_STATE_UNPLUGGED, L"Headphones", L"Realtek Audio");
        describeEndpoint(description, eCapture, kMicrophone, DEVICE_STATE_ACTIVE, L"Microphone", L"Webcam");
        return install(description);
    }
};

TEST_F(FlatApi, ListsEveryDeviceStateInCollectionOrderWithNameAndDescriptionCrosswise) {
    audiosim::Machine& simulated = installFourStates();
    ASSERT_TRUE(initialize());
    ASSERT_EQ(4u, numDevices(true));
    ASSERT_EQ(1u, numDevices(false));
    wchar_t const* const ids[] = {kSpeakers, kDisabled, kNotPresent, kUnplugged};
    wchar_t const* const names[] = {L"Speakers", L"Line Out", L"Headset", L"Headphones"};
    for (unsigned int i = 0; i < 4; ++i) {
        EXPECT_EQ(ids[i], idAt(true, i));
        EXPECT_EQ(1u << i, getDeviceState(true, i));
        EXPECT_EQ(names[i], nameAt(true, i));
        EXPECT_EQ(0xFFFFFFFFu, getDeviceType(true, i)) << "no topology, no node type";
    }
    EXPECT_EQ(L"USB Headset", descriptionAt(true, 2));
    EXPECT_EQ(L"Webcam", descriptionAt(false, 0));

    std::vector<audiosim::CallRecord> const enumerations = simulated.calls().of(L"IMMDeviceEnumerator::EnumAudioEndpoints");
    ASSERT_EQ(2u, enumerations.size());
    EXPECT_EQ(L"eRender, 15", enumerations[0].arguments);
    EXPECT_EQ(L"eCapture, 15", enumerations[1].arguments);
}

TEST_F(FlatApi, IndexAtOrPastTheEndGetsTheOutOfRangeAnswersAndNothingIsWritten) {
    installFourStates();
    ASSERT_TRUE(initialize());
    for (unsigned int index : {1u, 0xFFFFFFFFu}) {
        wchar_t guard = L'#';
        EXPECT_FALSE(getDeviceName(false, index, &guard));
        EXPECT_FALSE(getDeviceDescription(false, index, &guard));
        EXPECT_FALSE(getDeviceId(false, index, &guard));
        EXPECT_EQ(L'#', guard);
        EXPECT_EQ(0u, getDeviceNameLength(false, index) + getDeviceDescriptionLength(false, index) +
                          getDeviceIdLength(false, index) + getDeviceState(false, index));
        EXPECT_EQ(0xFFFFFFFFu, getDeviceType(false, index));
    }
}

TEST_F(FlatApi, DirectionWithoutEndpointsIsEnumeratedAgainAtEveryQueryAFilledOneNever) {
    audiosim::MachineDescription description;
    describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    audiosim::Machine& simulated = install(description);
    ASSERT_TRUE(initialize());

    EXPECT_EQ(0u, numDevices(false));
    EXPECT_EQ(0u, getDeviceState(false, 0));
    EXPECT_EQ(0xFFFFFFFFu, getDeviceType(false, 0));
    EXPECT_EQ(3u, simulated.calls().count(L"IMMDeviceEnumerator::EnumAudioEndpoints"));

    EXPECT_EQ(1u, numDevices(true));
    simulated.setState(kSpeakers, DEVICE_STATE_DISABLED);
    EXPECT_EQ(DEVICE_STATE_ACTIVE, getDeviceState(true, 0)) << "a filled list stays as it was read";
    EXPECT_EQ(4u, simulated.calls().count(L"IMMDeviceEnumerator::EnumAudioEndpoints"));
}

TEST_F(FlatApi, UnreadableKeysAndStoresLeaveEmptyFieldsAndTheDevicesListed) {
    audiosim::MachineDescription description;
    audiosim::Device& speakers =
        describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    speakers.set(L"PKEY_Device_DeviceDesc", audiosim::PropertyValue::uint32(7));
    speakers.erase(AudioDevice::m_friendlyName);
    describeEndpoint(description, eRender, kDisabled, DEVICE_STATE_DISABLED, L"Line Out", L"Realtek Audio");
    describeEndpoint(description, eRender, kUnplugged, DEVICE_STATE_UNPLUGGED, L"Headphones", L"Realtek Audio");
    audiosim::Machine& simulated = install(description);
    simulated.faults().add(audiosim::Fault::on(L"IMMDevice::OpenPropertyStore", E_OUTOFMEMORY).at(kDisabled));
    // The third read of the last device's store is refused.
    simulated.faults().add(audiosim::Fault::on(L"IPropertyStore::GetValue", E_ACCESSDENIED).at(kUnplugged).onCall(3));

    LogCapture log;
    ASSERT_TRUE(initialize());
    ASSERT_EQ(3u, numDevices(true));
    EXPECT_TRUE(log.contains("Cannot get PKEY_Device_DeviceDesc information.", 2)) << log.dump();
    EXPECT_TRUE(log.contains("Fail to get device friendly name ", 2)) << log.dump();
    EXPECT_EQ(L"", nameAt(true, 0)) << "an empty text copies nothing and succeeds";
    EXPECT_EQ(L"", descriptionAt(true, 0));
    EXPECT_EQ(DEVICE_STATE_ACTIVE, getDeviceState(true, 0));

    EXPECT_TRUE(log.contains("OpenPropertyStore returns 0x8007000E", 2)) << log.dump();
    EXPECT_EQ(kDisabled, idAt(true, 1));
    EXPECT_EQ(0u, getDeviceNameLength(true, 1));
    EXPECT_EQ(0xFFFFFFFFu, getDeviceState(true, 1)) << "the state is read only after the store opened";

    EXPECT_TRUE(log.contains("IPropertyStore::GetValue failed 0x80070005", 3)) << log.dump();
    EXPECT_TRUE(log.contains("Cannot get PKEY_AudioEndpoint_Supports_EventDriven_Mode", 2)) << log.dump();
    EXPECT_EQ(L"Realtek Audio", descriptionAt(true, 2)) << "the keys after a refused one are still read";
}

// The count is preset to none, so a refused count lists nothing; an empty
// list is not kept, and the next query asks the platform again. The count's
// result is not looked at: a count delivered with a failure is used.
TEST_F(FlatApi, RefusedCountListsNothingUntilTheNextQueryAsksAgain) {
    audiosim::Machine& simulated = installFourStates();
    simulated.faults().add(audiosim::Fault::on(L"IMMDeviceCollection::GetCount", E_FAIL).onCall(1));
    simulated.faults().add(audiosim::Fault::on(L"IMMDeviceCollection::GetCount", E_FAIL)
                               .onCall(3)
                               .withOut(audiosim::OutPointer::Set));
    ASSERT_TRUE(initialize());

    LogCapture log;
    EXPECT_EQ(0u, numDevices(true));
    EXPECT_TRUE(log.contains("Found 0 devices", 2)) << log.dump();
    EXPECT_EQ(kSpeakers, idAt(true, 0));
    EXPECT_EQ(4u, numDevices(true));
    EXPECT_EQ(1u, numDevices(false));
    EXPECT_EQ(L"Webcam", descriptionAt(false, 0));
    EXPECT_EQ(3u, simulated.calls().count(L"IMMDeviceEnumerator::EnumAudioEndpoints"));
}

TEST_F(FlatApi, InitializeAndTearDownInAnyNumberAndAfterAFailedCreation) {
    audiosim::Machine& simulated = installFourStates();
    simulated.faults().add(audiosim::Fault::on(L"IClassFactory::CreateInstance", REGDB_E_CLASSNOTREG).firstCalls(1));
    tearDown();
    LogCapture log;
    EXPECT_FALSE(initialize());
    EXPECT_TRUE(log.contains("CoCreateInstance returns 0x80040154", 3)) << log.dump();

    ASSERT_TRUE(initialize());
    ASSERT_TRUE(initialize());
    EXPECT_EQ(2u, simulated.calls().count(L"IClassFactory::CreateInstance"));
    EXPECT_EQ(4u, numDevices(true));
    EXPECT_EQ(1u, numDevices(false));
    tearDown();
    EXPECT_EQ(0u, simulated.liveReferences(L"IMMDeviceEnumerator"));
    EXPECT_EQ(0u, simulated.liveReferences(std::wstring(L"IMMDevice ") + kSpeakers));
    EXPECT_EQ(0u, simulated.liveReferences(std::wstring(L"IPropertyStore ") + kMicrophone));
    tearDown();

    ASSERT_TRUE(initialize());
    EXPECT_EQ(kUnplugged, idAt(true, 3));
}

TEST_F(FlatApi, EnumeratorMakesNewObjectsWhileTheFactoryKeepsOne) {
    libSonvane::SharedAudioDeviceEnumerator first = libSonvane::enumerator();
    libSonvane::SharedAudioDeviceEnumerator second = libSonvane::enumerator();
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(1u, first.referenceCount());
    libSonvane::AudioDeviceEnumeratorFactory::EnumeratorHolder& once = libSonvane::AudioDeviceEnumeratorFactory::enumerator();
    ASSERT_FALSE(once.isNil());
    EXPECT_EQ(&once, &libSonvane::AudioDeviceEnumeratorFactory::enumerator());
    EXPECT_EQ(once.get(), libSonvane::AudioDeviceEnumeratorFactory::enumerator().get());

    // A copy runs no CoInitialize of its own, yet its end uninitialises COM
    // once more: the test gives it that count beforehand.
    LogCapture log;
    CoInitialize(nullptr);
    { libSonvane::AudioDeviceEnumerator const copy(*first); }
    EXPECT_EQ(0u, log.count("CoInitialize returns", 1)) << log.dump();
}

}  // namespace
}  // namespace devicelist

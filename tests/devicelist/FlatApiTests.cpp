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

class FlatApi : public SimulatedMachineTest {
protected:
    // Four render endpoints, one per device state, and one capture endpoint.
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
    installFourStates();
    ASSERT_TRUE(initialize());

    ASSERT_EQ(4u, numDevices(true));
    ASSERT_EQ(1u, numDevices(false));
    struct Expected {
        wchar_t const* id;
        DWORD state;
        wchar_t const* name;
        wchar_t const* description;
    } const render[] = {
        {kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio"},
        {kDisabled, DEVICE_STATE_DISABLED, L"Line Out", L"Realtek Audio"},
        {kNotPresent, DEVICE_STATE_NOTPRESENT, L"Headset", L"USB Headset"},
        {kUnplugged, DEVICE_STATE_UNPLUGGED, L"Headphones", L"Realtek Audio"},
    };
    for (unsigned int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(render[i].id, flatId(true, i));
        EXPECT_EQ(render[i].state, getDeviceState(true, i));
        EXPECT_EQ(render[i].name, flatName(true, i));
        EXPECT_EQ(render[i].description, flatDescription(true, i));
        EXPECT_EQ(0xFFFFFFFFu, getDeviceType(true, i)) << "no topology, no node type";
    }
    EXPECT_EQ(kMicrophone, flatId(false, 0));
    EXPECT_EQ(L"Microphone", flatName(false, 0));

    std::vector<audiosim::CallRecord> const enumerations = machine().calls().of(L"IMMDeviceEnumerator::EnumAudioEndpoints");
    ASSERT_EQ(2u, enumerations.size()) << "each direction is enumerated once and then kept";
    EXPECT_EQ(L"eRender, 15", enumerations[0].arguments);
    EXPECT_EQ(L"eCapture, 15", enumerations[1].arguments);
}

TEST_F(FlatApi, ListIsASnapshotUntilTearDown) {
    audiosim::Machine& simulated = installFourStates();
    ASSERT_TRUE(initialize());
    ASSERT_EQ(DEVICE_STATE_ACTIVE, getDeviceState(true, 0));

    simulated.setState(kSpeakers, DEVICE_STATE_DISABLED);
    EXPECT_EQ(DEVICE_STATE_ACTIVE, getDeviceState(true, 0));

    tearDown();
    ASSERT_TRUE(initialize());
    EXPECT_EQ(DEVICE_STATE_DISABLED, getDeviceState(true, 0));
}

TEST_F(FlatApi, IndexAtOrPastTheEndGetsTheOutOfRangeAnswersAndNothingIsWritten) {
    installFourStates();
    ASSERT_TRUE(initialize());
    for (unsigned int index : {1u, 2u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(index);
        wchar_t guard[2] = {L'#', L'#'};
        EXPECT_FALSE(getDeviceName(false, index, guard));
        EXPECT_FALSE(getDeviceDescription(false, index, guard));
        EXPECT_FALSE(getDeviceId(false, index, guard));
        EXPECT_EQ(L'#', guard[0]);
        EXPECT_EQ(0u, getDeviceNameLength(false, index));
        EXPECT_EQ(0u, getDeviceDescriptionLength(false, index));
        EXPECT_EQ(0u, getDeviceIdLength(false, index));
        EXPECT_EQ(0u, getDeviceState(false, index));
        EXPECT_EQ(0xFFFFFFFFu, getDeviceType(false, index));
    }
    EXPECT_EQ(0u, getDeviceIdLength(true, 4));
    EXPECT_NE(0u, getDeviceIdLength(true, 3));
}

TEST_F(FlatApi, DirectionWithoutEndpointsIsEnumeratedAgainAtEveryQuery) {
    audiosim::MachineDescription description;
    describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    audiosim::Machine& simulated = install(description);
    ASSERT_TRUE(initialize());
    audiosim::CallLog& calls = simulated.calls();

    EXPECT_EQ(0u, numDevices(false));
    EXPECT_EQ(0u, getDeviceState(false, 0));
    EXPECT_EQ(0u, getDeviceIdLength(false, 0));
    EXPECT_EQ(0xFFFFFFFFu, getDeviceType(false, 0));
    EXPECT_EQ(4u, calls.count(L"IMMDeviceEnumerator::EnumAudioEndpoints"));

    EXPECT_EQ(1u, numDevices(true));
    EXPECT_EQ(1u, numDevices(true));
    EXPECT_EQ(DEVICE_STATE_ACTIVE, getDeviceState(true, 0));
    EXPECT_EQ(5u, calls.count(L"IMMDeviceEnumerator::EnumAudioEndpoints")) << "a filled list is kept";
}

TEST_F(FlatApi, UnreadableKeysLeaveEmptyTextsAndTheDeviceIsListed) {
    audiosim::MachineDescription description;
    audiosim::Device& speakers =
        describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    // A description of the wrong type and no friendly name at all.
    speakers.set(L"PKEY_Device_DeviceDesc", audiosim::PropertyValue::uint32(7));
    speakers.erase(AudioDevice::m_friendlyName);
    describeEndpoint(description, eRender, kUnplugged, DEVICE_STATE_UNPLUGGED, L"Headphones", L"Realtek Audio");
    audiosim::Machine& simulated = install(description);
    // The third read of the second device's store is refused.
    simulated.faults().add(audiosim::Fault::on(L"IPropertyStore::GetValue", E_ACCESSDENIED).at(kUnplugged).onCall(3));

    LogCapture log;
    ASSERT_TRUE(initialize());
    ASSERT_EQ(2u, numDevices(true));

    EXPECT_TRUE(log.contains("Cannot get PKEY_Device_DeviceDesc information.", 2)) << log.dump();
    EXPECT_TRUE(log.contains("Fail to get device friendly name ", 2)) << log.dump();
    EXPECT_EQ(0u, getDeviceNameLength(true, 0));
    wchar_t guard = L'#';
    EXPECT_TRUE(getDeviceName(true, 0, &guard)) << "an empty text copies nothing and succeeds";
    EXPECT_TRUE(getDeviceDescription(true, 0, &guard));
    EXPECT_EQ(L'#', guard);
    EXPECT_EQ(kSpeakers, flatId(true, 0));
    EXPECT_EQ(DEVICE_STATE_ACTIVE, getDeviceState(true, 0));

    EXPECT_TRUE(log.contains("IPropertyStore::GetValue failed 0x80070005", 3)) << log.dump();
    EXPECT_TRUE(log.contains("Cannot get PKEY_AudioEndpoint_Supports_EventDriven_Mode", 2)) << log.dump();
    EXPECT_EQ(L"Headphones", flatName(true, 1)) << "the keys after a refused one are still read";
    EXPECT_EQ(L"Realtek Audio", flatDescription(true, 1));
    EXPECT_EQ(DEVICE_STATE_UNPLUGGED, getDeviceState(true, 1));
}

TEST_F(FlatApi, DeviceWhoseStoreCannotBeOpenedIsListedWithItsIdOnly) {
    audiosim::Machine& simulated = installFourStates();
    simulated.faults().add(audiosim::Fault::on(L"IMMDevice::OpenPropertyStore", E_OUTOFMEMORY).at(kDisabled));

    LogCapture log;
    ASSERT_TRUE(initialize());
    ASSERT_EQ(4u, numDevices(true));
    EXPECT_TRUE(log.contains("OpenPropertyStore returns 0x8007000E", 2)) << log.dump();
    EXPECT_EQ(kDisabled, flatId(true, 1));
    EXPECT_EQ(0u, getDeviceNameLength(true, 1));
    EXPECT_EQ(0u, getDeviceDescriptionLength(true, 1));
    EXPECT_EQ(0xFFFFFFFFu, getDeviceState(true, 1)) << "the state is read only after the store opened";
    EXPECT_EQ(L"Headset", flatName(true, 2)) << "the next device is read as usual";
}

TEST_F(FlatApi, FailedCreationOfThePlatformEnumeratorIsTriedAgainByTheNextInitialize) {
    audiosim::Machine& simulated = installFourStates();
    simulated.faults().add(audiosim::Fault::on(L"IClassFactory::CreateInstance", REGDB_E_CLASSNOTREG).firstCalls(1));

    LogCapture log;
    EXPECT_FALSE(initialize());
    EXPECT_TRUE(log.contains("CoCreateInstance returns 0x80040154", 3)) << log.dump();

    ASSERT_TRUE(initialize());
    EXPECT_EQ(4u, numDevices(true));
}

TEST_F(FlatApi, InitializeTwiceTearDownOnceReleasesEverythingAndStartsAnew) {
    audiosim::Machine& simulated = installFourStates();
    tearDown();
    tearDown();

    ASSERT_TRUE(initialize());
    ASSERT_TRUE(initialize());
    EXPECT_EQ(1u, simulated.calls().count(L"IClassFactory::CreateInstance")) << "the second initialize does nothing";
    EXPECT_EQ(4u, numDevices(true));
    EXPECT_EQ(1u, numDevices(false));
    EXPECT_NE(0u, simulated.liveReferences(L"IMMDeviceEnumerator"));

    tearDown();
    EXPECT_EQ(0u, simulated.liveReferences(L"IMMDeviceEnumerator"));
    EXPECT_EQ(0u, simulated.liveReferences(std::wstring(L"IMMDevice ") + kSpeakers));
    EXPECT_EQ(0u, simulated.liveReferences(std::wstring(L"IPropertyStore ") + kMicrophone));
    tearDown();

    ASSERT_TRUE(initialize());
    EXPECT_EQ(2u, simulated.calls().count(L"IClassFactory::CreateInstance"));
    EXPECT_EQ(kUnplugged, flatId(true, 3));
}

TEST_F(FlatApi, EnumeratorMakesNewObjectsWhileTheFactoryKeepsOne) {
    libSonvane::SharedAudioDeviceEnumerator first = libSonvane::enumerator();
    libSonvane::SharedAudioDeviceEnumerator second = libSonvane::enumerator();
    ASSERT_FALSE(first.isNil());
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(1u, first.referenceCount());

    libSonvane::AudioDeviceEnumeratorFactory::EnumeratorHolder& once = libSonvane::AudioDeviceEnumeratorFactory::enumerator();
    libSonvane::AudioDeviceEnumeratorFactory::EnumeratorHolder& twice = libSonvane::AudioDeviceEnumeratorFactory::enumerator();
    ASSERT_FALSE(once.isNil());
    EXPECT_EQ(&once, &twice);
    EXPECT_EQ(once.get(), twice.get());
}

}  // namespace
}  // namespace devicelist

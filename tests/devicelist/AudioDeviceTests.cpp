// AudioDevice on simulated machines: reading, the format it puts back when a
// changed copy dies, its topology and volume control, and its services.
#include "SimulatedMachine.h"

#include <LogCapture.h>

#include <audiosim/Faults.h>

namespace devicelist {
namespace {

wchar_t const kSpeakers[] = L"{0.0.0.00000000}.{33333333-0000-0000-0000-000000000001}";
wchar_t const kHeadphones[] = L"{0.0.0.00000000}.{33333333-0000-0000-0000-000000000002}";
wchar_t const kMicrophone[] = L"{0.0.1.00000000}.{44444444-0000-0000-0000-000000000001}";
wchar_t const kLineIn[] = L"{0.0.1.00000000}.{44444444-0000-0000-0000-000000000002}";
wchar_t const kCodecTopology[] = L"{2}.\\\\?\\hdaudio#func_01&ven_10ec&dev_0269#{6994ad04}\\etopo";

bool isZero(WAVEFORMATEXTENSIBLE const& format) {
    return bytesOf(format) == std::vector<BYTE>(sizeof format, 0);
}

// An endpoint whose first connector leads to the codec's connector `jack`.
void connectToCodec(audiosim::Device& endpoint, std::wstring const& jack) {
    endpoint.ensureTopology().addConnector(
        audiosim::Part::connector(L"Endpoint", Software_IO, In).connectTo(kCodecTopology, jack));
}

size_t topologyActivations(audiosim::CallLog& calls) {
    size_t count = 0;
    for (audiosim::CallRecord const& call : calls.of(L"IMMDevice::Activate")) {
        count += call.arguments.find(L"IID_IDeviceTopology") == 0 ? 1 : 0;
    }
    return count;
}

class AudioDeviceTest : public SimulatedMachineTest {
protected:
    // Speakers, headphones and a microphone on a codec, and a line input
    // with neither topology nor endpoint volume.
    audiosim::Machine& installCodec() {
        audiosim::MachineDescription description;
        audiosim::Device& codec = description.addAdapter(kCodecTopology, L"HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269\\1");
        codec.ensureTopology().addConnector(
            audiosim::Part::connector(L"Speaker", Physical_External, Out, audiosim::nodeType(L"KSNODETYPE_SPEAKER")));
        codec.ensureTopology().addConnector(audiosim::Part::connector(
            L"Headphone", Physical_External, Out, audiosim::nodeType(L"KSNODETYPE_HEADPHONES")));
        codec.ensureTopology().addConnector(
            audiosim::Part::connector(L"Mic", Physical_External, In, audiosim::nodeType(L"KSNODETYPE_MICROPHONE")));

        audiosim::Device& speakers =
            describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
        speakers.volume = audiosim::EndpointVolume();
        connectToCodec(speakers, L"Speaker");
        connectToCodec(describeEndpoint(description, eRender, kHeadphones, DEVICE_STATE_ACTIVE, L"Headphones",
                                        L"Realtek Audio"),
                       L"Headphone");
        connectToCodec(
            describeEndpoint(description, eCapture, kMicrophone, DEVICE_STATE_ACTIVE, L"Microphone", L"Realtek Audio"),
            L"Mic");
        describeEndpoint(description, eCapture, kLineIn, DEVICE_STATE_ACTIVE, L"Line In", L"Realtek Audio")
            .volume.reset();
        return install(description);
    }
};

TEST_F(AudioDeviceTest, ReadingFillsTheRecordFromEachKey) {
    audiosim::MachineDescription description;
    audiosim::Device& device =
        describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    device.set(L"PKEY_Device_EnumeratorName", audiosim::PropertyValue::string(L"HDAUDIO"));
    device.set(AudioDevice::m_instancePathKey, audiosim::PropertyValue::string(L"HDAUDIO\\FUNC_01\\1"));
    device.set(AudioDevice::m_driverNodeStrongName, audiosim::PropertyValue::string(L"hdxlv.inf:Realtek"));
    device.set(L"PKEY_AudioEndpoint_PhysicalSpeakers", audiosim::PropertyValue::uint32(3));
    device.set(L"PKEY_AudioEndpoint_Supports_EventDriven_Mode", audiosim::PropertyValue::uint32(1));
    device.set(L"PKEY_AudioEndpoint_GUID",
               audiosim::PropertyValue::string(L"{b3a4f7c2-5d1e-4a0b-9c3f-2e8d6a1b7c40}"));
    install(description);

    AudioDevice speakers(endpoint(kSpeakers));
    ASSERT_TRUE(speakers.isInitialized());
    AudioDeviceInterface::Properties const& record = speakers.deviceProperty();
    EXPECT_TRUE(record.deviceId == kSpeakers);
    EXPECT_TRUE(record.endpointType == L"Speakers");
    EXPECT_TRUE(record.friendlyName == L"Realtek Audio");
    EXPECT_TRUE(record.enumeratorName == L"HDAUDIO");
    EXPECT_TRUE(record.deviceInstancePath == L"HDAUDIO\\FUNC_01\\1");
    EXPECT_TRUE(record.driverNodeStrongName == L"hdxlv.inf:Realtek");
    EXPECT_EQ(3u, record.physicalSpeakerConfig);
    EXPECT_EQ(1u, record.supportsEventDriven);
    EXPECT_EQ(DEVICE_STATE_ACTIVE, record.state);
    EXPECT_EQ(bytesOf(stereoAt(48000)), bytesOf(record.deviceFormat));
    GUID const directSound = {0xb3a4f7c2, 0x5d1e, 0x4a0b, {0x9c, 0x3f, 0x2e, 0x8d, 0x6a, 0x1b, 0x7c, 0x40}};
    EXPECT_TRUE(IsEqualGUID(directSound, record.directSoundGuid));
}

TEST_F(AudioDeviceTest, FormatBlobOfEighteenBytesIsRefusedAndNeverWrittenBack) {
    audiosim::MachineDescription description;
    audiosim::Device& device =
        describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    std::vector<BYTE> plain = bytesOf(stereoAt(48000));
    plain.resize(18);
    device.set(L"PKEY_AudioEngine_DeviceFormat", audiosim::PropertyValue::bytes(plain));
    audiosim::Machine& simulated = install(description);

    LogCapture log;
    {
        AudioDevice speakers(endpoint(kSpeakers));
        EXPECT_TRUE(log.contains("Cannot get PKEY_AudioEngine_DeviceFormat information.", 2)) << log.dump();
        EXPECT_TRUE(isZero(speakers.deviceProperty().deviceFormat));
        EXPECT_EQ(L"Speakers", std::wstring(speakers.deviceProperty().endpointType.wideBuffer()))
            << "the reading goes on past the refused format";
        EXPECT_TRUE(speakers.reset());
    }
    EXPECT_EQ(0u, simulated.calls().count(L"IPropertyStore::SetValue"));
    EXPECT_EQ(plain, storedFormat(kSpeakers));
}

TEST_F(AudioDeviceTest, ChangedFormatGoesBackWhenACopyCarryingTheChangeDiesUntilResetKeepsIt) {
    audiosim::Machine& simulated = installCodec();
    audiosim::CallLog& calls = simulated.calls();
    WAVEFORMATEXTENSIBLE const changed = stereoAt(44100);
    {
        AudioDevice speakers(endpoint(kSpeakers));
        {
            AudioDevice takenBefore(speakers);
            calls.clear();
            ASSERT_TRUE(speakers.setFormat(changed));
            EXPECT_EQ(bytesOf(changed), storedFormat(kSpeakers));
            EXPECT_EQ(bytesOf(changed), bytesOf(speakers.deviceProperty().deviceFormat))
                << "setFormat reads the device again";
        }
        EXPECT_EQ(1u, calls.count(L"IPropertyStore::SetValue")) << "a copy taken before the change puts nothing back";

        {
            AudioDevice assigned;
            assigned = speakers;
            orv::Array<AudioDevice> list;
            list.append(speakers);
            list.clear();
        }
        std::vector<audiosim::CallRecord> const writes = calls.of(L"IPropertyStore::SetValue");
        ASSERT_EQ(3u, writes.size()) << "each dying copy with the changed record writes the snapshot back";
        EXPECT_EQ(L"PKEY_AudioEngine_DeviceFormat, VT_BLOB 40 bytes", writes[1].arguments);
        EXPECT_EQ(bytesOf(stereoAt(48000)), storedFormat(kSpeakers));

        ASSERT_TRUE(speakers.setFormat(changed));
        ASSERT_TRUE(speakers.reset());
        calls.clear();
    }
    EXPECT_EQ(0u, calls.count(L"IPropertyStore::SetValue")) << "reset made the change the one to keep";
    EXPECT_EQ(bytesOf(changed), storedFormat(kSpeakers));
}

TEST_F(AudioDeviceTest, NodeTypeComesFromThePartBehindTheFirstConnectorAndTheTopologyIsReadOnce) {
    audiosim::Machine& simulated = installCodec();
    ASSERT_TRUE(initialize());
    EXPECT_EQ(0u, getDeviceType(true, 0));
    EXPECT_EQ(1u, getDeviceType(true, 1));
    EXPECT_EQ(4u, getDeviceType(false, 0));
    EXPECT_EQ(0xFFFFFFFFu, getDeviceType(false, 1));
    tearDown();
    simulated.setState(kHeadphones, DEVICE_STATE_UNPLUGGED);
    ASSERT_TRUE(initialize());
    EXPECT_EQ(0xFFFFFFFFu, getDeviceType(true, 1)) << "an unplugged endpoint's connector leads nowhere";

    AudioDevice speakers(endpoint(kSpeakers));
    ASSERT_TRUE(speakers.deviceTopology() != nullptr);
    orv::Array<AudioComponent<IConnector>> connectors;
    EXPECT_EQ(1u, speakers.connector(connectors));
    simulated.calls().clear();
    EXPECT_TRUE(speakers.reset());
    AudioDevice copy(speakers);
    EXPECT_EQ(0u, topologyActivations(simulated.calls()))
        << "reset and copies keep the topology that the first initialize read";
}

// The node type is taken only from a connection answered with success: a
// partner handed out with a failure is not looked at, and the device is
// still read.
TEST_F(AudioDeviceTest, RefusedConnectionLeavesTheNodeTypeUnread) {
    audiosim::Machine& simulated = installCodec();
    simulated.faults().add(audiosim::Fault::on(L"IConnector::GetConnectedTo", E_FAIL)
                               .at(std::wstring(kSpeakers) + L"/00010000")
                               .withOut(audiosim::OutPointer::Set));
    LogCapture log;
    ASSERT_TRUE(initialize());
    EXPECT_EQ(0xFFFFFFFFu, getDeviceType(true, 0));
    EXPECT_EQ(L"Speakers", flatText(getDeviceNameLength, getDeviceName, true, 0));
    EXPECT_EQ(1u, getDeviceType(true, 1));
    EXPECT_TRUE(log.contains("IConnector::GetConnectedTo returns 0x80004005", 1)) << log.dump();
}

TEST_F(AudioDeviceTest, VolumeControlIsSharedByCopiesAndMadeForEveryEndpointOnly) {
    installCodec();
    AudioDevice speakers(endpoint(kSpeakers));
    AudioDeviceInterface::VolumeControl control = speakers.volumeControl();
    ASSERT_FALSE(control.isNil());
    {
        AudioDevice copy(speakers);
        EXPECT_EQ(control.get(), copy.volumeControl().get());
        EXPECT_EQ(3u, control.referenceCount());
    }
    EXPECT_TRUE(control->ownerName() == L"Speakers");
    EXPECT_TRUE(IsEqualGUID(audiosim::nodeType(L"KSNODETYPE_SPEAKER"), control->ownerType()));
    EXPECT_EQ(2u, control->numChannel());

    AudioDevice lineIn(endpoint(kLineIn));
    ASSERT_FALSE(lineIn.volumeControl().isNil()) << "a controller around no endpoint volume all the same";
    EXPECT_EQ(0u, lineIn.volumeControl()->numChannel());

    LogCapture log;
    AudioDevice codec(endpoint(kCodecTopology));
    ASSERT_TRUE(codec.isInitialized());
    EXPECT_TRUE(codec.volumeControl().isNil());
    EXPECT_TRUE(log.contains("Not implemented. Subunits don't always have a volume controller", 2)) << log.dump();
    EXPECT_TRUE(log.contains("QueryInterface for IMMEndpoint failed 0x80004002", 3)) << log.dump();
    EDataFlow flow = eAll;
    EXPECT_FALSE(codec.dataFlow(flow));
}

TEST_F(AudioDeviceTest, DefaultEndpointIsTheConsoleDefaultOfTheDevicesOwnFlow) {
    audiosim::MachineDescription description;
    describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    describeEndpoint(description, eRender, kHeadphones, DEVICE_STATE_ACTIVE, L"Headphones", L"Realtek Audio");
    describeEndpoint(description, eCapture, kMicrophone, DEVICE_STATE_ACTIVE, L"Microphone", L"Realtek Audio");
    describeEndpoint(description, eCapture, kLineIn, DEVICE_STATE_ACTIVE, L"Line In", L"Realtek Audio");
    description.setDefault(eRender, eConsole, kSpeakers);
    description.setDefault(eRender, eMultimedia, kHeadphones);
    description.setDefault(eRender, eCommunications, kHeadphones);
    description.setDefaultForAllRoles(eCapture, kLineIn);
    audiosim::Machine& simulated = install(description);

    EXPECT_TRUE(AudioDevice(endpoint(kSpeakers)).isDefaultEndpoint());
    EXPECT_FALSE(AudioDevice(endpoint(kHeadphones)).isDefaultEndpoint()) << "default only for other roles";
    EXPECT_FALSE(AudioDevice(endpoint(kMicrophone)).isDefaultEndpoint());
    EXPECT_TRUE(AudioDevice(endpoint(kLineIn)).isDefaultEndpoint());

    simulated.faults().add(audiosim::Fault::on(L"IMMDeviceEnumerator::GetDefaultAudioEndpoint", E_FAIL));
    LogCapture log;
    EXPECT_FALSE(AudioDevice(endpoint(kLineIn)).isDefaultEndpoint());
    EXPECT_TRUE(log.contains("GetDefaultAudioEndpoint returns 0x80004005", 3)) << log.dump();
}

TEST_F(AudioDeviceTest, CompatibleFormatsWithoutAnAudioClientIsEmptyWithTwoErrorLines) {
    audiosim::Machine& simulated = installCodec();
    AudioDevice speakers(endpoint(kSpeakers));
    simulated.faults().add(audiosim::Fault::on(L"IMMDevice::Activate", E_NOINTERFACE).at(kSpeakers));

    orv::Array<WAVEFORMATEX> formats;
    formats.append(WAVEFORMATEX());
    LogCapture log;
    EXPECT_EQ(0u, speakers.compatibleFormats(formats, AUDCLNT_SHAREMODE_EXCLUSIVE));
    EXPECT_EQ(0u, formats.size());
    EXPECT_TRUE(log.contains("Device Realtek Audio has no IAudioClient interface", 3)) << log.dump();
    EXPECT_TRUE(log.contains("AudioDevice has not been initialized correctly", 3)) << log.dump();
}

// A refused write changes nothing and says so. A refused commit is not
// looked at: the device reads back what the machine still holds. A store
// that cannot be reopened leaves the device without one, so the next
// setFormat stops at once, and what was written before stays on the
// machine. Nothing is tried twice, not by the destructor either.
TEST_F(AudioDeviceTest, SetFormatStopsAtARefusedWriteOrReopenAndOverlooksARefusedCommit) {
    audiosim::Machine& simulated = installCodec();
    audiosim::Faults& faults = simulated.faults();
    std::vector<BYTE> const original = bytesOf(stereoAt(48000));
    WAVEFORMATEXTENSIBLE const changed = stereoAt(44100);
    LogCapture log;
    {
        AudioDevice speakers(endpoint(kSpeakers));
        size_t const refusedWrite = faults.add(audiosim::Fault::on(L"IPropertyStore::SetValue", STG_E_ACCESSDENIED));
        EXPECT_FALSE(speakers.setFormat(changed));
        EXPECT_TRUE(log.contains("IPropertyStore::SetValue failed 0x80030005", 3)) << log.dump();
        EXPECT_EQ(0u, simulated.calls().count(L"IPropertyStore::Commit"));
        EXPECT_EQ(original, bytesOf(speakers.deviceProperty().deviceFormat));
        faults.remove(refusedWrite);

        log.clear();
        size_t const refusedCommit = faults.add(audiosim::Fault::on(L"IPropertyStore::Commit", E_FAIL));
        EXPECT_TRUE(speakers.setFormat(changed));
        EXPECT_EQ(1u, faults.fired(refusedCommit));
        EXPECT_EQ(original, storedFormat(kSpeakers));
        EXPECT_EQ(original, bytesOf(speakers.deviceProperty().deviceFormat));
        EXPECT_EQ(0u, log.count("", 3)) << log.dump();
        faults.remove(refusedCommit);

        ASSERT_TRUE(speakers.setFormat(changed));
        faults.add(audiosim::Fault::on(L"IPropertyStore::SetValue", E_FAIL));
        simulated.calls().clear();
    }
    EXPECT_EQ(1u, simulated.calls().count(L"IPropertyStore::SetValue")) << "the destructor tries once";
    EXPECT_EQ(bytesOf(changed), storedFormat(kSpeakers));
    faults.clear();

    log.clear();
    {
        AudioDevice speakers(endpoint(kSpeakers));
        faults.add(audiosim::Fault::on(L"IMMDevice::OpenPropertyStore", E_OUTOFMEMORY).at(kSpeakers));
        EXPECT_FALSE(speakers.setFormat(stereoAt(48000)));
        EXPECT_TRUE(log.contains("Cannot open a new property store 0x8007000E", 3)) << log.dump();
        EXPECT_EQ(original, storedFormat(kSpeakers)) << "written and committed before the reopen";
        EXPECT_EQ(bytesOf(changed), bytesOf(speakers.deviceProperty().deviceFormat)) << "but never read back";
        EXPECT_FALSE(speakers.setFormat(changed));
        EXPECT_TRUE(log.contains("m_propertyStore is not set to a valid property store instance", 3)) << log.dump();
        simulated.calls().clear();
    }
    EXPECT_EQ(0u, simulated.calls().count(L"IPropertyStore::SetValue"))
        << "the record still matches its snapshot, so nothing is put back";
    EXPECT_EQ(original, storedFormat(kSpeakers));
}

// A device that refuses its endpoint interface is read all the same, but as
// no endpoint: no node type, no volume control, no flow, not a default, no
// legacy number. A flow that cannot be read is not looked at: dataFlow
// answers true and leaves the caller's value as it was.
TEST_F(AudioDeviceTest, RefusedEndpointInterfaceOrDataFlow) {
    audiosim::Machine& simulated = installCodec();
    simulated.faults().add(audiosim::Fault::on(L"IMMDevice::QueryInterface", E_FAIL).at(kSpeakers));
    LogCapture log;
    AudioDevice speakers(endpoint(kSpeakers));
    ASSERT_TRUE(speakers.isInitialized());
    EXPECT_TRUE(speakers.deviceProperty().endpointType == L"Speakers");
    EXPECT_TRUE(log.contains("QueryInterface for IMMEndpoint failed 0x80004005", 3)) << log.dump();
    EXPECT_EQ(0u, simulated.calls().count(L"IConnector::GetConnectedTo")) << "no node type is looked for";
    EXPECT_TRUE(IsEqualGUID(GUID_NULL, speakers.deviceProperty().nodeGuid));
    EXPECT_TRUE(speakers.volumeControl().isNil());
    EXPECT_TRUE(log.contains("Not implemented. Subunits don't always have a volume controller", 2)) << log.dump();

    EDataFlow flow = eCapture;
    EXPECT_FALSE(speakers.dataFlow(flow));
    EXPECT_FALSE(speakers.isDefaultEndpoint());
    EXPECT_TRUE(log.contains("QueryInterface returns 0x80004005", 3)) << log.dump();
    EXPECT_EQ(0xFFFFFFFFu, speakers.waveLegacyDeviceID());
    EXPECT_TRUE(log.contains("Audio stream flow cannot be determined", 3)) << log.dump();

    simulated.faults().add(audiosim::Fault::on(L"IMMEndpoint::GetDataFlow", E_FAIL).at(kMicrophone));
    AudioDevice microphone(endpoint(kMicrophone));
    flow = eRender;
    EXPECT_TRUE(microphone.dataFlow(flow));
    EXPECT_EQ(eRender, flow);
    EXPECT_FALSE(microphone.isDefaultEndpoint());
    EXPECT_TRUE(log.contains("GetDataFlow returns 0x80004005", 3)) << log.dump();
}

}  // namespace
}  // namespace devicelist

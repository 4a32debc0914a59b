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

PROPERTYKEY const kDeviceFormatKey = {
    {0xF19F064D, 0x082C, 0x4E27, {0xBC, 0x73, 0x68, 0x82, 0xA1, 0xBB, 0x8E, 0x4C}}, 0};

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

TEST_F(AudioDeviceTest, EmptyDeviceHasDefaultsAndNothingToPutBack) {
    AudioDevice empty;
    EXPECT_FALSE(empty.isInitialized());
    EXPECT_EQ(0xFFFFFFFFu, empty.refreshDeviceState());
    EXPECT_TRUE(empty.deviceProperty().deviceId.empty());
    EXPECT_TRUE(empty.deviceProperty().friendlyName.empty());
    EXPECT_TRUE(empty.volumeControl().isNil());
    EXPECT_TRUE(empty.deviceTopology() == nullptr);
    EDataFlow flow = eAll;
    EXPECT_FALSE(empty.dataFlow(flow));
    AudioDevice copy(empty);
    EXPECT_TRUE(copy == empty);
}

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
    EXPECT_EQ(std::wstring(kSpeakers), record.deviceId.wideBuffer());
    EXPECT_EQ(std::wstring(L"Speakers"), record.endpointType.wideBuffer());
    EXPECT_EQ(std::wstring(L"Realtek Audio"), record.friendlyName.wideBuffer());
    EXPECT_EQ(std::wstring(L"HDAUDIO"), record.enumeratorName.wideBuffer());
    EXPECT_EQ(std::wstring(L"HDAUDIO\\FUNC_01\\1"), record.deviceInstancePath.wideBuffer());
    EXPECT_EQ(std::wstring(L"hdxlv.inf:Realtek"), record.driverNodeStrongName.wideBuffer());
    EXPECT_EQ(3u, record.physicalSpeakerConfig);
    EXPECT_EQ(1u, record.supportsEventDriven);
    EXPECT_EQ(DEVICE_STATE_ACTIVE, record.state);
    EXPECT_EQ(bytesOf(stereo48k()), bytesOf(record.deviceFormat));
    GUID const directSound = {0xb3a4f7c2, 0x5d1e, 0x4a0b, {0x9c, 0x3f, 0x2e, 0x8d, 0x6a, 0x1b, 0x7c, 0x40}};
    EXPECT_TRUE(IsEqualGUID(directSound, record.directSoundGuid));
}

TEST_F(AudioDeviceTest, LoggedRecordShowsAnEmptyEnumeratorNameAsAC97) {
    audiosim::MachineDescription description;
    describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    install(description);
    AudioDevice speakers(endpoint(kSpeakers));

    LogCapture log;
    orv::LogFactory::setPriority(orv::LoggerPriority::LOGGER_INFO);
    speakers.deviceProperty().logPropertyInfo();
    EXPECT_TRUE(log.contains("Enumerator name AC97", 2)) << log.dump();
    EXPECT_TRUE(log.contains("Device does not  support event-driven mode.", 2)) << log.dump();
    EXPECT_TRUE(log.contains("Friendly Name Realtek Audio", 2)) << log.dump();
    EXPECT_EQ(11u, log.countInCategory("libSonvane.audioDeviceInterface"));
    EXPECT_TRUE(speakers.deviceProperty().enumeratorName.empty());
}

TEST_F(AudioDeviceTest, FormatBlobOfEighteenBytesIsRefusedAndNeverWrittenBack) {
    audiosim::MachineDescription description;
    audiosim::Device& device =
        describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Realtek Audio");
    std::vector<BYTE> plain = bytesOf(stereo48k());
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
        EXPECT_EQ(bytesOf(stereo48k()), storedFormat(kSpeakers));

        ASSERT_TRUE(speakers.setFormat(changed));
        ASSERT_TRUE(speakers.reset());
        calls.clear();
    }
    EXPECT_EQ(0u, calls.count(L"IPropertyStore::SetValue")) << "reset made the change the one to keep";
    EXPECT_EQ(bytesOf(changed), storedFormat(kSpeakers));
}

TEST_F(AudioDeviceTest, SetFormatWithoutAStoreFailsAtItsFirstStep) {
    audiosim::Machine& simulated = installCodec();
    AudioDevice speakers(endpoint(kSpeakers));
    simulated.faults().add(audiosim::Fault::on(L"IMMDevice::OpenPropertyStore", E_FAIL).at(kSpeakers));

    LogCapture log;
    EXPECT_FALSE(speakers.setFormat(stereoAt(96000)));
    EXPECT_TRUE(log.contains("Cannot open a new property store 0x80004005", 3)) << log.dump();
    EXPECT_EQ(bytesOf(stereoAt(96000)), storedFormat(kSpeakers)) << "the write itself went through";

    EXPECT_FALSE(speakers.setFormat(stereo48k()));
    EXPECT_TRUE(log.contains("m_propertyStore is not set to a valid property store instance", 3)) << log.dump();
    EXPECT_EQ(1u, simulated.calls().count(L"IPropertyStore::SetValue"));
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

TEST_F(AudioDeviceTest, VolumeControlIsSharedByCopiesAndBuiltForEveryEndpoint) {
    installCodec();
    AudioDevice speakers(endpoint(kSpeakers));
    AudioDeviceInterface::VolumeControl control = speakers.volumeControl();
    ASSERT_FALSE(control.isNil());
    EXPECT_EQ(2u, control.referenceCount());
    {
        AudioDevice copy(speakers);
        EXPECT_EQ(control.get(), copy.volumeControl().get());
        EXPECT_EQ(3u, control.referenceCount());
    }
    EXPECT_EQ(std::wstring(L"Speakers"), control->ownerName().wideBuffer());
    EXPECT_TRUE(IsEqualGUID(speakers.deviceProperty().nodeGuid, control->ownerType()));
    EXPECT_TRUE(IsEqualGUID(audiosim::nodeType(L"KSNODETYPE_SPEAKER"), control->ownerType()));
    EXPECT_EQ(2u, control->numChannel());

    LogCapture log;
    AudioDevice lineIn(endpoint(kLineIn));
    EXPECT_TRUE(log.contains("IAudioEndpointVolume", 2)) << log.dump();
    ASSERT_FALSE(lineIn.volumeControl().isNil()) << "a controller around no endpoint volume all the same";
    EXPECT_EQ(0u, lineIn.volumeControl()->numChannel());
}

TEST_F(AudioDeviceTest, AdapterDeviceIsNoEndpointAndGetsNoVolumeControl) {
    installCodec();
    LogCapture log;
    AudioDevice codec(endpoint(kCodecTopology));
    ASSERT_TRUE(codec.isInitialized());
    EXPECT_FALSE(codec.isEndpoint());
    EXPECT_TRUE(codec.volumeControl().isNil());
    EXPECT_TRUE(log.contains("Not implemented. Subunits don't always have a volume controller", 2)) << log.dump();
    EXPECT_TRUE(log.contains("QueryInterface for IMMEndpoint failed 0x80004002", 3)) << log.dump();
    GUID const zero = {};
    EXPECT_TRUE(IsEqualGUID(zero, codec.deviceProperty().nodeGuid));
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

    AudioDevice lineIn(endpoint(kLineIn));
    EDataFlow flow = eRender;
    ASSERT_TRUE(lineIn.dataFlow(flow));
    EXPECT_EQ(eCapture, flow);
    simulated.faults().add(audiosim::Fault::on(L"IMMDeviceEnumerator::GetDefaultAudioEndpoint", HRESULT_FROM_WIN32(ERROR_NOT_FOUND)));
    LogCapture log;
    EXPECT_FALSE(lineIn.isDefaultEndpoint());
    EXPECT_TRUE(log.contains("GetDefaultAudioEndpoint returns 0x80070490", 3)) << log.dump();
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

}  // namespace
}  // namespace devicelist

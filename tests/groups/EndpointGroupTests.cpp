// Endpoint groups on simulated machines: which endpoints share a group, in
// which order, how a group sorts them by form factor, and what its names and
// its playback question read.
#include <libSonvane/EndpointEnumerator.h>
#include <libSonvane/EndpointGroup.h>

#include "LogCapture.h"

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using audiosim::Fault;
using audiosim::PropertyValue;
using libSonvane::EndpointEnumerator;
using libSonvane::EndpointGroup;
using libSonvane::SharedEndpointGroup;

typedef orv::Array<SharedEndpointGroup> GroupList;

wchar_t const kCodec[] = L"HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269&SUBSYS_1028069A\\4&2B2A1E15&0&0001";
wchar_t const kCodecOtherCase[] = L"hdaudio\\func_01&ven_10ec&dev_0269&subsys_1028069a\\4&2b2a1e15&0&0001";
wchar_t const kController[] = L"PCI\\VEN_8086&DEV_A170&SUBSYS_069A1028\\3&11583659&0&FB";
wchar_t const kUsbInterface[] = L"USB\\VID_046D&PID_0A44&MI_00\\7&1A2B3C4D&0&0000";

// E_FAIL as the decimal lines write it.
char const kFailDecimal[] = "-2147467259";

// A machine described endpoint by endpoint: each endpoint's first connector
// leads to a connector of its own on the adapter named.
class Bench {
public:
    explicit Bench(std::wstring name) { m_description.name = std::move(name); }

    Bench& adapter(std::wstring id, std::wstring instanceId) {
        m_description.addAdapter(std::move(id), std::move(instanceId)).ensureTopology();
        return *this;
    }

    Bench& parent(std::wstring instanceId, std::wstring parentId) {
        m_description.addParent(std::move(instanceId), std::move(parentId));
        return *this;
    }

    // An endpoint with a form factor and an interface friendly name
    // "<id> (Bench Audio)".
    audiosim::Device& endpoint(std::wstring const& id, std::wstring const& adapterId, ULONG formFactor,
                               DWORD state = DEVICE_STATE_ACTIVE) {
        std::wstring const pin = L"Pin " + id;
        m_description.find(adapterId)->ensureTopology().addConnector(
            audiosim::Part::connector(pin, Physical_External, In, audiosim::nodeType(L"KSNODETYPE_SPEAKER")));
        audiosim::Device& device = m_description.addEndpoint(eRender, id);
        device.state = state;
        device.set(L"PKEY_AudioEndpoint_FormFactor", PropertyValue::uint32(formFactor));
        device.set(L"PKEY_DeviceInterface_FriendlyName", PropertyValue::string(id + L" (Bench Audio)"));
        device.ensureTopology().addConnector(
            audiosim::Part::connector(L"Out", Software_IO, Out).connectTo(adapterId, pin));
        return device;
    }

    audiosim::MachineDescription& description() { return m_description; }

private:
    audiosim::MachineDescription m_description;
};

std::wstring idOf(IMMDevice* device) {
    LPWSTR id = nullptr;
    device->GetId(&id);
    std::wstring const text = id ? id : L"";
    CoTaskMemFree(id);
    return text;
}

std::vector<std::wstring> idsOf(EndpointGroup::DeviceList const& list) {
    std::vector<std::wstring> ids;
    for (ATL::CComPtr<IMMDevice> const& device : list) {
        ids.push_back(idOf(device));
    }
    return ids;
}

std::wstring text(orv::String const& value) {
    return value.wideBuffer();
}

class Groups : public ::testing::Test {
protected:
    void SetUp() override { CoInitialize(nullptr); }

    void TearDown() override {
        m_installation.reset();
        m_machine.reset();
        CoUninitialize();
    }

    audiosim::Machine& install(Bench& bench) {
        m_machine.reset(new audiosim::Machine(bench.description()));
        m_installation.reset(new audiosim::Installation(*m_machine));
        return *m_machine;
    }

    static GroupList enumerateGroups() {
        EndpointEnumerator enumerator;
        GroupList groups;
        enumerator.enumerate(groups);
        return groups;
    }

    // The group of that adapter instance id; fails the test when there is none.
    static SharedEndpointGroup groupOf(GroupList const& groups, wchar_t const* instanceId) {
        for (SharedEndpointGroup const& group : groups) {
            if (orv::String::compareNoCase(group->instanceId(), instanceId) == 0) {
                return group;
            }
        }
        ADD_FAILURE() << "no group for the adapter";
        return SharedEndpointGroup(new EndpointGroup());
    }

    size_t propertyStoresOpened() { return m_machine->calls().count(L"IMMDevice::OpenPropertyStore"); }

    std::unique_ptr<audiosim::Machine> m_machine;
    std::unique_ptr<audiosim::Installation> m_installation;
};

TEST_F(Groups, EndpointsOfOneAdapterShareAGroup) {
    Bench bench(L"two adapters");
    bench.adapter(L"codec", kCodec)
        .adapter(L"codec-alias", kCodecOtherCase)
        .adapter(L"usb", kUsbInterface)
        .parent(kCodec, kController);
    bench.endpoint(L"codec-notpresent", L"codec", Speakers, DEVICE_STATE_NOTPRESENT);
    bench.endpoint(L"usb-headset", L"usb", Headset);
    bench.endpoint(L"codec-speakers", L"codec", Speakers);
    bench.endpoint(L"codec-alias-speakers", L"codec-alias", Speakers);
    bench.description().addEndpoint(eRender, L"no-topology");
    bench.description().addEndpoint(eCapture, L"unconnected").ensureTopology().addConnector(
        audiosim::Part::connector(L"In", Software_IO, In));
    install(bench);

    LogCapture log;
    EndpointEnumerator enumerator;
    GroupList groups;
    ASSERT_EQ(2u, enumerator.enumerate(groups));

    // Active, disabled and unplugged endpoints are asked for, in that order;
    // not-present ones never.
    std::vector<std::wstring> asked;
    for (audiosim::CallRecord const& call : m_machine->calls().of(L"IMMDeviceEnumerator::EnumAudioEndpoints")) {
        asked.push_back(call.arguments);
    }
    EXPECT_EQ((std::vector<std::wstring>{L"eAll, 1", L"eAll, 2", L"eAll, 8"}), asked);

    // Groups in the order their first endpoint was met.
    EXPECT_EQ(kUsbInterface, text(groups[0]->instanceId()));
    EXPECT_EQ(kCodec, text(groups[1]->instanceId()));
    EXPECT_TRUE(groups[1]->isInitialized());

    // The alias adapter's endpoint joined the codec group behind the first.
    EXPECT_EQ((std::vector<std::wstring>{L"codec-speakers", L"codec-alias-speakers"}),
              idsOf(groups[1]->analogOut()));
    EXPECT_EQ(std::vector<std::wstring>{L"usb-headset"}, idsOf(groups[0]->headphone()));

    EXPECT_TRUE(groups[1]->matches(kCodecOtherCase));
    EXPECT_TRUE(groups[1]->matches(L"pci\\ven_8086&dev_a170&subsys_069a1028\\3&11583659&0&fb"));
    EXPECT_FALSE(groups[1]->matches(kUsbInterface));
    EXPECT_FALSE(groups[0]->matches(kController));

    // Endpoints without topology or without a far side are no error.
    for (LogCapture::Record const& record : log.records()) {
        if (record.category.rfind("libSonvane.", 0) == 0) {
            EXPECT_EQ(1, record.level) << record.category << ": " << record.text;
        }
    }

    // A second run starts from an empty list: the groups held from the
    // first run are no longer shared with it.
    SharedEndpointGroup const earlier = groups[0];
    EXPECT_EQ(2u, enumerator.enumerate(groups));
    EXPECT_EQ(1u, earlier.referenceCount());
    EXPECT_EQ(2u, groups.size());
}

// An inactive endpoint's connector shows no connection, but the id of the
// device on its far side is still answered, so the endpoint finds its
// adapter and its group.
TEST_F(Groups, InactiveEndpointsFollowTheActiveOnesInTheirGroup) {
    Bench bench(L"states");
    bench.adapter(L"codec", kCodec).adapter(L"codec-alias", kCodecOtherCase);
    bench.endpoint(L"codec-unplugged", L"codec", Speakers, DEVICE_STATE_UNPLUGGED);
    bench.endpoint(L"codec-disabled", L"codec-alias", Speakers, DEVICE_STATE_DISABLED);
    bench.endpoint(L"codec-active", L"codec", Speakers);
    install(bench);

    GroupList groups = enumerateGroups();
    ASSERT_EQ(1u, groups.size());
    EXPECT_EQ((std::vector<std::wstring>{L"codec-active", L"codec-disabled", L"codec-unplugged"}),
              idsOf(groups[0]->analogOut()));
    EXPECT_EQ(kCodec, text(groups[0]->instanceId()));
}

TEST_F(Groups, FailedAdapterLookupsDropTheEndpoint) {
    Bench bench(L"broken adapters");
    bench.adapter(L"codec", kCodec).adapter(L"no-id", L"unused").adapter(L"numeric-id", L"unused");
    bench.adapter(L"locked", L"LOCKED\\0000");
    bench.description().find(L"no-id")->erase(audiosim::propertyKey(L"DEVPKEY_Device_InstanceId"));
    bench.description().find(L"numeric-id")->set(L"DEVPKEY_Device_InstanceId", PropertyValue::uint32(7));
    bench.endpoint(L"dropped-by-item", L"codec", Speakers);
    bench.endpoint(L"ok", L"codec", Speakers);
    bench.endpoint(L"on-no-id", L"no-id", Speakers);
    bench.endpoint(L"on-numeric-id", L"numeric-id", Speakers);
    bench.endpoint(L"on-locked", L"locked", Speakers);
    audiosim::Machine& machine = install(bench);
    machine.faults().add(Fault::on(L"IMMDeviceCollection::Item", E_FAIL).onCall(1));
    machine.faults().add(Fault::on(L"IMMDeviceEnumerator::EnumAudioEndpoints", E_OUTOFMEMORY).onCall(2));
    machine.faults().add(Fault::on(L"IMMDevice::OpenPropertyStore", E_ACCESSDENIED).at(L"locked"));

    LogCapture log;
    GroupList groups = enumerateGroups();

    ASSERT_EQ(1u, groups.size());
    EXPECT_EQ(std::vector<std::wstring>{L"ok"}, idsOf(groups[0]->analogOut()));
    EXPECT_EQ(2u, log.count("Fail to get instancePathKey value", 3)) << log.dump();
    EXPECT_TRUE(log.contains("OpenPropertyStore returns 0x80070005", 3)) << log.dump();
    EXPECT_TRUE(log.contains("EnumAudioEndpoints failed 0x8007000E", 2)) << log.dump();
}

// Every step up to the adapter's lookup tests its result and ends quietly:
// an adapter id handed out with a failure is not used, a refused lookup
// drops the endpoint, and a refused count, preset to none, drops its whole
// state.
TEST_F(Groups, RefusedStepsUpToTheAdapterLookupDropTheEndpointQuietly) {
    Bench bench(L"refusals");
    bench.adapter(L"codec", kCodec);
    bench.endpoint(L"id-refused", L"codec", Speakers);
    bench.endpoint(L"lookup-refused", L"codec", Speakers);
    bench.endpoint(L"ok", L"codec", Speakers);
    bench.endpoint(L"disabled", L"codec", Speakers, DEVICE_STATE_DISABLED);
    bench.endpoint(L"unplugged", L"codec", Headphones, DEVICE_STATE_UNPLUGGED);
    audiosim::Machine& machine = install(bench);
    machine.faults().add(Fault::on(L"IConnector::GetDeviceIdConnectedTo", E_FAIL)
                             .at(L"id-refused/00010000")
                             .withOut(audiosim::OutPointer::Set));
    machine.faults().add(Fault::on(L"IMMDeviceEnumerator::GetDevice", E_FAIL).onCall(1));
    machine.faults().add(Fault::on(L"IMMDeviceCollection::GetCount", E_FAIL).onCall(3));

    LogCapture log;
    GroupList groups = enumerateGroups();
    ASSERT_EQ(1u, groups.size());
    EXPECT_EQ((std::vector<std::wstring>{L"ok", L"disabled"}), idsOf(groups[0]->analogOut()));
    EXPECT_TRUE(groups[0]->headphone().empty());
    EXPECT_EQ(3u, machine.calls().count(L"IMMDeviceEnumerator::GetDevice"))
        << "no lookup for the endpoint whose adapter id was refused";
    for (LogCapture::Record const& record : log.records()) {
        if (record.category.rfind("libSonvane.", 0) == 0) {
            EXPECT_EQ(1, record.level) << record.category << ": " << record.text;
        }
    }
}

TEST_F(Groups, SixListsByFormFactor) {
    Bench bench(L"every form factor");
    bench.adapter(L"codec", kCodec);
    bench.endpoint(L"headset", L"codec", Headset);
    bench.endpoint(L"remote", L"codec", RemoteNetworkDevice);
    bench.endpoint(L"speakers", L"codec", Speakers);
    bench.endpoint(L"line", L"codec", LineLevel);
    bench.endpoint(L"headphones", L"codec", Headphones);
    bench.endpoint(L"mic", L"codec", Microphone);
    bench.endpoint(L"handset", L"codec", Handset);
    bench.endpoint(L"spdif", L"codec", SPDIF);
    bench.endpoint(L"hdmi", L"codec", DigitalAudioDisplayDevice);
    bench.endpoint(L"digital-unknown", L"codec", UnknownDigitalPassthrough);
    bench.endpoint(L"mic-as-text", L"codec", Microphone)
        .set(L"PKEY_AudioEndpoint_FormFactor", PropertyValue::string(L"4"));
    install(bench);

    GroupList groups = enumerateGroups();
    ASSERT_EQ(1u, groups.size());
    EndpointGroup& group = *groups[0];

    EXPECT_EQ(std::vector<std::wstring>{L"line"}, idsOf(group.lineIn()));
    EXPECT_EQ(std::vector<std::wstring>{L"mic"}, idsOf(group.mic()));
    EXPECT_EQ(std::vector<std::wstring>{L"speakers"}, idsOf(group.analogOut()));
    // Headphones are sorted before headsets whatever their order.
    EXPECT_EQ((std::vector<std::wstring>{L"headphones", L"headset"}), idsOf(group.headphone()));
    EXPECT_EQ(std::vector<std::wstring>{L"spdif"}, idsOf(group.spdif()));
    EXPECT_EQ(std::vector<std::wstring>{L"hdmi"}, idsOf(group.hdmi()));

    // A list that found endpoints is not sorted again.
    m_machine->calls().clear();
    group.lineIn();
    group.mic();
    group.analogOut();
    group.headphone();
    group.spdif();
    group.hdmi();
    EXPECT_EQ(0u, propertyStoresOpened());

    // The other form factors stay unsorted: the first of them now names the
    // group.
    EXPECT_EQ(L"remote (Bench Audio)", text(group.friendlyName()));
}

TEST_F(Groups, ListsAreSortedAgainOnlyWhileEmpty) {
    Bench bench(L"microphones");
    bench.adapter(L"with-mic", L"ROOT\\WITHMIC\\0000")
        .adapter(L"without-mic", L"ROOT\\WITHOUTMIC\\0000")
        .adapter(L"locked", L"ROOT\\LOCKED\\0000")
        .adapter(L"unreadable", L"ROOT\\UNREADABLE\\0000");
    bench.endpoint(L"speakers-1", L"with-mic", Speakers);
    bench.endpoint(L"mic-1", L"with-mic", Microphone);
    bench.endpoint(L"speakers-2", L"without-mic", Speakers);
    bench.endpoint(L"line-2", L"without-mic", LineLevel);
    bench.endpoint(L"mic-3a", L"locked", Microphone);
    bench.endpoint(L"speakers-3", L"locked", Speakers);
    bench.endpoint(L"mic-3b", L"locked", Microphone);
    bench.endpoint(L"mic-4a", L"unreadable", Microphone);
    bench.endpoint(L"mic-4b", L"unreadable", Microphone);
    audiosim::Machine& machine = install(bench);
    GroupList groups = enumerateGroups();
    ASSERT_EQ(4u, groups.size());

    EndpointGroup& withMic = *groupOf(groups, L"ROOT\\WITHMIC\\0000");
    machine.calls().clear();
    EXPECT_EQ(1u, withMic.mic().size());
    EXPECT_EQ(2u, propertyStoresOpened());
    EXPECT_EQ(1u, withMic.mic().size());
    EXPECT_EQ(2u, propertyStoresOpened());

    EndpointGroup& withoutMic = *groupOf(groups, L"ROOT\\WITHOUTMIC\\0000");
    machine.calls().clear();
    EXPECT_EQ(0u, withoutMic.mic().size());
    EXPECT_EQ(2u, propertyStoresOpened());
    EXPECT_EQ(0u, withoutMic.mic().size());
    EXPECT_EQ(4u, propertyStoresOpened());

    // A store that does not open ends the sorting there: what lies behind it
    // stays unsorted for good, since the list is no longer empty.
    LogCapture log;
    EndpointGroup& locked = *groupOf(groups, L"ROOT\\LOCKED\\0000");
    size_t const lockFault = machine.faults().add(Fault::on(L"IMMDevice::OpenPropertyStore", E_FAIL).at(L"speakers-3"));
    EXPECT_EQ(std::vector<std::wstring>{L"mic-3a"}, idsOf(locked.mic()));
    EXPECT_TRUE(log.contains("OpenPropertyStore returns 0x80004005", 3)) << log.dump();
    machine.faults().remove(lockFault);
    EXPECT_EQ(std::vector<std::wstring>{L"mic-3a"}, idsOf(locked.mic()));

    // A value that cannot be read only skips that endpoint, without a line.
    log.clear();
    EndpointGroup& unreadable = *groupOf(groups, L"ROOT\\UNREADABLE\\0000");
    machine.faults().add(Fault::on(L"IPropertyStore::GetValue", E_FAIL).at(L"mic-4a"));
    EXPECT_EQ(std::vector<std::wstring>{L"mic-4b"}, idsOf(unreadable.mic()));
    EXPECT_EQ(0u, log.count("", 3)) << log.dump();
}

TEST_F(Groups, NamesAreReadFromTheFirstUnsortedEndpointAndKept) {
    Bench bench(L"names");
    bench.adapter(L"codec", kCodec)
        .adapter(L"mic-only", L"ROOT\\MICONLY\\0000")
        .adapter(L"locked", L"ROOT\\LOCKED\\0000")
        .adapter(L"unreadable", L"ROOT\\UNREADABLE\\0000");
    bench.endpoint(L"speakers", L"codec", Speakers)
        .set(L"PKEY_Device_EnumeratorName", PropertyValue::string(L"HDAUDIO"));
    bench.endpoint(L"mic", L"mic-only", Microphone);
    bench.endpoint(L"locked-speakers", L"locked", Speakers);
    bench.endpoint(L"unreadable-speakers", L"unreadable", Speakers);
    audiosim::Machine& machine = install(bench);
    GroupList groups = enumerateGroups();
    ASSERT_EQ(4u, groups.size());

    // Read before the lists take the endpoint, the names outlive it.
    EndpointGroup& codec = *groupOf(groups, kCodec);
    EXPECT_EQ(L"speakers (Bench Audio)", text(codec.friendlyName()));
    EXPECT_EQ(L"HDAUDIO", text(codec.enumeratorName()));
    EXPECT_EQ(1u, codec.analogOut().size());
    machine.calls().clear();
    EXPECT_EQ(L"speakers (Bench Audio)", text(codec.friendlyName()));
    EXPECT_EQ(L"HDAUDIO", text(codec.enumeratorName()));
    EXPECT_EQ(0u, propertyStoresOpened());

    // Asked first after the lists took every endpoint, the name stops the
    // process.
    EndpointGroup& micOnly = *groupOf(groups, L"ROOT\\MICONLY\\0000");
    EXPECT_EQ(1u, micOnly.mic().size());
    EXPECT_EXIT(micOnly.friendlyName(), ::testing::ExitedWithCode(7), "index < size\\(\\)");

    LogCapture log;
    machine.faults().add(Fault::on(L"IMMDevice::OpenPropertyStore", E_FAIL).at(L"locked-speakers"));
    EXPECT_TRUE(groupOf(groups, L"ROOT\\LOCKED\\0000")->friendlyName().empty());
    EXPECT_TRUE(log.contains(std::string("Unable to query sound card name ") + kFailDecimal, 1)) << log.dump();
    EXPECT_TRUE(log.contains("Make sure m_allDevices is not empty. If it is not, then driver does not advertise "
                             "the interface friendly name",
                             1))
        << log.dump();

    // With the store open but the values unreadable: the friendly name was
    // read before the fault, so the enumerator-name line can carry it.
    log.clear();
    EndpointGroup& unreadable = *groupOf(groups, L"ROOT\\UNREADABLE\\0000");
    size_t const valueFault =
        machine.faults().add(Fault::on(L"IPropertyStore::GetValue", E_FAIL).at(L"unreadable-speakers"));
    EXPECT_TRUE(unreadable.friendlyName().empty());
    EXPECT_TRUE(log.contains(std::string("IPropertyStore::GetValue failed ") + kFailDecimal, 1)) << log.dump();
    machine.faults().remove(valueFault);
    EXPECT_EQ(L"unreadable-speakers (Bench Audio)", text(unreadable.friendlyName()));
    machine.faults().add(Fault::on(L"IPropertyStore::GetValue", E_FAIL).at(L"unreadable-speakers"));
    EXPECT_TRUE(unreadable.enumeratorName().empty());
    EXPECT_TRUE(log.contains(
        "Unable to query PKEY_Device_EnumeratorName for device unreadable-speakers (Bench Audio)", 3))
        << log.dump();
}

TEST_F(Groups, DefaultBuiltGroupHasNothingToRead) {
    LogCapture log;
    EndpointGroup group;
    EXPECT_FALSE(group.isInitialized());
    EXPECT_TRUE(group.friendlyName().empty());
    EXPECT_TRUE(group.enumeratorName().empty());
    EXPECT_TRUE(log.contains("Endpoint group not initialized yet", 1)) << log.dump();
    EXPECT_TRUE(log.contains("Make sure m_allDevices is not empty", 1)) << log.dump();
    EXPECT_EQ(0u, group.mic().size());
    EXPECT_FALSE(group.hasActivePlaybackDevice());
}

TEST_F(Groups, CloseDropsEveryEndpointAndKeepsTheIdentity) {
    Bench bench(L"close");
    bench.adapter(L"codec", kCodec).parent(kCodec, kController);
    bench.endpoint(L"speakers", L"codec", Speakers);
    bench.endpoint(L"mic", L"codec", Microphone);
    bench.endpoint(L"remote", L"codec", RemoteNetworkDevice);
    audiosim::Machine& machine = install(bench);
    GroupList groups = enumerateGroups();
    ASSERT_EQ(1u, groups.size());
    EndpointGroup& group = *groups[0];
    EXPECT_EQ(L"speakers (Bench Audio)", text(group.friendlyName()));
    EXPECT_EQ(1u, group.mic().size());

    group.close();

    machine.calls().clear();
    EXPECT_EQ(0u, group.mic().size());
    EXPECT_EQ(0u, group.analogOut().size());
    EXPECT_EQ(0u, propertyStoresOpened()) << "the unsorted endpoints went too";
    EXPECT_TRUE(group.isInitialized());
    EXPECT_EQ(kCodec, text(group.instanceId()));
    EXPECT_TRUE(group.matches(kController));
    EXPECT_EQ(L"speakers (Bench Audio)", text(group.friendlyName()));
}

TEST_F(Groups, ActivePlaybackDevice) {
    Bench bench(L"playback");
    bench.adapter(L"line-only", L"ROOT\\LINEONLY\\0000")
        .adapter(L"late-hdmi", L"ROOT\\LATEHDMI\\0000")
        .adapter(L"unplugged", L"ROOT\\UNPLUGGED\\0000")
        .adapter(L"headset", L"ROOT\\HEADSET\\0000")
        .adapter(L"capture", L"ROOT\\CAPTURE\\0000")
        .adapter(L"silent-state", L"ROOT\\SILENTSTATE\\0000");
    bench.endpoint(L"line-a", L"line-only", LineLevel);
    bench.endpoint(L"line-b", L"line-only", LineLevel);
    bench.endpoint(L"speakers-stateless", L"late-hdmi", Speakers);
    bench.endpoint(L"hdmi", L"late-hdmi", DigitalAudioDisplayDevice);
    bench.endpoint(L"speakers-unplugged", L"unplugged", Speakers, DEVICE_STATE_UNPLUGGED);
    bench.endpoint(L"headset-on", L"headset", Headset);
    bench.endpoint(L"mic", L"capture", Microphone);
    bench.endpoint(L"speakers-no-state", L"silent-state", Speakers);
    audiosim::Machine& machine = install(bench);
    machine.faults().add(Fault::on(L"IMMDevice::GetState", E_FAIL).at(L"speakers-no-state"));
    machine.faults().add(Fault::on(L"IMMDevice::GetState", E_FAIL).at(L"speakers-stateless"));
    GroupList groups = enumerateGroups();
    ASSERT_EQ(6u, groups.size());

    EXPECT_FALSE(groupOf(groups, L"ROOT\\LINEONLY\\0000")->hasActivePlaybackDevice());
    // The unplugged endpoint still reaches its adapter and makes a group of
    // its own, with nothing playing.
    EXPECT_FALSE(groupOf(groups, L"ROOT\\UNPLUGGED\\0000")->hasActivePlaybackDevice());
    EXPECT_TRUE(groupOf(groups, L"ROOT\\HEADSET\\0000")->hasActivePlaybackDevice());
    EXPECT_FALSE(groupOf(groups, L"ROOT\\CAPTURE\\0000")->hasActivePlaybackDevice());
    EXPECT_FALSE(groupOf(groups, L"ROOT\\SILENTSTATE\\0000")->hasActivePlaybackDevice());

    // The question sorts the playback lists, so they are not sorted again.
    EndpointGroup& lateHdmi = *groupOf(groups, L"ROOT\\LATEHDMI\\0000");
    EXPECT_TRUE(lateHdmi.hasActivePlaybackDevice());
    machine.calls().clear();
    EXPECT_EQ(std::vector<std::wstring>{L"speakers-stateless"}, idsOf(lateHdmi.analogOut()));
    EXPECT_EQ(std::vector<std::wstring>{L"hdmi"}, idsOf(lateHdmi.hdmi()));
    EXPECT_EQ(0u, propertyStoresOpened());

    // A group made around an unplugged endpoint has nothing playing.
    ATL::CComPtr<IMMDeviceEnumerator> platform;
    ASSERT_TRUE(SUCCEEDED(machine.createEnumerator(__uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&platform))));
    ATL::CComPtr<IMMDevice> unplugged;
    ASSERT_TRUE(SUCCEEDED(platform->GetDevice(L"speakers-unplugged", &unplugged)));
    EndpointGroup unpluggedGroup(unplugged, L"ROOT\\UNPLUGGED\\0000");
    EXPECT_FALSE(unpluggedGroup.hasActivePlaybackDevice());
    EXPECT_EQ(1u, unpluggedGroup.analogOut().size());
}

}  // namespace

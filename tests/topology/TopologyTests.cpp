// Topology snapshots, parts and connectors on the simulator's laptop: the
// arrays in the platform's order, the owner found from a connector, parts
// lists in both directions with the references they keep, signal paths
// between connectors, and what each refused platform call leaves behind.
#include <libSonvane/audiodevicetopology.h>
#include <libSonvane/audiopart.h>

#include "LogCapture.h"
#include "ShippedMachines.h"
#include "SimulatedObjects.h"

#include <audiosim/Machine.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using topologytests::simulatedTopology;

constexpr auto& speakersEndpoint = shippedlaptop::kSpeakers;
constexpr auto& codecTopology = shippedlaptop::kCodecTopology;

audiosim::Machine laptop() {
    return audiosim::Machine::fromFile(shippedMachineFile("laptop.json"));
}

template <class Component>
std::vector<std::string> namesOf(const orv::Array<Component>& list) {
    std::vector<std::string> names;
    for (const Component& element : list) {
        names.push_back(element.name().toUtf8());
    }
    return names;
}

// The element of that name; fails the test when there is none.
template <class Component>
Component byName(const orv::Array<Component>& list, const std::string& name) {
    for (const Component& element : list) {
        if (element.name().toUtf8() == name) {
            return element;
        }
    }
    ADD_FAILURE() << "no part named " << name;
    return list[0];
}

std::wstring wide(const orv::String& text) {
    return text.wideBuffer();
}

TEST(AudioDeviceTopologyTest, ReadsOwnerConnectorsAndSubunitsInThePlatformsOrder) {
    audiosim::Machine machine = laptop();
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    ASSERT_TRUE(codec.isInitialized());
    EXPECT_EQ(std::wstring(codecTopology), wide(codec.deviceOwner()));
    EXPECT_EQ((std::vector<std::string>{"Render Input", "Speaker", "Headphone", "Internal Mic Array", "Mic In",
                                        "Capture Output"}),
              namesOf(codec.connector()));
    EXPECT_EQ((std::vector<std::string>{"Master Volume", "Master Mute", "Speaker Mute", "Speaker Volume",
                                        "Headphone Mute", "Headphone Volume", "Input Select", "Capture Volume",
                                        "Capture Mute"}),
              namesOf(codec.subunit()));
    EXPECT_TRUE(IsEqualGUID(audiosim::nodeType(L"KSNODETYPE_SPEAKER"), codec.connector()[1].subType()));
    EXPECT_TRUE(IsEqualGUID(audiosim::nodeType(L"KSNODETYPE_MUTE"), codec.subunit()[1].subType()));
    EXPECT_NE(codec.connector()[1].id().compareNoCase(codec.connector()[2].id()), 0);

    // The endpoint's own topology leads to the codec through its connector:
    // a snapshot made from the far connector, or the component's owner.
    AudioDeviceTopology endpoint = simulatedTopology(machine, speakersEndpoint);
    ASSERT_EQ(1u, endpoint.connector().size());
    EXPECT_EQ(std::wstring(speakersEndpoint), wide(endpoint.deviceOwner()));
    ATL::CComPtr<IConnector> farSide;
    ASSERT_EQ(S_OK, endpoint.connector()[0].component()->GetConnectedTo(&farSide));
    AudioDeviceTopology fromConnector(farSide);
    EXPECT_EQ(std::wstring(codecTopology), wide(fromConnector.deviceOwner()));
    EXPECT_EQ(namesOf(codec.subunit()), namesOf(fromConnector.subunit()));
    EXPECT_EQ(std::wstring(codecTopology), wide(codec.connector()[4].deviceOwner()));
    EXPECT_EQ(std::wstring(codecTopology), wide(codec.subunit()[0].deviceOwner()));
}

TEST(AudioDeviceTopologyTest, UnreadableNodesShortenTheArraysAndANullTopologyEmptiesTheSnapshot) {
    audiosim::Machine machine = laptop();
    LogCapture log;
    machine.faults().add(audiosim::Fault::on(L"IDeviceTopology::GetConnector", E_FAIL).onCall(2));
    machine.faults().add(
        audiosim::Fault::on(L"IDeviceTopology::GetDeviceId", E_FAIL).withOut(audiosim::OutPointer::Set));
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    EXPECT_EQ((std::vector<std::string>{"Render Input", "Headphone", "Internal Mic Array", "Mic In",
                                        "Capture Output"}),
              namesOf(codec.connector()));
    EXPECT_TRUE(log.contains("Unable to retrieve connector index 1 0x80004005", 3)) << log.dump();
    // A failed id call that still handed out the text is believed.
    EXPECT_EQ(std::wstring(codecTopology), wide(codec.deviceOwner()));
    EXPECT_TRUE(log.contains("Unable to retrieve device id from topology 0x80004005", 3)) << log.dump();

    log.clear();
    EXPECT_FALSE(codec.initialize(ATL::CComPtr<IDeviceTopology>()));
    EXPECT_TRUE(log.contains("Using NULL deviceTopology invalidates this object", 2)) << log.dump();
    EXPECT_EQ(0u, log.count("", 3)) << log.dump();
    EXPECT_FALSE(codec.isInitialized());
    EXPECT_TRUE(codec.deviceOwner().empty());
    EXPECT_EQ(0u, codec.connector().size());
    EXPECT_EQ(0u, codec.subunit().size());

    // A connector without a topology object ends the same way.
    machine.faults().clear();
    AudioDeviceTopology endpoint = simulatedTopology(machine, speakersEndpoint);
    machine.faults().add(audiosim::Fault::on(L"IPart::GetTopologyObject", E_FAIL));
    log.clear();
    EXPECT_FALSE(endpoint.initialize(endpoint.connector()[0].component()));
    EXPECT_TRUE(log.contains("GetTopologyObject fails 0x80004005", 3)) << log.dump();
    EXPECT_TRUE(log.contains("Using NULL deviceTopology invalidates this object", 2)) << log.dump();
    EXPECT_FALSE(endpoint.isInitialized());
    EXPECT_FALSE(endpoint.initialize(ATL::CComPtr<IConnector>()));
    EXPECT_TRUE(log.contains("Cannot use NULL as parameter", 3)) << log.dump();
}

TEST(AudioDeviceTopologyTest, UncountedNodesReadAsNoneAndAnUnreadableSubunitIsLeftOut) {
    audiosim::Machine machine = laptop();
    ATL::CComPtr<IDeviceTopology> platformTopology =
        topologytests::activate<IDeviceTopology>(simulatedEndpoint(machine, codecTopology));
    ASSERT_TRUE(platformTopology);
    const std::vector<std::string> allSubunits = namesOf(simulatedTopology(machine, codecTopology).subunit());
    AudioDeviceTopology codec;
    LogCapture log;

    // A refused count leaves the count at 0: that array stays empty, the
    // other is read, and the snapshot is no less initialized.
    machine.faults().add(audiosim::Fault::on(L"IDeviceTopology::GetConnectorCount", E_FAIL).onCall(1));
    EXPECT_TRUE(codec.initialize(platformTopology));
    EXPECT_EQ(0u, codec.connector().size());
    EXPECT_EQ(allSubunits, namesOf(codec.subunit()));
    EXPECT_TRUE(log.contains("Num connector = 0", 2)) << log.dump();

    machine.faults().add(audiosim::Fault::on(L"IDeviceTopology::GetSubunitCount", E_FAIL).onCall(1));
    EXPECT_TRUE(codec.initialize(platformTopology));
    EXPECT_EQ(6u, codec.connector().size());
    EXPECT_EQ(0u, codec.subunit().size());
    EXPECT_TRUE(log.contains("Subunit count = 0", 2)) << log.dump();
    EXPECT_EQ(0u, log.count("", 3)) << log.dump();

    // Refusals that still give the counts read everything.
    machine.faults().clear();
    for (const wchar_t* count : {L"IDeviceTopology::GetConnectorCount", L"IDeviceTopology::GetSubunitCount"}) {
        machine.faults().add(audiosim::Fault::on(count, E_FAIL).withOut(audiosim::OutPointer::Set));
    }
    EXPECT_TRUE(codec.initialize(platformTopology));
    EXPECT_EQ(6u, codec.connector().size());
    EXPECT_EQ(allSubunits, namesOf(codec.subunit()));

    machine.faults().clear();
    log.clear();
    machine.faults().add(audiosim::Fault::on(L"IDeviceTopology::GetSubunit", E_ACCESSDENIED).onCall(3));
    EXPECT_TRUE(codec.initialize(platformTopology));
    std::vector<std::string> withoutSpeakerMute = allSubunits;
    withoutSpeakerMute.erase(withoutSpeakerMute.begin() + 2);
    EXPECT_EQ(withoutSpeakerMute, namesOf(codec.subunit()));
    EXPECT_TRUE(log.contains("Unable to retrieve subunit index 2 0x80070005", 3)) << log.dump();
    EXPECT_EQ(1u, log.count("", 3)) << log.dump();
}

TEST(AudioPartTest, ListsNeighboursBothWaysAndKeepsThePlatformsReferences) {
    audiosim::Machine machine = laptop();
    std::wstring masterMuteId;
    std::wstring speakerMuteId;
    std::wstring headphoneMuteId;
    {
        AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
        AudioComponent<ISubunit> masterMute = byName(codec.subunit(), "Master Mute");
        masterMuteId = wide(masterMute.id());
        speakerMuteId = wide(byName(codec.subunit(), "Speaker Mute").id());
        headphoneMuteId = wide(byName(codec.subunit(), "Headphone Mute").id());

        orv::Array<AudioPart> list;
        EXPECT_EQ(1u, masterMute.incomingPartsList(list));
        EXPECT_EQ((std::vector<std::string>{"Master Volume"}), namesOf(list));
        EXPECT_EQ(2u, masterMute.outgoingPartsList(list));
        EXPECT_EQ((std::vector<std::string>{"Speaker Mute", "Headphone Mute"}), namesOf(list));
        EXPECT_TRUE(list[0] == byName(codec.subunit(), "Speaker Mute").part());
    }
    // Nothing of the library is alive any more; what stays is what it keeps
    // for good: each list object and the reference of each part taken from it.
    EXPECT_EQ(1u, machine.liveReferences(L"IPartsList " + masterMuteId + L" incoming"));
    EXPECT_EQ(1u, machine.liveReferences(L"IPartsList " + masterMuteId + L" outgoing"));
    EXPECT_EQ(1u, machine.liveReferences(L"IPart " + speakerMuteId));
    EXPECT_EQ(1u, machine.liveReferences(L"IPart " + headphoneMuteId));
    EXPECT_EQ(5u, machine.totalLiveReferences());
}

TEST(AudioPartTest, FailedListingKeepsTheCallersListAndAFailedIndexIsSkippedQuietly) {
    audiosim::Machine machine = laptop();
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    AudioComponent<ISubunit> masterMute = byName(codec.subunit(), "Master Mute");
    LogCapture log;

    orv::Array<AudioPart> list;
    ASSERT_EQ(2u, masterMute.outgoingPartsList(list));
    machine.faults().add(audiosim::Fault::on(L"IPart::EnumPartsIncoming", E_FAIL).onCall(1));
    EXPECT_EQ(0u, masterMute.incomingPartsList(list));
    EXPECT_EQ((std::vector<std::string>{"Speaker Mute", "Headphone Mute"}), namesOf(list));
    EXPECT_TRUE(log.contains("Unable to enumerate incoming parts", 3)) << log.dump();

    // A part at the end of the path has nothing downstream: the platform
    // answers "not found", which is a failure too.
    AudioComponent<IConnector> speaker = byName(codec.connector(), "Speaker");
    EXPECT_EQ(0u, speaker.outgoingPartsList(list));
    EXPECT_TRUE(log.contains("Unable to enumerate outgoing parts", 3)) << log.dump();
    EXPECT_EQ(2u, list.size());

    log.clear();
    machine.faults().add(audiosim::Fault::on(L"IPartsList::GetPart", E_FAIL).onCall(1));
    EXPECT_EQ(1u, masterMute.outgoingPartsList(list));
    EXPECT_EQ((std::vector<std::string>{"Headphone Mute"}), namesOf(list));
    EXPECT_EQ(0u, log.count("", 3)) << log.dump();

    // A part that has parts downstream but whose list is refused: the same.
    machine.faults().add(audiosim::Fault::on(L"IPart::EnumPartsOutgoing", E_ACCESSDENIED).onCall(1));
    EXPECT_EQ(0u, masterMute.outgoingPartsList(list));
    EXPECT_EQ((std::vector<std::string>{"Headphone Mute"}), namesOf(list));
    EXPECT_TRUE(log.contains("Unable to enumerate outgoing parts", 3)) << log.dump();
}

TEST(AudioPartTest, AListThatCannotCountItsPartsIsAListOfNone) {
    audiosim::Machine machine = laptop();
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    AudioComponent<ISubunit> masterMute = byName(codec.subunit(), "Master Mute");
    LogCapture log;
    orv::Array<AudioPart> list;
    ASSERT_EQ(2u, masterMute.outgoingPartsList(list));

    // The listing itself succeeded, so the caller's list is replaced, by
    // nothing; the count's refusal is not looked at.
    machine.calls().clear();
    machine.faults().add(audiosim::Fault::on(L"IPartsList::GetCount", E_FAIL).onCall(1));
    EXPECT_EQ(0u, masterMute.outgoingPartsList(list));
    EXPECT_EQ(0u, list.size());
    EXPECT_EQ(0u, log.count("", 3)) << log.dump();
    EXPECT_EQ(0u, machine.calls().count(L"IPartsList::GetPart"));

    // A refusal that still gives the count lists every part.
    machine.faults().clear();
    machine.faults().add(
        audiosim::Fault::on(L"IPartsList::GetCount", E_FAIL).onCall(1).withOut(audiosim::OutPointer::Set));
    EXPECT_EQ(1u, masterMute.incomingPartsList(list));
    EXPECT_EQ((std::vector<std::string>{"Master Volume"}), namesOf(list));
}

TEST(AudioPartTest, IdentityIsReadWithoutLookingAtTheResults) {
    audiosim::Machine machine = laptop();
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    AudioPart speaker = byName(codec.connector(), "Speaker").part();
    ATL::CComPtr<IPart> node = speaker.part();
    const std::wstring speakerId = wide(speaker.globalId());
    const GUID speakerType = audiosim::nodeType(L"KSNODETYPE_SPEAKER");
    const wchar_t* const identity[] = {L"IPart::GetSubType", L"IPart::GetGlobalId", L"IPart::GetName"};
    LogCapture log;

    for (const wchar_t* method : identity) {
        machine.faults().add(audiosim::Fault::on(method, E_FAIL).at(speakerId));
    }
    AudioPart unread(node);
    EXPECT_TRUE(IsEqualGUID(GUID_NULL, unread.subType()));
    EXPECT_TRUE(unread.globalId().empty());
    EXPECT_TRUE(unread.name().empty());
    // Without an id it is the same node as any other without one.
    EXPECT_TRUE(unread == AudioPart());
    EXPECT_FALSE(unread == speaker);

    // Read again over an identity: the type and the name keep what they
    // held, but the id takes what the platform gave, which is nothing.
    speaker = node;
    EXPECT_TRUE(IsEqualGUID(speakerType, speaker.subType()));
    EXPECT_EQ("Speaker", speaker.name().toUtf8());
    EXPECT_TRUE(speaker.globalId().empty());
    EXPECT_EQ(0u, log.count("", 3)) << log.dump();

    // Answers that come with a failure are taken as they are.
    machine.faults().clear();
    for (const wchar_t* method : identity) {
        machine.faults().add(audiosim::Fault::on(method, E_FAIL).at(speakerId).withOut(audiosim::OutPointer::Set));
    }
    AudioPart believed(node);
    EXPECT_TRUE(IsEqualGUID(speakerType, believed.subType()));
    EXPECT_EQ(speakerId, wide(believed.globalId()));
    EXPECT_EQ("Speaker", believed.name().toUtf8());
}

TEST(AudioComponentTest, ComponentOfTheWrongKindIsEmptyAndEqualityFollowsTheId) {
    audiosim::Machine machine = laptop();
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    ATL::CComPtr<IPart> speakerPart = codec.connector()[1].part().part();

    AudioComponent<ISubunit> notASubunit(speakerPart);
    EXPECT_FALSE(notASubunit.component());
    EXPECT_FALSE(notASubunit.part().part());
    EXPECT_TRUE(notASubunit.id().empty());

    // A second object for the same node is the same connector.
    AudioComponent<IConnector> again(speakerPart);
    EXPECT_TRUE(again == codec.connector()[1]);
    EXPECT_FALSE(again == codec.connector()[2]);
    EXPECT_EQ("Speaker", again.name().toUtf8());

    // Assigning a null part keeps the identity read before.
    AudioPart part = codec.connector()[1].part();
    part = static_cast<IPart*>(nullptr);
    EXPECT_FALSE(part.part());
    EXPECT_TRUE(part.globalId() == codec.connector()[1].id());
    EXPECT_FALSE(part.topology());
}

TEST(AudioComponentTest, ANodeThatRefusesItsInterfacesHasNoIdentity) {
    audiosim::Machine machine = laptop();
    std::wstring speakerId;
    std::wstring renderInputId;
    {
        AudioDeviceTopology unfaulted = simulatedTopology(machine, codecTopology);
        speakerId = wide(byName(unfaulted.connector(), "Speaker").id());
        renderInputId = wide(byName(unfaulted.connector(), "Render Input").id());
    }
    LogCapture log;

    // A connector that will not be seen as a part keeps its place in the
    // array, without name, id or owner.
    size_t refusal =
        machine.faults().add(audiosim::Fault::on(L"IPart::QueryInterface", E_NOINTERFACE).at(speakerId));
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    ASSERT_EQ(6u, codec.connector().size());
    AudioComponent<IConnector> speaker = codec.connector()[1];
    EXPECT_TRUE(speaker.component());
    EXPECT_FALSE(speaker.part().part());
    EXPECT_TRUE(speaker.id().empty());
    EXPECT_TRUE(speaker.name().empty());
    EXPECT_TRUE(speaker.deviceOwner().empty());
    EXPECT_EQ("Headphone", codec.connector()[2].name().toUtf8());
    EXPECT_EQ(0u, log.count("", 3)) << log.dump();

    // The query's result is not looked at: a refusal that hands the part
    // over gives the whole identity.
    machine.faults().remove(refusal);
    refusal = machine.faults().add(audiosim::Fault::on(L"IPart::QueryInterface", E_NOINTERFACE)
                                       .at(speakerId)
                                       .withOut(audiosim::OutPointer::Set));
    codec = simulatedTopology(machine, codecTopology);
    EXPECT_EQ("Speaker", codec.connector()[1].name().toUtf8());
    EXPECT_EQ(speakerId, wide(codec.connector()[1].id()));

    // From the other side, a part that will not be seen as a connector makes
    // an empty component, quietly, even when it answers with the interface.
    ATL::CComPtr<IPart> speakerPart = codec.connector()[1].part().part();
    machine.faults().clear();
    machine.faults().add(audiosim::Fault::on(L"IPart::QueryInterface", E_NOINTERFACE).onCall(1));
    AudioComponent<IConnector> refused(speakerPart);
    EXPECT_FALSE(refused.component());
    EXPECT_FALSE(refused.part().part());
    EXPECT_TRUE(refused.id().empty());
    machine.faults().clear();
    machine.faults().add(audiosim::Fault::on(L"IPart::QueryInterface", E_NOINTERFACE)
                             .onCall(1)
                             .withOut(audiosim::OutPointer::Set));
    AudioComponent<IConnector> refusedWithAnswer(speakerPart);
    EXPECT_FALSE(refusedWithAnswer.component());
    EXPECT_TRUE(refusedWithAnswer.id().empty());
    EXPECT_EQ(0u, log.count("", 3)) << log.dump();

    // A snapshot asked to start from such a connector ends empty, whatever
    // it held before.
    AudioDeviceTopology fromConnector(codec.connector()[0]);
    ASSERT_TRUE(fromConnector.isInitialized());
    machine.faults().clear();
    machine.faults().add(audiosim::Fault::on(L"IPart::QueryInterface", E_NOINTERFACE).at(renderInputId));
    EXPECT_FALSE(fromConnector.initialize(codec.connector()[0].component()));
    EXPECT_TRUE(log.contains("No part interface found", 3)) << log.dump();
    EXPECT_FALSE(fromConnector.isInitialized());
    EXPECT_TRUE(fromConnector.deviceOwner().empty());
    EXPECT_EQ(0u, fromConnector.connector().size());
    EXPECT_EQ(0u, fromConnector.subunit().size());
}

TEST(ConnectorsAreLinkedTest, AsksThePlatformBothWaysAndNeverLinksAConnectorToItself) {
    audiosim::Machine machine = laptop();
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    AudioComponent<IConnector> renderInput = byName(codec.connector(), "Render Input");
    AudioComponent<IConnector> speaker = byName(codec.connector(), "Speaker");
    AudioComponent<IConnector> micIn = byName(codec.connector(), "Mic In");
    LogCapture log;

    EXPECT_TRUE(codec.connectorsAreLinked(renderInput, speaker));
    EXPECT_EQ(0u, log.count("No signal path from")) << log.dump();

    // The path runs from the render input to the speaker only: one failed
    // direction is logged, then the reverse question finds it.
    EXPECT_TRUE(codec.connectorsAreLinked(speaker, renderInput));
    EXPECT_EQ(1u, log.count("No signal path from " + speaker.id().toUtf8() + " to " + renderInput.id().toUtf8(), 3))
        << log.dump();
    EXPECT_EQ(1u, log.count("No signal path from")) << log.dump();

    log.clear();
    EXPECT_FALSE(codec.connectorsAreLinked(speaker, micIn));
    EXPECT_EQ(2u, log.count("No signal path from", 3)) << log.dump();

    log.clear();
    machine.calls().clear();
    EXPECT_FALSE(codec.connectorsAreLinked(speaker, AudioComponent<IConnector>(speaker.part().part())));
    EXPECT_TRUE(log.contains("Function treats the same connectors as unlinked", 3)) << log.dump();
    EXPECT_EQ(0u, machine.calls().count(L"IDeviceTopology::GetSignalPath"));

    AudioComponent<IConnector> empty{ATL::CComPtr<IPart>()};
    log.clear();
    EXPECT_FALSE(codec.connectorsAreLinked(empty, speaker));
    EXPECT_TRUE(log.contains("One of the connectors is invalid", 3)) << log.dump();
    log.clear();
    EXPECT_FALSE(codec.connectorsAreLinked(empty, AudioComponent<IConnector>(ATL::CComPtr<IConnector>())));
    EXPECT_TRUE(log.contains("Function treats the same connectors as unlinked", 3)) << log.dump();
    EXPECT_FALSE(log.contains("One of the connectors is invalid")) << log.dump();
}

TEST(ConnectorsAreLinkedTest, APlatformRefusalInEitherDirectionMeansNotLinked) {
    audiosim::Machine machine = laptop();
    AudioDeviceTopology codec = simulatedTopology(machine, codecTopology);
    AudioComponent<IConnector> renderInput = byName(codec.connector(), "Render Input");
    AudioComponent<IConnector> speaker = byName(codec.connector(), "Speaker");
    const std::string renderInputToSpeaker =
        "No signal path from " + renderInput.id().toUtf8() + " to " + speaker.id().toUtf8();
    const std::string speakerToRenderInput =
        "No signal path from " + speaker.id().toUtf8() + " to " + renderInput.id().toUtf8();
    LogCapture log;

    // The path runs from the render input to the speaker only. Refusing the
    // question about it leaves the reverse one, which finds nothing.
    machine.faults().add(audiosim::Fault::on(L"IDeviceTopology::GetSignalPath", E_FAIL).onCall(1));
    EXPECT_FALSE(codec.connectorsAreLinked(renderInput, speaker));
    EXPECT_EQ(1u, log.count(renderInputToSpeaker, 3)) << log.dump();
    EXPECT_EQ(1u, log.count(speakerToRenderInput, 3)) << log.dump();

    // Asked the other way round, the refusal hits the second question. A
    // refused search that still hands a path over is no link, and its path
    // is released all the same.
    machine.faults().clear();
    log.clear();
    machine.faults().add(audiosim::Fault::on(L"IDeviceTopology::GetSignalPath", E_FAIL)
                             .onCall(2)
                             .withOut(audiosim::OutPointer::Set));
    const ULONG referencesBefore = machine.totalLiveReferences();
    EXPECT_FALSE(codec.connectorsAreLinked(speaker, renderInput));
    EXPECT_EQ(1u, log.count(speakerToRenderInput, 3)) << log.dump();
    EXPECT_EQ(1u, log.count(renderInputToSpeaker, 3)) << log.dump();
    EXPECT_EQ(referencesBefore, machine.totalLiveReferences());
}

}  // namespace

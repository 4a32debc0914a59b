// The jack descriptions of an endpoint come from the first of its
// connectors whose far side offers a jack interface, and from no other.
#include "SimulatedEndpoints.h"

#include <LogCapture.h>
#include <gtest/gtest.h>

using namespace streamtests;

namespace {

size_t linesAbove(LogCapture const& log, int level) {
    size_t count = 0;
    for (LogCapture::Record const& record : log.records()) {
        count += record.level > level ? 1 : 0;
    }
    return count;
}

}  // namespace

TEST(Jacks, OnlyTheFirstConnectorWithAJackInterfaceIsRead) {
    LogCapture log;
    audiosim::Machine machine = jackMachine();
    AudioDevice speakers(simulatedDevice(machine, speakersId).p);
    AudioDevice microphone(simulatedDevice(machine, microphoneId).p);
    orv::Array<KSJACK_DESCRIPTION> list;

    // The first connector's part has no jack interface; the second one's
    // two jacks are read in order, and the third connector is not visited.
    machine.calls().clear();
    EXPECT_EQ(2u, speakers.jackInfo(list));
    ASSERT_EQ(2u, list.size());
    EXPECT_EQ(0xFF0000u, list[0].Color);
    EXPECT_EQ(0x00FF00u, list[1].Color);
    EXPECT_EQ(2u, machine.calls().count(L"IConnector::GetConnectedTo"));

    // A jack interface that reports no jack ends the walk all the same.
    machine.calls().clear();
    EXPECT_EQ(0u, microphone.jackInfo(list));
    EXPECT_EQ(0u, list.size());
    EXPECT_EQ(1u, machine.calls().count(L"IConnector::GetConnectedTo"));

    // A description that cannot be fetched still takes its place.
    machine.faults().add(audiosim::Fault::on(L"IKsJackDescription::GetJackDescription", E_FAIL).onCall(2));
    EXPECT_EQ(2u, speakers.jackInfo(list));
    EXPECT_EQ(0xFF0000u, list[0].Color);
    EXPECT_EQ(0u, list[1].Color);
}

TEST(Jacks, NoConnectionAndNoTopologyGiveNone) {
    LogCapture log;
    audiosim::Machine machine = jackMachine();
    AudioDevice unplugged(simulatedDevice(machine, unpluggedId).p);
    AudioDevice bare(simulatedDevice(machine, bareId).p);
    KSJACK_DESCRIPTION const stale = {};
    orv::Array<KSJACK_DESCRIPTION> list;

    // Connectors that lead nowhere are passed over with detail lines only,
    // and the list is emptied.
    list.append(stale);
    log.clear();
    EXPECT_EQ(0u, unplugged.jackInfo(list));
    EXPECT_EQ(0u, list.size());
    EXPECT_EQ(2u, log.count("No Jack Info for non-active device", 1));
    EXPECT_EQ(0u, linesAbove(log, 1)) << log.dump();

    // Without a topology the list is left as it was.
    list.append(stale);
    EXPECT_EQ(0u, bare.jackInfo(list));
    EXPECT_EQ(1u, list.size());
    EXPECT_TRUE(log.contains("Audio device has no topology", 3));
}

// The jack descriptions of an endpoint come from the first of its
// connectors whose far side offers a jack interface, and from no other.
#include "StreamMachine.h"

namespace streams {
namespace {

size_t linesAbove(LogCapture const& log, int level) {
    size_t count = 0;
    for (LogCapture::Record const& record : log.records()) {
        count += record.level > level ? 1 : 0;
    }
    return count;
}

class JackTest : public StreamMachineTest {};

TEST_F(JackTest, OnlyTheFirstConnectorWithAJackInterfaceIsRead) {
    LogCapture log;
    audiosim::Machine& simulated = install(jackMachine());
    AudioDevice speakers(endpoint(kJackSpeakers));
    AudioDevice microphone(endpoint(kJackMicrophone));
    orv::Array<KSJACK_DESCRIPTION> list;

    // The first connector's part has no jack interface; the second one's
    // two jacks are read in order, and the third connector is not visited.
    simulated.calls().clear();
    EXPECT_EQ(2u, speakers.jackInfo(list));
    ASSERT_EQ(2u, list.size());
    EXPECT_EQ(0xFF0000u, list[0].Color);
    EXPECT_EQ(0x00FF00u, list[1].Color);
    EXPECT_EQ(2u, simulated.calls().count(L"IConnector::GetConnectedTo"));

    // A jack interface that reports no jack ends the walk all the same.
    simulated.calls().clear();
    EXPECT_EQ(0u, microphone.jackInfo(list));
    EXPECT_EQ(0u, list.size());
    EXPECT_EQ(1u, simulated.calls().count(L"IConnector::GetConnectedTo"));

    // A description that cannot be fetched still takes its place.
    simulated.faults().add(audiosim::Fault::on(L"IKsJackDescription::GetJackDescription", E_FAIL).onCall(2));
    EXPECT_EQ(2u, speakers.jackInfo(list));
    EXPECT_EQ(0xFF0000u, list[0].Color);
    EXPECT_EQ(0u, list[1].Color);
}

TEST_F(JackTest, NoConnectionAndNoTopologyGiveNone) {
    LogCapture log;
    install(jackMachine());
    AudioDevice unplugged(endpoint(kUnplugged));
    AudioDevice bare(endpoint(kBare));
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

}  // namespace
}  // namespace streams

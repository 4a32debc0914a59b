// The jack descriptions of an endpoint when the parts behind its connectors
// misbehave: a connector that gives up on the way costs only itself, while
// the first jack interface reached ends the walk whatever it answers.
#include "SimulatedMachine.h"

#include <LogCapture.h>

#include <audiosim/Faults.h>

#include <cwchar>

namespace devicelist {
namespace {

using audiosim::Fault;

wchar_t const kSpeakers[] = L"{0.0.0.00000000}.{55555555-0000-0000-0000-000000000001}";
wchar_t const kCodec[] = L"{2}.\\\\?\\hdaudio#func_01&ven_14f1&dev_5069#{6994ad04}\\etopo";

// Parts are named <device id>/<local id>; connectors count from 0x00010000.
std::wstring connectorId(std::wstring const& device, unsigned int index) {
    wchar_t local[16];
    std::swprintf(local, 16, L"/%08x", 0x00010000u + index);
    return device + local;
}

KSJACK_DESCRIPTION jackOfColour(DWORD colour) {
    return audiosim::pluggedJack(eConnType3Point5mm, eGeoLocFront, colour);
}

std::vector<DWORD> coloursOf(orv::Array<KSJACK_DESCRIPTION> const& list) {
    std::vector<DWORD> colours;
    for (KSJACK_DESCRIPTION const& jack : list) {
        colours.push_back(jack.Color);
    }
    return colours;
}

size_t linesAboveDetail(LogCapture const& log) {
    return log.count("", 2) + log.count("", 3) + log.count("", 4);
}

class JackInfo : public SimulatedMachineTest {
protected:
    // Three connectors of the speakers, each leading to a codec connector
    // with jacks: one red, then green and blue, then white.
    audiosim::Machine& installThreeJackedConnectors() {
        audiosim::MachineDescription description;
        describeEndpoint(description, eRender, kSpeakers, DEVICE_STATE_ACTIVE, L"Speakers", L"Conexant Audio");
        audiosim::Topology& codec = description.addAdapter(kCodec, L"HDAUDIO\\FUNC_01&VEN_14F1&DEV_5069\\1")
                                        .ensureTopology();
        codec.addConnector(audiosim::Part::connector(L"Line", Physical_External, Out).withJack(jackOfColour(0xFF0000)));
        codec.addConnector(audiosim::Part::connector(L"Headphone", Physical_External, Out)
                               .withJack(jackOfColour(0x00FF00))
                               .withJack(jackOfColour(0x0000FF)));
        codec.addConnector(
            audiosim::Part::connector(L"Speaker", Physical_Internal, Out).withJack(jackOfColour(0xFFFFFF)));
        audiosim::Topology& own = description.find(kSpeakers)->ensureTopology();
        for (wchar_t const* pin : {L"Line", L"Headphone", L"Speaker"}) {
            own.addConnector(
                audiosim::Part::connector(std::wstring(L"To ") + pin, Software_IO, In).connectTo(kCodec, pin));
        }
        return install(description);
    }
};

TEST_F(JackInfo, AConnectorThatGivesUpIsPassedOverAndARefusedCountEndsTheWalk) {
    audiosim::Machine& simulated = installThreeJackedConnectors();
    audiosim::Faults& faults = simulated.faults();
    AudioDevice speakers(endpoint(kSpeakers));
    orv::Array<KSJACK_DESCRIPTION> list;
    std::vector<DWORD> const secondConnector = {0x00FF00, 0x0000FF};
    LogCapture log;

    faults.add(Fault::on(L"IConnector::GetConnectedTo", E_FAIL).at(connectorId(kSpeakers, 0)));
    EXPECT_EQ(2u, speakers.jackInfo(list));
    EXPECT_EQ(secondConnector, coloursOf(list));
    EXPECT_TRUE(log.contains("No Jack Info for non-active device", 1)) << log.dump();
    faults.clear();

    faults.add(Fault::on(L"IPart::QueryInterface", E_NOINTERFACE).at(connectorId(kCodec, 0)));
    EXPECT_EQ(2u, speakers.jackInfo(list));
    EXPECT_EQ(secondConnector, coloursOf(list));
    EXPECT_TRUE(log.contains("No jack info. Can't find IPart", 1)) << log.dump();
    faults.clear();

    faults.add(Fault::on(L"IPart::Activate", E_NOINTERFACE).at(connectorId(kCodec, 0)));
    EXPECT_EQ(2u, speakers.jackInfo(list));
    EXPECT_EQ(secondConnector, coloursOf(list));
    faults.clear();

    // A jack interface handed out with a refusal is not read either.
    faults.add(Fault::on(L"IPart::Activate", E_NOINTERFACE)
                   .at(connectorId(kCodec, 0))
                   .withOut(audiosim::OutPointer::Set));
    EXPECT_EQ(2u, speakers.jackInfo(list));
    EXPECT_EQ(secondConnector, coloursOf(list));
    faults.clear();
    EXPECT_EQ(0u, linesAboveDetail(log)) << "connectors that give up cost detail lines only: " << log.dump();

    // The count is preset, so a refused count reads as no jack; the interface
    // was found all the same, and the other connectors are not asked.
    simulated.calls().clear();
    faults.add(Fault::on(L"IKsJackDescription::GetJackCount", E_FAIL).at(connectorId(kCodec, 0)));
    EXPECT_EQ(0u, speakers.jackInfo(list));
    EXPECT_EQ(0u, list.size());
    EXPECT_EQ(1u, simulated.calls().count(L"IConnector::GetConnectedTo"));
    faults.clear();

    // The count's result is not looked at: a count delivered with a failure
    // is read.
    faults.add(Fault::on(L"IKsJackDescription::GetJackCount", E_FAIL)
                   .at(connectorId(kCodec, 0))
                   .withOut(audiosim::OutPointer::Set));
    EXPECT_EQ(1u, speakers.jackInfo(list));
    EXPECT_EQ(std::vector<DWORD>{0xFF0000}, coloursOf(list));
}

}  // namespace
}  // namespace devicelist

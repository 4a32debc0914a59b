// Endpoint classification on simulated machines: microphones on the USB bus,
// on the ROOT enumerator and on a codec, with internal jacks, analog jacks or
// none; what each question answers, which steps of the overall answer run and
// what they log; the system version below which nothing is a microphone; and
// the host setting for tests of external microphones.
#include <libSonvane/audiodeviceendpoint.h>
#include <libSonvane/endpointclassification.h>

#include "LogCapture.h"
#include "SettingsFile.h"

#include <audiosim/Installation.h>
#include <audiosim/Machine.h>

#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

using audiosim::PropertyValue;

wchar_t const kCodec[] = L"codec";
wchar_t const kCodecInstance[] = L"HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269&SUBSYS_1028069A\\4&2B2A1E15&0&0001";
// The key AudioDevice reads its friendlyName from.
wchar_t const kFriendlyNameKey[] = L"{B3F8FA53-0004-438E-9003-51A46E139BFC},6";
char const kCategory[] = "libSonvane.audioDeviceEndpoint";

KSJACK_DESCRIPTION jack(EPcxConnectionType type, EPcxGeoLocation location = eGeoLocFront) {
    return audiosim::pluggedJack(type, location, 0, SPEAKER_FRONT_LEFT);
}

// One capture endpoint: its enumerator name (null: not in the store), the
// node type of the codec pin its connector leads to (null: none), the jacks
// of that pin (none: the pin has no jack interface), and what every question
// should answer for it.
struct Row {
    wchar_t const* id;
    wchar_t const* enumerator;
    wchar_t const* nodeType;
    std::vector<KSJACK_DESCRIPTION> jacks;
    bool internal;
    bool integrated;
    bool analogJack;
    bool usbMicrophone;
    bool virtualDevice;
};

std::vector<Row> const& decisionTable() {
    static std::vector<Row> const rows = {
        // id                  enumerator  node type                        jacks
        //   internal integrated analog usb virtual
        {L"root-desk-internal", L"ROOT", L"KSNODETYPE_DESKTOP_MICROPHONE", {jack(eConnTypeAtapiInternal)},
         true, false, false, false, true},
        {L"root-mic-analog", L"root", L"KSNODETYPE_MICROPHONE", {jack(eConnType3Point5mm)},
         false, false, true, false, true},
        {L"usb-mic", L"USB", L"KSNODETYPE_MICROPHONE", {},
         false, true, false, true, false},
        // A USB microphone is integrated before its jacks are looked at.
        {L"usb-mic-analog", L"usb", L"KSNODETYPE_MICROPHONE", {jack(eConnType3Point5mm)},
         false, true, true, true, false},
        {L"usb-array", L"USB", L"KSNODETYPE_MICROPHONE_ARRAY", {},
         true, true, false, false, false},
        {L"codec-mic", L"HDAUDIO", L"KSNODETYPE_MICROPHONE", {},
         false, false, false, false, false},
        {L"codec-mic-atapi", L"HDAUDIO", L"KSNODETYPE_MICROPHONE", {jack(eConnTypeAtapiInternal)},
         false, true, false, false, false},
        {L"codec-desk-3.5mm", L"HDAUDIO", L"KSNODETYPE_DESKTOP_MICROPHONE", {jack(eConnType3Point5mm)},
         false, false, true, false, false},
        {L"codec-desk-atapi", L"HDAUDIO", L"KSNODETYPE_DESKTOP_MICROPHONE", {jack(eConnTypeAtapiInternal)},
         true, true, false, false, false},
        {L"codec-array-atapi-bay", L"HDAUDIO", L"KSNODETYPE_MICROPHONE_ARRAY", {jack(eConnTypeOptical, eGeoLocATAPI)},
         true, true, false, false, false},
        // An 8-pin DIN jack is neither internal nor analog in the tests.
        {L"codec-personal-mixed", L"HDAUDIO", L"KSNODETYPE_PERSONAL_MICROPHONE",
         {jack(eConnTypeOtherDigital), jack(eConnTypeMultichannelAnalogDIN)},
         false, true, false, false, false},
        {L"codec-omni-quarter", L"HDAUDIO", L"KSNODETYPE_OMNI_DIRECTIONAL_MICROPHONE", {jack(eConnTypeQuarter)},
         false, false, true, false, false},
        {L"codec-array-rca", L"HDAUDIO", L"KSNODETYPE_MICROPHONE_ARRAY", {jack(eConnTypeOtherDigital), jack(eConnTypeRCA)},
         false, false, true, false, false},
        // Nothing read: no enumerator, no node type, no jack. Not a
        // microphone by any test, and still integrated at the last step.
        {L"unread", nullptr, nullptr, {},
         false, true, false, false, false},
    };
    return rows;
}

void addEndpoint(audiosim::MachineDescription& machine, Row const& row) {
    std::wstring const pin = std::wstring(L"Pin ") + row.id;
    GUID const subType = row.nodeType ? audiosim::nodeType(row.nodeType) : GUID{};
    audiosim::Part& codecPin = machine.find(kCodec)->ensureTopology().addConnector(
        audiosim::Part::connector(pin, Physical_External, In, subType));
    for (KSJACK_DESCRIPTION const& description : row.jacks) {
        codecPin.withJack(description);
    }

    audiosim::Device& endpoint = machine.addEndpoint(eCapture, row.id);
    if (row.enumerator) {
        endpoint.set(L"PKEY_Device_EnumeratorName", PropertyValue::string(row.enumerator));
    }
    endpoint.set(L"PKEY_Device_DeviceDesc", PropertyValue::string(L"Microphone"));
    endpoint.set(kFriendlyNameKey, PropertyValue::string(std::wstring(row.id) + L" (Bench)"));
    endpoint.ensureTopology().addConnector(audiosim::Part::connector(L"In", Software_IO, Out).connectTo(kCodec, pin));
}

audiosim::MachineDescription tableMachine() {
    audiosim::MachineDescription machine;
    machine.name = L"one endpoint per row of the decision table";
    machine.addAdapter(kCodec, kCodecInstance).ensureTopology();
    for (Row const& row : decisionTable()) {
        addEndpoint(machine, row);
    }
    return machine;
}

class Classification : public ::testing::Test {
protected:
    void SetUp() override { CoInitialize(nullptr); }

    void TearDown() override {
        uninstall();
        CoUninitialize();
    }

    void install(audiosim::MachineDescription description, audiosim::InstallOptions options = {}) {
        uninstall();
        m_machine.reset(new audiosim::Machine(std::move(description)));
        m_installation.reset(new audiosim::Installation(*m_machine, options));
    }

    void uninstall() {
        m_installation.reset();
        m_machine.reset();
    }

    // The endpoint as a module gets it: through the platform's enumerator,
    // which the installation has put the machine behind.
    static std::unique_ptr<AudioDevice> deviceOf(wchar_t const* id) {
        ATL::CComPtr<IMMDeviceEnumerator> platform;
        ATL::CComPtr<IMMDevice> device;
        CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMMDeviceEnumerator),
                         reinterpret_cast<void**>(&platform));
        EXPECT_TRUE(platform && SUCCEEDED(platform->GetDevice(id, &device)));
        std::unique_ptr<AudioDevice> result(new AudioDevice(device));
        EXPECT_TRUE(result->isInitialized());
        return result;
    }

    std::unique_ptr<audiosim::Machine> m_machine;
    std::unique_ptr<audiosim::Installation> m_installation;
};

TEST_F(Classification, DecisionTableRowByRow) {
    install(tableMachine());
    for (Row const& row : decisionTable()) {
        SCOPED_TRACE(std::string(row.id, row.id + wcslen(row.id)));
        std::unique_ptr<AudioDevice> device = deviceOf(row.id);
        EXPECT_EQ(row.internal, libSonvane::isInternalMicrophone(*device));
        EXPECT_EQ(row.integrated, libSonvane::isIntegratedMicrophone(*device));
        EXPECT_EQ(row.analogJack, libSonvane::isExternalAnalogJack(*device));
        EXPECT_EQ(row.usbMicrophone, libSonvane::isUSBMicrophone(*device));
        EXPECT_EQ(row.virtualDevice, libSonvane::isVirtualDevice(*device));
    }
}

// The overall answer asks its questions in a fixed order and stops at the
// first that decides, except that the internal-microphone question is asked
// although its answer cannot change the result.
TEST_F(Classification, OverallAnswerRunsItsStepsInOrderAndLogsWhy) {
    install(tableMachine());
    std::unique_ptr<AudioDevice> plain = deviceOf(L"codec-mic-atapi");
    std::unique_ptr<AudioDevice> usb = deviceOf(L"usb-mic-analog");
    std::unique_ptr<AudioDevice> root = deviceOf(L"root-desk-internal");
    std::unique_ptr<AudioDevice> jacked = deviceOf(L"codec-desk-3.5mm");
    std::unique_ptr<AudioDevice> array = deviceOf(L"usb-array");
    LogCapture log;

    // A plain microphone node on an internal jack gets past every test that
    // turns a device away, so the internal-microphone question is asked and
    // says that it does not know the node.
    EXPECT_TRUE(libSonvane::isIntegratedMicrophone(*plain));
    EXPECT_TRUE(log.contains("codec-mic-atapi (Bench) Microphone", 1)) << log.dump();
    EXPECT_TRUE(log.contains("Is a KSNODETYPE_MICROPHONE node", 1));
    EXPECT_TRUE(log.contains("Entering libSonvane::isAnalogJack", 1));
    EXPECT_TRUE(log.contains("Microphone Microphone", 1));
    EXPECT_EQ(1u, log.count("Audio device Microphone codec-mic-atapi (Bench) is not a recognized microphone device.", 3));
    for (LogCapture::Record const& record : log.records()) {
        EXPECT_EQ(kCategory, record.category) << record.text;
    }

    // Decided at the USB step: no jack is looked at.
    log.clear();
    EXPECT_TRUE(libSonvane::isIntegratedMicrophone(*usb));
    EXPECT_FALSE(log.contains("KSNODETYPE_MICROPHONE node")) << log.dump();
    EXPECT_FALSE(log.contains("Number of jack information"));
    EXPECT_FALSE(log.contains("Entering libSonvane::isInternalMicrophone"));

    // A virtual device is turned away before the USB step.
    log.clear();
    EXPECT_FALSE(libSonvane::isIntegratedMicrophone(*root));
    EXPECT_FALSE(log.contains("Entering libSonvane::isUSBMicrophone")) << log.dump();

    // A specific node on an analog jack: not a plain microphone node, then
    // turned away at the jack step.
    log.clear();
    EXPECT_FALSE(libSonvane::isIntegratedMicrophone(*jacked));
    EXPECT_TRUE(log.contains("Is not a KSNODETYPE_MICROPHONE node", 1)) << log.dump();
    EXPECT_FALSE(log.contains("Entering libSonvane::isInternalMicrophone"));

    // A specific node without jacks is taken for built in, and says so.
    log.clear();
    EXPECT_TRUE(libSonvane::isInternalMicrophone(*array));
    EXPECT_TRUE(log.contains(
        "No jack description available, but endpoint type is Microphone so assume internal mic.", 3))
        << log.dump();
}

TEST_F(Classification, AnalogJackAmongInternalOnesIsFoundAndEndsTheSearch) {
    audiosim::MachineDescription machine = tableMachine();
    Row const mixed = {L"codec-desk-mixed", L"HDAUDIO", L"KSNODETYPE_DESKTOP_MICROPHONE",
                       {jack(eConnTypeAtapiInternal), jack(eConnTypeOtherDigital, eGeoLocATAPI),
                        jack(eConnType3Point5mm), jack(eConnTypeQuarter)},
                       false, false, true, false, false};
    addEndpoint(machine, mixed);
    install(std::move(machine));

    std::unique_ptr<AudioDevice> device = deviceOf(mixed.id);
    std::unique_ptr<AudioDevice> internal = deviceOf(L"codec-personal-mixed");
    LogCapture log;
    EXPECT_TRUE(libSonvane::isExternalAnalogJack(*device));
    EXPECT_TRUE(log.contains("Number of jack information 4", 1)) << log.dump();
    EXPECT_TRUE(log.contains("Jack 0 connection type 3", 1));
    EXPECT_TRUE(log.contains("Jack 1 connection type 6", 1));
    EXPECT_TRUE(log.contains("Jack 2 connection type 1", 1));
    EXPECT_FALSE(log.contains("Jack 3 connection type")) << "the first analog jack decides";

    // One jack that is not internal is enough to make it no internal
    // microphone, and an analog one keeps it from being integrated.
    EXPECT_FALSE(libSonvane::isInternalMicrophone(*device));
    EXPECT_FALSE(libSonvane::isIntegratedMicrophone(*device));

    // All internal: every jack is looked at and none is analog.
    log.clear();
    EXPECT_FALSE(libSonvane::isExternalAnalogJack(*internal));
    EXPECT_TRUE(log.contains("Jack 1 connection type 8", 1)) << log.dump();
}

// Version 6.0 is the first that counts; before it the jacks are not even read.
TEST_F(Classification, SystemsBeforeVersion6HaveNoMicrophone) {
    struct Version {
        DWORD major;
        DWORD minor;
        WORD servicePack;
        bool counts;
    };
    Version const versions[] = {{5, 2, 3, false}, {6, 0, 0, true}, {10, 0, 0, true}};
    for (Version const& version : versions) {
        SCOPED_TRACE(std::to_string(version.major) + "." + std::to_string(version.minor));
        audiosim::InstallOptions options;
        options.osMajor = version.major;
        options.osMinor = version.minor;
        options.servicePackMajor = version.servicePack;
        install(tableMachine(), options);

        std::unique_ptr<AudioDevice> usb = deviceOf(L"usb-mic");
        std::unique_ptr<AudioDevice> internal = deviceOf(L"codec-desk-atapi");
        std::unique_ptr<AudioDevice> analog = deviceOf(L"codec-desk-3.5mm");
        std::unique_ptr<AudioDevice> root = deviceOf(L"root-desk-internal");
        m_machine->calls().clear();
        LogCapture log;

        EXPECT_EQ(version.counts, libSonvane::isIntegratedMicrophone(*usb));
        EXPECT_EQ(version.counts, libSonvane::isIntegratedMicrophone(*internal));
        EXPECT_EQ(version.counts, libSonvane::isInternalMicrophone(*internal));
        EXPECT_EQ(version.counts, libSonvane::isExternalAnalogJack(*analog));
        // The bus and the enumerator are told on any system.
        EXPECT_TRUE(libSonvane::isUSBMicrophone(*usb));
        EXPECT_TRUE(libSonvane::isVirtualDevice(*root));

        if (!version.counts) {
            EXPECT_EQ(0u, m_machine->calls().count(L"IKsJackDescription::GetJackCount"));
            EXPECT_EQ(0u, log.count("", 3)) << log.dump();
        }
    }
}

// --- The host setting ---------------------------------------------------------

TEST(ExternalMicTestingSetting, AbsentIsFalseAndBlanksAroundTheValueDoNotCount) {
    SettingsFile settings("classification");
    EXPECT_FALSE(libSonvane::allowExternalMicTesting()) << "no settings file";

    settings.write("[orvrsysinfodirect]\r\nSomethingElse.value=true\r\n"
                   "[othersection]\r\nAllowExternalMicTesting.value=true\r\n");
    EXPECT_FALSE(libSonvane::allowExternalMicTesting()) << "key only in another section";

    settings.write("[orvrsysinfodirect]\r\nAllowExternalMicTesting.value=false\r\n");
    EXPECT_FALSE(libSonvane::allowExternalMicTesting());

    settings.write("[orvrsysinfodirect]\r\nAllowExternalMicTesting.value = true \r\n");
    EXPECT_TRUE(libSonvane::allowExternalMicTesting());

    // Quotes keep the blanks inside from the INI reader; the library drops
    // them itself.
    settings.write("[orvrsysinfodirect]\r\nAllowExternalMicTesting.value=\" \ttrue  \"\r\n");
    EXPECT_TRUE(libSonvane::allowExternalMicTesting());

    settings.write("[orvrsysinfodirect]\r\nAllowExternalMicTesting.value=\"  no  \"\r\n");
    EXPECT_FALSE(libSonvane::allowExternalMicTesting());
}

}  // namespace

#include "SimulatedEndpoints.h"

namespace streamtests {

const wchar_t speakersId[] = L"{0.0.0.00000000}.{7a3c0001-0000-4000-8000-000000000001}";
const wchar_t microphoneId[] = L"{0.0.1.00000000}.{7a3c0001-0000-4000-8000-000000000002}";
const wchar_t unpluggedId[] = L"{0.0.0.00000000}.{7a3c0001-0000-4000-8000-000000000003}";
const wchar_t bareId[] = L"{0.0.0.00000000}.{7a3c0001-0000-4000-8000-000000000004}";

namespace {

const wchar_t codecId[] = L"{2}.\\\\?\\hdaudio#func_01&ven_7a3c#1#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\etopo";

KSJACK_DESCRIPTION jack(COLORREF color) {
    KSJACK_DESCRIPTION description = {};
    description.ChannelMapping = 3;
    description.Color = color;
    description.ConnectionType = eConnType3Point5mm;
    description.GeoLocation = eGeoLocRear;
    description.GenLocation = eGenLocPrimaryBox;
    description.PortConnection = ePortConnJack;
    description.IsConnected = TRUE;
    return description;
}

// A codec connector and an endpoint connector leading to it.
void connect(audiosim::Device& endpoint, audiosim::Topology& codec, audiosim::Part codecConnector) {
    std::wstring const name = codecConnector.name;
    codec.addConnector(std::move(codecConnector));
    endpoint.ensureTopology().addConnector(
        audiosim::Part::connector(L"To " + name, Software_IO, In).connectTo(codecId, name));
}

}  // namespace

audiosim::Machine jackMachine() {
    audiosim::MachineDescription description;
    description.name = L"jacks";
    // All devices first: the description keeps them in a vector, so a
    // reference to one lasts only until the next is added.
    description.addEndpoint(eRender, speakersId);
    description.addEndpoint(eCapture, microphoneId);
    description.addEndpoint(eRender, unpluggedId).state = DEVICE_STATE_UNPLUGGED;
    description.addEndpoint(eRender, bareId);
    description.addAdapter(codecId, L"HDAUDIO\\FUNC_01&VEN_7A3C\\1");
    audiosim::Device& speakers = *description.find(speakersId);
    audiosim::Device& microphone = *description.find(microphoneId);
    audiosim::Device& unplugged = *description.find(unpluggedId);
    audiosim::Topology& parts = description.find(codecId)->ensureTopology();

    connect(speakers, parts, audiosim::Part::connector(L"Line", Physical_External, Out));
    connect(speakers, parts,
            audiosim::Part::connector(L"Headphone", Physical_External, Out)
                .withJack(jack(0xFF0000))
                .withJack(jack(0x00FF00)));
    connect(speakers, parts, audiosim::Part::connector(L"Speaker", Physical_External, Out).withJack(jack(0x0000FF)));

    audiosim::Part noJack = audiosim::Part::connector(L"Mic in", Physical_External, In);
    noJack.jacks.emplace();
    connect(microphone, parts, noJack);
    connect(microphone, parts, audiosim::Part::connector(L"Mic front", Physical_External, In).withJack(jack(0xFF00FF)));

    unplugged.ensureTopology().addConnector(audiosim::Part::connector(L"Nowhere", Software_IO, In));
    unplugged.ensureTopology().addConnector(audiosim::Part::connector(L"Nowhere either", Software_IO, In));
    return audiosim::Machine(description);
}

ATL::CComPtr<IMMDevice> simulatedDevice(audiosim::Machine& machine, std::wstring const& id) {
    ATL::CComPtr<IMMDeviceEnumerator> enumerator;
    ATL::CComPtr<IMMDevice> device;
    if (SUCCEEDED(machine.createEnumerator(__uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&enumerator)))) {
        enumerator->GetDevice(id.c_str(), &device);
    }
    return device;
}

}  // namespace streamtests

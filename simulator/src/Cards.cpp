#include <audiosim/Cards.h>

#include <cstdio>
#include <cwchar>
#include <stdexcept>

namespace audiosim {

namespace {

struct EndpointKind {
    const wchar_t* name;
    const wchar_t* pin;
    const wchar_t* nodeType;
    ULONG formFactor;
    EPcxConnectionType connection;
};

const EndpointKind kRenderKinds[] = {
    {L"Line Out", L"Line Out Pin", L"KSNODETYPE_SPEAKER", 1, eConnType3Point5mm},
    {L"Headphones", L"Headphone Pin", L"KSNODETYPE_HEADPHONES", 3, eConnType3Point5mm},
    {L"Digital Output", L"SPDIF Out Pin", L"KSNODETYPE_SPDIF_INTERFACE", 8, eConnTypeOptical},
    {L"Rear Speakers", L"Rear Out Pin", L"KSNODETYPE_SPEAKER", 1, eConnType3Point5mm},
};
const EndpointKind kCaptureKinds[] = {
    {L"Line In", L"Line In Pin", L"KSNODETYPE_LINE_CONNECTOR", 2, eConnType3Point5mm},
    {L"Microphone", L"Mic Pin", L"KSNODETYPE_MICROPHONE", 4, eConnType3Point5mm},
    {L"Front Microphone", L"Front Mic Pin", L"KSNODETYPE_MICROPHONE", 4, eConnType3Point5mm},
    {L"Digital Input", L"SPDIF In Pin", L"KSNODETYPE_SPDIF_INTERFACE", 8, eConnTypeOptical},
};

std::wstring format(const wchar_t* pattern, unsigned a, unsigned b = 0) {
    wchar_t buffer[256];
    std::swprintf(buffer, 256, pattern, a, b);
    return buffer;
}

struct Card {
    std::wstring instanceId;
    std::wstring adapterId;
    std::wstring name;
};

void addEndpoint(MachineDescription& machine, const Card& card, const CardOptions& options, const EndpointKind& kind,
                 EDataFlow flow, unsigned slot, std::vector<std::wstring>& ids) {
    const std::wstring guid = format(L"c0de%04x-%04x-4000-8000-", options.index, slot) + format(L"%012x", slot);
    const std::wstring id = (flow == eRender ? L"{0.0.0.00000000}.{" : L"{0.0.1.00000000}.{") + guid + L"}";
    Device& endpoint = machine.addEndpoint(flow, id);
    endpoint.set(L"PKEY_Device_FriendlyName", PropertyValue::string(std::wstring(kind.name) + L" (" + card.name + L")"));
    endpoint.set(L"PKEY_Device_DeviceDesc", PropertyValue::string(kind.name));
    endpoint.set(L"{B3F8FA53-0004-438E-9003-51A46E139BFC},6", PropertyValue::string(card.name));
    endpoint.set(L"{B3F8FA53-0004-438E-9003-51A46E139BFC},2", PropertyValue::string(L"{1}." + card.instanceId));
    endpoint.set(L"PKEY_Device_EnumeratorName", PropertyValue::string(options.enumerator));
    endpoint.set(L"PKEY_AudioEndpoint_FormFactor", PropertyValue::uint32(kind.formFactor));
    endpoint.set(L"PKEY_AudioEndpoint_GUID", PropertyValue::string(L"{" + guid + L"}"));
    endpoint.set(L"PKEY_AudioEndpoint_Supports_EventDriven_Mode", PropertyValue::uint32(1));
    endpoint.set(L"PKEY_AudioEngine_DeviceFormat", PropertyValue::waveFormat(Format{2, 16, 48000, 0, 0, false, true}.toWaveFormat()));
    endpoint.ensureTopology().addConnector(
        Part::connector(kind.name, Software_IO, flow == eRender ? In : Out).connectTo(card.adapterId, kind.pin));
    ids.push_back(id);
}

void addPin(Topology& topology, const EndpointKind& kind, EDataFlow flow) {
    const std::wstring volume = std::wstring(kind.pin).substr(0, std::wcslen(kind.pin) - 4) + L" Volume";
    topology.addConnector(Part::connector(kind.pin, Physical_External, flow == eRender ? Out : In, nodeType(kind.nodeType))
                              .withJack(pluggedJack(kind.connection, eGeoLocRear)));
    LevelNode level;
    level.minDb = -65.25f;
    level.stepDb = 0.75f;
    topology.addSubunit(Part::subunit(volume, nodeType(L"KSNODETYPE_VOLUME")).withVolume(level));
    if (flow == eRender)
        topology.link(L"Render Input", volume).link(volume, kind.pin);
    else
        topology.link(kind.pin, volume).link(volume, L"Capture Output");
}

}  // namespace

std::vector<std::wstring> addCard(MachineDescription& machine, const CardOptions& options) {
    if (options.renderEndpoints > 4 || options.captureEndpoints > 4)
        throw std::invalid_argument("a card has at most 4 render and 4 capture endpoints");
    Card card;
    card.name = options.name + format(L" (card %u)", options.index);
    card.instanceId = format(L"HDAUDIO\\FUNC_01&VEN_10EC&DEV_0900&SUBSYS_1028%04X&REV_1000\\4&1C0A2B%02X&0&0001",
                             options.index, options.index);
    card.adapterId = format(L"{2}.\\\\?\\hdaudio#func_01&ven_10ec&dev_0900&subsys_1028%04x&rev_1000#4&1c0a2b%02x&0&0001#",
                            options.index, options.index) +
                     L"{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\etopo";

    std::vector<std::wstring> ids;
    for (unsigned i = 0; i < options.renderEndpoints; ++i)
        addEndpoint(machine, card, options, kRenderKinds[i], eRender, i, ids);
    for (unsigned i = 0; i < options.captureEndpoints; ++i)
        addEndpoint(machine, card, options, kCaptureKinds[i], eCapture, 4 + i, ids);

    Device& adapter = machine.addAdapter(card.adapterId, card.instanceId);
    adapter.set(L"PKEY_Device_FriendlyName", PropertyValue::string(card.name));
    adapter.set(L"PKEY_Device_EnumeratorName", PropertyValue::string(options.enumerator));
    Topology& topology = adapter.ensureTopology();
    topology.addConnector(Part::connector(L"Render Input", Physical_Internal, In));
    topology.addConnector(Part::connector(L"Capture Output", Physical_Internal, Out));
    for (unsigned i = 0; i < options.renderEndpoints; ++i)
        addPin(topology, kRenderKinds[i], eRender);
    for (unsigned i = 0; i < options.captureEndpoints; ++i)
        addPin(topology, kCaptureKinds[i], eCapture);

    machine.addParent(card.instanceId, format(L"PCI\\VEN_8086&DEV_A170&SUBSYS_07A11028&REV_31\\3&11583659&0&%02X", options.index));
    return ids;
}

MachineDescription cardMachine(unsigned cards, unsigned renderEndpoints, unsigned captureEndpoints) {
    MachineDescription machine;
    machine.name = format(L"%u cards", cards);
    for (unsigned index = 0; index < cards; ++index) {
        CardOptions options;
        options.index = index;
        options.renderEndpoints = renderEndpoints;
        options.captureEndpoints = captureEndpoints;
        const std::vector<std::wstring> ids = addCard(machine, options);
        if (index == 0 && renderEndpoints > 0)
            machine.setDefaultForAllRoles(eRender, ids.front());
        if (index == 0 && captureEndpoints > 0)
            machine.setDefaultForAllRoles(eCapture, ids[renderEndpoints]);
    }
    return machine;
}

}  // namespace audiosim

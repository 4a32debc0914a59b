// The in-memory description of a simulated audio machine: endpoints and the
// adapter devices behind them, their property stores, device topologies,
// controls, stream capabilities and legacy wave numbers. A machine is loaded
// from JSON (Machine::fromFile) or put together with the builder calls below;
// both end in the same structures, which Machine validates and serves.
#pragma once

#include <audiosim/Faults.h>

#include <audiosim/SdkNames.h>

#include <mmdeviceapi.h>
#include <endpointvolume.h>
#include <mmreg.h>

#include <optional>
#include <string>
#include <vector>

namespace audiosim {

// One value of a property store: a variant type and its payload. Integer
// types and VT_BOOL keep their value in `integer`, VT_R4/VT_R8 in `real`.
struct PropertyValue {
    VARTYPE type = VT_EMPTY;
    std::wstring text;           // VT_LPWSTR
    LONGLONG integer = 0;        // VT_I1..VT_UI8, VT_INT, VT_UINT, VT_BOOL (-1 true, 0 false)
    double real = 0.0;           // VT_R4, VT_R8
    GUID guid{};                 // VT_CLSID
    std::vector<BYTE> blob;      // VT_BLOB, any size

    static PropertyValue empty();
    static PropertyValue string(std::wstring value);
    static PropertyValue uint32(ULONG value);
    static PropertyValue integral(VARTYPE type, LONGLONG value);
    static PropertyValue boolean(bool value);
    static PropertyValue clsid(const GUID& value);
    static PropertyValue bytes(std::vector<BYTE> value);
    // A VT_BLOB holding the format as the audio engine stores it: the 40
    // bytes of a WAVEFORMATEXTENSIBLE, or 18 + cbSize bytes otherwise.
    static PropertyValue waveFormat(const WAVEFORMATEXTENSIBLE& format);

    // Fills a PROPVARIANT the caller owns (and clears with PropVariantClear).
    HRESULT copyTo(PROPVARIANT* out) const;
    // False for variant types the simulator does not model.
    static bool fromPropVariant(const PROPVARIANT& in, PropertyValue& out);
    // Short text for the call log and messages.
    std::wstring describe() const;

    bool operator==(const PropertyValue& other) const;
    bool operator!=(const PropertyValue& other) const { return !(*this == other); }
};

struct Property {
    PROPERTYKEY key{};
    PropertyValue value;
};

// A property key by its Windows name ("PKEY_Device_FriendlyName",
// "DEVPKEY_Device_InstanceId", ...) or as "{fmtid},pid". Throws
// std::invalid_argument for text that is neither.
PROPERTYKEY propertyKey(const std::wstring& nameOrText);
bool parsePropertyKey(const std::wstring& nameOrText, PROPERTYKEY& key);
// The Windows name of a key where it has one, "{fmtid},pid" otherwise.
std::wstring propertyKeyName(const PROPERTYKEY& key);
bool sameKey(const PROPERTYKEY& a, const PROPERTYKEY& b);

// The far side of a connector: a connector, by name, of another device's
// topology.
struct ConnectionRef {
    std::wstring device;
    std::wstring connector;
};

// A volume node (IAudioVolumeLevel): one level per channel, all channels
// sharing one range.
struct LevelNode {
    std::vector<float> levelsDb{0.0f, 0.0f};
    float minDb = -96.0f;
    float maxDb = 0.0f;
    float stepDb = 0.5f;
};

// An input selector (IAudioInputSelector): the name of the selected part
// among the parts linked into the selector.
struct InputSelectorNode {
    std::wstring selected;
};

// One part of a device topology. Connectors carry a type, a data flow, an
// optional far side and optional jack descriptions; any part may carry the
// controls it answers to IPart::Activate.
struct Part {
    PartType type = Connector;
    std::wstring name;
    GUID subType{};
    std::wstring globalId;   // empty: "<device id>/<local id in 8 hex digits>"
    UINT localId = 0;        // 0: 0x00010000 + index for connectors, 0x00020000 + index for subunits

    ConnectorType connectorType = Unknown_Connector;
    DataFlow dataFlow = In;
    std::optional<ConnectionRef> connectedTo;

    std::optional<std::vector<KSJACK_DESCRIPTION>> jacks;   // present: answers IKsJackDescription
    std::optional<LevelNode> volume;                        // present: answers IAudioVolumeLevel
    std::optional<bool> mute;                               // present: answers IAudioMute
    std::optional<InputSelectorNode> inputSelector;         // present: answers IAudioInputSelector

    static Part connector(std::wstring name, ConnectorType type, DataFlow flow, const GUID& subType = GUID{});
    static Part subunit(std::wstring name, const GUID& subType);
    Part& connectTo(std::wstring device, std::wstring connector);
    Part& withJack(const KSJACK_DESCRIPTION& jack);
    Part& withVolume(LevelNode node);
    Part& withMute(bool muted);
    Part& withInputSelector(std::wstring selected);
};

// A jack as a connector's IKsJackDescription describes it: plugged, on a
// jack of the main enclosure, with the given kind, place, colour and
// speakers (front left and right unless told).
KSJACK_DESCRIPTION pluggedJack(EPcxConnectionType connection, EPcxGeoLocation location, COLORREF color = 0,
                               DWORD channelMapping = SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT);

// A link inside one topology, in the direction of the signal, between parts
// named by their names.
struct Link {
    std::wstring from;
    std::wstring to;
};

struct Topology {
    std::vector<Part> connectors;
    std::vector<Part> subunits;
    std::vector<Link> links;

    Part& addConnector(Part part);
    Part& addSubunit(Part part);
    Topology& link(std::wstring from, std::wstring to);
    Part* find(const std::wstring& name);
    const Part* find(const std::wstring& name) const;
};

// The endpoint's own volume (IAudioEndpointVolume). The channel count is the
// size of levelsDb. The master level is the loudest channel; setting it
// moves every channel by the same amount. Scalars map linearly onto the
// decibel range: scalar = (level - minDb) / (maxDb - minDb).
struct EndpointVolume {
    std::vector<float> levelsDb{0.0f, 0.0f};
    float minDb = -96.0f;
    float maxDb = 0.0f;
    float stepDb = 0.5f;
    bool muted = false;
    DWORD hardwareSupport = ENDPOINT_HARDWARE_SUPPORT_VOLUME | ENDPOINT_HARDWARE_SUPPORT_MUTE;

    float masterDb() const;
    float toScalar(float levelDb) const;
    float toDb(float scalar) const;
};

// A PCM format as a stream client sees it.
struct Format {
    WORD channels = 2;
    WORD bitsPerSample = 16;
    DWORD sampleRate = 48000;
    WORD validBits = 0;        // 0: bitsPerSample
    DWORD channelMask = 0;     // 0: the usual mask for the channel count
    bool floatingPoint = false;
    bool extensible = false;   // written as WAVE_FORMAT_EXTENSIBLE

    WAVEFORMATEXTENSIBLE toWaveFormat() const;
    bool matches(const WAVEFORMATEX& format) const;
};

// Where a capture endpoint's samples come from.
struct CaptureSource {
    enum Kind { Silence, Tone, Loopback };
    Kind kind = Silence;
    double frequency = 1000.0;   // Tone
    double amplitude = 0.5;      // Tone, 1.0 is full scale
    std::wstring endpoint;       // Loopback: the render endpoint whose output is recorded
};

// What the endpoint's audio client accepts. Durations are in 100 ns units.
struct StreamCaps {
    Format mixFormat{2, 32, 48000, 0, 0, true, true};
    std::vector<Format> sharedFormats;      // accepted besides the mix format
    std::vector<Format> exclusiveFormats;
    bool exclusiveAllowed = true;
    bool eventDriven = true;
    LONGLONG defaultPeriod = 100000;
    LONGLONG minimumPeriod = 30000;
    LONGLONG minimumBuffer = 30000;
    LONGLONG maximumBuffer = 5000000;       // longer exclusive buffers are refused
    // What Initialize answers for an exclusive buffer beyond maximumBuffer,
    // and for an event-driven stream on an endpoint without event mode.
    HRESULT bufferRefusal = static_cast<HRESULT>(0x88890020);   // AUDCLNT_E_INVALID_DEVICE_PERIOD
    HRESULT eventRefusal = static_cast<HRESULT>(0x8889000A);    // AUDCLNT_E_DEVICE_IN_USE
    CaptureSource captureSource;
};

// The legacy wave device that stands for the endpoint.
struct WaveLegacy {
    int deviceNumber = -1;                  // -1: no wave device
    std::wstring functionInstanceId;        // empty: the endpoint id
};

// An endpoint (enumerated, answers IMMEndpoint) or an adapter device (reached
// only through IMMDeviceEnumerator::GetDevice and connectors).
struct Device {
    std::wstring id;
    bool endpoint = true;
    EDataFlow flow = eRender;
    DWORD state = DEVICE_STATE_ACTIVE;
    std::vector<Property> properties;
    std::optional<Topology> topology;       // absent: Activate(IDeviceTopology) answers E_NOINTERFACE
    std::optional<EndpointVolume> volume;   // absent: Activate(IAudioEndpointVolume) answers E_NOINTERFACE
    StreamCaps stream;
    WaveLegacy wave;
    std::string origin;                     // where the device was described, for messages

    Device& set(const PROPERTYKEY& key, PropertyValue value);
    Device& set(const std::wstring& key, PropertyValue value);
    const PropertyValue* find(const PROPERTYKEY& key) const;
    bool erase(const PROPERTYKEY& key);
    Topology& ensureTopology();
};

struct DefaultEndpoint {
    EDataFlow flow = eRender;
    ERole role = eConsole;
    std::wstring id;
};

// One node of the system's device tree: a device instance id and its parent.
struct TreeNode {
    std::wstring instanceId;
    std::wstring parent;
};

struct MachineDescription {
    std::wstring name;
    std::vector<Device> devices;            // endpoints in enumeration order, adapters among them
    std::vector<DefaultEndpoint> defaults;  // a flow without any: its first active endpoint, all roles
    std::vector<TreeNode> deviceTree;
    std::vector<Fault> faults;

    Device& addEndpoint(EDataFlow flow, std::wstring id);
    Device& addAdapter(std::wstring id, std::wstring instanceId);
    MachineDescription& setDefault(EDataFlow flow, ERole role, std::wstring id);
    MachineDescription& setDefaultForAllRoles(EDataFlow flow, const std::wstring& id);
    MachineDescription& addParent(std::wstring instanceId, std::wstring parent);
    Device* find(const std::wstring& id);
    const Device* find(const std::wstring& id) const;
};

// KSNODETYPE_* and other topology GUIDs by name ("KSNODETYPE_SPEAKER"), or a
// GUID in braces. Throws std::invalid_argument for anything else.
GUID nodeType(const std::wstring& nameOrGuid);
bool parseNodeType(const std::wstring& nameOrGuid, GUID& guid);
std::wstring guidText(const GUID& guid);
bool parseGuid(const std::wstring& text, GUID& guid);

}  // namespace audiosim

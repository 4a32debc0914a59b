#include "Loader.h"

#include "Names.h"
#include "Text.h"

#include <audiosim/DescriptionError.h>

#include <nlohmann/json.hpp>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>

namespace audiosim::detail {

namespace {

using json = nlohmann::json;

// A value of the document with its place, so that every complaint names
// where it is. Inside a repeated template, strings have the copy's number
// substituted for ${i} and places carry the copy as template[n].
class Node {
public:
    Node(const json& value, std::string place, const std::string& file, int copy = -1)
        : m_value(value), m_place(std::move(place)), m_file(file), m_copy(copy) {}

    const std::string& place() const { return m_place; }
    int copy() const { return m_copy; }

    [[noreturn]] void fail(const std::string& reason) const {
        throw DescriptionError(m_file, m_place.empty() ? "/" : m_place, reason);
    }

    bool isNull() const { return m_value.is_null(); }
    bool isString() const { return m_value.is_string(); }
    bool isObject() const { return m_value.is_object(); }
    bool isArray() const { return m_value.is_array(); }
    bool isNumber() const { return m_value.is_number(); }

    // The object's fields must be among `allowed` ("comment" always is).
    void only(std::initializer_list<const char*> allowed) const {
        if (!isObject())
            fail("expected an object");
        for (const auto& item : m_value.items()) {
            bool known = item.key() == "comment";
            for (const char* name : allowed)
                known = known || item.key() == name;
            if (!known)
                Node(item.value(), m_place + "/" + item.key(), m_file, m_copy).fail("unknown field \"" + item.key() + "\"");
        }
    }

    bool has(const char* key) const { return isObject() && m_value.contains(key); }

    Node at(const char* key) const {
        if (!has(key))
            fail(std::string("the field \"") + key + "\" is missing");
        return child(key);
    }

    std::optional<Node> get(const char* key) const {
        if (!has(key))
            return std::nullopt;
        return child(key);
    }

    std::vector<Node> items() const {
        if (!isArray())
            fail("expected an array");
        std::vector<Node> result;
        for (size_t i = 0; i < m_value.size(); ++i)
            result.emplace_back(m_value[i], m_place + "/" + std::to_string(i), m_file, m_copy);
        return result;
    }

    std::string text() const {
        if (!isString())
            fail("expected a string");
        return substitute(m_value.get<std::string>());
    }

    std::wstring wide() const { return widen(text()); }

    bool boolean() const {
        if (!m_value.is_boolean())
            fail("expected true or false");
        return m_value.get<bool>();
    }

    double real() const {
        if (!isNumber())
            fail("expected a number");
        return m_value.get<double>();
    }

    long long integer(long long minimum, long long maximum) const {
        if (!m_value.is_number_integer())
            fail("expected a whole number");
        const long long value = m_value.is_number_unsigned()
                                    ? static_cast<long long>(std::min<unsigned long long>(m_value.get<unsigned long long>(),
                                                                                          std::numeric_limits<long long>::max()))
                                    : m_value.get<long long>();
        if (value < minimum || value > maximum)
            fail("the number " + std::to_string(value) + " is outside " + std::to_string(minimum) + ".." +
                 std::to_string(maximum));
        return value;
    }

    // A name of the table or, for tables that allow it, a plain number.
    long named(const std::vector<NamedValue>& table, const char* what, bool numbersAllowed = true) const {
        if (numbersAllowed && m_value.is_number_integer())
            return static_cast<long>(integer(std::numeric_limits<long>::min(), std::numeric_limits<long>::max()));
        const std::string name = text();
        const auto value = lookUp(table, name);
        if (!value)
            fail("unknown " + std::string(what) + " \"" + name + "\"");
        return *value;
    }

    GUID guid() const {
        GUID result{};
        if (!parseGuid(wide(), result))
            fail("expected a GUID in braces, such as {00000000-0000-0000-0000-000000000000}");
        return result;
    }

private:
    Node child(const char* key) const { return Node(m_value.at(key), m_place + "/" + key, m_file, m_copy); }

    // ${i}, ${i:04d}, ${i:02x} and ${i:02X} stand for the copy's number.
    std::string substitute(const std::string& value) const {
        if (m_copy < 0 || value.find("${") == std::string::npos)
            return value;
        std::string result;
        size_t at = 0;
        while (at < value.size()) {
            const size_t start = value.find("${", at);
            if (start == std::string::npos) {
                result += value.substr(at);
                break;
            }
            // ${n} or ${index} would otherwise stay as written in every copy
            // and show up only later, as an id taken twice.
            if (value.compare(start, 3, "${i") != 0)
                fail("placeholders read ${i}, ${i:04d}, ${i:02x} or ${i:02X}");
            result += value.substr(at, start - at);
            const size_t end = value.find('}', start);
            if (end == std::string::npos)
                fail("an unfinished ${i placeholder");
            const std::string placeholder = value.substr(start + 3, end - start - 3);
            result += formatCopy(placeholder);
            at = end + 1;
        }
        return result;
    }

    std::string formatCopy(const std::string& placeholder) const {
        std::string format = "%d";
        if (!placeholder.empty()) {
            if (placeholder[0] != ':' || placeholder.size() < 2)
                fail("placeholders read ${i}, ${i:04d}, ${i:02x} or ${i:02X}");
            const char kind = placeholder.back();
            const std::string width = placeholder.substr(1, placeholder.size() - 2);
            if ((kind != 'd' && kind != 'x' && kind != 'X') ||
                width.find_first_not_of("0123456789") != std::string::npos || width.size() > 2)
                fail("placeholders read ${i}, ${i:04d}, ${i:02x} or ${i:02X}");
            format = "%" + width + kind;
        }
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, format.c_str(), m_copy);
        return buffer;
    }

    const json& m_value;
    std::string m_place;
    const std::string& m_file;
    int m_copy;
};

EDataFlow readFlow(const Node& node) {
    const std::string name = node.text();
    if (name == "render")
        return eRender;
    if (name == "capture")
        return eCapture;
    node.fail("the flow is \"render\" or \"capture\", not \"" + name + "\"");
}

ERole readRole(const Node& node) {
    const std::string name = node.text();
    if (name == "console")
        return eConsole;
    if (name == "multimedia")
        return eMultimedia;
    if (name == "communications")
        return eCommunications;
    node.fail("the role is \"console\", \"multimedia\" or \"communications\", not \"" + name + "\"");
}

PROPERTYKEY readKey(const Node& node) {
    PROPERTYKEY key{};
    if (!parsePropertyKey(node.wide(), key))
        node.fail("unknown property key \"" + node.text() + "\"; use a name such as PKEY_Device_FriendlyName or {fmtid},pid");
    return key;
}

// ---- Property values

std::vector<BYTE> hexBytes(const Node& node) {
    const std::string text = node.text();
    std::vector<BYTE> bytes;
    int high = -1;
    for (const char c : text) {
        if (std::isspace(static_cast<unsigned char>(c)))
            continue;
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            node.fail("a hex blob holds hex digits and blanks only");
        const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : (std::tolower(c) - 'a' + 10);
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<BYTE>(high * 16 + digit));
            high = -1;
        }
    }
    if (high >= 0)
        node.fail("a hex blob needs an even number of digits");
    return bytes;
}

Format readFormat(const Node& node) {
    node.only({"channels", "bits", "rate", "validBits", "channelMask", "float", "extensible"});
    Format format;
    format.channels = static_cast<WORD>(node.at("channels").integer(1, 32));
    format.bitsPerSample = static_cast<WORD>(node.at("bits").integer(8, 64));
    format.sampleRate = static_cast<DWORD>(node.at("rate").integer(1000, 768000));
    if (auto n = node.get("validBits"))
        format.validBits = static_cast<WORD>(n->integer(1, format.bitsPerSample));
    if (auto n = node.get("channelMask"))
        format.channelMask = static_cast<DWORD>(n->integer(0, 0xFFFFFFFF));
    if (auto n = node.get("float"))
        format.floatingPoint = n->boolean();
    format.extensible = node.has("extensible") ? node.at("extensible").boolean() : true;
    if (format.bitsPerSample % 8 != 0)
        node.at("bits").fail("bits per sample must be whole bytes");
    return format;
}

PropertyValue readBlob(const Node& node) {
    const int forms = (node.has("hex") ? 1 : 0) + (node.has("format") ? 1 : 0) + (node.has("size") ? 1 : 0);
    if (forms != 1)
        node.fail("a VT_BLOB takes exactly one of \"hex\", \"format\" and \"size\"");
    if (auto n = node.get("hex"))
        return PropertyValue::bytes(hexBytes(*n));
    if (auto n = node.get("format"))
        return PropertyValue::waveFormat(readFormat(*n).toWaveFormat());
    const size_t size = static_cast<size_t>(node.at("size").integer(0, 16 * 1024 * 1024));
    const BYTE fill = node.has("fill") ? static_cast<BYTE>(node.at("fill").integer(0, 255)) : 0;
    return PropertyValue::bytes(std::vector<BYTE>(size, fill));
}

PropertyValue readValue(const Node& node, VARTYPE type) {
    switch (type) {
    case VT_EMPTY:
        return PropertyValue::empty();
    case VT_LPWSTR:
        return PropertyValue::string(node.at("value").wide());
    case VT_BOOL:
        return PropertyValue::boolean(node.at("value").boolean());
    case VT_R4:
    case VT_R8: {
        PropertyValue value;
        value.type = type;
        value.real = node.at("value").real();
        return value;
    }
    case VT_CLSID:
        return PropertyValue::clsid(node.at("value").guid());
    case VT_BLOB:
        return readBlob(node);
    default:
        break;
    }
    struct Range {
        VARTYPE type;
        long long minimum;
        long long maximum;
    };
    static const Range ranges[] = {
        {VT_I1, -128, 127},
        {VT_I2, -32768, 32767},
        {VT_I4, INT32_MIN, INT32_MAX},
        {VT_INT, INT32_MIN, INT32_MAX},
        {VT_I8, std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()},
        {VT_UI1, 0, 255},
        {VT_UI2, 0, 65535},
        {VT_UI4, 0, UINT32_MAX},
        {VT_UINT, 0, UINT32_MAX},
        {VT_UI8, 0, std::numeric_limits<long long>::max()},
    };
    for (const Range& range : ranges) {
        if (range.type == type)
            return PropertyValue::integral(type, node.at("value").integer(range.minimum, range.maximum));
    }
    node.at("type").fail("unsupported variant type");
}

Property readProperty(const Node& node) {
    node.only({"key", "type", "value", "hex", "format", "size", "fill"});
    Property property;
    property.key = readKey(node.at("key"));
    const Node typeNode = node.at("type");
    const VARTYPE type = static_cast<VARTYPE>(typeNode.named(variantTypeNames(), "variant type", false));
    if (type != VT_BLOB) {
        for (const char* blobField : {"hex", "format", "size", "fill"}) {
            if (node.has(blobField))
                node.at(blobField).fail(std::string("\"") + blobField + "\" belongs to a VT_BLOB");
        }
    }
    if (type == VT_EMPTY && node.has("value"))
        node.at("value").fail("a VT_EMPTY property has no value");
    property.value = readValue(node, type);
    return property;
}

// ---- Topologies

KSJACK_DESCRIPTION readJack(const Node& node) {
    node.only({"channelMapping", "color", "connectionType", "geoLocation", "genLocation", "portConnection", "isConnected"});
    KSJACK_DESCRIPTION jack{};
    if (auto n = node.get("channelMapping"))
        jack.ChannelMapping = static_cast<DWORD>(n->integer(0, 0xFFFFFFFF));
    if (auto n = node.get("color")) {
        if (n->isString()) {
            const std::string color = n->text();
            unsigned int rgb = 0;
            char rest = 0;
            if (color.size() != 7 || std::sscanf(color.c_str(), "#%6x%c", &rgb, &rest) != 1)
                n->fail("a color reads #RRGGBB");
            jack.Color = rgb;
        } else {
            jack.Color = static_cast<DWORD>(n->integer(0, 0xFFFFFF));
        }
    }
    if (auto n = node.get("connectionType"))
        jack.ConnectionType = static_cast<EPcxConnectionType>(n->named(connectionTypeNames(), "connection type"));
    if (auto n = node.get("geoLocation"))
        jack.GeoLocation = static_cast<EPcxGeoLocation>(n->named(geoLocationNames(), "geometric location"));
    if (auto n = node.get("genLocation"))
        jack.GenLocation = static_cast<EPcxGenLocation>(n->named(genLocationNames(), "general location"));
    if (auto n = node.get("portConnection"))
        jack.PortConnection = static_cast<EPxcPortConnection>(n->named(portConnectionNames(), "port connection"));
    jack.IsConnected = node.has("isConnected") ? (node.at("isConnected").boolean() ? TRUE : FALSE) : TRUE;
    return jack;
}

// Levels given as "channels" and one "level", or as a list of "levels".
std::vector<float> readLevels(const Node& node, const std::vector<float>& fallback) {
    if (auto n = node.get("levels")) {
        if (node.has("level") || node.has("channels"))
            n->fail("give either \"levels\" or \"channels\" with \"level\"");
        std::vector<float> levels;
        for (const Node& item : n->items())
            levels.push_back(static_cast<float>(item.real()));
        return levels;
    }
    const size_t channels = node.has("channels") ? static_cast<size_t>(node.at("channels").integer(1, 32)) : fallback.size();
    const float level = node.has("level") ? static_cast<float>(node.at("level").real())
                                          : (fallback.empty() ? 0.0f : fallback.front());
    return std::vector<float>(channels, level);
}

LevelNode readLevelNode(const Node& node) {
    node.only({"channels", "level", "levels", "min", "max", "step"});
    LevelNode level;
    if (auto n = node.get("min"))
        level.minDb = static_cast<float>(n->real());
    if (auto n = node.get("max"))
        level.maxDb = static_cast<float>(n->real());
    if (auto n = node.get("step"))
        level.stepDb = static_cast<float>(n->real());
    level.levelsDb = readLevels(node, std::vector<float>(2, level.maxDb));
    return level;
}

Part readPart(const Node& node, PartType type) {
    if (type == Connector)
        node.only({"name", "subType", "globalId", "localId", "type", "dataFlow", "connectedTo", "jacks", "volume", "mute",
                   "inputSelector"});
    else
        node.only({"name", "subType", "globalId", "localId", "volume", "mute", "inputSelector"});
    Part part;
    part.type = type;
    part.name = node.at("name").wide();
    if (auto n = node.get("subType")) {
        if (!parseNodeType(n->wide(), part.subType))
            n->fail("unknown node type \"" + n->text() + "\"; use a name such as KSNODETYPE_SPEAKER or a GUID");
    }
    if (auto n = node.get("globalId"))
        part.globalId = n->wide();
    if (auto n = node.get("localId"))
        part.localId = static_cast<UINT>(n->integer(1, 0xFFFFFFFF));
    if (auto n = node.get("type"))
        part.connectorType = static_cast<ConnectorType>(n->named(connectorTypeNames(), "connector type", false));
    if (auto n = node.get("dataFlow"))
        part.dataFlow = static_cast<DataFlow>(n->named(dataFlowNames(), "data flow", false));
    if (auto n = node.get("connectedTo")) {
        n->only({"device", "connector"});
        part.connectedTo = ConnectionRef{n->at("device").wide(), n->at("connector").wide()};
    }
    if (auto n = node.get("jacks")) {
        part.jacks.emplace();
        for (const Node& item : n->items())
            part.jacks->push_back(readJack(item));
    }
    if (auto n = node.get("volume"))
        part.volume = readLevelNode(*n);
    if (auto n = node.get("mute"))
        part.mute = n->boolean();
    if (auto n = node.get("inputSelector")) {
        n->only({"selected"});
        part.inputSelector = InputSelectorNode{n->at("selected").wide()};
    }
    return part;
}

Topology readTopology(const Node& node) {
    node.only({"connectors", "subunits", "links"});
    Topology topology;
    if (auto n = node.get("connectors")) {
        for (const Node& item : n->items())
            topology.connectors.push_back(readPart(item, Connector));
    }
    if (auto n = node.get("subunits")) {
        for (const Node& item : n->items())
            topology.subunits.push_back(readPart(item, Subunit));
    }
    if (auto n = node.get("links")) {
        for (const Node& item : n->items()) {
            const std::vector<Node> ends = item.items();
            if (ends.size() != 2)
                item.fail("a link is a pair [\"from part\", \"to part\"]");
            topology.links.push_back({ends[0].wide(), ends[1].wide()});
        }
    }
    return topology;
}

// ---- Endpoints

EndpointVolume readEndpointVolume(const Node& node) {
    node.only({"channels", "level", "levels", "min", "max", "step", "muted", "hardwareSupport"});
    EndpointVolume volume;
    if (auto n = node.get("min"))
        volume.minDb = static_cast<float>(n->real());
    if (auto n = node.get("max"))
        volume.maxDb = static_cast<float>(n->real());
    if (auto n = node.get("step"))
        volume.stepDb = static_cast<float>(n->real());
    volume.levelsDb = readLevels(node, std::vector<float>(2, volume.maxDb));
    if (auto n = node.get("muted"))
        volume.muted = n->boolean();
    if (auto n = node.get("hardwareSupport"))
        volume.hardwareSupport = static_cast<DWORD>(n->integer(0, 7));
    return volume;
}

// A list of formats, or a grid {"channels": [...], "bits": [...], "rates": [...]}
// that stands for every combination.
std::vector<Format> readFormats(const Node& node) {
    std::vector<Format> formats;
    if (node.isArray()) {
        for (const Node& item : node.items())
            formats.push_back(readFormat(item));
        return formats;
    }
    node.only({"channels", "bits", "rates", "extensible"});
    const bool extensible = node.has("extensible") ? node.at("extensible").boolean() : false;
    for (const Node& channels : node.at("channels").items()) {
        for (const Node& bits : node.at("bits").items()) {
            for (const Node& rate : node.at("rates").items()) {
                Format format;
                format.channels = static_cast<WORD>(channels.integer(1, 32));
                format.bitsPerSample = static_cast<WORD>(bits.integer(8, 64));
                format.sampleRate = static_cast<DWORD>(rate.integer(1000, 768000));
                format.extensible = extensible;
                formats.push_back(format);
            }
        }
    }
    return formats;
}

CaptureSource readCaptureSource(const Node& node) {
    node.only({"kind", "frequency", "amplitude", "endpoint"});
    CaptureSource source;
    const Node kind = node.at("kind");
    const std::string name = kind.text();
    if (name == "silence")
        source.kind = CaptureSource::Silence;
    else if (name == "tone")
        source.kind = CaptureSource::Tone;
    else if (name == "loopback")
        source.kind = CaptureSource::Loopback;
    else
        kind.fail("a capture source is \"silence\", \"tone\" or \"loopback\", not \"" + name + "\"");
    if (auto n = node.get("frequency"))
        source.frequency = n->real();
    if (auto n = node.get("amplitude"))
        source.amplitude = n->real();
    if (source.kind == CaptureSource::Loopback)
        source.endpoint = node.at("endpoint").wide();
    return source;
}

HRESULT readResult(const Node& result) {
    const auto value = parseHresult(result.text());
    if (!value)
        result.fail("unknown HRESULT \"" + result.text() + "\"; use a name such as E_FAIL or a number such as 0x80004005");
    return *value;
}

StreamCaps readStream(const Node& node) {
    node.only({"mixFormat", "sharedFormats", "exclusiveFormats", "exclusiveMode", "eventDriven", "defaultPeriod",
               "minimumPeriod", "minimumBuffer", "maximumBuffer", "bufferRefusal", "eventRefusal", "captureSource"});
    StreamCaps stream;
    if (auto n = node.get("mixFormat"))
        stream.mixFormat = readFormat(*n);
    if (auto n = node.get("sharedFormats"))
        stream.sharedFormats = readFormats(*n);
    if (auto n = node.get("exclusiveFormats"))
        stream.exclusiveFormats = readFormats(*n);
    if (auto n = node.get("exclusiveMode"))
        stream.exclusiveAllowed = n->boolean();
    if (auto n = node.get("eventDriven"))
        stream.eventDriven = n->boolean();
    const long long day = 864000000000LL;
    if (auto n = node.get("defaultPeriod"))
        stream.defaultPeriod = n->integer(1, day);
    if (auto n = node.get("minimumPeriod"))
        stream.minimumPeriod = n->integer(1, day);
    if (auto n = node.get("minimumBuffer"))
        stream.minimumBuffer = n->integer(0, day);
    if (auto n = node.get("maximumBuffer"))
        stream.maximumBuffer = n->integer(1, day);
    if (auto n = node.get("bufferRefusal"))
        stream.bufferRefusal = readResult(*n);
    if (auto n = node.get("eventRefusal"))
        stream.eventRefusal = readResult(*n);
    if (auto n = node.get("captureSource"))
        stream.captureSource = readCaptureSource(*n);
    return stream;
}

void readProperties(const Node& node, Device& device) {
    for (const Node& item : node.items()) {
        Property property = readProperty(item);
        if (device.find(property.key))
            item.at("key").fail("the key " + narrow(propertyKeyName(property.key)) + " is set twice");
        device.properties.push_back(std::move(property));
    }
}

std::string originOf(const Node& node) {
    return node.place();
}

Device readEndpoint(const Node& node) {
    node.only({"id", "flow", "state", "properties", "topology", "volume", "stream", "wave"});
    Device device;
    device.origin = originOf(node);
    device.endpoint = true;
    device.id = node.at("id").wide();
    device.flow = readFlow(node.at("flow"));
    if (auto n = node.get("state"))
        device.state = static_cast<DWORD>(n->named(deviceStateNames(), "device state"));
    if (auto n = node.get("properties"))
        readProperties(*n, device);
    if (auto n = node.get("topology"))
        device.topology = readTopology(*n);
    device.volume.emplace();
    if (auto n = node.get("volume")) {
        if (n->isNull())
            device.volume.reset();
        else
            device.volume = readEndpointVolume(*n);
    }
    if (auto n = node.get("stream"))
        device.stream = readStream(*n);
    if (auto n = node.get("wave")) {
        n->only({"deviceNumber", "functionInstanceId"});
        if (auto number = n->get("deviceNumber"))
            device.wave.deviceNumber = static_cast<int>(number->integer(0, 255));
        if (auto id = n->get("functionInstanceId"))
            device.wave.functionInstanceId = id->wide();
    }
    return device;
}

Device readAdapter(const Node& node) {
    node.only({"id", "properties", "topology"});
    Device device;
    device.origin = originOf(node);
    device.endpoint = false;
    device.id = node.at("id").wide();
    if (auto n = node.get("properties"))
        readProperties(*n, device);
    if (auto n = node.get("topology"))
        device.topology = readTopology(*n);
    return device;
}

void readDefaults(const Node& node, MachineDescription& machine) {
    node.only({"render", "capture"});
    for (const auto& [key, flow] : {std::make_pair("render", eRender), std::make_pair("capture", eCapture)}) {
        const auto entry = node.get(key);
        if (!entry)
            continue;
        if (entry->isString()) {
            machine.setDefaultForAllRoles(flow, entry->wide());
            continue;
        }
        entry->only({"console", "multimedia", "communications"});
        for (const auto& [roleKey, role] : {std::make_pair("console", eConsole), std::make_pair("multimedia", eMultimedia),
                                            std::make_pair("communications", eCommunications)}) {
            if (auto id = entry->get(roleKey))
                machine.setDefault(flow, role, id->wide());
        }
    }
}

void readDeviceTree(const Node& node, MachineDescription& machine) {
    for (const Node& item : node.items()) {
        item.only({"instanceId", "parent"});
        machine.addParent(item.at("instanceId").wide(), item.at("parent").wide());
    }
}

Fault readFault(const Node& node) {
    node.only({"method", "object", "result", "from", "count", "out"});
    Fault fault;
    fault.method = node.at("method").wide();
    if (auto n = node.get("object"))
        fault.object = n->wide();
    fault.result = readResult(node.at("result"));
    if (auto n = node.get("from"))
        fault.from = static_cast<unsigned>(n->integer(1, UINT32_MAX));
    if (auto n = node.get("count"))
        fault.count = static_cast<unsigned>(n->integer(0, UINT32_MAX));
    if (auto n = node.get("out")) {
        const std::string out = n->text();
        if (out == "null")
            fault.out = OutPointer::Null;
        else if (out == "set")
            fault.out = OutPointer::Set;
        else
            n->fail("\"out\" is \"null\" or \"set\", not \"" + out + "\"");
    }
    return fault;
}

// The device lists of the machine or of one copy of a repeated template.
void readDevices(const Node& node, MachineDescription& machine) {
    if (auto n = node.get("endpoints")) {
        for (const Node& item : n->items())
            machine.devices.push_back(readEndpoint(item));
    }
    if (auto n = node.get("adapters")) {
        for (const Node& item : n->items())
            machine.devices.push_back(readAdapter(item));
    }
    if (auto n = node.get("deviceTree"))
        readDeviceTree(*n, machine);
}

void readRepeats(const Node& node, const json& document, MachineDescription& machine, const std::string& file) {
    const json& repeats = document.at("repeat");
    const std::vector<Node> items = node.items();
    for (size_t r = 0; r < items.size(); ++r) {
        const Node& item = items[r];
        item.only({"count", "template"});
        const int count = static_cast<int>(item.at("count").integer(0, 4096));
        item.at("template").only({"endpoints", "adapters", "deviceTree"});
        for (int copy = 0; copy < count; ++copy) {
            const std::string place = item.place() + "/template[" + std::to_string(copy) + "]";
            readDevices(Node(repeats[r].at("template"), place, file, copy), machine);
        }
    }
}

std::string syntaxPlace(const std::string& text, size_t byte) {
    size_t line = 1;
    size_t column = 1;
    for (size_t i = 0; i < byte && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

json parseDocument(const std::string& text, const std::string& file) {
    try {
        return json::parse(text);
    } catch (const json::parse_error& error) {
        std::string reason = error.what();
        const size_t colon = reason.find("syntax error");
        throw DescriptionError(file, syntaxPlace(text, error.byte > 0 ? error.byte - 1 : 0),
                               colon == std::string::npos ? reason : reason.substr(colon));
    }
}

ScriptStep readStep(const Node& node) {
    ScriptStep step;
    step.place = node.place();
    const Node action = node.at("do");
    step.action = action.text();
    const auto id = [&] { return node.at("id").wide(); };
    if (step.action == "fireDeviceAdded" || step.action == "fireDeviceRemoved" || step.action == "removeDevice") {
        node.only({"do", "id"});
        step.id = id();
    } else if (step.action == "fireStateChanged" || step.action == "setState") {
        node.only({"do", "id", "state"});
        step.id = id();
        step.state = static_cast<DWORD>(node.at("state").named(deviceStateNames(), "device state"));
    } else if (step.action == "fireDefaultChanged" || step.action == "setDefault") {
        node.only({"do", "id", "flow", "role"});
        step.id = id();
        step.flow = readFlow(node.at("flow"));
        step.role = readRole(node.at("role"));
    } else if (step.action == "firePropertyChanged") {
        node.only({"do", "id", "key"});
        step.id = id();
        step.key = readKey(node.at("key"));
    } else if (step.action == "setProperty") {
        node.only({"do", "id", "key", "type", "value", "hex", "format", "size", "fill"});
        step.id = id();
        step.key = readKey(node.at("key"));
        const Node typeNode = node.at("type");
        step.value = readValue(node, static_cast<VARTYPE>(typeNode.named(variantTypeNames(), "variant type", false)));
    } else if (step.action == "addEndpoint" || step.action == "addAdapter") {
        node.only({"do", "device"});
        step.device = step.action == "addEndpoint" ? readEndpoint(node.at("device")) : readAdapter(node.at("device"));
    } else if (step.action == "setEndpointVolume") {
        node.only({"do", "id", "level", "channel"});
        step.id = id();
        step.level = static_cast<float>(node.at("level").real());
        if (auto channel = node.get("channel"))
            step.channel = static_cast<int>(channel->integer(0, 31));
    } else if (step.action == "setEndpointMute") {
        node.only({"do", "id", "muted"});
        step.id = id();
        step.muted = node.at("muted").boolean();
    } else if (step.action == "flushEvents") {
        node.only({"do"});
    } else {
        action.fail("unknown step \"" + step.action + "\"");
    }
    return step;
}

}  // namespace

std::vector<ScriptStep> readScript(const std::string& text, const std::string& file) {
    const json document = parseDocument(text, file);
    const Node root(document, "", file);
    std::vector<ScriptStep> steps;
    for (const Node& item : root.items())
        steps.push_back(readStep(item));
    return steps;
}

MachineDescription readDescription(const std::string& text, const std::string& file) {
    const json document = parseDocument(text, file);
    const Node root(document, "", file);
    root.only({"name", "endpoints", "adapters", "defaults", "deviceTree", "faults", "repeat"});
    MachineDescription machine;
    if (auto n = root.get("name"))
        machine.name = n->wide();
    readDevices(root, machine);
    if (auto n = root.get("repeat"))
        readRepeats(*n, document, machine, file);
    if (auto n = root.get("defaults"))
        readDefaults(*n, machine);
    if (auto n = root.get("faults")) {
        for (const Node& item : n->items())
            machine.faults.push_back(readFault(item));
    }
    return machine;
}

}  // namespace audiosim::detail

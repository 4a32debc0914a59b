#include <audiosim/Model.h>

#include "Names.h"
#include "Text.h"

#include <propidl.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <stdexcept>

namespace audiosim {

using namespace detail;

// ---- PropertyValue

PropertyValue PropertyValue::empty() {
    return {};
}

PropertyValue PropertyValue::string(std::wstring value) {
    PropertyValue v;
    v.type = VT_LPWSTR;
    v.text = std::move(value);
    return v;
}

PropertyValue PropertyValue::uint32(ULONG value) {
    return integral(VT_UI4, value);
}

PropertyValue PropertyValue::integral(VARTYPE type, LONGLONG value) {
    PropertyValue v;
    v.type = type;
    v.integer = value;
    return v;
}

PropertyValue PropertyValue::boolean(bool value) {
    return integral(VT_BOOL, value ? -1 : 0);
}

PropertyValue PropertyValue::clsid(const GUID& value) {
    PropertyValue v;
    v.type = VT_CLSID;
    v.guid = value;
    return v;
}

PropertyValue PropertyValue::bytes(std::vector<BYTE> value) {
    PropertyValue v;
    v.type = VT_BLOB;
    v.blob = std::move(value);
    return v;
}

PropertyValue PropertyValue::waveFormat(const WAVEFORMATEXTENSIBLE& format) {
    const BYTE* begin = reinterpret_cast<const BYTE*>(&format);
    const size_t size = format.Format.wFormatTag == WAVE_FORMAT_EXTENSIBLE
                            ? sizeof(WAVEFORMATEXTENSIBLE)
                            : sizeof(WAVEFORMATEX) + std::min<size_t>(format.Format.cbSize, 22);
    return bytes(std::vector<BYTE>(begin, begin + size));
}

namespace {

template <class T>
T* taskCopy(const T* source, size_t count) {
    T* copy = static_cast<T*>(CoTaskMemAlloc(count * sizeof(T)));
    if (copy && count)
        std::memcpy(copy, source, count * sizeof(T));
    return copy;
}

}  // namespace

HRESULT PropertyValue::copyTo(PROPVARIANT* out) const {
    PropVariantInit(out);
    switch (type) {
    case VT_EMPTY:
        return S_OK;
    case VT_LPWSTR:
        out->pwszVal = taskCopy(text.c_str(), text.size() + 1);
        if (!out->pwszVal)
            return E_OUTOFMEMORY;
        break;
    case VT_I1: out->cVal = static_cast<CHAR>(integer); break;
    case VT_I2: out->iVal = static_cast<SHORT>(integer); break;
    case VT_I4: out->lVal = static_cast<LONG>(integer); break;
    case VT_I8: out->hVal.QuadPart = integer; break;
    case VT_UI1: out->bVal = static_cast<UCHAR>(integer); break;
    case VT_UI2: out->uiVal = static_cast<USHORT>(integer); break;
    case VT_UI4: out->ulVal = static_cast<ULONG>(integer); break;
    case VT_UI8: out->uhVal.QuadPart = static_cast<ULONGLONG>(integer); break;
    case VT_INT: out->intVal = static_cast<INT>(integer); break;
    case VT_UINT: out->uintVal = static_cast<UINT>(integer); break;
    case VT_BOOL: out->boolVal = integer ? VARIANT_TRUE : VARIANT_FALSE; break;
    case VT_R4: out->fltVal = static_cast<FLOAT>(real); break;
    case VT_R8: out->dblVal = real; break;
    case VT_CLSID:
        out->puuid = taskCopy(&guid, 1);
        if (!out->puuid)
            return E_OUTOFMEMORY;
        break;
    case VT_BLOB:
        out->blob.cbSize = static_cast<ULONG>(blob.size());
        out->blob.pBlobData = taskCopy(blob.data(), blob.size());
        if (!out->blob.pBlobData && !blob.empty())
            return E_OUTOFMEMORY;
        break;
    default:
        return E_INVALIDARG;
    }
    out->vt = type;
    return S_OK;
}

bool PropertyValue::fromPropVariant(const PROPVARIANT& in, PropertyValue& out) {
    PropertyValue v;
    v.type = in.vt;
    switch (in.vt) {
    case VT_EMPTY: break;
    case VT_LPWSTR: v.text = in.pwszVal ? in.pwszVal : L""; break;
    case VT_I1: v.integer = in.cVal; break;
    case VT_I2: v.integer = in.iVal; break;
    case VT_I4: v.integer = in.lVal; break;
    case VT_I8: v.integer = in.hVal.QuadPart; break;
    case VT_UI1: v.integer = in.bVal; break;
    case VT_UI2: v.integer = in.uiVal; break;
    case VT_UI4: v.integer = in.ulVal; break;
    case VT_UI8: v.integer = static_cast<LONGLONG>(in.uhVal.QuadPart); break;
    case VT_INT: v.integer = in.intVal; break;
    case VT_UINT: v.integer = in.uintVal; break;
    case VT_BOOL: v.integer = in.boolVal ? -1 : 0; break;
    case VT_R4: v.real = in.fltVal; break;
    case VT_R8: v.real = in.dblVal; break;
    case VT_CLSID:
        if (!in.puuid)
            return false;
        v.guid = *in.puuid;
        break;
    case VT_BLOB:
        if (in.blob.cbSize && !in.blob.pBlobData)
            return false;
        v.blob.assign(in.blob.pBlobData, in.blob.pBlobData + in.blob.cbSize);
        break;
    default:
        return false;
    }
    out = std::move(v);
    return true;
}

std::wstring PropertyValue::describe() const {
    const std::wstring typeName = widen(nameOf(variantTypeNames(), type));
    switch (type) {
    case VT_EMPTY: return typeName;
    case VT_LPWSTR: return typeName + L" " + text;
    case VT_R4:
    case VT_R8: return typeName + L" " + std::to_wstring(real);
    case VT_CLSID: return typeName + L" " + guidText(guid);
    case VT_BLOB: return typeName + L" " + std::to_wstring(blob.size()) + L" bytes";
    default: return typeName + L" " + std::to_wstring(integer);
    }
}

bool PropertyValue::operator==(const PropertyValue& other) const {
    return type == other.type && text == other.text && integer == other.integer && real == other.real &&
           IsEqualGUID(guid, other.guid) && blob == other.blob;
}

// ---- Keys and GUIDs

bool parseGuid(const std::wstring& text, GUID& guid) {
    if (text.size() != 38 || text.front() != L'{' || text.back() != L'}')
        return false;
    for (size_t i = 1; i < 37; ++i) {
        const bool dash = i == 9 || i == 14 || i == 19 || i == 24;
        if (dash ? text[i] != L'-' : !std::iswxdigit(text[i]))
            return false;
    }
    auto field = [&](size_t at, size_t digits) {
        return std::wcstoul(text.substr(at, digits).c_str(), nullptr, 16);
    };
    guid.Data1 = field(1, 8);
    guid.Data2 = static_cast<unsigned short>(field(10, 4));
    guid.Data3 = static_cast<unsigned short>(field(15, 4));
    guid.Data4[0] = static_cast<unsigned char>(field(20, 2));
    guid.Data4[1] = static_cast<unsigned char>(field(22, 2));
    for (size_t i = 0; i < 6; ++i)
        guid.Data4[2 + i] = static_cast<unsigned char>(field(25 + 2 * i, 2));
    return true;
}

std::wstring guidText(const GUID& guid) {
    wchar_t buffer[40];
    std::swprintf(buffer, 40, L"{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned long>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return buffer;
}

bool sameKey(const PROPERTYKEY& a, const PROPERTYKEY& b) {
    return IsEqualGUID(a.fmtid, b.fmtid) && a.pid == b.pid;
}

bool parsePropertyKey(const std::wstring& text, PROPERTYKEY& key) {
    for (const auto& entry : propertyKeys()) {
        if (text == entry.name) {
            key = {entry.fmtid, entry.pid};
            return true;
        }
    }
    // "{fmtid},pid" or "{fmtid} pid"
    if (text.size() < 40 || (text[38] != L',' && text[38] != L' '))
        return false;
    GUID fmtid{};
    if (!parseGuid(text.substr(0, 38), fmtid))
        return false;
    const std::wstring pidText = text.substr(39);
    if (pidText.empty() || pidText.find_first_not_of(L"0123456789") != std::wstring::npos || pidText.size() > 10)
        return false;
    const unsigned long long pid = std::wcstoull(pidText.c_str(), nullptr, 10);
    if (pid > 0xFFFFFFFFull)
        return false;
    key = {fmtid, static_cast<DWORD>(pid)};
    return true;
}

PROPERTYKEY propertyKey(const std::wstring& text) {
    PROPERTYKEY key{};
    if (!parsePropertyKey(text, key))
        throw std::invalid_argument("not a property key: " + narrow(text));
    return key;
}

std::wstring propertyKeyName(const PROPERTYKEY& key) {
    for (const auto& entry : propertyKeys()) {
        if (IsEqualGUID(entry.fmtid, key.fmtid) && entry.pid == key.pid)
            return entry.name;
    }
    return guidText(key.fmtid) + L"," + std::to_wstring(key.pid);
}

bool parseNodeType(const std::wstring& text, GUID& guid) {
    for (const auto& entry : nodeTypes()) {
        if (text == entry.name) {
            guid = entry.guid;
            return true;
        }
    }
    return parseGuid(text, guid);
}

GUID nodeType(const std::wstring& text) {
    GUID guid{};
    if (!parseNodeType(text, guid))
        throw std::invalid_argument("not a node type: " + narrow(text));
    return guid;
}

// ---- Topology builders

Part Part::connector(std::wstring name, ConnectorType type, DataFlow flow, const GUID& subType) {
    Part part;
    part.type = Connector;
    part.name = std::move(name);
    part.connectorType = type;
    part.dataFlow = flow;
    part.subType = subType;
    return part;
}

Part Part::subunit(std::wstring name, const GUID& subType) {
    Part part;
    part.type = Subunit;
    part.name = std::move(name);
    part.subType = subType;
    return part;
}

Part& Part::connectTo(std::wstring device, std::wstring connector) {
    connectedTo = ConnectionRef{std::move(device), std::move(connector)};
    return *this;
}

KSJACK_DESCRIPTION pluggedJack(EPcxConnectionType connection, EPcxGeoLocation location, COLORREF color,
                               DWORD channelMapping) {
    KSJACK_DESCRIPTION jack{};
    jack.ChannelMapping = channelMapping;
    jack.Color = color;
    jack.ConnectionType = connection;
    jack.GeoLocation = location;
    jack.GenLocation = eGenLocPrimaryBox;
    jack.PortConnection = ePortConnJack;
    jack.IsConnected = TRUE;
    return jack;
}

Part& Part::withJack(const KSJACK_DESCRIPTION& jack) {
    if (!jacks)
        jacks.emplace();
    jacks->push_back(jack);
    return *this;
}

Part& Part::withVolume(LevelNode node) {
    volume = std::move(node);
    return *this;
}

Part& Part::withMute(bool muted) {
    mute = muted;
    return *this;
}

Part& Part::withInputSelector(std::wstring selected) {
    inputSelector = InputSelectorNode{std::move(selected)};
    return *this;
}

Part& Topology::addConnector(Part part) {
    part.type = Connector;
    connectors.push_back(std::move(part));
    return connectors.back();
}

Part& Topology::addSubunit(Part part) {
    part.type = Subunit;
    subunits.push_back(std::move(part));
    return subunits.back();
}

Topology& Topology::link(std::wstring from, std::wstring to) {
    links.push_back({std::move(from), std::move(to)});
    return *this;
}

Part* Topology::find(const std::wstring& name) {
    for (auto* list : {&connectors, &subunits}) {
        for (Part& part : *list) {
            if (part.name == name)
                return &part;
        }
    }
    return nullptr;
}

const Part* Topology::find(const std::wstring& name) const {
    return const_cast<Topology*>(this)->find(name);
}

// ---- Volume

float EndpointVolume::masterDb() const {
    if (levelsDb.empty())
        return maxDb;
    return *std::max_element(levelsDb.begin(), levelsDb.end());
}

float EndpointVolume::toScalar(float levelDb) const {
    if (maxDb <= minDb)
        return 1.0f;
    return (levelDb - minDb) / (maxDb - minDb);
}

float EndpointVolume::toDb(float scalar) const {
    return minDb + scalar * (maxDb - minDb);
}

// ---- Formats

WAVEFORMATEXTENSIBLE Format::toWaveFormat() const {
    WAVEFORMATEXTENSIBLE format{};
    format.Format.nChannels = channels;
    format.Format.nSamplesPerSec = sampleRate;
    format.Format.wBitsPerSample = bitsPerSample;
    format.Format.nBlockAlign = static_cast<WORD>(channels * bitsPerSample / 8);
    format.Format.nAvgBytesPerSec = format.Format.nBlockAlign * sampleRate;
    if (extensible) {
        static const GUID pcm = {0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
        static const GUID ieeeFloat = {0x00000003, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
        format.Format.wFormatTag = WAVE_FORMAT_EXTENSIBLE;
        format.Format.cbSize = 22;
        format.Samples.wValidBitsPerSample = validBits ? validBits : bitsPerSample;
        format.dwChannelMask = channelMask ? channelMask : (channels == 1 ? SPEAKER_FRONT_CENTER
                                                            : channels == 2 ? (SPEAKER_FRONT_LEFT | SPEAKER_FRONT_RIGHT)
                                                                            : (1u << channels) - 1);
        format.SubFormat = floatingPoint ? ieeeFloat : pcm;
    } else {
        format.Format.wFormatTag = floatingPoint ? WAVE_FORMAT_IEEE_FLOAT : WAVE_FORMAT_PCM;
        format.Format.cbSize = 0;
    }
    return format;
}

bool Format::matches(const WAVEFORMATEX& format) const {
    if (format.nChannels != channels || format.nSamplesPerSec != sampleRate || format.wBitsPerSample != bitsPerSample)
        return false;
    bool isFloat = format.wFormatTag == WAVE_FORMAT_IEEE_FLOAT;
    if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE && format.cbSize >= 22) {
        const auto& extended = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(format);
        isFloat = extended.SubFormat.Data1 == 3;
    }
    return isFloat == floatingPoint;
}

// ---- Devices and machines

Device& Device::set(const PROPERTYKEY& key, PropertyValue value) {
    for (Property& property : properties) {
        if (sameKey(property.key, key)) {
            property.value = std::move(value);
            return *this;
        }
    }
    properties.push_back({key, std::move(value)});
    return *this;
}

Device& Device::set(const std::wstring& key, PropertyValue value) {
    return set(propertyKey(key), std::move(value));
}

const PropertyValue* Device::find(const PROPERTYKEY& key) const {
    for (const Property& property : properties) {
        if (sameKey(property.key, key))
            return &property.value;
    }
    return nullptr;
}

bool Device::erase(const PROPERTYKEY& key) {
    const auto found = std::find_if(properties.begin(), properties.end(),
                                    [&](const Property& property) { return sameKey(property.key, key); });
    if (found == properties.end())
        return false;
    properties.erase(found);
    return true;
}

Topology& Device::ensureTopology() {
    if (!topology)
        topology.emplace();
    return *topology;
}

Device& MachineDescription::addEndpoint(EDataFlow flow, std::wstring id) {
    Device device;
    device.id = std::move(id);
    device.flow = flow;
    device.volume.emplace();
    devices.push_back(std::move(device));
    return devices.back();
}

Device& MachineDescription::addAdapter(std::wstring id, std::wstring instanceId) {
    Device device;
    device.id = std::move(id);
    device.endpoint = false;
    device.set(L"DEVPKEY_Device_InstanceId", PropertyValue::string(std::move(instanceId)));
    devices.push_back(std::move(device));
    return devices.back();
}

MachineDescription& MachineDescription::setDefault(EDataFlow flow, ERole role, std::wstring id) {
    for (DefaultEndpoint& entry : defaults) {
        if (entry.flow == flow && entry.role == role) {
            entry.id = std::move(id);
            return *this;
        }
    }
    defaults.push_back({flow, role, std::move(id)});
    return *this;
}

MachineDescription& MachineDescription::setDefaultForAllRoles(EDataFlow flow, const std::wstring& id) {
    for (ERole role : {eConsole, eMultimedia, eCommunications})
        setDefault(flow, role, id);
    return *this;
}

MachineDescription& MachineDescription::addParent(std::wstring instanceId, std::wstring parent) {
    deviceTree.push_back({std::move(instanceId), std::move(parent)});
    return *this;
}

Device* MachineDescription::find(const std::wstring& id) {
    for (Device& device : devices) {
        if (sameText(device.id, id))
            return &device;
    }
    return nullptr;
}

const Device* MachineDescription::find(const std::wstring& id) const {
    return const_cast<MachineDescription*>(this)->find(id);
}

}  // namespace audiosim

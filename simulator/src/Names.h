// Names of the platform's constants, for the description format and the
// call log: interface ids, property keys, node types, HRESULTs and the
// enumerations of the topology and jack structures.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace audiosim::detail {

struct NamedGuid {
    const wchar_t* name;
    GUID guid;
};
struct NamedKey {
    const wchar_t* name;
    GUID fmtid;
    DWORD pid;
};
struct NamedValue {
    const char* name;
    long value;
};

const std::vector<NamedGuid>& interfaceIds();
const std::vector<NamedGuid>& nodeTypes();
const std::vector<NamedKey>& propertyKeys();

// HRESULTs by name ("E_FAIL", "AUDCLNT_E_DEVICE_IN_USE") or number text
// ("0x80004005", "-2147467259").
std::optional<HRESULT> parseHresult(const std::string& text);

// The enumerations of devicetopology.h and the jack description, by name.
const std::vector<NamedValue>& connectorTypeNames();
const std::vector<NamedValue>& dataFlowNames();
const std::vector<NamedValue>& connectionTypeNames();
const std::vector<NamedValue>& geoLocationNames();
const std::vector<NamedValue>& genLocationNames();
const std::vector<NamedValue>& portConnectionNames();
const std::vector<NamedValue>& deviceStateNames();
const std::vector<NamedValue>& variantTypeNames();
std::optional<long> lookUp(const std::vector<NamedValue>& table, const std::string& name);
std::string nameOf(const std::vector<NamedValue>& table, long value);

}  // namespace audiosim::detail

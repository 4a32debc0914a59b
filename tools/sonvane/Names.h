#pragma once
// Words for the numbers and GUIDs of the audio interfaces, for output that
// people read. Unknown values come back as the number or the GUID itself.
#include <COM/DeviceTopologyApi.h>

#include <windows.h>
#include <mmdeviceapi.h>

#include <string>

std::string stateName(unsigned int state);
std::string flowName(EDataFlow flow);
// A KSNODETYPE_ GUID: "Speaker", "Microphone array", ...
std::string nodeTypeName(GUID const& nodeType);
// The type numbers of the flat getDeviceType.
std::string flatTypeName(unsigned int type);
std::string connectorTypeName(ConnectorType type);
std::string jackConnectionName(unsigned int connectionType);
std::string jackLocationName(unsigned int geoLocation);
// "#RRGGBB" of a jack's colour word.
std::string jackColor(unsigned long color);

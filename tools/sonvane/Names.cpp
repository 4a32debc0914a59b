#include "Names.h"

#include "Text.h"

#include <cstdio>

std::string stateName(unsigned int state) {
    switch (state) {
    case DEVICE_STATE_ACTIVE:
        return "active";
    case DEVICE_STATE_DISABLED:
        return "disabled";
    case DEVICE_STATE_NOTPRESENT:
        return "not present";
    case DEVICE_STATE_UNPLUGGED:
        return "unplugged";
    case 0xFFFFFFFFu:
        // The library's mark of a device whose state could not be read.
        return "unknown";
    default:
        return "state " + std::to_string(state);
    }
}

std::string flowName(EDataFlow flow) {
    switch (flow) {
    case eRender:
        return "render";
    case eCapture:
        return "capture";
    default:
        return "all";
    }
}

namespace {

struct NamedGuid {
    char const* guid;
    char const* name;
};

// The node types that endpoints and their connectors carry.
NamedGuid const kNodeTypes[] = {
    {"{DFF21BE1-F70F-11D0-B917-00A0C9223196}", "Microphone"},
    {"{DFF21BE2-F70F-11D0-B917-00A0C9223196}", "Desktop microphone"},
    {"{DFF21BE3-F70F-11D0-B917-00A0C9223196}", "Personal microphone"},
    {"{DFF21BE4-F70F-11D0-B917-00A0C9223196}", "Omni-directional microphone"},
    {"{DFF21BE5-F70F-11D0-B917-00A0C9223196}", "Microphone array"},
    {"{DFF21BE6-F70F-11D0-B917-00A0C9223196}", "Processing microphone array"},
    {"{DFF21CE1-F70F-11D0-B917-00A0C9223196}", "Speaker"},
    {"{DFF21CE2-F70F-11D0-B917-00A0C9223196}", "Headphones"},
    {"{DFF21CE3-F70F-11D0-B917-00A0C9223196}", "Head-mounted display audio"},
    {"{DFF21CE4-F70F-11D0-B917-00A0C9223196}", "Desktop speaker"},
    {"{DFF21CE5-F70F-11D0-B917-00A0C9223196}", "Room speaker"},
    {"{DFF21CE6-F70F-11D0-B917-00A0C9223196}", "Communication speaker"},
    {"{DFF21CE7-F70F-11D0-B917-00A0C9223196}", "Low-frequency effects speaker"},
    {"{DFF21DE1-F70F-11D0-B917-00A0C9223196}", "Handset"},
    {"{DFF21DE2-F70F-11D0-B917-00A0C9223196}", "Headset"},
    {"{DFF21DE3-F70F-11D0-B917-00A0C9223196}", "Speakerphone"},
    {"{DFF21EE1-F70F-11D0-B917-00A0C9223196}", "Phone line"},
    {"{DFF21EE2-F70F-11D0-B917-00A0C9223196}", "Telephone"},
    {"{DFF21EE3-F70F-11D0-B917-00A0C9223196}", "Down-line phone"},
    {"{DFF21FE1-F70F-11D0-B917-00A0C9223196}", "Analog connector"},
    {"{DFF21FE2-F70F-11D0-B917-00A0C9223196}", "Digital audio interface"},
    {"{DFF21FE3-F70F-11D0-B917-00A0C9223196}", "Line connector"},
    {"{DFF21FE4-F70F-11D0-B917-00A0C9223196}", "Legacy audio connector"},
    {"{DFF21FE5-F70F-11D0-B917-00A0C9223196}", "S/PDIF"},
    {"{DFF21FE6-F70F-11D0-B917-00A0C9223196}", "1394 DA stream"},
    {"{DFF21FE7-F70F-11D0-B917-00A0C9223196}", "1394 DV stream"},
    {"{D1B9CC2A-F519-417F-91C9-55FA65481001}", "HDMI"},
    {"{E47E4031-3EA6-418D-8F9B-B73843CCBA97}", "DisplayPort"},
    {"{3A5ACC00-C557-11D0-8A2B-00A0C9255AC1}", "Volume"},
    {"{02B223C0-C557-11D0-8A2B-00A0C9255AC1}", "Mute"},
    {"{2721AE20-7E70-11D0-A5D6-28DB04C10000}", "Mux"},
    {"{CF1DDA2C-9743-11D0-A3EE-00A0C9223196}", "Sum"},
    {"{4D837FE0-C555-11D0-8A2B-00A0C9255AC1}", "DAC"},
    {"{4D837FE1-C555-11D0-8A2B-00A0C9255AC1}", "ADC"},
};

}  // namespace

std::string nodeTypeName(GUID const& nodeType) {
    if (isNullGuid(nodeType)) {
        return "";
    }
    std::string const text = guidText(nodeType);
    for (NamedGuid const& known : kNodeTypes) {
        if (equalsNoCase(text, known.guid)) {
            return known.name;
        }
    }
    return text;
}

std::string flatTypeName(unsigned int type) {
    switch (type) {
    case 0:
        return "speaker";
    case 1:
        return "headphones";
    case 2:
        return "S/PDIF";
    case 3:
        return "HDMI";
    case 4:
        return "microphone";
    case 5:
        return "line";
    default:
        return "other";
    }
}

std::string connectorTypeName(ConnectorType type) {
    switch (type) {
    case Unknown_Connector:
        return "unknown";
    case Physical_Internal:
        return "internal";
    case Physical_External:
        return "external";
    case Software_IO:
        return "software I/O";
    case Software_Fixed:
        return "software fixed";
    case Network:
        return "network";
    default:
        return "type " + std::to_string(static_cast<int>(type));
    }
}

std::string jackConnectionName(unsigned int connectionType) {
    static char const* const names[] = {"unknown", "3.5 mm",       "1/4 inch",      "ATAPI internal",
                                        "RCA",     "optical",      "other digital", "other analog",
                                        "multichannel analog DIN",  "XLR", "RJ-11 modem", "combination"};
    if (connectionType < sizeof names / sizeof names[0]) {
        return names[connectionType];
    }
    return "type " + std::to_string(connectionType);
}

std::string jackLocationName(unsigned int geoLocation) {
    static char const* const names[] = {"",           "rear",         "front",       "left",
                                        "right",      "top",          "bottom",      "rear panel",
                                        "riser",      "inside mobile lid", "drive bay", "HDMI",
                                        "outside mobile lid", "ATAPI"};
    if (geoLocation < sizeof names / sizeof names[0] && geoLocation != 0) {
        return names[geoLocation];
    }
    return "location " + std::to_string(geoLocation);
}

std::string jackColor(unsigned long color) {
    char text[8];
    std::snprintf(text, sizeof text, "#%06lX", color & 0xFFFFFFul);
    return text;
}

// Reads the JSON machine description format (see simulator/README.md).
#pragma once

#include <audiosim/Model.h>

#include <optional>
#include <string>
#include <vector>

namespace audiosim::detail {

// Throws DescriptionError for text that is no description; the result is
// not yet validated across devices.
MachineDescription readDescription(const std::string& text, const std::string& file);

// One step of an event script (see Machine::runScript): what to do and with
// which arguments; `place` is where the step stands in its file.
struct ScriptStep {
    std::string place;
    std::string action;
    std::wstring id;
    DWORD state = 0;
    EDataFlow flow = eRender;
    ERole role = eConsole;
    PROPERTYKEY key{};
    PropertyValue value;
    std::optional<Device> device;
    float level = 0.0f;
    int channel = -1;
    bool muted = false;
};

// Throws DescriptionError for a script with an error; nothing has run then.
std::vector<ScriptStep> readScript(const std::string& text, const std::string& file);

}  // namespace audiosim::detail

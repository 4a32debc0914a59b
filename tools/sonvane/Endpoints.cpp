#include "Endpoints.h"

#include "Console.h"
#include "Names.h"
#include "Text.h"
#include "ToolError.h"

#include <algorithm>
#include <cctype>

std::string Endpoint::id() const {
    return utf8(device.deviceProperty().deviceId);
}

std::string Endpoint::name() const {
    return endpointName(device);
}

std::string endpointName(AudioDevice const& device) {
    AudioDeviceInterface::Properties const& properties = device.deviceProperty();
    std::string const description = utf8(properties.endpointType);
    std::string const adapter = utf8(properties.friendlyName);
    if (!description.empty() && !adapter.empty()) {
        return description + " (" + adapter + ")";
    }
    if (!description.empty() || !adapter.empty()) {
        return description + adapter;
    }
    return utf8(properties.deviceId);
}

unsigned int Endpoint::state() const {
    return device.deviceProperty().state;
}

bool Endpoint::isActive() const {
    return state() == DEVICE_STATE_ACTIVE;
}

std::string flowWord(FlowWanted flow) {
    switch (flow) {
    case FlowWanted::Render:
        return "render";
    case FlowWanted::Capture:
        return "capture";
    default:
        return "";
    }
}

EndpointList EndpointList::read() {
    libraryLog::clear();
    libSonvane::EndpointDeviceEnumerator lister;
    if (!lister.isInitialized()) {
        throw deviceError(libraryLog::explain("the platform's device enumerator cannot be made"));
    }
    EndpointList list;
    for (EDataFlow flow : {eRender, eCapture}) {
        orv::Array<AudioDevice> devices;
        lister.audioDevices(flow, devices);
        for (AudioDevice const& device : devices) {
            Endpoint endpoint;
            endpoint.index = static_cast<unsigned int>(list.m_endpoints.size());
            endpoint.flow = flow;
            endpoint.device = device;
            list.m_endpoints.push_back(endpoint);
        }
    }
    return list;
}

Endpoint const* EndpointList::findById(std::string const& id) const {
    for (Endpoint const& endpoint : m_endpoints) {
        if (equalsNoCase(endpoint.id(), id)) {
            return &endpoint;
        }
    }
    return nullptr;
}

bool EndpointList::fits(Endpoint const& endpoint, FlowWanted flow) {
    return flow == FlowWanted::Any || (flow == FlowWanted::Render) == (endpoint.flow == eRender);
}

Endpoint const& EndpointList::defaultEndpoint(FlowWanted flow) const {
    Endpoint const* firstActive = nullptr;
    for (Endpoint const& endpoint : m_endpoints) {
        if (!fits(endpoint, flow) || !endpoint.isActive()) {
            continue;
        }
        if (endpoint.device.isDefaultEndpoint()) {
            return endpoint;
        }
        if (!firstActive) {
            firstActive = &endpoint;
        }
    }
    if (!firstActive) {
        throw deviceError("there is no active " + flowWord(flow) + (flow == FlowWanted::Any ? "" : " ") +
                          "endpoint (see 'sonvane list')");
    }
    return *firstActive;
}

namespace {

bool isNumber(std::string const& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
}

std::string candidates(std::vector<Endpoint const*> const& found) {
    std::string text;
    for (Endpoint const* endpoint : found) {
        text += (text.empty() ? "" : ", ") + std::to_string(endpoint->index) + " \"" + endpoint->name() + "\"";
    }
    return text;
}

}  // namespace

Endpoint const& EndpointList::selectForStream(std::string const& choice, FlowWanted flow) const {
    Endpoint const& chosen = select(choice, flow);
    // A state the library could not read is left to the stream to judge.
    bool const stateKnown = chosen.state() != 0xFFFFFFFFu;
    if (stateKnown && !chosen.isActive()) {
        throw deviceError("endpoint " + std::to_string(chosen.index) + " \"" + chosen.name() + "\" is " +
                          stateName(chosen.state()) + "; only an active endpoint can " +
                          (flow == FlowWanted::Render ? "play" : "record") + " (see 'sonvane list')");
    }
    return chosen;
}

Endpoint const& EndpointList::select(std::string const& choice, FlowWanted flow) const {
    if (choice.empty()) {
        return defaultEndpoint(flow);
    }
    Endpoint const* chosen = nullptr;
    if (isNumber(choice)) {
        unsigned long const index = std::stoul(choice);
        if (index >= m_endpoints.size()) {
            throw deviceError("no endpoint has the number " + choice + "; there are " +
                              std::to_string(m_endpoints.size()) + " (see 'sonvane list')");
        }
        chosen = &m_endpoints[index];
    } else {
        chosen = findById(choice);
    }
    if (!chosen) {
        std::vector<Endpoint const*> named;
        for (Endpoint const& endpoint : m_endpoints) {
            if (fits(endpoint, flow) && containsNoCase(endpoint.name(), choice)) {
                named.push_back(&endpoint);
            }
        }
        std::vector<Endpoint const*> active;
        std::copy_if(named.begin(), named.end(), std::back_inserter(active),
                     [](Endpoint const* endpoint) { return endpoint->isActive(); });
        if (named.empty()) {
            throw deviceError("no " + flowWord(flow) + (flow == FlowWanted::Any ? "" : " ") + "endpoint matches \"" +
                              choice + "\" (see 'sonvane list')");
        }
        if (named.size() == 1) {
            chosen = named.front();
        } else if (active.size() == 1) {
            chosen = active.front();
        } else {
            throw deviceError("\"" + choice + "\" matches several endpoints: " + candidates(named) +
                              "; give the number or the id");
        }
    }
    if (!fits(*chosen, flow)) {
        throw deviceError("endpoint " + std::to_string(chosen->index) + " \"" + chosen->name() + "\" is a " +
                          flowName(chosen->flow) + " endpoint; this command needs a " + flowWord(flow) + " endpoint");
    }
    return *chosen;
}

#pragma once
// The machine's endpoints as the tool numbers them, and the choice of one
// endpoint from what the user typed: its number, its id, or a part of its
// name.
//
// The numbers are those of 'sonvane list': render endpoints first, then
// capture endpoints, each in the platform's order and in every state.
#include <libSonvane/libSonvane.h>

#include <string>
#include <vector>

enum class FlowWanted { Any, Render, Capture };

struct Endpoint {
    unsigned int index = 0;
    EDataFlow flow = eRender;
    AudioDevice device;

    std::string id() const;
    std::string name() const;
    unsigned int state() const;
    bool isActive() const;
};

class EndpointList {
public:
    // Throws a device error when the platform's enumerator cannot be made.
    static EndpointList read();

    std::vector<Endpoint> const& all() const { return m_endpoints; }
    Endpoint const* findById(std::string const& id) const;

    // `choice` empty: the default endpoint of the flow (the first active one
    // where the platform names no default). Otherwise a number, an id, or a
    // part of the name; a name part that fits several endpoints chooses the
    // one of them that is active, and fails when that is not one. Throws a
    // device error that names what was asked and what was found.
    Endpoint const& select(std::string const& choice, FlowWanted flow) const;
    // As select, for a stream: only an active endpoint plays or records, so
    // a disabled, absent or unplugged one is a device error that says so.
    Endpoint const& selectForStream(std::string const& choice, FlowWanted flow) const;

private:
    Endpoint const& defaultEndpoint(FlowWanted flow) const;
    static bool fits(Endpoint const& endpoint, FlowWanted flow);

    std::vector<Endpoint> m_endpoints;
};

std::string flowWord(FlowWanted flow);

// The endpoint's description with the name of the adapter it belongs to,
// "Speakers (Realtek High Definition Audio)", as the platform's own dialogs
// show it; whichever of the two exists, or the id, otherwise.
std::string endpointName(AudioDevice const& device);

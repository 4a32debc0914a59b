#pragma once
// What the library tells about the machine's cards and endpoints, gathered
// once into JSON so that 'cards', 'volume' and 'report' show the same facts.
#include "Endpoints.h"

#include <libSonvane/libSonvane.h>

#include <nlohmann/json.hpp>

// Master and channel levels, range and mute of one volume control; null
// when the endpoint has none.
nlohmann::json describeVolume(AudioDevice const& device);

// One endpoint: names, flow, state, node type, legacy wave number, jacks,
// volume, and for capture endpoints what kind of microphone it is.
nlohmann::json describeEndpoint(Endpoint const& endpoint);

// Every card with its endpoints (numbered as 'sonvane list' numbers them),
// the endpoints by kind, the devices behind them, the connector map, the
// hardware volume and mute controls and the input selectors.
nlohmann::json describeCards(EndpointList const& endpoints);

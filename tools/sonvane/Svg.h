#pragma once
// Pictures for the report, as inline SVG written by the tool: the connector
// map of a card as a graph, and the loopback's recording as a waveform and
// a spectrum. No script and no web resource: the page stands alone.
#include <analysis/SignalAnalysis.h>

#include <nlohmann/json.hpp>

#include <string>

// Text made safe for XML and HTML.
std::string escapeXml(std::string const& text);

// Devices as boxes in columns by their distance from the endpoints, their
// connectors as rows, cables as solid curves between rows and signal paths
// inside a device as dashed arcs. `map` is ConnectorGraph::toJson().
std::string connectorMapSvg(nlohmann::json const& map);

// The whole recording as an envelope, and a few periods from the middle of
// the tone drawn sample by sample beneath it.
std::string waveformSvg(pcmanalysis::Signal const& recording, double sampleRate, pcmanalysis::Span tone,
                        double toneFrequency);

// Level by frequency of the tone's middle part, in dB of full scale on a
// logarithmic frequency axis, with the tone's frequency marked.
std::string spectrumSvg(pcmanalysis::Signal const& recording, double sampleRate, pcmanalysis::Span tone,
                        double toneFrequency);

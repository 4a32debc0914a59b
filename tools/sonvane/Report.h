#pragma once
// The hardware report: one HTML file that stands alone, with the machine's
// cards and endpoints, each card's connector map drawn as a graph, and the
// loopback's waveform and spectrum drawn as plots.
#include "Loopback.h"

#include <nlohmann/json.hpp>

#include <string>

struct ReportContents {
    std::string machine;            // what the report is about
    std::string made;               // when it was made
    nlohmann::json cards;           // describeCards()
    nlohmann::json loopback;        // loopbackJson(), or null when not run
    std::string loopbackFailure;    // why the loopback could not run
    LoopbackResult const* recording = nullptr;   // for the plots
};

std::string reportHtml(ReportContents const& contents);

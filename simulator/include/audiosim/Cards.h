// Sound cards built in C++, for tests and benchmarks that need many alike
// machines without a JSON file: each card is an HD-audio function with its
// topology filter, its endpoints connected to it, their properties and the
// card's place in the device tree. The large.json machine is 32 such cards.
#pragma once

#include <audiosim/Model.h>

#include <string>
#include <vector>

namespace audiosim {

struct CardOptions {
    unsigned index = 0;              // keeps the ids of the cards of one machine apart
    unsigned renderEndpoints = 4;    // at most 4: line out, headphones, digital output, rear speakers
    unsigned captureEndpoints = 4;   // at most 4: line in, microphone, front microphone, digital input
    std::wstring enumerator = L"HDAUDIO";
    std::wstring name = L"Realtek High Definition Audio";
};

// Adds one card and returns the ids of its endpoints, render ones first.
// Every endpoint is active; its connector on the card has a jack and a
// volume node beside it.
std::vector<std::wstring> addCard(MachineDescription& machine, const CardOptions& options);

// A machine of `cards` cards with the given endpoints each, the first card's
// first endpoints being the defaults.
MachineDescription cardMachine(unsigned cards, unsigned renderEndpoints = 4, unsigned captureEndpoints = 4);

}  // namespace audiosim

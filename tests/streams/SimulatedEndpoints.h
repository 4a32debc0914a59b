#pragma once
// The simulated machines of the stream tests and the way to their devices.
#include <libSonvane/libSonvane.h>

#include <audiosim/Machine.h>

#include <string>

namespace streamtests {

// Endpoints of jackMachine(), each with a topology whose connectors lead to
// connectors of one codec adapter:
//  - speakersId: a connector to a part without jacks, one to a part with two
//    jacks (red, then green), one to a part with one jack (blue);
//  - microphoneId: a connector to a part whose jack interface reports no
//    jack, then one to a part with one jack;
//  - unpluggedId: unplugged, its connectors lead nowhere;
//  - bareId: no topology.
extern const wchar_t speakersId[];
extern const wchar_t microphoneId[];
extern const wchar_t unpluggedId[];
extern const wchar_t bareId[];
audiosim::Machine jackMachine();

// The machine's device of that id; null when it has none.
ATL::CComPtr<IMMDevice> simulatedDevice(audiosim::Machine& machine, std::wstring const& id);

}  // namespace streamtests

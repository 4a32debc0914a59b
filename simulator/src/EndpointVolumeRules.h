// How the endpoint volume changes, shared by IAudioEndpointVolume and the
// machine's own volume edits. Each returns E_INVALIDARG for a level outside
// the range or a channel that does not exist, as the system does.
#pragma once

#include <audiosim/Model.h>

namespace audiosim::detail {

// Moves every channel by the same amount so that the loudest is at levelDb.
HRESULT setMasterLevel(EndpointVolume& volume, float levelDb);
HRESULT setMasterScalar(EndpointVolume& volume, float scalar);
HRESULT setChannelLevel(EndpointVolume& volume, UINT channel, float levelDb);
UINT stepCount(const EndpointVolume& volume);
UINT currentStep(const EndpointVolume& volume);
HRESULT stepBy(EndpointVolume& volume, int steps);

}  // namespace audiosim::detail

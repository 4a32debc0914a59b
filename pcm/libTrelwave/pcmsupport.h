#pragma once
// Small helpers around PCM formats shared by the device and stream code.
#include <libSonvane/SonvaneExport.h>

#include <windows.h>
#include <mmreg.h>

namespace libTrelwave {

// One line at level 2: channels, sample size and rate of the format.
SONVANE_API void logWaveFormat(WAVEFORMATEX const& format);

}  // namespace libTrelwave

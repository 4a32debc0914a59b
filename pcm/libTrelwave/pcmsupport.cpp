#include <libTrelwave/pcmsupport.h>

#include <orv/OrvLog.h>

ORV_LOG_CATEGORY("libTrelwave.pcmsupport");

namespace libTrelwave {

void logWaveFormat(WAVEFORMATEX const& format) {
    ORV_LOG(2) << "Waveformatex : " << format.nChannels << " chan " << format.wBitsPerSample << " bits "
               << static_cast<unsigned long>(format.nSamplesPerSec) << "Hz";
}

}  // namespace libTrelwave

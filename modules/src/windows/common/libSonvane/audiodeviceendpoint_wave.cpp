// AudioDevice: the legacy wave device number of an endpoint.
#include <libSonvane/audiodeviceendpoint.h>

// Placeholder until the lookup through the wave drivers' function instance
// ids is built: every endpoint answers "no legacy device", which the legacy
// streams turn into the wave mapper.
unsigned int AudioDevice::waveLegacyDeviceID() {
    return 0xFFFFFFFFu;
}

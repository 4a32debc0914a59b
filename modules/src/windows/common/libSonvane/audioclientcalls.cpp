#include <libSonvane/audioclientcalls.h>

#include <brel5/DiagModule.h>
#include <orv/OrvSystem.h>

namespace libSonvane {
namespace detail {

HRESULT activateAudioClient(IMMDevice* device, ATL::CComPtr<IAudioClient>& client) {
    return device->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&client));
}

WAVEFORMATEX const* bufferFormat(libTrelwave::StaticPCMBuffer const* buffer) {
    return reinterpret_cast<WAVEFORMATEX const*>(buffer);
}

HRESULT isExclusiveFormatSupported(IAudioClient* client, libTrelwave::StaticPCMBuffer const* buffer) {
    return client->IsFormatSupported(AUDCLNT_SHAREMODE_EXCLUSIVE, bufferFormat(buffer), nullptr);
}

HRESULT initializeExclusive(IAudioClient* client, DWORD streamFlags, REFERENCE_TIME duration,
                            libTrelwave::StaticPCMBuffer const* buffer) {
    return client->Initialize(AUDCLNT_SHAREMODE_EXCLUSIVE, streamFlags, duration, duration, bufferFormat(buffer),
                              nullptr);
}

// `started` is written by the worker without a lock; the calls in the loop
// make the compiler read it afresh at every beat.
bool waitForWorkerStart(bool const& started) {
    while (!started) {
        if (brel5::DiagModule::checkForStop()) {
            return false;
        }
        orv::System::mssleep(10);
    }
    return true;
}

}  // namespace detail
}  // namespace libSonvane

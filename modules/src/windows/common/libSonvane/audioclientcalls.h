#pragma once
// The audio client calls that both exclusive-mode streams make, each behind
// one small helper, and the wait of a client thread for its worker to come
// up. Internal: not part of the public headers.
#include <COM/AtlComPtr.h>

#include <libTrelwave/StaticPCMBuffer.h>

#include <COM/DeviceTopologyApi.h>

#include <windows.h>
#include <audioclient.h>
#include <mmdeviceapi.h>

namespace libSonvane {
namespace detail {

// A new audio client of the device, in any server context, written into
// `client`, which must be empty.
HRESULT activateAudioClient(IMMDevice* device, ATL::CComPtr<IAudioClient>& client);

// The buffer's format stands first, so the buffer itself is what the
// platform gets as a format; a null buffer gives a null format, which the
// client refuses.
WAVEFORMATEX const* bufferFormat(libTrelwave::StaticPCMBuffer const* buffer);

// IsFormatSupported in exclusive mode, with no closest match.
HRESULT isExclusiveFormatSupported(IAudioClient* client, libTrelwave::StaticPCMBuffer const* buffer);

// Initialize in exclusive mode with `duration` as both buffer duration and
// period, and no session.
HRESULT initializeExclusive(IAudioClient* client, DWORD streamFlags, REFERENCE_TIME duration,
                            libTrelwave::StaticPCMBuffer const* buffer);

// Polls `started`, which the worker sets once the device runs, in 10 ms
// beats. There is no time limit: only the host's stop request ends a wait
// for a worker that died first, and then the answer is false.
bool waitForWorkerStart(bool const& started);

}  // namespace detail
}  // namespace libSonvane

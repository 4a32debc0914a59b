#include <libSonvane/AudioRendererEx.h>

#include <libSonvane/audioclientcalls.h>
#include <libSonvane/audiodeviceendpoint.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <cstdint>
#include <cstring>

ORV_LOG_CATEGORY("libSonvane.AudioRendererEx");

namespace {

// The stream flags of the two opening attempts. Both are plain: the
// renderer is polled on every device.
DWORD const kOpeningFlags[] = {0, 0};

// The length of the whole sound in 100 ns units, rounded to the nearest
// unit; a rest of less than a frame does not count.
REFERENCE_TIME wholeSoundDuration(libTrelwave::StaticPCMBuffer const& buffer) {
    std::uint64_t const frames = buffer.size / buffer.format.nBlockAlign;
    double const units = static_cast<double>(frames) * 10000000.0 / buffer.format.nSamplesPerSec + 0.5;
    return static_cast<REFERENCE_TIME>(static_cast<std::uint64_t>(units));
}

UINT32 currentPadding(IAudioClient* client) {
    UINT32 padding = 0;
    client->GetCurrentPadding(&padding);
    return padding;
}

// Time for the device to play out `padding` frames, in 32-bit arithmetic
// with the multiplications first; it wraps for a very full device buffer.
DWORD drainMilliseconds(WAVEFORMATEX const& format, UINT32 padding) {
    std::uint32_t const bytes = static_cast<std::uint32_t>(format.nBlockAlign) * padding * 1000u;
    return bytes / format.nAvgBytesPerSec;
}

std::uint32_t totalFrames(libTrelwave::StaticPCMBuffer const& buffer) {
    return static_cast<std::uint32_t>(buffer.size / buffer.format.nBlockAlign);
}

}  // namespace

namespace libSonvane {

_AUDCLNT_SHAREMODE const AudioRendererEx::m_shareMode = AUDCLNT_SHAREMODE_EXCLUSIVE;

AudioRendererEx::AudioRendererEx()
    : m_initialized(false),
      m_keepRunning(false),
      m_threadStarted(false),
      m_device(nullptr),
      m_buffer(nullptr),
      m_bufferFrames(0),
      m_position(0),
      m_framesSent(0),
      m_streamFlags(0),
      m_event(nullptr),
      m_ignorePadding(true),
      m_defaultPeriod(0),
      m_minimumPeriod(0),
      m_latency(0),
      m_playFlags(PlayOnce) {}

AudioRendererEx::AudioRendererEx(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) : AudioRendererEx() {
    m_device = device;
    m_buffer = buffer;
    AudioRendererEx::initialize(device, buffer);
}

AudioRendererEx::AudioRendererEx(AudioRendererEx const& other) = default;
AudioRendererEx& AudioRendererEx::operator=(AudioRendererEx const& other) = default;

AudioRendererEx::~AudioRendererEx() {
    m_keepRunning = false;
    joinWorker();
    m_renderClient.Release();
    m_client.Release();
    if (m_event) {
        CloseHandle(m_event);
    }
}

bool AudioRendererEx::initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) {
    ORV_TRACE("AudioRendererEx::initialize");
    stop();
    m_initialized = false;
    m_renderClient.Release();
    m_client.Release();

    detail::activateAudioClient(device, m_client);
    HRESULT const supported = detail::isExclusiveFormatSupported(m_client, buffer);
    if (FAILED(supported)) {
        ORV_LOG(4) << "Format requested is not supported " << orv::OrvValue(supported).toHexString(true);
        return false;
    }
    m_client->GetDevicePeriod(&m_defaultPeriod, &m_minimumPeriod);
    if (!openClient(device, *buffer)) {
        ORV_LOG(4) << "Unable to initialize IAudioClient. System audio driver is in bad state";
        return false;
    }

    m_buffer = buffer;
    HRESULT const sized = m_client->GetBufferSize(&m_bufferFrames);
    if (FAILED(sized) || m_bufferFrames == 0) {
        ORV_LOG(2) << "IAudioClient::GetBufferSize returns " << orv::OrvValue(sized).toHexString(true)
                   << " Max Frame Size " << m_bufferFrames;
        ORV_LOG(4) << "Unable to initialize IAudioClient. System audio driver is in bad state";
        return false;
    }
    m_client->GetStreamLatency(&m_latency);
    m_ignorePadding = false;
    m_initialized = true;
    return true;
}

// Each attempt starts again from the whole sound.
bool AudioRendererEx::openClient(IMMDevice* device, libTrelwave::StaticPCMBuffer const& buffer) {
    for (DWORD flags : kOpeningFlags) {
        m_streamFlags = flags;
        if (openWithHalving(device, wholeSoundDuration(buffer), buffer)) {
            return true;
        }
    }
    return false;
}

// Whatever the refusal, the duration is halved on a fresh client until the
// driver takes it or it has reached the default period. The client that
// refused at that point is kept for the next attempt.
bool AudioRendererEx::openWithHalving(IMMDevice* device, REFERENCE_TIME duration,
                                      libTrelwave::StaticPCMBuffer const& buffer) {
    for (;;) {
        if (SUCCEEDED(detail::initializeExclusive(m_client, m_streamFlags, duration, &buffer))) {
            return true;
        }
        if (duration <= m_defaultPeriod) {
            return false;
        }
        m_client.Release();
        detail::activateAudioClient(device, m_client);
        duration /= 2;
    }
}

bool AudioRendererEx::play(unsigned int flags) {
    ORV_TRACE("AudioRendererEx::play");
    if (!m_initialized) {
        return false;
    }
    stop();
    m_playFlags = flags;
    if (flags & PlayRewind) {
        m_position = 0;
        m_framesSent = 0;
        m_client->Reset();
    }
    if (!m_renderClient) {
        HRESULT const result =
            m_client->GetService(__uuidof(IAudioRenderClient), reinterpret_cast<void**>(&m_renderClient));
        if (FAILED(result)) {
            ORV_LOG(4) << "IAudioClient::GetService failed " << orv::OrvValue(result).toHexString(true);
            return false;
        }
    }
    if (!createRenderThread()) {
        return false;
    }
    // Sound is queued before the device starts; whether it all fitted does
    // not matter here, the worker goes on from where this left off.
    streamInData();

    m_keepRunning = true;
    if (!m_thread->run(nullptr)) {
        return false;
    }
    if (!detail::waitForWorkerStart(m_threadStarted)) {
        ORV_LOG(4) << "User aborted the playback. Thread may have died";
        m_keepRunning = false;
        return false;
    }
    m_threadStarted = false;
    return true;
}

bool AudioRendererEx::isStillPlaying() const {
    return !m_thread.isNil() && m_thread->isRunning();
}

bool AudioRendererEx::stop() {
    ORV_TRACE("AudioRendererEx::stop");
    m_keepRunning = false;
    joinWorker();
    return true;
}

orv::Array<WAVEFORMATEX>& AudioRendererEx::compatibleFormat() {
    ORV_TRACE("AudioRendererEx::compatibleFormat");
    if (m_compatibleFormats.size() == 0) {
        enumerateCompatibleFormat(m_client, AUDCLNT_SHAREMODE_EXCLUSIVE, m_compatibleFormats);
    }
    return m_compatibleFormats;
}

_AUDCLNT_SHAREMODE AudioRendererEx::shareMode() const {
    return m_shareMode;
}

// The polled worker is made whatever the device offers.
bool AudioRendererEx::createRenderThread() {
    ORV_TRACE("AudioRendererEx::createRenderThread");
    joinWorker();
    m_thread = Worker(new orv::ManagedThread(&AudioRendererEx::resupplyBusyWait, this));
    if (m_thread.isNil()) {
        ORV_LOG(3) << "Playback thread creation failed. Check system for available resources";
        return false;
    }
    return true;
}

void AudioRendererEx::joinWorker() {
    if (m_thread.isNil()) {
        return;
    }
    m_thread->join();
    m_thread.release();
}

// One delivery. Nothing goes out while less than half of the device buffer
// is free, so the device is fed in large lumps; true asks for another call.
bool AudioRendererEx::streamInData() {
    UINT32 freeFrames = m_bufferFrames;
    if (!m_ignorePadding) {
        freeFrames -= currentPadding(m_client);
        if (freeFrames < (m_bufferFrames >> 1)) {
            return true;
        }
    }
    bool more = true;
    libTrelwave::PCMSampleStore store;
    if (m_playFlags & PlayOnce) {
        if (!readOnce(freeFrames, store, more)) {
            return false;
        }
    } else {
        readLooped(freeFrames, store);
    }
    return deliver(store, freeFrames) && more;
}

// The next frames of a single run, silence behind the end of the sound;
// false once the whole sound has gone out. `more` turns false with the
// delivery that carries the last frames.
bool AudioRendererEx::readOnce(UINT32 frames, libTrelwave::PCMSampleStore& store, bool& more) {
    std::uint32_t const total = totalFrames(*m_buffer);
    if (total == m_framesSent) {
        return false;
    }
    std::uint32_t const left = total - m_framesSent;
    more = left >= frames;
    m_buffer->readFrames(m_position, frames, false, store);
    std::uint32_t const sent = left < frames ? left : frames;
    m_framesSent += sent;
    m_position += sent;
    return true;
}

void AudioRendererEx::readLooped(UINT32 frames, libTrelwave::PCMSampleStore& store) {
    m_buffer->readFrames(m_position, frames, true, store);
    m_position = (m_position + frames) % totalFrames(*m_buffer);
}

bool AudioRendererEx::deliver(libTrelwave::PCMSampleStore const& store, UINT32 frames) {
    BYTE* target = nullptr;
    HRESULT const result = m_renderClient->GetBuffer(frames, &target);
    if (FAILED(result)) {
        ORV_LOG(4) << "GetBuffer failed " << orv::OrvValue(result).toHexString(true);
        return false;
    }
    if (store.size != 0) {
        std::memcpy(target, store.data, static_cast<std::size_t>(store.size));
    }
    m_renderClient->ReleaseBuffer(frames, 0);
    return true;
}

int AudioRendererEx::resupplyBusyWait(orv::ManagedThread& thread) {
    ORV_TRACE("AudioRendererEx::resupplyBusyWait");
    AudioRendererEx* const renderer = static_cast<AudioRendererEx*>(thread.m_userPointer);
    if (!renderer) {
        ORV_LOG(3) << "resupply thread called with a NULL AudioRendererEx pointer";
        return -1;
    }
    if (FAILED(renderer->m_client->Start())) {
        ORV_LOG(3) << "IAudioClient::Start failed";
        return -1;
    }
    bool more = true;
    renderer->m_threadStarted = true;
    // No wait between two looks at the padding: the loop spins until half
    // of the device buffer is free again.
    while (renderer->m_keepRunning && more) {
        more = renderer->streamInData();
    }
    // Also after a stop, the device plays out what it holds.
    Sleep(drainMilliseconds(renderer->m_buffer->format, currentPadding(renderer->m_client)));
    renderer->m_client->Stop();
    renderer->m_keepRunning = false;
    return 0;
}

int AudioRendererEx::resupplyByEvent(orv::ManagedThread& thread) {
    ORV_TRACE("AudioRendererEx::resupplyByEvent");
    AudioRendererEx* const renderer = static_cast<AudioRendererEx*>(thread.m_userPointer);
    if (!renderer) {
        ORV_LOG(3) << "resupply thread called with a NULL AudioRendererEx pointer";
        return -1;
    }
    HRESULT const started = renderer->m_client->Start();
    if (FAILED(started)) {
        ORV_LOG(4) << "IAudioClient::Start failed " << orv::OrvValue(started).toHexString(true);
        return -1;
    }
    bool more = true;
    renderer->m_threadStarted = true;
    while (more && renderer->m_keepRunning) {
        DWORD const waited = WaitForSingleObjectEx(renderer->m_event, INFINITE, TRUE);
        if (waited == WAIT_FAILED) {
            ORV_LOG(3) << "WaitForSingleObjectEx failed " << static_cast<unsigned long>(GetLastError());
            break;
        }
        if (waited == WAIT_OBJECT_0) {
            more = renderer->streamInData();
        } else if (waited == WAIT_TIMEOUT) {
            more = false;
            ORV_LOG(3) << "Timeout waiting for IMMDevice object to signal for more audio data";
        }
    }
    renderer->m_client->Stop();
    renderer->m_keepRunning = false;
    return 0;
}

}  // namespace libSonvane

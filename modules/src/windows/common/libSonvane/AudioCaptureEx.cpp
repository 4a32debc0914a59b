#include <libSonvane/AudioCaptureEx.h>

#include <libSonvane/audioclientcalls.h>

#include <orv/OrvException.h>
#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <cstring>

ORV_LOG_CATEGORY("libSonvane.AudioCaptureEx");

namespace {

// Event-driven first; a device that will not signal is opened plain.
DWORD const kOpeningFlags[] = {AUDCLNT_STREAMFLAGS_EVENTCALLBACK, 0};

// The device buffer asked for at first, in default periods.
REFERENCE_TIME const kPeriodsAskedFor = 500;

// The refusals that mean the buffer asked for is too large for the driver;
// any other refusal goes straight on to the next kind of stream.
bool refusesTheSize(HRESULT result) {
    return result == E_OUTOFMEMORY || result == AUDCLNT_E_INVALID_DEVICE_PERIOD ||
           result == AUDCLNT_E_BUFFER_SIZE_NOT_ALIGNED;
}

// Cleared ahead of the call, so that a size that cannot be read is no packet.
UINT32 nextPacketFrames(IAudioCaptureClient* client) {
    UINT32 frames = 0;
    client->GetNextPacketSize(&frames);
    return frames;
}

// One packet as GetBuffer hands it out.
struct Packet {
    BYTE* data = nullptr;
    UINT32 frames = 0;
    DWORD flags = 0;
    UINT64 devicePosition = 0;
    UINT64 qpcPosition = 0;
};

HRESULT takePacket(IAudioCaptureClient* client, Packet& packet) {
    return client->GetBuffer(&packet.data, &packet.frames, &packet.flags, &packet.devicePosition,
                             &packet.qpcPosition);
}

}  // namespace

namespace libSonvane {

_AUDCLNT_SHAREMODE const AudioCaptureEx::m_shareMode = AUDCLNT_SHAREMODE_EXCLUSIVE;

AudioCaptureEx::AudioCaptureEx()
    : m_keepRunning(false),
      m_threadStarted(false),
      m_device(nullptr),
      m_buffer(nullptr),
      m_bufferFrames(0),
      m_requestedDuration(0),
      m_streamFlags(0),
      m_event(nullptr),
      m_useEvent(false),
      m_defaultPeriod(0),
      m_minimumPeriod(0),
      m_timeout(INFINITE),
      m_exitCode(128) {}

AudioCaptureEx::AudioCaptureEx(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) : AudioCaptureEx() {
    m_device = device;
    m_buffer = buffer;
    bool const result = AudioCaptureEx::initialize(device, buffer);
    ORV_ASSERT(result, __FILE__);
}

AudioCaptureEx::AudioCaptureEx(AudioCaptureEx const& other) = default;
AudioCaptureEx& AudioCaptureEx::operator=(AudioCaptureEx const& other) = default;

AudioCaptureEx::~AudioCaptureEx() {
    m_keepRunning = false;
    threadExitCode();
    m_captureClient.Release();
    m_client.Release();
    if (m_event) {
        CloseHandle(m_event);
    }
    m_thread.release();
}

bool AudioCaptureEx::initialize(IMMDevice* device, libTrelwave::StaticPCMBuffer* buffer) {
    ORV_TRACE("AudioCaptureEx::initialize");
    stop();
    m_captureClient.Release();
    m_client.Release();

    if (FAILED(detail::activateAudioClient(device, m_client))) {
        ORV_LOG(3) << "Cannot activa an IAudioClient from IMMDevice";
        return false;
    }
    HRESULT const supported = detail::isExclusiveFormatSupported(m_client, buffer);
    if (FAILED(supported)) {
        ORV_LOG(4) << "Format requested is not supported " << orv::OrvValue(supported).toHexString(true);
        return false;
    }
    m_client->GetDevicePeriod(&m_defaultPeriod, &m_minimumPeriod);
    if (!openClient(device, buffer)) {
        ORV_LOG(4) << "Unable to initialize IAudioClient. System audio driver is in bad state";
        return false;
    }
    createEvent();
    m_buffer = buffer;
    m_client->GetBufferSize(&m_bufferFrames);
    return true;
}

bool AudioCaptureEx::openClient(IMMDevice* device, libTrelwave::StaticPCMBuffer const* buffer) {
    for (DWORD flags : kOpeningFlags) {
        m_streamFlags = flags;
        if (openWithHalving(device, buffer)) {
            return true;
        }
    }
    return false;
}

// Every refused client is replaced by a fresh one, so that the next try
// starts clean, whether it halves or goes on to the next kind of stream.
bool AudioCaptureEx::openWithHalving(IMMDevice* device, libTrelwave::StaticPCMBuffer const* buffer) {
    m_requestedDuration = m_defaultPeriod * kPeriodsAskedFor;
    HRESULT result = detail::initializeExclusive(m_client, m_streamFlags, m_requestedDuration, buffer);
    for (;;) {
        if (SUCCEEDED(result)) {
            return true;
        }
        ORV_LOG(3) << "IAudioClient::Initialize returns " << orv::OrvValue(result).toHexString(true);
        m_client.Release();
        detail::activateAudioClient(device, m_client);
        if (!refusesTheSize(result) || m_requestedDuration <= m_defaultPeriod) {
            return false;
        }
        m_requestedDuration /= 2;
        result = detail::initializeExclusive(m_client, m_streamFlags, m_requestedDuration, buffer);
    }
}

// The event worker runs only when the stream was opened event-driven and
// took the event. A plain stream is handed the event all the same and
// refuses it, which is what leaves it polled.
void AudioCaptureEx::createEvent() {
    if (m_event) {
        CloseHandle(m_event);
    }
    m_event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!m_event) {
        ORV_LOG(3) << "Driver problem : IAudioClient initialized with AUDCLNT_STREAMFLAGS_EVENTCALLBACK, but "
                      "CreateEvent failed";
        ORV_LOG(3) << "GetLastError() = " << static_cast<unsigned long>(GetLastError());
        return;
    }
    HRESULT const taken = m_client->SetEventHandle(m_event);
    m_useEvent = taken == S_OK && (m_streamFlags & AUDCLNT_STREAMFLAGS_EVENTCALLBACK) != 0;
}

bool AudioCaptureEx::start() {
    ORV_TRACE("AudioCaptureEx::start");
    stop();
    reset();
    if (!m_captureClient) {
        HRESULT const result =
            m_client->GetService(__uuidof(IAudioCaptureClient), reinterpret_cast<void**>(&m_captureClient));
        if (FAILED(result)) {
            ORV_LOG(4) << "IAudioClient::GetService failed " << orv::OrvValue(result).toHexString(true);
            return false;
        }
    }
    m_keepRunning = true;
    m_threadStarted = false;
    if (!createCaptureThread()) {
        ORV_LOG(3) << "No capture thread created. Check system for available resources";
        return false;
    }
    if (!m_thread->run(nullptr)) {
        return false;
    }
    if (!detail::waitForWorkerStart(m_threadStarted)) {
        ORV_LOG(4) << "User aborted the playback. Thread may have died";
        stop();
        return false;
    }
    m_threadStarted = false;
    return true;
}

bool AudioCaptureEx::isStillRecording() const {
    return !m_thread.isNil() && m_thread->isRunning();
}

void AudioCaptureEx::reset() {
    m_client->Reset();
}

bool AudioCaptureEx::stop() {
    ORV_TRACE("AudioCaptureEx::stop");
    m_keepRunning = false;
    threadExitCode();
    return true;
}

void AudioCaptureEx::setTimeout(unsigned int milliseconds) {
    m_timeout = milliseconds;
}

int AudioCaptureEx::threadExitCode() {
    ORV_TRACE("AudioCaptureEx::threadExitCode");
    if (!m_thread.isNil()) {
        m_thread->join();
        if (!m_thread->getExitCode(&m_exitCode)) {
            ORV_LOG(3) << "getExitCode returns false. Is something throwing an exception in the thread?";
            ORV_ASSERT(false, __FILE__);
        }
    }
    m_thread.release();
    return m_exitCode;
}

_AUDCLNT_SHAREMODE AudioCaptureEx::shareMode() const {
    return m_shareMode;
}

// A polled stream has no use for the event, so it is closed here; the
// member is cleared only when the close is confirmed.
bool AudioCaptureEx::createCaptureThread() {
    ORV_TRACE("AudioCaptureEx::createCaptureThread");
    if (!m_thread.isNil()) {
        m_thread->join();
        m_thread.release();
    }
    if (m_useEvent) {
        m_thread = Worker(new orv::ManagedThread(&AudioCaptureEx::resupplyByEvent, this));
    } else {
        if (m_event && CloseHandle(m_event) == 1) {
            m_event = nullptr;
        }
        m_thread = Worker(new orv::ManagedThread(&AudioCaptureEx::resupplyBusyWait, this));
    }
    return !m_thread.isNil();
}

UINT64 AudioCaptureEx::freeBytes() const {
    return m_buffer->size - m_buffer->writePosition;
}

// Copies what fits of a packet behind the bytes recorded so far; the rest of
// a packet larger than the free space is dropped. Returns the bytes stored.
UINT64 AudioCaptureEx::storePacket(BYTE const* packet, UINT32 frames) {
    UINT64 const packetBytes = static_cast<UINT64>(m_buffer->format.nBlockAlign) * frames;
    UINT64 const bytes = packetBytes < freeBytes() ? packetBytes : freeBytes();
    if (bytes != 0) {
        std::memcpy(m_buffer->data + m_buffer->writePosition, packet, static_cast<std::size_t>(bytes));
        m_buffer->writePosition += bytes;
    }
    return bytes;
}

// One packet per signal. The packet is given back whole, also when only
// part of it fitted. True while the buffer has room.
bool AudioCaptureEx::streamInData() {
    UINT32 const frames = nextPacketFrames(m_captureClient);
    if (frames != 0) {
        Packet packet;
        HRESULT const result = takePacket(m_captureClient, packet);
        if (FAILED(result)) {
            ORV_LOG(3) << "GetBuffer failed " << orv::OrvValue(result).toHexString(true);
            return false;
        }
        storePacket(packet.data, packet.frames);
        m_captureClient->ReleaseBuffer(packet.frames);
    }
    return m_buffer->size != m_buffer->writePosition;
}

// The exit code is the last wait's result: 0 after a signal, 258 after the
// time-out, 128 when a stop came ahead of the first wait.
int AudioCaptureEx::resupplyByEvent(orv::ManagedThread& thread) {
    ORV_TRACE("AudioCaptureEx::resupplyByEvent");
    AudioCaptureEx* const capture = static_cast<AudioCaptureEx*>(thread.m_userPointer);
    if (!capture) {
        ORV_LOG(3) << "resupply thread called with a NULL AudioCaptureEx pointer";
        return -1;
    }
    capture->m_keepRunning = true;
    if (FAILED(capture->m_client->Start())) {
        ORV_LOG(3) << "IAudioClient::Start failed";
        return -1;
    }
    int code = 128;
    bool more = true;
    capture->m_threadStarted = true;
    while (capture->m_keepRunning && more) {
        DWORD const waited = WaitForSingleObjectEx(capture->m_event, capture->m_timeout, TRUE);
        code = static_cast<int>(waited);
        if (waited == WAIT_FAILED) {
            ORV_LOG(3) << "WaitForSingleObjectEx failed " << static_cast<unsigned long>(GetLastError());
            break;
        }
        if (waited == WAIT_OBJECT_0) {
            more = capture->streamInData();
        } else if (waited == WAIT_TIMEOUT) {
            more = false;
            ORV_LOG(3) << "Timeout waiting for IMMDevice object to signal for more audio data";
        }
    }
    capture->m_client->Stop();
    capture->m_keepRunning = false;
    return code;
}

// Packet flags (silence, discontinuity) change nothing: every packet is
// stored as it stands. A silent device keeps this loop spinning until stop.
int AudioCaptureEx::resupplyBusyWait(orv::ManagedThread& thread) {
    ORV_TRACE("AudioCaptureEx::resupplyBusyWait");
    AudioCaptureEx* const capture = static_cast<AudioCaptureEx*>(thread.m_userPointer);
    if (!capture) {
        ORV_LOG(3) << "resupply thread called with a NULL AudioCaptureEx pointer";
        return -1;
    }
    capture->m_keepRunning = true;
    ATL::CComPtr<IAudioCaptureClient> const captureClient = capture->m_captureClient;
    libTrelwave::StaticPCMBuffer* const buffer = capture->m_buffer;
    ATL::CComPtr<IAudioClient> const client = capture->m_client;
    if (FAILED(client->Start())) {
        ORV_LOG(3) << "IAudioClient::Start failed";
        return -1;
    }
    capture->m_threadStarted = true;
    ORV_LOG(1) << " PCM buffer available space " << capture->freeBytes() << " bytes";

    // One frame count serves the whole loop: the packet size is read into it
    // and GetBuffer writes it. A size that cannot be read therefore leaves
    // the last packet's count standing, and the next packet is fetched all
    // the same.
    Packet packet;
    while (capture->m_keepRunning && buffer->size != buffer->writePosition) {
        captureClient->GetNextPacketSize(&packet.frames);
        if (packet.frames == 0) {
            continue;
        }
        HRESULT const result = takePacket(captureClient, packet);
        if (FAILED(result)) {
            ORV_LOG(3) << "GetBuffer failed " << orv::OrvValue(result).toHexString(true);
            break;
        }
        capture->storePacket(packet.data, packet.frames);
        captureClient->ReleaseBuffer(packet.frames);
        ORV_LOG(1) << "Flag " << orv::OrvValue(packet.flags).toHexString(true) << " DevicePosition "
                   << packet.devicePosition << " QPCPosition " << packet.qpcPosition << " PCM buffer available space "
                   << capture->freeBytes() << " bytes";
    }
    client->Stop();
    capture->m_keepRunning = false;
    return 0;
}

}  // namespace libSonvane

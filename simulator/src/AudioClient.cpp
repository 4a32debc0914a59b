// IAudioClient with the IAudioRenderClient and IAudioCaptureClient it hands
// out. One ClientStream holds the state of an endpoint's stream and moves
// with the machine's clock; the COM objects are views of it.
#include "ComObject.h"
#include "Objects.h"
#include "Streams.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace audiosim::detail {

namespace {

const HRESULT kNotInitialized = static_cast<HRESULT>(0x88890001);      // AUDCLNT_E_NOT_INITIALIZED
const HRESULT kAlreadyInitialized = static_cast<HRESULT>(0x88890002);  // AUDCLNT_E_ALREADY_INITIALIZED
const HRESULT kDeviceInvalidated = static_cast<HRESULT>(0x88890004);   // AUDCLNT_E_DEVICE_INVALIDATED
const HRESULT kNotStopped = static_cast<HRESULT>(0x88890005);          // AUDCLNT_E_NOT_STOPPED
const HRESULT kBufferTooLarge = static_cast<HRESULT>(0x88890006);      // AUDCLNT_E_BUFFER_TOO_LARGE
const HRESULT kOutOfOrder = static_cast<HRESULT>(0x88890007);          // AUDCLNT_E_OUT_OF_ORDER
const HRESULT kUnsupportedFormat = static_cast<HRESULT>(0x88890008);   // AUDCLNT_E_UNSUPPORTED_FORMAT
const HRESULT kInvalidSize = static_cast<HRESULT>(0x88890009);         // AUDCLNT_E_INVALID_SIZE
const HRESULT kExclusiveNotAllowed = static_cast<HRESULT>(0x8889000E); // AUDCLNT_E_EXCLUSIVE_MODE_NOT_ALLOWED
const HRESULT kEventNotExpected = static_cast<HRESULT>(0x88890011);    // AUDCLNT_E_EVENTHANDLE_NOT_EXPECTED
const HRESULT kEventNotSet = static_cast<HRESULT>(0x88890014);         // AUDCLNT_E_EVENTHANDLE_NOT_SET
const HRESULT kInvalidPeriod = static_cast<HRESULT>(0x88890020);       // AUDCLNT_E_INVALID_DEVICE_PERIOD
const HRESULT kBufferEmpty = static_cast<HRESULT>(0x08890001);         // AUDCLNT_S_BUFFER_EMPTY

const double kHundredNanoseconds = 10000000.0;

UINT32 framesOf(LONGLONG duration, DWORD rate) {
    return static_cast<UINT32>(std::llround(static_cast<double>(duration) * rate / kHundredNanoseconds));
}

bool accepts(const std::vector<Format>& formats, const WAVEFORMATEX& format) {
    return std::any_of(formats.begin(), formats.end(), [&](const Format& entry) { return entry.matches(format); });
}

// A copy of a format in COM task memory, as IsFormatSupported and
// GetMixFormat hand them out.
WAVEFORMATEX* taskFormat(const Format& format) {
    const WAVEFORMATEXTENSIBLE value = format.toWaveFormat();
    const size_t size = sizeof(WAVEFORMATEX) + value.Format.cbSize;
    auto* copy = static_cast<WAVEFORMATEX*>(CoTaskMemAlloc(size));
    if (copy)
        std::memcpy(copy, &value, size);
    return copy;
}

// The stream of one IAudioClient. Render: the frames released into the
// device buffer wait in `m_queue` and the clock consumes them at the sample
// rate; padding is what is still queued. Capture: the clock completes one
// packet of a period after another from the endpoint's capture source; the
// buffer holds as many packets as fit, the oldest giving way.
class ClientStream : public Runner, public std::enable_shared_from_this<ClientStream> {
public:
    ClientStream(StreamHub& hub, DevicePtr device, const std::shared_ptr<Core>& core)
        : m_hub(hub), m_device(std::move(device)) {
        std::lock_guard<std::recursive_mutex> lock(core->mutex);
        m_caps = m_device->stream;
        m_flow = m_device->flow;
        m_endpoint = m_device->id;
    }

    EDataFlow flow() const { return m_flow; }

    HRESULT isFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format, WAVEFORMATEX** closest) const {
        if (closest)
            *closest = nullptr;
        if (!format)
            return E_POINTER;
        if (mode == AUDCLNT_SHAREMODE_EXCLUSIVE) {
            if (!m_caps.exclusiveAllowed)
                return kExclusiveNotAllowed;
            return accepts(m_caps.exclusiveFormats, *format) ? S_OK : kUnsupportedFormat;
        }
        if (mode != AUDCLNT_SHAREMODE_SHARED)
            return E_INVALIDARG;
        if (m_caps.mixFormat.matches(*format) || accepts(m_caps.sharedFormats, *format))
            return S_OK;
        // Shared mode offers the mix format as the closest match, as the
        // audio engine does for a format it would have to convert.
        if (!closest)
            return kUnsupportedFormat;
        *closest = taskFormat(m_caps.mixFormat);
        return *closest ? S_FALSE : E_OUTOFMEMORY;
    }

    HRESULT mixFormat(WAVEFORMATEX** out) const {
        *out = taskFormat(m_caps.mixFormat);
        return *out ? S_OK : E_OUTOFMEMORY;
    }

    void devicePeriod(REFERENCE_TIME* defaultPeriod, REFERENCE_TIME* minimumPeriod) const {
        if (defaultPeriod)
            *defaultPeriod = m_caps.defaultPeriod;
        if (minimumPeriod)
            *minimumPeriod = m_caps.minimumPeriod;
    }

    HRESULT initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME bufferDuration, REFERENCE_TIME periodicity,
                       const WAVEFORMATEX* format) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_initialized)
            return kAlreadyInitialized;
        if (!format)
            return E_POINTER;
        const HRESULT supported = isFormatSupported(mode, format, nullptr);
        if (supported != S_OK)
            return supported == S_FALSE ? kUnsupportedFormat : supported;
        const bool eventMode = (flags & AUDCLNT_STREAMFLAGS_EVENTCALLBACK) != 0;
        if (eventMode && !m_caps.eventDriven)
            return m_caps.eventRefusal;
        m_layout = PcmLayout::of(*format);
        if (!m_layout.usable())
            return kUnsupportedFormat;

        LONGLONG period = m_caps.defaultPeriod;
        LONGLONG buffer = std::max<LONGLONG>(bufferDuration, m_caps.minimumBuffer);
        if (mode == AUDCLNT_SHAREMODE_EXCLUSIVE) {
            period = periodicity ? periodicity : m_caps.defaultPeriod;
            if (period < m_caps.minimumPeriod)
                return kInvalidPeriod;
            if (eventMode && bufferDuration != periodicity)
                return kInvalidPeriod;
            buffer = std::max(buffer, period);
            if (buffer > m_caps.maximumBuffer)
                return m_caps.bufferRefusal;
        } else {
            buffer = std::max(buffer, 2 * m_caps.defaultPeriod);
        }
        m_bufferFrames = std::max<UINT32>(1, framesOf(buffer, m_layout.rate));
        // An event-driven exclusive stream hands over its whole buffer at
        // each signal.
        m_periodFrames = eventMode && mode == AUDCLNT_SHAREMODE_EXCLUSIVE
                             ? m_bufferFrames
                             : std::max<UINT32>(1, std::min(m_bufferFrames, framesOf(period, m_layout.rate)));
        m_latency = period;
        m_eventMode = eventMode;
        m_initialized = true;
        return S_OK;
    }

    template <class Reader>
    HRESULT whenInitialized(Reader reader) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_initialized)
            return kNotInitialized;
        return reader();
    }

    HRESULT bufferSize(UINT32* frames) {
        return whenInitialized([&] {
            *frames = m_bufferFrames;
            return S_OK;
        });
    }

    HRESULT streamLatency(REFERENCE_TIME* latency) {
        return whenInitialized([&] {
            *latency = m_latency;
            return S_OK;
        });
    }

    HRESULT currentPadding(UINT32* padding) {
        return whenInitialized([&] {
            const double now = m_hub.clock.now();
            if (m_flow == eRender) {
                advance(now);
                *padding = queuedFrames();
            } else {
                *padding = static_cast<UINT32>(availablePackets(now) * m_periodFrames);
            }
            return S_OK;
        });
    }

    HRESULT setEventHandle(HANDLE event) {
        return whenInitialized([&] {
            if (!m_eventMode)
                return kEventNotExpected;
            if (!event)
                return E_INVALIDARG;
            m_event = event;
            return S_OK;
        });
    }

    HRESULT start() {
        const HRESULT result = whenInitialized([&] {
            if (m_running)
                return kNotStopped;
            if (m_eventMode && !m_event)
                return kEventNotSet;
            const double now = m_hub.clock.now();
            m_runStart = now;
            m_periodsSignalled = 0;
            if (m_flow == eRender) {
                m_segment = m_hub.openSegment(m_endpoint, now, m_layout.channels, m_layout.rate);
                m_framesPlayed = 0;
            }
            m_running = true;
            return S_OK;
        });
        if (result == S_OK)
            m_hub.add(shared_from_this());
        return result;
    }

    HRESULT stop() {
        const HRESULT result = whenInitialized([&] {
            if (!m_running)
                return S_FALSE;
            const double now = m_hub.clock.now();
            advance(now);
            if (m_flow == eCapture)
                m_framesBefore = producedFrames(now);
            m_running = false;
            return S_OK;
        });
        if (result == S_OK)
            m_hub.remove(this);
        return result;
    }

    HRESULT reset() {
        return whenInitialized([&] {
            if (m_running)
                return kNotStopped;
            if (m_bufferOut)
                return kOutOfOrder;
            m_queue.clear();
            m_nextPacket = m_framesBefore / m_periodFrames;
            return S_OK;
        });
    }

    // Ends the stream for good when its audio client goes.
    void close() {
        stop();
    }

    // ---- IAudioRenderClient

    HRESULT renderBuffer(UINT32 frames, BYTE** data) {
        return whenInitialized([&] {
            if (m_bufferOut)
                return kOutOfOrder;
            advance(m_hub.clock.now());
            if (frames > m_bufferFrames - queuedFrames())
                return kBufferTooLarge;
            m_scratch.assign(static_cast<size_t>(frames) * m_layout.blockAlign, 0);
            *data = frames ? m_scratch.data() : nullptr;
            m_requested = frames;
            m_bufferOut = frames != 0;
            return S_OK;
        });
    }

    HRESULT releaseRenderBuffer(UINT32 frames, DWORD flags) {
        return whenInitialized([&] {
            if (!m_bufferOut)
                return frames == 0 ? S_OK : kOutOfOrder;
            if (frames > m_requested)
                return kInvalidSize;
            const size_t bytes = static_cast<size_t>(frames) * m_layout.blockAlign;
            if (flags & AUDCLNT_BUFFERFLAGS_SILENT)
                std::fill(m_scratch.begin(), m_scratch.begin() + bytes, 0);
            m_queue.insert(m_queue.end(), m_scratch.begin(), m_scratch.begin() + bytes);
            m_bufferOut = false;
            return S_OK;
        });
    }

    // ---- IAudioCaptureClient

    HRESULT captureBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* devicePosition, UINT64* qpcPosition) {
        return whenInitialized([&] {
            if (m_bufferOut)
                return kOutOfOrder;
            const double now = m_hub.clock.now();
            const unsigned long long available = availablePackets(now);
            *data = nullptr;
            *frames = 0;
            if (flags)
                *flags = 0;
            if (available == 0)
                return kBufferEmpty;
            const unsigned long long first = m_nextPacket * m_periodFrames;
            m_scratch.assign(static_cast<size_t>(m_periodFrames) * m_layout.blockAlign, 0);
            const double frameZero = m_runStart - static_cast<double>(m_framesBefore) / m_layout.rate;
            recordFromSource(m_hub, m_caps.captureSource, frameZero, first, m_periodFrames, m_layout, m_scratch.data(),
                             now);
            *data = m_scratch.data();
            *frames = m_periodFrames;
            if (flags) {
                *flags = (m_discontinuity ? AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY : 0) |
                         (m_caps.captureSource.kind == CaptureSource::Silence ? AUDCLNT_BUFFERFLAGS_SILENT : 0);
            }
            if (devicePosition)
                *devicePosition = first;
            if (qpcPosition)
                *qpcPosition = static_cast<UINT64>((frameZero + static_cast<double>(first) / m_layout.rate) *
                                                   kHundredNanoseconds);
            m_discontinuity = false;
            m_requested = m_periodFrames;
            m_bufferOut = true;
            return S_OK;
        });
    }

    HRESULT releaseCaptureBuffer(UINT32 frames) {
        return whenInitialized([&] {
            if (!m_bufferOut)
                return frames == 0 ? S_OK : kOutOfOrder;
            if (frames != 0 && frames != m_requested)
                return kInvalidSize;
            if (frames != 0)
                ++m_nextPacket;
            m_bufferOut = false;
            return S_OK;
        });
    }

    HRESULT nextPacketSize(UINT32* frames) {
        return whenInitialized([&] {
            *frames = availablePackets(m_hub.clock.now()) > 0 ? m_periodFrames : 0;
            return S_OK;
        });
    }

    // ---- Runner

    void tick(double now) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_running)
            return;
        if (m_flow == eRender)
            advance(now);
        signalPeriods(now);
    }

    bool rendersTo(const std::wstring& endpoint) const override {
        return m_flow == eRender && sameText(endpoint, m_endpoint);
    }

private:
    UINT32 queuedFrames() const {
        return static_cast<UINT32>(m_queue.size() / m_layout.blockAlign);
    }

    unsigned long long elapsedFrames(double now) const {
        return m_running ? static_cast<unsigned long long>(std::max(0.0, now - m_runStart) * m_layout.rate) : 0;
    }

    // Render: the device plays what the clock has reached, from the queue
    // while it lasts and silence after it.
    void advance(double now) {
        if (m_flow != eRender || !m_running)
            return;
        const unsigned long long reached = elapsedFrames(now);
        if (reached <= m_framesPlayed)
            return;
        const unsigned long long due = reached - m_framesPlayed;
        const auto fromClient = static_cast<size_t>(std::min<unsigned long long>(due, queuedFrames()));
        std::vector<float> played(fromClient * m_layout.channels);
        for (size_t frame = 0; frame < fromClient; ++frame) {
            for (WORD channel = 0; channel < m_layout.channels; ++channel)
                played[frame * m_layout.channels + channel] = m_layout.read(&m_queue[frame * m_layout.blockAlign], channel);
        }
        m_queue.erase(m_queue.begin(), m_queue.begin() + fromClient * m_layout.blockAlign);
        m_hub.appendSegment(m_endpoint, m_segment, played, true);
        if (due > fromClient) {
            const std::vector<float> silence(static_cast<size_t>(due - fromClient) * m_layout.channels, 0.0f);
            m_hub.appendSegment(m_endpoint, m_segment, silence, false);
        }
        m_framesPlayed = reached;
    }

    unsigned long long producedFrames(double now) const {
        return m_framesBefore + elapsedFrames(now);
    }

    // Capture: packets complete at period boundaries; the device buffer
    // keeps at least two, and a packet not fetched in time is overwritten.
    unsigned long long availablePackets(double now) {
        if (m_flow != eCapture)
            return 0;
        const unsigned long long completed = producedFrames(now) / m_periodFrames;
        const unsigned long long capacity = std::max<unsigned long long>(2, m_bufferFrames / m_periodFrames);
        if (completed > m_nextPacket + capacity) {
            m_nextPacket = completed - capacity;
            m_discontinuity = true;
        }
        return completed > m_nextPacket ? completed - m_nextPacket : 0;
    }

    // The event is set once for every period the clock completes.
    void signalPeriods(double now) {
        if (!m_eventMode || !m_event)
            return;
        const unsigned long long periods = elapsedFrames(now) / m_periodFrames;
        if (periods > m_periodsSignalled) {
            m_periodsSignalled = periods;
            SetEvent(m_event);
        }
    }

    StreamHub& m_hub;
    const DevicePtr m_device;
    StreamCaps m_caps;
    EDataFlow m_flow = eRender;
    std::wstring m_endpoint;

    std::mutex m_mutex;
    bool m_initialized = false;
    bool m_running = false;
    bool m_eventMode = false;
    HANDLE m_event = nullptr;
    PcmLayout m_layout;
    UINT32 m_bufferFrames = 0;
    UINT32 m_periodFrames = 1;
    REFERENCE_TIME m_latency = 0;
    double m_runStart = 0.0;
    unsigned long long m_periodsSignalled = 0;

    bool m_bufferOut = false;
    UINT32 m_requested = 0;
    std::vector<BYTE> m_scratch;

    std::vector<BYTE> m_queue;
    size_t m_segment = 0;
    unsigned long long m_framesPlayed = 0;

    unsigned long long m_framesBefore = 0;
    unsigned long long m_nextPacket = 0;
    bool m_discontinuity = false;
};

using StreamPtr = std::shared_ptr<ClientStream>;

class RenderClientObject : public ComObject<IAudioRenderClient> {
public:
    RenderClientObject(std::shared_ptr<Core> core, const std::wstring& id, StreamPtr stream)
        : ComObject(std::move(core), L"IAudioRenderClient", L"IAudioRenderClient " + id, id),
          m_stream(std::move(stream)) {}

    HRESULT STDMETHODCALLTYPE GetBuffer(UINT32 frames, BYTE** data) override {
        return dispatch(method(L"GetBuffer"), number(frames), [&]() -> HRESULT {
            if (!data)
                return E_POINTER;
            *data = nullptr;
            return m_stream->renderBuffer(frames, data);
        }, data);
    }

    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 frames, DWORD flags) override {
        return dispatch(method(L"ReleaseBuffer"), join({number(frames), hex(flags)}),
                        [&] { return m_stream->releaseRenderBuffer(frames, flags); });
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IAudioRenderClient))
            return static_cast<IAudioRenderClient*>(this);
        return nullptr;
    }

    const StreamPtr m_stream;
};

class CaptureClientObject : public ComObject<IAudioCaptureClient> {
public:
    CaptureClientObject(std::shared_ptr<Core> core, const std::wstring& id, StreamPtr stream)
        : ComObject(std::move(core), L"IAudioCaptureClient", L"IAudioCaptureClient " + id, id),
          m_stream(std::move(stream)) {}

    HRESULT STDMETHODCALLTYPE GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* devicePosition,
                                        UINT64* qpcPosition) override {
        return dispatch(method(L"GetBuffer"), L"", [&]() -> HRESULT {
            if (!data || !frames)
                return E_POINTER;
            return m_stream->captureBuffer(data, frames, flags, devicePosition, qpcPosition);
        }, data);
    }

    HRESULT STDMETHODCALLTYPE ReleaseBuffer(UINT32 frames) override {
        return dispatch(method(L"ReleaseBuffer"), number(frames), [&] { return m_stream->releaseCaptureBuffer(frames); });
    }

    HRESULT STDMETHODCALLTYPE GetNextPacketSize(UINT32* frames) override {
        return dispatch(method(L"GetNextPacketSize"), L"", [&]() -> HRESULT {
            if (!frames)
                return E_POINTER;
            return m_stream->nextPacketSize(frames);
        }, frames);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IAudioCaptureClient))
            return static_cast<IAudioCaptureClient*>(this);
        return nullptr;
    }

    const StreamPtr m_stream;
};

class AudioClientObject : public ComObject<IAudioClient> {
public:
    AudioClientObject(std::shared_ptr<Core> core, DevicePtr device)
        : ComObject(core, L"IAudioClient", L"IAudioClient " + device->id, device->id),
          m_id(device->id),
          m_device(device),
          m_stream(std::make_shared<ClientStream>(core->streams, std::move(device), core)) {}

    ~AudioClientObject() override { m_stream->close(); }

    HRESULT STDMETHODCALLTYPE Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME bufferDuration,
                                         REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                                         LPCGUID session) override {
        return dispatch(method(L"Initialize"),
                        join({number(mode), hex(flags), signedNumber(bufferDuration), signedNumber(periodicity),
                              formatText(format), guidArgument(session)}),
                        [&]() -> HRESULT {
                            if (!deviceIsActive())
                                return kDeviceInvalidated;
                            return m_stream->initialize(mode, flags, bufferDuration, periodicity, format);
                        });
    }

    HRESULT STDMETHODCALLTYPE GetBufferSize(UINT32* frames) override {
        return dispatch(method(L"GetBufferSize"), L"", [&]() -> HRESULT {
            if (!frames)
                return E_POINTER;
            return m_stream->bufferSize(frames);
        }, frames);
    }

    HRESULT STDMETHODCALLTYPE GetStreamLatency(REFERENCE_TIME* latency) override {
        return dispatch(method(L"GetStreamLatency"), L"", [&]() -> HRESULT {
            if (!latency)
                return E_POINTER;
            return m_stream->streamLatency(latency);
        }, latency);
    }

    HRESULT STDMETHODCALLTYPE GetCurrentPadding(UINT32* padding) override {
        return dispatch(method(L"GetCurrentPadding"), L"", [&]() -> HRESULT {
            if (!padding)
                return E_POINTER;
            return m_stream->currentPadding(padding);
        }, padding);
    }

    HRESULT STDMETHODCALLTYPE IsFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format,
                                                WAVEFORMATEX** closest) override {
        return dispatch(method(L"IsFormatSupported"), join({number(mode), formatText(format), pointer(closest)}),
                        [&] { return m_stream->isFormatSupported(mode, format, closest); }, closest);
    }

    HRESULT STDMETHODCALLTYPE GetMixFormat(WAVEFORMATEX** format) override {
        return dispatch(method(L"GetMixFormat"), L"", [&]() -> HRESULT {
            if (!format)
                return E_POINTER;
            return m_stream->mixFormat(format);
        }, format);
    }

    HRESULT STDMETHODCALLTYPE GetDevicePeriod(REFERENCE_TIME* defaultPeriod, REFERENCE_TIME* minimumPeriod) override {
        return dispatch(method(L"GetDevicePeriod"), L"", [&]() -> HRESULT {
            if (!defaultPeriod && !minimumPeriod)
                return E_POINTER;
            m_stream->devicePeriod(defaultPeriod, minimumPeriod);
            return S_OK;
        }, defaultPeriod, minimumPeriod);
    }

    HRESULT STDMETHODCALLTYPE Start() override {
        return dispatch(method(L"Start"), L"", [&] { return m_stream->start(); });
    }

    HRESULT STDMETHODCALLTYPE Stop() override {
        return dispatch(method(L"Stop"), L"", [&] { return m_stream->stop(); });
    }

    HRESULT STDMETHODCALLTYPE Reset() override {
        return dispatch(method(L"Reset"), L"", [&] { return m_stream->reset(); });
    }

    HRESULT STDMETHODCALLTYPE SetEventHandle(HANDLE event) override {
        return dispatch(method(L"SetEventHandle"), pointer(event), [&] { return m_stream->setEventHandle(event); });
    }

    HRESULT STDMETHODCALLTYPE GetService(REFIID iid, void** out) override {
        return dispatch(method(L"GetService"), iidName(iid), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            UINT32 frames = 0;
            if (m_stream->bufferSize(&frames) != S_OK)
                return kNotInitialized;
            if (iid == __uuidof(IAudioRenderClient) && m_stream->flow() == eRender)
                *out = static_cast<IAudioRenderClient*>(new RenderClientObject(m_core, m_id, m_stream));
            else if (iid == __uuidof(IAudioCaptureClient) && m_stream->flow() == eCapture)
                *out = static_cast<IAudioCaptureClient*>(new CaptureClientObject(m_core, m_id, m_stream));
            else
                return E_NOINTERFACE;
            return S_OK;
        }, out);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IAudioClient))
            return static_cast<IAudioClient*>(this);
        return nullptr;
    }

    // Windows opens no stream on an endpoint that is disabled, unplugged or
    // gone; the state is read at the call, so an edit made after Activate counts.
    bool deviceIsActive() const {
        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
        return m_device->state == DEVICE_STATE_ACTIVE;
    }

    const std::wstring m_id;
    const DevicePtr m_device;
    const StreamPtr m_stream;
};

}  // namespace

HRESULT activateAudioClient(std::shared_ptr<Core> core, DevicePtr device, void** out) {
    *out = static_cast<IAudioClient*>(new AudioClientObject(std::move(core), std::move(device)));
    return S_OK;
}

}  // namespace audiosim::detail

#include "WaveDevices.h"

#include "ComObject.h"
#include "Streams.h"

#include <algorithm>
#include <cstring>
#include <deque>

namespace audiosim::detail {

namespace {

const UINT kMapper = WAVE_MAPPER;
// Driver messages of mmddk.h, which mingw-w64 does not ship.
const UINT kQueryFunctionInstanceId = 0x811;       // DRV_QUERYFUNCTIONINSTANCEID
const UINT kQueryFunctionInstanceIdSize = 0x812;   // DRV_QUERYFUNCTIONINSTANCEIDSIZE

std::wstring prefixOf(EDataFlow flow) {
    return flow == eRender ? L"waveOut" : L"waveIn";
}

}  // namespace

// One open wave device: its headers in the order they were queued, played
// or filled by the clock. The flags are written as winmm writes them, from
// the clock's thread, and the caller reads them as plain fields.
class WaveDevice : public Runner, public std::enable_shared_from_this<WaveDevice> {
public:
    WaveDevice(StreamHub& hub, EDataFlow flow, std::wstring endpoint, std::wstring name, const PcmLayout& layout,
               CaptureSource source)
        : m_hub(hub),
          m_flow(flow),
          m_endpoint(std::move(endpoint)),
          m_name(std::move(name)),
          m_layout(layout),
          m_source(std::move(source)) {}

    const std::wstring& endpoint() const { return m_endpoint; }
    const std::wstring& name() const { return m_name; }

    static MMRESULT prepare(WAVEHDR* header, UINT size) {
        if (!header || size < sizeof(WAVEHDR))
            return MMSYSERR_INVALPARAM;
        if (header->dwFlags & WHDR_INQUEUE)
            return WAVERR_STILLPLAYING;
        header->dwFlags = (header->dwFlags | WHDR_PREPARED) & ~static_cast<DWORD>(WHDR_DONE);
        return MMSYSERR_NOERROR;
    }

    static MMRESULT unprepare(WAVEHDR* header, UINT size) {
        if (!header || size < sizeof(WAVEHDR))
            return MMSYSERR_INVALPARAM;
        if (header->dwFlags & WHDR_INQUEUE)
            return WAVERR_STILLPLAYING;
        header->dwFlags &= ~static_cast<DWORD>(WHDR_PREPARED);
        return MMSYSERR_NOERROR;
    }

    MMRESULT queue(WAVEHDR* header, UINT size) {
        if (!header || size < sizeof(WAVEHDR))
            return MMSYSERR_INVALPARAM;
        if (!(header->dwFlags & WHDR_PREPARED))
            return WAVERR_UNPREPARED;
        if (header->dwFlags & WHDR_INQUEUE)
            return WAVERR_STILLPLAYING;
        std::lock_guard<std::mutex> lock(m_mutex);
        advance(m_hub.clock.now());
        header->dwFlags = (header->dwFlags | WHDR_INQUEUE) & ~static_cast<DWORD>(WHDR_DONE);
        if (m_flow == eCapture)
            header->dwBytesRecorded = 0;
        m_headers.push_back(header);
        if (m_flow == eRender && !m_running)
            begin(m_hub.clock.now());
        return MMSYSERR_NOERROR;
    }

    // waveInStart: recording runs from now on.
    MMRESULT start() {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_running)
            begin(m_hub.clock.now());
        return MMSYSERR_NOERROR;
    }

    // waveInStop: the buffer being filled is given back with what it holds;
    // empty buffers stay queued.
    MMRESULT stop() {
        std::lock_guard<std::mutex> lock(m_mutex);
        advance(m_hub.clock.now());
        m_running = false;
        if (!m_headers.empty() && m_headers.front()->dwBytesRecorded > 0)
            complete(1);
        return MMSYSERR_NOERROR;
    }

    // Stops the device and gives every queued header back, marked done.
    MMRESULT reset() {
        std::lock_guard<std::mutex> lock(m_mutex);
        advance(m_hub.clock.now());
        m_running = false;
        complete(m_headers.size());
        m_offset = 0;
        m_current = 0;
        return MMSYSERR_NOERROR;
    }

    bool busy() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return !m_headers.empty();
    }

    void tick(double now) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        advance(now);
    }

    bool rendersTo(const std::wstring& endpoint) const override {
        return m_flow == eRender && sameText(endpoint, m_endpoint);
    }

private:
    void begin(double now) {
        m_running = true;
        m_runStart = now;
        m_framesDone = 0;
        if (m_flow == eRender)
            m_segment = m_hub.openSegment(m_endpoint, now, m_layout.channels, m_layout.rate);
        else
            m_frameZero = now - static_cast<double>(m_framesRecorded) / m_layout.rate;
    }

    unsigned long long framesDue(double now) const {
        const auto reached = static_cast<unsigned long long>(std::max(0.0, now - m_runStart) * m_layout.rate);
        return reached > m_framesDone ? reached - m_framesDone : 0;
    }

    void advance(double now) {
        if (!m_running)
            return;
        const unsigned long long due = framesDue(now);
        m_framesDone += due;
        if (m_flow == eRender)
            play(due);
        else
            record(due, now);
    }

    // Marks the first `count` headers done and gives them back.
    void complete(size_t count) {
        for (size_t i = 0; i < count && !m_headers.empty(); ++i) {
            WAVEHDR* header = m_headers.front();
            m_headers.pop_front();
            header->dwFlags = (header->dwFlags & ~static_cast<DWORD>(WHDR_INQUEUE)) | WHDR_DONE;
        }
        m_current = 0;
        m_offset = 0;
    }

    // Plays `due` frames from the queued headers. A block that ends a loop
    // starts again at the block that began it, dwLoops times in all; only
    // then are the loop's blocks given back. An empty queue leaves the
    // device idle until the next write.
    void play(unsigned long long due) {
        std::vector<float> played;
        while (due > 0 && m_current < m_headers.size()) {
            WAVEHDR* header = m_headers[m_current];
            if (m_offset == 0 && (header->dwFlags & WHDR_BEGINLOOP) && m_loopStart != m_current + 1) {
                m_loopStart = m_current + 1;
                m_loopsLeft = std::max<DWORD>(1, header->dwLoops);
            }
            const size_t frames = (header->dwBufferLength - m_offset) / m_layout.blockAlign;
            const auto taken = static_cast<size_t>(std::min<unsigned long long>(due, frames));
            const BYTE* data = reinterpret_cast<const BYTE*>(header->lpData) + m_offset;
            for (size_t frame = 0; frame < taken; ++frame) {
                for (WORD channel = 0; channel < m_layout.channels; ++channel)
                    played.push_back(m_layout.read(data + frame * m_layout.blockAlign, channel));
            }
            m_offset += taken * m_layout.blockAlign;
            due -= taken;
            if (taken == frames)
                finishBlock(header);
        }
        m_hub.appendSegment(m_endpoint, m_segment, played, true);
        if (m_headers.empty())
            m_running = false;
    }

    void finishBlock(const WAVEHDR* header) {
        m_offset = 0;
        const bool endsLoop = (header->dwFlags & WHDR_ENDLOOP) && m_loopStart != 0;
        if (endsLoop && m_loopsLeft > 1) {
            --m_loopsLeft;
            m_current = m_loopStart - 1;
            return;
        }
        if (endsLoop || m_loopStart == 0) {
            complete(m_current + 1);
            m_loopStart = 0;
            return;
        }
        ++m_current;
    }

    // Fills the queued headers with `due` frames of the endpoint's source;
    // frames with no header to take them are lost, as on a device.
    void record(unsigned long long due, double now) {
        while (due > 0 && !m_headers.empty()) {
            WAVEHDR* header = m_headers.front();
            const size_t frames = (header->dwBufferLength - header->dwBytesRecorded) / m_layout.blockAlign;
            const auto taken = static_cast<size_t>(std::min<unsigned long long>(due, frames));
            recordFromSource(m_hub, m_source, m_frameZero, m_framesRecorded, taken, m_layout,
                             reinterpret_cast<BYTE*>(header->lpData) + header->dwBytesRecorded, now);
            header->dwBytesRecorded += static_cast<DWORD>(taken * m_layout.blockAlign);
            m_framesRecorded += taken;
            due -= taken;
            if (taken == frames)
                complete(1);
        }
        m_framesRecorded += due;
    }

    StreamHub& m_hub;
    const EDataFlow m_flow;
    const std::wstring m_endpoint;
    const std::wstring m_name;
    const PcmLayout m_layout;
    const CaptureSource m_source;

    mutable std::mutex m_mutex;
    std::deque<WAVEHDR*> m_headers;
    bool m_running = false;
    double m_runStart = 0.0;
    unsigned long long m_framesDone = 0;
    // Playback: the block being played, the byte reached in it, and the
    // loop under way (its first block's index + 1, 0 for none).
    size_t m_current = 0;
    size_t m_offset = 0;
    size_t m_loopStart = 0;
    DWORD m_loopsLeft = 0;
    size_t m_segment = 0;
    // Recording: frames recorded since the device opened, and the time of
    // the first of them.
    unsigned long long m_framesRecorded = 0;
    double m_frameZero = 0.0;
};

MachineWaveDevices::MachineWaveDevices(std::shared_ptr<Core> core) : m_core(std::move(core)) {}

MachineWaveDevices::~MachineWaveDevices() {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& [handle, device] : m_open)
        m_core->streams.remove(device.get());
}

template <class Body>
MMRESULT MachineWaveDevices::call(const std::wstring& object, const std::wstring& subject, const std::wstring& method,
                                  std::wstring arguments, Body body) {
    const Core::Ticket ticket = m_core->beginCall(object, subject, method, std::move(arguments));
    if (ticket.fault && ticket.fault->out == OutPointer::Null)
        return static_cast<MMRESULT>(m_core->endCall(ticket, ticket.fault->result));
    const MMRESULT result = body();
    return static_cast<MMRESULT>(m_core->endCall(ticket, ticket.fault ? ticket.fault->result : static_cast<HRESULT>(result)));
}

template <class Body>
MMRESULT MachineWaveDevices::onHandle(EDataFlow flow, const wchar_t* method, DWORD_PTR handle, std::wstring arguments,
                                      Body body) {
    const DevicePtr device = deviceOf(handle);
    const std::wstring name = device ? device->name() : prefixOf(flow);
    const std::wstring subject = device ? device->endpoint() : L"";
    return call(name, subject, prefixOf(flow) + method, std::move(arguments), [&]() -> MMRESULT {
        if (!device)
            return MMSYSERR_INVALHANDLE;
        return body(*device);
    });
}

MachineWaveDevices::DevicePtr MachineWaveDevices::deviceOf(DWORD_PTR handle) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_open.find(handle);
    return found == m_open.end() ? nullptr : found->second;
}

// Wave numbers run from 0 to the highest number among the flow's active
// endpoints.
// A failure injected here answers no devices.
UINT MachineWaveDevices::numDevs(EDataFlow flow) {
    UINT count = 0;
    const MMRESULT result = call(prefixOf(flow), L"", prefixOf(flow) + L"GetNumDevs", L"", [&]() -> MMRESULT {
        count = static_cast<UINT>(m_core->highestActiveWaveNumber(flow) + 1);
        return MMSYSERR_NOERROR;
    });
    return result == MMSYSERR_NOERROR ? count : 0;
}

std::shared_ptr<Device> MachineWaveDevices::endpointOf(EDataFlow flow, UINT deviceId) const {
    if (deviceId == kMapper)
        return m_core->defaultEndpoint(flow, eConsole);
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    const auto device = m_core->findWaveDevice(flow, static_cast<int>(deviceId));
    return device && device->state == DEVICE_STATE_ACTIVE ? device : nullptr;
}

// The driver messages that tell which endpoint a wave device stands for:
// the size of its function instance id in bytes, terminator included, and
// the id itself.
MMRESULT MachineWaveDevices::message(EDataFlow flow, DWORD_PTR device, UINT message, DWORD_PTR param1,
                                     DWORD_PTR param2) {
    const DevicePtr open = deviceOf(device);
    const std::shared_ptr<Device> endpoint =
        open ? m_core->findDevice(open->endpoint()) : endpointOf(flow, static_cast<UINT>(device));
    const std::wstring name = prefixOf(flow) + L" " + number(static_cast<UINT>(device));
    return call(name, endpoint ? endpoint->id : L"", prefixOf(flow) + L"Message",
                join({number(static_cast<UINT>(device)), hex(message), pointer(reinterpret_cast<void*>(param1)),
                      number(param2)}),
                [&]() -> MMRESULT {
                    if (!endpoint)
                        return MMSYSERR_BADDEVICEID;
                    std::wstring id;
                    {
                        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
                        id = endpoint->wave.functionInstanceId.empty() ? endpoint->id
                                                                       : endpoint->wave.functionInstanceId;
                    }
                    const size_t bytes = (id.size() + 1) * sizeof(wchar_t);
                    if (message == kQueryFunctionInstanceIdSize) {
                        if (!param1)
                            return MMSYSERR_INVALPARAM;
                        *reinterpret_cast<ULONG*>(param1) = static_cast<ULONG>(bytes);
                        return MMSYSERR_NOERROR;
                    }
                    if (message == kQueryFunctionInstanceId) {
                        if (!param1 || param2 < bytes)
                            return MMSYSERR_INVALPARAM;
                        std::memcpy(reinterpret_cast<void*>(param1), id.c_str(), bytes);
                        return MMSYSERR_NOERROR;
                    }
                    return MMSYSERR_NOTSUPPORTED;
                });
}

MMRESULT MachineWaveDevices::open(EDataFlow flow, DWORD_PTR* handle, UINT deviceId, const WAVEFORMATEX* format,
                                  DWORD_PTR callback, DWORD flags) {
    const std::shared_ptr<Device> endpoint = endpointOf(flow, deviceId);
    const std::wstring name = prefixOf(flow) + L" " + (deviceId == kMapper ? L"mapper" : number(deviceId));
    return call(name, endpoint ? endpoint->id : L"", prefixOf(flow) + L"Open",
                join({number(deviceId), formatText(format), hex(static_cast<unsigned long>(callback)), hex(flags)}),
                [&]() -> MMRESULT {
                    const bool query = (flags & WAVE_FORMAT_QUERY) != 0;
                    if ((!handle && !query) || !format)
                        return MMSYSERR_INVALPARAM;
                    if (!endpoint)
                        return MMSYSERR_BADDEVICEID;
                    const PcmLayout layout = PcmLayout::of(*format);
                    if (!layout.usable())
                        return WAVERR_BADFORMAT;
                    if (query)
                        return MMSYSERR_NOERROR;
                    CaptureSource source;
                    {
                        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
                        source = endpoint->stream.captureSource;
                    }
                    auto device = std::make_shared<WaveDevice>(m_core->streams, flow, endpoint->id,
                                                               prefixOf(flow) + L" " + number(deviceId), layout, source);
                    {
                        std::lock_guard<std::mutex> lock(m_mutex);
                        *handle = m_nextHandle++;
                        m_open[*handle] = device;
                    }
                    m_core->streams.add(device);
                    return MMSYSERR_NOERROR;
                });
}

// ---- waveOut

UINT MachineWaveDevices::outGetNumDevs() {
    return numDevs(eRender);
}

MMRESULT MachineWaveDevices::outMessage(HWAVEOUT device, UINT msg, DWORD_PTR param1, DWORD_PTR param2) {
    return message(eRender, reinterpret_cast<DWORD_PTR>(device), msg, param1, param2);
}

MMRESULT MachineWaveDevices::outOpen(HWAVEOUT* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR callback,
                                     DWORD_PTR, DWORD flags) {
    DWORD_PTR value = 0;
    const MMRESULT result = open(eRender, handle ? &value : nullptr, deviceId, format, callback, flags);
    if (handle && result == MMSYSERR_NOERROR && !(flags & WAVE_FORMAT_QUERY))
        *handle = reinterpret_cast<HWAVEOUT>(value);
    return result;
}

MMRESULT MachineWaveDevices::outPrepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) {
    return onHandle(eRender, L"PrepareHeader", reinterpret_cast<DWORD_PTR>(handle), join({pointer(header), number(size)}),
                    [&](WaveDevice&) { return WaveDevice::prepare(header, size); });
}

MMRESULT MachineWaveDevices::outUnprepareHeader(HWAVEOUT handle, WAVEHDR* header, UINT size) {
    return onHandle(eRender, L"UnprepareHeader", reinterpret_cast<DWORD_PTR>(handle),
                    join({pointer(header), number(size)}),
                    [&](WaveDevice&) { return WaveDevice::unprepare(header, size); });
}

MMRESULT MachineWaveDevices::outWrite(HWAVEOUT handle, WAVEHDR* header, UINT size) {
    return onHandle(eRender, L"Write", reinterpret_cast<DWORD_PTR>(handle), join({pointer(header), number(size)}),
                    [&](WaveDevice& device) { return device.queue(header, size); });
}

MMRESULT MachineWaveDevices::outReset(HWAVEOUT handle) {
    return onHandle(eRender, L"Reset", reinterpret_cast<DWORD_PTR>(handle), L"",
                    [&](WaveDevice& device) { return device.reset(); });
}

// A device with headers still queued refuses to close, as winmm does.
MMRESULT MachineWaveDevices::outClose(HWAVEOUT handle) {
    const auto key = reinterpret_cast<DWORD_PTR>(handle);
    return onHandle(eRender, L"Close", key, L"", [&](WaveDevice& device) -> MMRESULT {
        if (device.busy())
            return WAVERR_STILLPLAYING;
        m_core->streams.remove(&device);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open.erase(key);
        return MMSYSERR_NOERROR;
    });
}

// ---- waveIn

UINT MachineWaveDevices::inGetNumDevs() {
    return numDevs(eCapture);
}

MMRESULT MachineWaveDevices::inMessage(HWAVEIN device, UINT msg, DWORD_PTR param1, DWORD_PTR param2) {
    return message(eCapture, reinterpret_cast<DWORD_PTR>(device), msg, param1, param2);
}

MMRESULT MachineWaveDevices::inOpen(HWAVEIN* handle, UINT deviceId, const WAVEFORMATEX* format, DWORD_PTR callback,
                                    DWORD_PTR, DWORD flags) {
    DWORD_PTR value = 0;
    const MMRESULT result = open(eCapture, handle ? &value : nullptr, deviceId, format, callback, flags);
    if (handle && result == MMSYSERR_NOERROR && !(flags & WAVE_FORMAT_QUERY))
        *handle = reinterpret_cast<HWAVEIN>(value);
    return result;
}

MMRESULT MachineWaveDevices::inPrepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) {
    return onHandle(eCapture, L"PrepareHeader", reinterpret_cast<DWORD_PTR>(handle), join({pointer(header), number(size)}),
                    [&](WaveDevice&) { return WaveDevice::prepare(header, size); });
}

MMRESULT MachineWaveDevices::inUnprepareHeader(HWAVEIN handle, WAVEHDR* header, UINT size) {
    return onHandle(eCapture, L"UnprepareHeader", reinterpret_cast<DWORD_PTR>(handle),
                    join({pointer(header), number(size)}),
                    [&](WaveDevice&) { return WaveDevice::unprepare(header, size); });
}

MMRESULT MachineWaveDevices::inAddBuffer(HWAVEIN handle, WAVEHDR* header, UINT size) {
    return onHandle(eCapture, L"AddBuffer", reinterpret_cast<DWORD_PTR>(handle), join({pointer(header), number(size)}),
                    [&](WaveDevice& device) { return device.queue(header, size); });
}

MMRESULT MachineWaveDevices::inStart(HWAVEIN handle) {
    return onHandle(eCapture, L"Start", reinterpret_cast<DWORD_PTR>(handle), L"",
                    [&](WaveDevice& device) { return device.start(); });
}

MMRESULT MachineWaveDevices::inStop(HWAVEIN handle) {
    return onHandle(eCapture, L"Stop", reinterpret_cast<DWORD_PTR>(handle), L"",
                    [&](WaveDevice& device) { return device.stop(); });
}

MMRESULT MachineWaveDevices::inReset(HWAVEIN handle) {
    return onHandle(eCapture, L"Reset", reinterpret_cast<DWORD_PTR>(handle), L"",
                    [&](WaveDevice& device) { return device.reset(); });
}

MMRESULT MachineWaveDevices::inClose(HWAVEIN handle) {
    const auto key = reinterpret_cast<DWORD_PTR>(handle);
    return onHandle(eCapture, L"Close", key, L"", [&](WaveDevice& device) -> MMRESULT {
        if (device.busy())
            return WAVERR_STILLPLAYING;
        m_core->streams.remove(&device);
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open.erase(key);
        return MMSYSERR_NOERROR;
    });
}

}  // namespace audiosim::detail

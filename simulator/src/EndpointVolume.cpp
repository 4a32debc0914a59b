// IAudioEndpointVolume. The volume lives in the machine: every object on one
// endpoint and Machine::setEndpointVolume see and change the same levels,
// and every change is told to the callbacks registered on the endpoint.
#include "ComObject.h"
#include "EndpointVolumeRules.h"
#include "Objects.h"

#include <cmath>

namespace audiosim::detail {

namespace {

class EndpointVolumeObject : public ComObject<IAudioEndpointVolume> {
public:
    EndpointVolumeObject(std::shared_ptr<Core> core, DevicePtr device)
        : ComObject(std::move(core), L"IAudioEndpointVolume", L"IAudioEndpointVolume " + device->id, device->id),
          m_device(std::move(device)) {}

    ~EndpointVolumeObject() override { m_core->removeVolumeCallbacksOf(this); }

    template <class Reader>
    auto read(Reader reader) const {
        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
        return reader(*m_device->volume);
    }

    template <class Reader>
    HRESULT readChannel(UINT channel, Reader reader) const {
        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
        if (channel >= m_device->volume->levelsDb.size())
            return E_INVALIDARG;
        reader(*m_device->volume);
        return S_OK;
    }


    HRESULT STDMETHODCALLTYPE RegisterControlChangeNotify(IAudioEndpointVolumeCallback* callback) override {
        return dispatch(method(L"RegisterControlChangeNotify"), pointer(callback), [&]() -> HRESULT {
            if (!callback)
                return E_POINTER;
            m_core->addVolumeCallback(m_device->id, this, callback);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE UnregisterControlChangeNotify(IAudioEndpointVolumeCallback* callback) override {
        return dispatch(method(L"UnregisterControlChangeNotify"), pointer(callback), [&]() -> HRESULT {
            if (!callback)
                return E_POINTER;
            return m_core->removeVolumeCallback(this, callback) ? S_OK : HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
        });
    }

    HRESULT STDMETHODCALLTYPE GetChannelCount(UINT* count) override {
        return dispatch(method(L"GetChannelCount"), L"", [&]() -> HRESULT {
            if (!count)
                return E_POINTER;
            *count = read([](const EndpointVolume& volume) { return static_cast<UINT>(volume.levelsDb.size()); });
            return S_OK;
        }, count);
    }

    HRESULT STDMETHODCALLTYPE SetMasterVolumeLevel(float levelDb, LPCGUID context) override {
        return dispatch(method(L"SetMasterVolumeLevel"), join({level(levelDb), guidArgument(context)}), [&]() -> HRESULT {
            return change(context, [&](EndpointVolume& volume) { return setMasterLevel(volume, levelDb); });
        });
    }

    HRESULT STDMETHODCALLTYPE SetMasterVolumeLevelScalar(float scalar, LPCGUID context) override {
        return dispatch(method(L"SetMasterVolumeLevelScalar"), join({level(scalar), guidArgument(context)}), [&]() -> HRESULT {
            return change(context, [&](EndpointVolume& volume) { return setMasterScalar(volume, scalar); });
        });
    }

    HRESULT STDMETHODCALLTYPE GetMasterVolumeLevel(float* levelDb) override {
        return dispatch(method(L"GetMasterVolumeLevel"), L"", [&]() -> HRESULT {
            if (!levelDb)
                return E_POINTER;
            *levelDb = read([](const EndpointVolume& volume) { return volume.masterDb(); });
            return S_OK;
        }, levelDb);
    }

    HRESULT STDMETHODCALLTYPE GetMasterVolumeLevelScalar(float* scalar) override {
        return dispatch(method(L"GetMasterVolumeLevelScalar"), L"", [&]() -> HRESULT {
            if (!scalar)
                return E_POINTER;
            *scalar = read([](const EndpointVolume& volume) { return volume.toScalar(volume.masterDb()); });
            return S_OK;
        }, scalar);
    }

    HRESULT STDMETHODCALLTYPE SetChannelVolumeLevel(UINT channel, float levelDb, LPCGUID context) override {
        return dispatch(method(L"SetChannelVolumeLevel"), join({number(channel), level(levelDb), guidArgument(context)}),
                        [&]() -> HRESULT {
                            return change(context, [&](EndpointVolume& volume) {
                                return setChannelLevel(volume, channel, levelDb);
                            });
                        });
    }

    HRESULT STDMETHODCALLTYPE SetChannelVolumeLevelScalar(UINT channel, float scalar, LPCGUID context) override {
        return dispatch(method(L"SetChannelVolumeLevelScalar"), join({number(channel), level(scalar), guidArgument(context)}),
                        [&]() -> HRESULT {
                            return change(context, [&](EndpointVolume& volume) {
                                if (!(scalar >= 0.0f && scalar <= 1.0f))
                                    return E_INVALIDARG;
                                return setChannelLevel(volume, channel, volume.toDb(scalar));
                            });
                        });
    }

    HRESULT STDMETHODCALLTYPE GetChannelVolumeLevel(UINT channel, float* levelDb) override {
        return dispatch(method(L"GetChannelVolumeLevel"), number(channel), [&]() -> HRESULT {
            if (!levelDb)
                return E_POINTER;
            return readChannel(channel, [&](const EndpointVolume& volume) { *levelDb = volume.levelsDb[channel]; });
        }, levelDb);
    }

    HRESULT STDMETHODCALLTYPE GetChannelVolumeLevelScalar(UINT channel, float* scalar) override {
        return dispatch(method(L"GetChannelVolumeLevelScalar"), number(channel), [&]() -> HRESULT {
            if (!scalar)
                return E_POINTER;
            return readChannel(channel, [&](const EndpointVolume& volume) {
                *scalar = volume.toScalar(volume.levelsDb[channel]);
            });
        }, scalar);
    }

    HRESULT STDMETHODCALLTYPE SetMute(BOOL muted, LPCGUID context) override {
        return dispatch(method(L"SetMute"), join({number(muted), guidArgument(context)}), [&]() -> HRESULT {
            return change(context, [&](EndpointVolume& volume) {
                volume.muted = muted != FALSE;
                return S_OK;
            });
        });
    }

    HRESULT STDMETHODCALLTYPE GetMute(BOOL* muted) override {
        return dispatch(method(L"GetMute"), L"", [&]() -> HRESULT {
            if (!muted)
                return E_POINTER;
            *muted = read([](const EndpointVolume& volume) { return volume.muted; }) ? TRUE : FALSE;
            return S_OK;
        }, muted);
    }

    HRESULT STDMETHODCALLTYPE GetVolumeStepInfo(UINT* step, UINT* count) override {
        return dispatch(method(L"GetVolumeStepInfo"), L"", [&]() -> HRESULT {
            if (!step || !count)
                return E_POINTER;
            read([&](const EndpointVolume& volume) {
                *count = stepCount(volume);
                *step = currentStep(volume);
                return 0;
            });
            return S_OK;
        }, step, count);
    }

    HRESULT STDMETHODCALLTYPE VolumeStepUp(LPCGUID context) override {
        return dispatch(method(L"VolumeStepUp"), guidArgument(context), [&]() -> HRESULT {
            return change(context, [](EndpointVolume& volume) { return stepBy(volume, +1); });
        });
    }

    HRESULT STDMETHODCALLTYPE VolumeStepDown(LPCGUID context) override {
        return dispatch(method(L"VolumeStepDown"), guidArgument(context), [&]() -> HRESULT {
            return change(context, [](EndpointVolume& volume) { return stepBy(volume, -1); });
        });
    }

    HRESULT STDMETHODCALLTYPE QueryHardwareSupport(DWORD* mask) override {
        return dispatch(method(L"QueryHardwareSupport"), L"", [&]() -> HRESULT {
            if (!mask)
                return E_POINTER;
            *mask = read([](const EndpointVolume& volume) { return volume.hardwareSupport; });
            return S_OK;
        }, mask);
    }

    HRESULT STDMETHODCALLTYPE GetVolumeRange(float* minDb, float* maxDb, float* incrementDb) override {
        return dispatch(method(L"GetVolumeRange"), L"", [&]() -> HRESULT {
            if (!minDb || !maxDb || !incrementDb)
                return E_POINTER;
            read([&](const EndpointVolume& volume) {
                *minDb = volume.minDb;
                *maxDb = volume.maxDb;
                *incrementDb = volume.stepDb;
                return 0;
            });
            return S_OK;
        }, minDb, maxDb, incrementDb);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IAudioEndpointVolume))
            return static_cast<IAudioEndpointVolume*>(this);
        return nullptr;
    }

    // Applies a change and, when it succeeded, tells the callbacks.
    template <class Change>
    HRESULT change(LPCGUID context, Change apply) {
        HRESULT result;
        {
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            result = apply(*m_device->volume);
        }
        if (SUCCEEDED(result))
            m_core->notifyEndpointVolume(m_device->id, context ? *context : GUID{});
        return result;
    }

    const DevicePtr m_device;
};

}  // namespace

HRESULT setMasterLevel(EndpointVolume& volume, float levelDb) {
    if (!(levelDb >= volume.minDb && levelDb <= volume.maxDb))
        return E_INVALIDARG;
    const float shift = levelDb - volume.masterDb();
    for (float& channel : volume.levelsDb)
        channel = std::fmin(volume.maxDb, std::fmax(volume.minDb, channel + shift));
    return S_OK;
}

HRESULT setMasterScalar(EndpointVolume& volume, float scalar) {
    if (!(scalar >= 0.0f && scalar <= 1.0f))
        return E_INVALIDARG;
    return setMasterLevel(volume, volume.toDb(scalar));
}

HRESULT setChannelLevel(EndpointVolume& volume, UINT channel, float levelDb) {
    if (channel >= volume.levelsDb.size() || !(levelDb >= volume.minDb && levelDb <= volume.maxDb))
        return E_INVALIDARG;
    volume.levelsDb[channel] = levelDb;
    return S_OK;
}

UINT stepCount(const EndpointVolume& volume) {
    if (volume.stepDb <= 0.0f)
        return 1;
    return static_cast<UINT>(std::lround((volume.maxDb - volume.minDb) / volume.stepDb)) + 1;
}

UINT currentStep(const EndpointVolume& volume) {
    if (volume.stepDb <= 0.0f)
        return 0;
    return static_cast<UINT>(std::lround((volume.masterDb() - volume.minDb) / volume.stepDb));
}

HRESULT stepBy(EndpointVolume& volume, int steps) {
    const float target = volume.masterDb() + static_cast<float>(steps) * volume.stepDb;
    return setMasterLevel(volume, std::fmin(volume.maxDb, std::fmax(volume.minDb, target)));
}

IAudioEndpointVolume* newEndpointVolume(std::shared_ptr<Core> core, DevicePtr device) {
    return new EndpointVolumeObject(std::move(core), std::move(device));
}

}  // namespace audiosim::detail

// The control interfaces that topology parts answer to IPart::Activate:
// IKsJackDescription, IAudioVolumeLevel, IAudioMute, IAudioInputSelector.
// Their state lives in the machine, so every object on one part sees the
// same levels and a change made through one is heard through the part's
// IControlChangeNotify call-backs.
#include "ComObject.h"
#include "Objects.h"

#include <cmath>

namespace audiosim::detail {

namespace {

// The common ground of the control objects: the part they belong to.
template <class Interface>
class ControlObject : public ComObject<Interface> {
public:
    ControlObject(std::shared_ptr<Core> core, const wchar_t* interfaceName, DevicePtr device, PartRef ref)
        : ComObject<Interface>(core, interfaceName, std::wstring(interfaceName) + L" " + globalIdOf(core, *device, ref),
                               globalIdOf(core, *device, ref)),
          m_device(std::move(device)),
          m_ref(ref) {}

protected:
    static std::wstring globalIdOf(const std::shared_ptr<Core>& core, Device& device, PartRef ref) {
        std::lock_guard<std::recursive_mutex> lock(core->mutex);
        return partOf(device, ref).globalId;
    }

    // Runs `body` on the part with the machine locked.
    template <class Body>
    auto withPart(Body body) const {
        std::lock_guard<std::recursive_mutex> lock(this->m_core->mutex);
        return body(partOf(*m_device, m_ref));
    }

    void changed(LPCGUID context) { this->m_core->notifyControlChange(this->subject(), context); }

    const DevicePtr m_device;
    const PartRef m_ref;
};

class JackDescription : public ControlObject<IKsJackDescription> {
public:
    JackDescription(std::shared_ptr<Core> core, DevicePtr device, PartRef ref)
        : ControlObject(std::move(core), L"IKsJackDescription", std::move(device), ref) {}

    HRESULT STDMETHODCALLTYPE GetJackCount(UINT* count) override {
        return dispatch(method(L"GetJackCount"), L"", [&]() -> HRESULT {
            if (!count)
                return E_POINTER;
            *count = withPart([](const Part& part) { return static_cast<UINT>(part.jacks->size()); });
            return S_OK;
        }, count);
    }

    HRESULT STDMETHODCALLTYPE GetJackDescription(UINT index, KSJACK_DESCRIPTION* description) override {
        return dispatch(method(L"GetJackDescription"), number(index), [&]() -> HRESULT {
            if (!description)
                return E_POINTER;
            return withPart([&](const Part& part) -> HRESULT {
                if (index >= part.jacks->size())
                    return E_INVALIDARG;
                *description = (*part.jacks)[index];
                return S_OK;
            });
        }, description);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IKsJackDescription))
            return static_cast<IKsJackDescription*>(this);
        return nullptr;
    }
};

// A level set between two steps goes to the step above it, and a level
// outside the range to the nearest end, as kernel-streaming volume nodes do.
float snapToStep(const LevelNode& node, float levelDb) {
    if (levelDb <= node.minDb)
        return node.minDb;
    if (levelDb >= node.maxDb)
        return node.maxDb;
    if (node.stepDb <= 0.0f)
        return levelDb;
    const double steps = std::ceil((levelDb - node.minDb) / node.stepDb - 1e-4);
    return std::fmin(node.maxDb, static_cast<float>(node.minDb + steps * node.stepDb));
}

class VolumeLevel : public ControlObject<IAudioVolumeLevel> {
public:
    VolumeLevel(std::shared_ptr<Core> core, DevicePtr device, PartRef ref)
        : ControlObject(std::move(core), L"IAudioVolumeLevel", std::move(device), ref) {}

    HRESULT STDMETHODCALLTYPE GetChannelCount(UINT* count) override {
        return dispatch(method(L"GetChannelCount"), L"", [&]() -> HRESULT {
            if (!count)
                return E_POINTER;
            *count = withPart([](const Part& part) { return static_cast<UINT>(part.volume->levelsDb.size()); });
            return S_OK;
        }, count);
    }

    HRESULT STDMETHODCALLTYPE GetLevelRange(UINT channel, float* minDb, float* maxDb, float* stepDb) override {
        return dispatch(method(L"GetLevelRange"), number(channel), [&]() -> HRESULT {
            if (!minDb || !maxDb || !stepDb)
                return E_POINTER;
            return withPart([&](const Part& part) -> HRESULT {
                if (channel >= part.volume->levelsDb.size())
                    return E_INVALIDARG;
                *minDb = part.volume->minDb;
                *maxDb = part.volume->maxDb;
                *stepDb = part.volume->stepDb;
                return S_OK;
            });
        }, minDb, maxDb, stepDb);
    }

    HRESULT STDMETHODCALLTYPE GetLevel(UINT channel, float* levelDb) override {
        return dispatch(method(L"GetLevel"), number(channel), [&]() -> HRESULT {
            if (!levelDb)
                return E_POINTER;
            return withPart([&](const Part& part) -> HRESULT {
                if (channel >= part.volume->levelsDb.size())
                    return E_INVALIDARG;
                *levelDb = part.volume->levelsDb[channel];
                return S_OK;
            });
        }, levelDb);
    }

    HRESULT STDMETHODCALLTYPE SetLevel(UINT channel, float levelDb, LPCGUID context) override {
        return dispatch(method(L"SetLevel"), join({number(channel), level(levelDb), guidArgument(context)}), [&]() -> HRESULT {
            const HRESULT result = withPart([&](Part& part) -> HRESULT {
                if (channel >= part.volume->levelsDb.size())
                    return E_INVALIDARG;
                part.volume->levelsDb[channel] = snapToStep(*part.volume, levelDb);
                return S_OK;
            });
            if (SUCCEEDED(result))
                changed(context);
            return result;
        });
    }

    HRESULT STDMETHODCALLTYPE SetLevelUniform(float levelDb, LPCGUID context) override {
        return dispatch(method(L"SetLevelUniform"), join({level(levelDb), guidArgument(context)}), [&]() -> HRESULT {
            withPart([&](Part& part) {
                for (float& channelLevel : part.volume->levelsDb)
                    channelLevel = snapToStep(*part.volume, levelDb);
                return 0;
            });
            changed(context);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE SetLevelAllChannels(float* levelsDb, ULONG count, LPCGUID context) override {
        std::wstring levels;
        for (ULONG i = 0; levelsDb && i < count; ++i)
            levels += (i ? L" " : L"") + level(levelsDb[i]);
        return dispatch(method(L"SetLevelAllChannels"), join({levels, number(count), guidArgument(context)}), [&]() -> HRESULT {
            if (!levelsDb)
                return E_POINTER;
            const HRESULT result = withPart([&](Part& part) -> HRESULT {
                if (count != part.volume->levelsDb.size())
                    return E_INVALIDARG;
                for (ULONG i = 0; i < count; ++i)
                    part.volume->levelsDb[i] = snapToStep(*part.volume, levelsDb[i]);
                return S_OK;
            });
            if (SUCCEEDED(result))
                changed(context);
            return result;
        });
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IAudioVolumeLevel) || iid == __uuidof(IPerChannelDbLevel))
            return static_cast<IAudioVolumeLevel*>(this);
        return nullptr;
    }
};

class Mute : public ControlObject<IAudioMute> {
public:
    Mute(std::shared_ptr<Core> core, DevicePtr device, PartRef ref)
        : ControlObject(std::move(core), L"IAudioMute", std::move(device), ref) {}

    HRESULT STDMETHODCALLTYPE SetMute(BOOL muted, LPCGUID context) override {
        return dispatch(method(L"SetMute"), join({number(muted), guidArgument(context)}), [&]() -> HRESULT {
            withPart([&](Part& part) { return *part.mute = muted != FALSE; });
            changed(context);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE GetMute(BOOL* muted) override {
        return dispatch(method(L"GetMute"), L"", [&]() -> HRESULT {
            if (!muted)
                return E_POINTER;
            *muted = withPart([](const Part& part) { return *part.mute; }) ? TRUE : FALSE;
            return S_OK;
        }, muted);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IAudioMute))
            return static_cast<IAudioMute*>(this);
        return nullptr;
    }
};

// The selector chooses among the parts linked into it; its selection is a
// part's local id.
class InputSelector : public ControlObject<IAudioInputSelector> {
public:
    InputSelector(std::shared_ptr<Core> core, DevicePtr device, PartRef ref)
        : ControlObject(std::move(core), L"IAudioInputSelector", std::move(device), ref) {}

    HRESULT STDMETHODCALLTYPE GetSelection(UINT* localId) override {
        return dispatch(method(L"GetSelection"), L"", [&]() -> HRESULT {
            if (!localId)
                return E_POINTER;
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            const Part& selector = partOf(*m_device, m_ref);
            const Part* selected = m_device->topology->find(selector.inputSelector->selected);
            *localId = selected ? selected->localId : 0;
            return S_OK;
        }, localId);
    }

    HRESULT STDMETHODCALLTYPE SetSelection(UINT localId, LPCGUID context) override {
        return dispatch(method(L"SetSelection"), join({hex(localId), guidArgument(context)}), [&]() -> HRESULT {
            {
                std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
                Part& selector = partOf(*m_device, m_ref);
                const Part* input = inputWithId(selector, localId);
                if (!input)
                    return E_INVALIDARG;
                selector.inputSelector->selected = input->name;
            }
            changed(context);
            return S_OK;
        });
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IAudioInputSelector))
            return static_cast<IAudioInputSelector*>(this);
        return nullptr;
    }

    const Part* inputWithId(const Part& selector, UINT localId) const {
        const Topology& topology = *m_device->topology;
        for (const Link& link : topology.links) {
            if (link.to != selector.name)
                continue;
            const Part* input = topology.find(link.from);
            if (input && input->localId == localId)
                return input;
        }
        return nullptr;
    }
};

}  // namespace

IKsJackDescription* newJackDescription(std::shared_ptr<Core> core, DevicePtr device, PartRef ref) {
    return new JackDescription(std::move(core), std::move(device), ref);
}

IAudioVolumeLevel* newVolumeLevel(std::shared_ptr<Core> core, DevicePtr device, PartRef ref) {
    return new VolumeLevel(std::move(core), std::move(device), ref);
}

IAudioMute* newMute(std::shared_ptr<Core> core, DevicePtr device, PartRef ref) {
    return new Mute(std::move(core), std::move(device), ref);
}

IAudioInputSelector* newInputSelector(std::shared_ptr<Core> core, DevicePtr device, PartRef ref) {
    return new InputSelector(std::move(core), std::move(device), ref);
}

}  // namespace audiosim::detail

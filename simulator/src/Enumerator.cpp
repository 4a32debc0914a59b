// IClassFactory, IMMDeviceEnumerator and IMMDeviceCollection.
#include "ComObject.h"
#include "Objects.h"

namespace audiosim::detail {

namespace {

const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);

// COM itself asks the factory for its interfaces and locks it; those calls
// are COM's, not the caller's, and stay out of the call log. CreateInstance
// is what CoCreateInstance does for the caller and goes through dispatch.
class ClassFactory : public ComObject<IClassFactory> {
public:
    explicit ClassFactory(std::shared_ptr<Core> core)
        : ComObject(std::move(core), L"IClassFactory", L"IClassFactory MMDeviceEnumerator", L"", false) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        return queryQuietly(iid, out);
    }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
        return dispatch(method(L"CreateInstance"), join({pointer(outer), iidName(iid)}), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            if (outer)
                return CLASS_E_NOAGGREGATION;
            return handOver(newEnumerator(m_core), iid, out);
        }, out);
    }

    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == IID_IClassFactory)
            return static_cast<IClassFactory*>(this);
        return nullptr;
    }
};

class Enumerator : public ComObject<IMMDeviceEnumerator> {
public:
    explicit Enumerator(std::shared_ptr<Core> core)
        : ComObject(std::move(core), L"IMMDeviceEnumerator", L"IMMDeviceEnumerator", L"") {}

    HRESULT STDMETHODCALLTYPE EnumAudioEndpoints(EDataFlow flow, DWORD stateMask, IMMDeviceCollection** out) override {
        return dispatch(method(L"EnumAudioEndpoints"), join({flowName(flow), number(stateMask)}), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            if (flow < eRender || flow > eAll || (stateMask & ~DEVICE_STATEMASK_ALL))
                return E_INVALIDARG;
            *out = newCollection(m_core, endpoints(flow, stateMask), flow, stateMask);
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetDefaultAudioEndpoint(EDataFlow flow, ERole role, IMMDevice** out) override {
        return dispatch(method(L"GetDefaultAudioEndpoint"), join({flowName(flow), roleName(role)}), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            if ((flow != eRender && flow != eCapture) || role < eConsole || role > eCommunications)
                return E_INVALIDARG;
            DevicePtr device = defaultEndpoint(flow, role);
            if (!device)
                return kNotFound;
            *out = newDevice(m_core, device);
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetDevice(LPCWSTR id, IMMDevice** out) override {
        return dispatch(method(L"GetDevice"), text(id), [&]() -> HRESULT {
            if (!out || !id)
                return E_POINTER;
            *out = nullptr;
            DevicePtr device = m_core->findDevice(id);
            if (!device)
                return kNotFound;
            *out = newDevice(m_core, device);
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE RegisterEndpointNotificationCallback(IMMNotificationClient* client) override {
        return dispatch(method(L"RegisterEndpointNotificationCallback"), pointer(client), [&]() -> HRESULT {
            if (!client)
                return E_POINTER;
            m_core->addNotificationClient(client);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE UnregisterEndpointNotificationCallback(IMMNotificationClient* client) override {
        return dispatch(method(L"UnregisterEndpointNotificationCallback"), pointer(client), [&]() -> HRESULT {
            if (!client)
                return E_POINTER;
            return m_core->removeNotificationClient(client) ? S_OK : kNotFound;
        });
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IMMDeviceEnumerator))
            return static_cast<IMMDeviceEnumerator*>(this);
        return nullptr;
    }

    std::vector<DevicePtr> endpoints(EDataFlow flow, DWORD stateMask) const {
        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
        std::vector<DevicePtr> matching;
        for (const DevicePtr& device : m_core->devices()) {
            if (device->endpoint && (flow == eAll || device->flow == flow) && (device->state & stateMask))
                matching.push_back(device);
        }
        return matching;
    }

    DevicePtr defaultEndpoint(EDataFlow flow, ERole role) const {
        return m_core->defaultEndpoint(flow, role);
    }
};

class Collection : public ComObject<IMMDeviceCollection> {
public:
    Collection(std::shared_ptr<Core> core, std::vector<DevicePtr> devices, EDataFlow flow, DWORD stateMask)
        : ComObject(std::move(core), L"IMMDeviceCollection",
                    L"IMMDeviceCollection " + flowName(flow) + L" " + number(stateMask), L""),
          m_devices(std::move(devices)) {}

    HRESULT STDMETHODCALLTYPE GetCount(UINT* count) override {
        return dispatch(method(L"GetCount"), L"", [&]() -> HRESULT {
            if (!count)
                return E_POINTER;
            *count = static_cast<UINT>(m_devices.size());
            return S_OK;
        }, count);
    }

    HRESULT STDMETHODCALLTYPE Item(UINT index, IMMDevice** out) override {
        return dispatch(method(L"Item"), number(index), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            if (index >= m_devices.size())
                return E_INVALIDARG;
            *out = newDevice(m_core, m_devices[index]);
            return S_OK;
        }, out);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IMMDeviceCollection))
            return static_cast<IMMDeviceCollection*>(this);
        return nullptr;
    }

    // The collection is a snapshot, as on Windows: devices added later are
    // not in it, removed ones stay.
    const std::vector<DevicePtr> m_devices;
};

}  // namespace

IClassFactory* newClassFactory(std::shared_ptr<Core> core) {
    return new ClassFactory(std::move(core));
}

IMMDeviceEnumerator* newEnumerator(std::shared_ptr<Core> core) {
    return new Enumerator(std::move(core));
}

IMMDeviceCollection* newCollection(std::shared_ptr<Core> core, std::vector<DevicePtr> devices, EDataFlow flow,
                                   DWORD stateMask) {
    return new Collection(std::move(core), std::move(devices), flow, stateMask);
}

}  // namespace audiosim::detail

// IMMDevice with IMMEndpoint, IPropertyStore, and the IBaseFilter that an
// endpoint can be activated as.
#include "ComObject.h"
#include "Objects.h"

#include <algorithm>

namespace audiosim::detail {

namespace {

class DeviceObject : public ComObject<IMMDevice, IMMEndpoint> {
public:
    DeviceObject(std::shared_ptr<Core> core, DevicePtr device)
        : ComObject(std::move(core), L"IMMDevice", L"IMMDevice " + device->id, device->id), m_device(std::move(device)) {}

    HRESULT STDMETHODCALLTYPE Activate(REFIID iid, DWORD context, PROPVARIANT* parameters, void** out) override {
        return dispatch(method(L"Activate"), join({iidName(iid), number(context), pointer(parameters)}), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            return activate(iid, out);
        }, out);
    }

    HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD mode, IPropertyStore** out) override {
        return dispatch(method(L"OpenPropertyStore"), number(mode), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            if (mode != STGM_READ && mode != STGM_WRITE && mode != STGM_READWRITE)
                return E_INVALIDARG;
            *out = newPropertyStore(m_core, m_device, mode);
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetId(LPWSTR* out) override {
        return dispatch(method(L"GetId"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = taskString(m_device->id);
            return *out ? S_OK : E_OUTOFMEMORY;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetState(DWORD* state) override {
        return dispatch(method(L"GetState"), L"", [&]() -> HRESULT {
            if (!state)
                return E_POINTER;
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            *state = m_device->state;
            return S_OK;
        }, state);
    }

    HRESULT STDMETHODCALLTYPE GetDataFlow(EDataFlow* flow) override {
        return dispatch(L"IMMEndpoint::GetDataFlow", L"", [&]() -> HRESULT {
            if (!flow)
                return E_POINTER;
            *flow = m_device->flow;
            return S_OK;
        }, flow);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IMMDevice))
            return static_cast<IMMDevice*>(this);
        // Adapter devices are no endpoints and do not answer IMMEndpoint.
        if (iid == __uuidof(IMMEndpoint) && m_device->endpoint)
            return static_cast<IMMEndpoint*>(this);
        return nullptr;
    }

    HRESULT activate(REFIID iid, void** out) {
        bool hasTopology = false;
        bool hasVolume = false;
        {
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            hasTopology = m_device->topology.has_value();
            hasVolume = m_device->volume.has_value();
        }
        if (iid == __uuidof(IDeviceTopology)) {
            if (!hasTopology)
                return E_NOINTERFACE;
            *out = newTopology(m_core, m_device);
            return S_OK;
        }
        if (!m_device->endpoint)
            return E_NOINTERFACE;
        if (iid == __uuidof(IAudioEndpointVolume)) {
            if (!hasVolume)
                return E_NOINTERFACE;
            *out = newEndpointVolume(m_core, m_device);
            return S_OK;
        }
        if (iid == __uuidof(IAudioClient))
            return activateAudioClient(m_core, m_device, out);
        if (iid == __uuidof(IBaseFilter)) {
            *out = newBaseFilter(m_core, m_device);
            return S_OK;
        }
        return E_NOINTERFACE;
    }

    const DevicePtr m_device;
};

// A property store keeps the values it read when it was opened, as the
// system's store does; SetValue changes the store, Commit the machine, so a
// store opened afterwards reads the new value.
class PropertyStore : public ComObject<IPropertyStore> {
public:
    PropertyStore(std::shared_ptr<Core> core, DevicePtr device, DWORD mode)
        : ComObject(std::move(core), L"IPropertyStore", L"IPropertyStore " + device->id, device->id),
          m_device(std::move(device)),
          m_mode(mode) {
        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
        m_properties = m_device->properties;
    }

    HRESULT STDMETHODCALLTYPE GetCount(DWORD* count) override {
        return dispatch(method(L"GetCount"), L"", [&]() -> HRESULT {
            if (!count)
                return E_POINTER;
            *count = static_cast<DWORD>(m_properties.size());
            return S_OK;
        }, count);
    }

    HRESULT STDMETHODCALLTYPE GetAt(DWORD index, PROPERTYKEY* key) override {
        return dispatch(method(L"GetAt"), number(index), [&]() -> HRESULT {
            if (!key)
                return E_POINTER;
            if (index >= m_properties.size())
                return E_INVALIDARG;
            *key = m_properties[index].key;
            return S_OK;
        }, key);
    }

    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override {
        return dispatch(method(L"GetValue"), propertyKeyName(key), [&]() -> HRESULT {
            if (!value)
                return E_POINTER;
            PropVariantInit(value);
            const Property* property = find(key);
            // A key the store does not hold reads as VT_EMPTY with success.
            return property ? property->value.copyTo(value) : S_OK;
        }, value);
    }

    HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override {
        PropertyValue converted;
        const bool known = PropertyValue::fromPropVariant(value, converted);
        return dispatch(method(L"SetValue"), join({propertyKeyName(key), known ? converted.describe() : number(value.vt)}),
                        [&]() -> HRESULT {
                            if (m_mode == STGM_READ)
                                return STG_E_ACCESSDENIED;
                            if (!known)
                                return E_INVALIDARG;
                            store(key, std::move(converted));
                            return S_OK;
                        });
    }

    HRESULT STDMETHODCALLTYPE Commit() override {
        return dispatch(method(L"Commit"), L"", [&]() -> HRESULT {
            if (m_mode == STGM_READ)
                return STG_E_ACCESSDENIED;
            commit();
            return S_OK;
        });
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IPropertyStore))
            return static_cast<IPropertyStore*>(this);
        return nullptr;
    }

    const Property* find(const PROPERTYKEY& key) const {
        for (const Property& property : m_properties) {
            if (sameKey(property.key, key))
                return &property;
        }
        return nullptr;
    }

    void store(const PROPERTYKEY& key, PropertyValue value) {
        bool replaced = false;
        for (Property& property : m_properties) {
            if (sameKey(property.key, key)) {
                property.value = value;
                replaced = true;
            }
        }
        if (!replaced)
            m_properties.push_back({key, value});
        const bool pending = std::any_of(m_changed.begin(), m_changed.end(),
                                         [&](const PROPERTYKEY& changed) { return sameKey(changed, key); });
        if (!pending)
            m_changed.push_back(key);
    }

    // Writes the changed keys to the machine and tells the notification
    // clients, as the system does when a store is committed.
    void commit() {
        {
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            for (const PROPERTYKEY& key : m_changed)
                m_device->set(key, find(key)->value);
        }
        const std::wstring id = m_device->id;
        for (const PROPERTYKEY& key : m_changed) {
            m_core->postDeviceEvent([id, key](IMMNotificationClient* client) {
                client->OnPropertyValueChanged(id.c_str(), key);
            });
        }
        m_changed.clear();
    }

    const DevicePtr m_device;
    const DWORD m_mode;
    std::vector<Property> m_properties;
    std::vector<PROPERTYKEY> m_changed;
};

// Stands for the endpoint's kernel-streaming filter; it can be activated
// and answers nothing else.
class BaseFilter : public ComObject<IBaseFilter> {
public:
    BaseFilter(std::shared_ptr<Core> core, DevicePtr device)
        : ComObject(std::move(core), L"IBaseFilter", L"IBaseFilter " + device->id, device->id) {}

    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* id) override {
        return notImplemented(L"GetClassID", L"", id);
    }
    HRESULT STDMETHODCALLTYPE Stop() override { return notImplemented(L"Stop", L""); }
    HRESULT STDMETHODCALLTYPE Pause() override { return notImplemented(L"Pause", L""); }
    HRESULT STDMETHODCALLTYPE Run(REFERENCE_TIME start) override {
        return notImplemented(L"Run", signedNumber(start));
    }
    HRESULT STDMETHODCALLTYPE GetState(DWORD timeout, FILTER_STATE* state) override {
        return notImplemented(L"GetState", number(timeout), state);
    }
    HRESULT STDMETHODCALLTYPE SetSyncSource(IReferenceClock* clock) override {
        return notImplemented(L"SetSyncSource", pointer(clock));
    }
    HRESULT STDMETHODCALLTYPE GetSyncSource(IReferenceClock** clock) override {
        return notImplemented(L"GetSyncSource", L"", clock);
    }
    HRESULT STDMETHODCALLTYPE EnumPins(IEnumPins** pins) override {
        return notImplemented(L"EnumPins", L"", pins);
    }
    HRESULT STDMETHODCALLTYPE FindPin(LPCWSTR id, IPin** pin) override {
        return notImplemented(L"FindPin", text(id), pin);
    }
    HRESULT STDMETHODCALLTYPE QueryFilterInfo(FILTER_INFO* info) override {
        return notImplemented(L"QueryFilterInfo", L"", info);
    }
    HRESULT STDMETHODCALLTYPE JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override {
        return notImplemented(L"JoinFilterGraph", join({pointer(graph), text(name)}));
    }
    HRESULT STDMETHODCALLTYPE QueryVendorInfo(LPWSTR* info) override {
        return notImplemented(L"QueryVendorInfo", L"", info);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IBaseFilter))
            return static_cast<IBaseFilter*>(this);
        if (iid == __uuidof(IMediaFilter))
            return static_cast<IMediaFilter*>(this);
        if (iid == __uuidof(IPersist))
            return static_cast<IPersist*>(this);
        return nullptr;
    }

    template <class... Outs>
    HRESULT notImplemented(const wchar_t* name, std::wstring arguments, Outs... outs) {
        return dispatch(method(name), std::move(arguments), [] { return E_NOTIMPL; }, outs...);
    }
};

}  // namespace

IMMDevice* newDevice(std::shared_ptr<Core> core, DevicePtr device) {
    return new DeviceObject(std::move(core), std::move(device));
}

IPropertyStore* newPropertyStore(std::shared_ptr<Core> core, DevicePtr device, DWORD mode) {
    return new PropertyStore(std::move(core), std::move(device), mode);
}

IBaseFilter* newBaseFilter(std::shared_ptr<Core> core, DevicePtr device) {
    return new BaseFilter(std::move(core), std::move(device));
}

}  // namespace audiosim::detail

// IDeviceTopology, the parts of a topology (IPart with IConnector or
// ISubunit), IPartsList and IControlInterface.
#include "ComObject.h"
#include "Objects.h"
#include <audiosim/SdkNames.h>

#include <deque>
#include <map>

namespace audiosim::detail {

namespace {

const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);

// The parts linked into (incoming) or out of (outgoing) a part; the caller
// holds core->mutex.
std::vector<PartRef> neighbours(const Topology& topology, const Part& part, bool incoming) {
    std::vector<PartRef> result;
    for (const Link& link : topology.links) {
        const std::wstring& thisEnd = incoming ? link.to : link.from;
        const std::wstring& otherEnd = incoming ? link.from : link.to;
        if (thisEnd != part.name)
            continue;
        if (const auto ref = findPart(topology, otherEnd))
            result.push_back(*ref);
    }
    return result;
}

bool samePart(PartRef a, PartRef b) {
    return a.type == b.type && a.index == b.index;
}

// The parts on a path from `from` to `to` along the links, both included,
// or nothing when the links do not join them in that direction.
std::vector<PartRef> signalPath(const Topology& topology, PartRef from, PartRef to) {
    auto key = [](PartRef ref) { return std::make_pair(static_cast<int>(ref.type), ref.index); };
    std::map<std::pair<int, size_t>, PartRef> cameFrom;
    std::deque<PartRef> queue{from};
    cameFrom[key(from)] = from;
    while (!queue.empty()) {
        const PartRef current = queue.front();
        queue.pop_front();
        if (samePart(current, to)) {
            std::vector<PartRef> path{current};
            for (PartRef step = current; !samePart(step, from);) {
                step = cameFrom[key(step)];
                path.insert(path.begin(), step);
            }
            return path;
        }
        const Part& part = current.type == Connector ? topology.connectors[current.index] : topology.subunits[current.index];
        for (const PartRef next : neighbours(topology, part, false)) {
            if (cameFrom.emplace(key(next), current).second)
                queue.push_back(next);
        }
    }
    return {};
}

class PartObject;

class TopologyObject : public ComObject<IDeviceTopology> {
public:
    TopologyObject(std::shared_ptr<Core> core, DevicePtr device)
        : ComObject(std::move(core), L"IDeviceTopology", L"IDeviceTopology " + device->id, device->id),
          m_device(std::move(device)) {}

    HRESULT STDMETHODCALLTYPE GetConnectorCount(UINT* count) override {
        return dispatch(method(L"GetConnectorCount"), L"", [&]() -> HRESULT {
            if (!count)
                return E_POINTER;
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            *count = static_cast<UINT>(m_device->topology->connectors.size());
            return S_OK;
        }, count);
    }

    HRESULT STDMETHODCALLTYPE GetConnector(UINT index, IConnector** out) override {
        return dispatch(method(L"GetConnector"), number(index), [&]() -> HRESULT {
            return handOutPart(Connector, index, out);
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetSubunitCount(UINT* count) override {
        return dispatch(method(L"GetSubunitCount"), L"", [&]() -> HRESULT {
            if (!count)
                return E_POINTER;
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            *count = static_cast<UINT>(m_device->topology->subunits.size());
            return S_OK;
        }, count);
    }

    HRESULT STDMETHODCALLTYPE GetSubunit(UINT index, ISubunit** out) override {
        return dispatch(method(L"GetSubunit"), number(index), [&]() -> HRESULT {
            return handOutPart(Subunit, index, out);
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetPartById(UINT id, IPart** out) override {
        return dispatch(method(L"GetPartById"), hex(id), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            std::optional<PartRef> ref;
            {
                std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
                ref = findPartById(*m_device->topology, id);
            }
            if (!ref)
                return kNotFound;
            *out = newPart(m_core, m_device, *ref);
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetDeviceId(LPWSTR* out) override {
        return dispatch(method(L"GetDeviceId"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = taskString(m_device->id);
            return *out ? S_OK : E_OUTOFMEMORY;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetSignalPath(IPart* from, IPart* to, BOOL rejectMixedPaths, IPartsList** out) override;

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IDeviceTopology))
            return static_cast<IDeviceTopology*>(this);
        return nullptr;
    }

    template <class Interface>
    HRESULT handOutPart(PartType type, UINT index, Interface** out);

    const DevicePtr m_device;
};

class PartObject : public ComObject<IPart, IConnector, ISubunit> {
public:
    PartObject(std::shared_ptr<Core> core, DevicePtr device, PartRef ref, const Part& part)
        : ComObject(std::move(core), L"IPart", partName(part), part.globalId),
          m_device(std::move(device)),
          m_ref(ref) {}

    const DevicePtr& device() const { return m_device; }
    PartRef ref() const { return m_ref; }

    // Reads the part with the machine locked.
    template <class Reader>
    auto read(Reader reader) const {
        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
        return reader(partOf(*m_device, m_ref));
    }

    // ---- IPart
    HRESULT STDMETHODCALLTYPE GetName(LPWSTR* out) override {
        return dispatch(method(L"GetName"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = taskString(read([](const Part& part) { return part.name; }));
            return *out ? S_OK : E_OUTOFMEMORY;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetLocalId(UINT* out) override {
        return dispatch(method(L"GetLocalId"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = read([](const Part& part) { return part.localId; });
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetGlobalId(LPWSTR* out) override {
        return dispatch(method(L"GetGlobalId"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = taskString(subject());
            return *out ? S_OK : E_OUTOFMEMORY;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetPartType(PartType* out) override {
        return dispatch(method(L"GetPartType"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = m_ref.type;
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetSubType(GUID* out) override {
        return dispatch(method(L"GetSubType"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = read([](const Part& part) { return part.subType; });
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetControlInterfaceCount(UINT* out) override {
        return dispatch(method(L"GetControlInterfaceCount"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = static_cast<UINT>(read(controlInterfacesOf).size());
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetControlInterface(UINT index, IControlInterface** out) override {
        return dispatch(method(L"GetControlInterface"), number(index), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            const std::vector<IID> interfaces = read(controlInterfacesOf);
            if (index >= interfaces.size())
                return E_INVALIDARG;
            *out = newControlInterface(m_core, m_device, m_ref, interfaces[index]);
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE EnumPartsIncoming(IPartsList** out) override {
        return dispatch(method(L"EnumPartsIncoming"), L"", [&]() -> HRESULT { return enumParts(true, out); }, out);
    }

    HRESULT STDMETHODCALLTYPE EnumPartsOutgoing(IPartsList** out) override {
        return dispatch(method(L"EnumPartsOutgoing"), L"", [&]() -> HRESULT { return enumParts(false, out); }, out);
    }

    // mingw-w64's header spells this method GetTopologyObjects; the slot in
    // the table is the same.
#if defined(__MINGW32__)
    HRESULT STDMETHODCALLTYPE GetTopologyObjects(IDeviceTopology** out) override {
        return getTopologyObject(out);
    }
#else
    HRESULT STDMETHODCALLTYPE GetTopologyObject(IDeviceTopology** out) override {
        return getTopologyObject(out);
    }
#endif

    HRESULT STDMETHODCALLTYPE Activate(DWORD context, REFIID iid, void** out) override {
        return dispatch(method(L"Activate"), join({number(context), iidName(iid)}), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            return activate(iid, out);
        }, out);
    }

    HRESULT STDMETHODCALLTYPE RegisterControlChangeCallback(REFGUID iid, IControlChangeNotify* notify) override {
        return dispatch(method(L"RegisterControlChangeCallback"), join({iidName(iid), pointer(notify)}), [&]() -> HRESULT {
            if (!notify)
                return E_POINTER;
            m_core->addControlCallback(subject(), this, notify);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE UnregisterControlChangeCallback(IControlChangeNotify* notify) override {
        return dispatch(method(L"UnregisterControlChangeCallback"), pointer(notify), [&]() -> HRESULT {
            if (!notify)
                return E_POINTER;
            return m_core->removeControlCallback(this, notify) ? S_OK : kNotFound;
        });
    }

    // ---- IConnector
    HRESULT STDMETHODCALLTYPE GetType(ConnectorType* out) override {
        return dispatch(L"IConnector::GetType", L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = read([](const Part& part) { return part.connectorType; });
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetDataFlow(DataFlow* out) override {
        return dispatch(L"IConnector::GetDataFlow", L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = read([](const Part& part) { return part.dataFlow; });
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE ConnectTo(IConnector* other) override {
        return dispatch(L"IConnector::ConnectTo", pointer(other), [] { return E_NOTIMPL; });
    }

    HRESULT STDMETHODCALLTYPE Disconnect() override {
        return dispatch(L"IConnector::Disconnect", L"", [] { return E_NOTIMPL; });
    }

    HRESULT STDMETHODCALLTYPE IsConnected(BOOL* out) override {
        return dispatch(L"IConnector::IsConnected", L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = farSide() ? TRUE : FALSE;
            return S_OK;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetConnectedTo(IConnector** out) override {
        return dispatch(L"IConnector::GetConnectedTo", L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            const auto other = farSide();
            if (!other)
                return kNotFound;
            return handOver(newPart(m_core, other->device, other->ref), __uuidof(IConnector), reinterpret_cast<void**>(out));
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetConnectorIdConnectedTo(LPWSTR* out) override {
        return dispatch(L"IConnector::GetConnectorIdConnectedTo", L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            const auto other = farSide(Wiring::AsWired);
            if (!other)
                return kNotFound;
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            *out = taskString(partOf(*other->device, other->ref).globalId);
            return *out ? S_OK : E_OUTOFMEMORY;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetDeviceIdConnectedTo(LPWSTR* out) override {
        return dispatch(L"IConnector::GetDeviceIdConnectedTo", L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            const auto other = farSide(Wiring::AsWired);
            if (!other)
                return kNotFound;
            *out = taskString(other->device->id);
            return *out ? S_OK : E_OUTOFMEMORY;
        }, out);
    }

    ~PartObject() override { m_core->removeControlCallbacksOf(this); }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IPart))
            return static_cast<IPart*>(this);
        if (iid == __uuidof(IConnector) && m_ref.type == Connector)
            return static_cast<IConnector*>(this);
        if (iid == __uuidof(ISubunit) && m_ref.type == Subunit)
            return static_cast<ISubunit*>(this);
        return nullptr;
    }

    HRESULT getTopologyObject(IDeviceTopology** out) {
        return dispatch(method(L"GetTopologyObject"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = newTopology(m_core, m_device);
            return S_OK;
        }, out);
    }

    // A part with no neighbour on that side answers E_NOTFOUND, as on Windows.
    HRESULT enumParts(bool incoming, IPartsList** out) {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        std::vector<PartRef> parts;
        {
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            parts = neighbours(*m_device->topology, partOf(*m_device, m_ref), incoming);
        }
        if (parts.empty())
            return kNotFound;
        *out = newPartsList(m_core, m_device, std::move(parts),
                            L"IPartsList " + subject() + (incoming ? L" incoming" : L" outgoing"));
        return S_OK;
    }

    HRESULT activate(REFIID iid, void** out) {
        const std::vector<IID> interfaces = read(controlInterfacesOf);
        bool served = false;
        for (const IID& candidate : interfaces)
            served = served || IsEqualGUID(candidate, iid);
        if (!served)
            return E_NOINTERFACE;
        if (iid == __uuidof(IKsJackDescription))
            *out = newJackDescription(m_core, m_device, m_ref);
        else if (iid == __uuidof(IAudioVolumeLevel))
            *out = newVolumeLevel(m_core, m_device, m_ref);
        else if (iid == __uuidof(IAudioMute))
            *out = newMute(m_core, m_device, m_ref);
        else
            *out = newInputSelector(m_core, m_device, m_ref);
        return S_OK;
    }

    struct FarSide {
        DevicePtr device;
        PartRef ref;
    };

    // Live: the connection as the kernel streaming objects show it, broken
    // for an endpoint that is not active (an unplugged or disabled endpoint's
    // connector answers unconnected). AsWired: the connection as the
    // registry remembers it, which the system answers for the ids of the far
    // side whatever the endpoint's state, so that an unplugged endpoint can
    // still be traced to its adapter.
    enum class Wiring { Live, AsWired };

    // The connector at the other end of this one's connection.
    std::optional<FarSide> farSide(Wiring wiring = Wiring::Live) const {
        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
        if (m_ref.type != Connector)
            return std::nullopt;
        const Part& part = partOf(*m_device, m_ref);
        if (!part.connectedTo)
            return std::nullopt;
        DevicePtr other = m_core->findDevice(part.connectedTo->device);
        if (!other || !other->topology)
            return std::nullopt;
        const auto ref = findPart(*other->topology, part.connectedTo->connector);
        if (!ref || ref->type != Connector)
            return std::nullopt;
        const auto inactive = [](const Device& device) {
            return device.endpoint && device.state != DEVICE_STATE_ACTIVE;
        };
        if (wiring == Wiring::Live && (inactive(*m_device) || inactive(*other)))
            return std::nullopt;
        return FarSide{other, *ref};
    }

    const DevicePtr m_device;
    const PartRef m_ref;
};

template <class Interface>
HRESULT TopologyObject::handOutPart(PartType type, UINT index, Interface** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    {
        std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
        const auto& list = type == Connector ? m_device->topology->connectors : m_device->topology->subunits;
        if (index >= list.size())
            return E_INVALIDARG;
    }
    auto* part = static_cast<PartObject*>(newPart(m_core, m_device, PartRef{type, index}));
    *out = static_cast<Interface*>(part);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TopologyObject::GetSignalPath(IPart* from, IPart* to, BOOL rejectMixedPaths, IPartsList** out) {
    ObjectBase* fromObject = simulatedObject(from);
    ObjectBase* toObject = simulatedObject(to);
    auto* fromPart = dynamic_cast<PartObject*>(fromObject);
    auto* toPart = dynamic_cast<PartObject*>(toObject);
    const std::wstring fromName = fromObject ? fromObject->subject() : pointer(from);
    const std::wstring toName = toObject ? toObject->subject() : pointer(to);
    // Mixed analog and digital paths are not modelled; the flag is only logged.
    const HRESULT result = dispatch(method(L"GetSignalPath"), join({fromName, toName, number(rejectMixedPaths)}), [&]() -> HRESULT {
        if (!out || !from || !to)
            return E_POINTER;
        *out = nullptr;
        if (!fromPart || !toPart || fromPart->device() != m_device || toPart->device() != m_device)
            return E_INVALIDARG;
        std::vector<PartRef> path;
        {
            std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
            path = signalPath(*m_device->topology, fromPart->ref(), toPart->ref());
        }
        if (path.empty())
            return kNotFound;
        *out = newPartsList(m_core, m_device, std::move(path), L"IPartsList " + fromName + L" -> " + toName);
        return S_OK;
    }, out);
    if (fromObject)
        fromObject->releaseRef();
    if (toObject)
        toObject->releaseRef();
    return result;
}

class PartsList : public ComObject<IPartsList> {
public:
    PartsList(std::shared_ptr<Core> core, DevicePtr device, std::vector<PartRef> parts, std::wstring name)
        : ComObject(std::move(core), L"IPartsList", std::move(name), device->id),
          m_device(std::move(device)),
          m_parts(std::move(parts)) {}

    HRESULT STDMETHODCALLTYPE GetCount(UINT* count) override {
        return dispatch(method(L"GetCount"), L"", [&]() -> HRESULT {
            if (!count)
                return E_POINTER;
            *count = static_cast<UINT>(m_parts.size());
            return S_OK;
        }, count);
    }

    HRESULT STDMETHODCALLTYPE GetPart(UINT index, IPart** out) override {
        return dispatch(method(L"GetPart"), number(index), [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = nullptr;
            if (index >= m_parts.size())
                return E_INVALIDARG;
            *out = newPart(m_core, m_device, m_parts[index]);
            return S_OK;
        }, out);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IPartsList))
            return static_cast<IPartsList*>(this);
        return nullptr;
    }

    const DevicePtr m_device;
    const std::vector<PartRef> m_parts;
};

class ControlInterface : public ComObject<IControlInterface> {
public:
    ControlInterface(std::shared_ptr<Core> core, DevicePtr device, PartRef ref, const IID& iid, const Part& part)
        : ComObject(std::move(core), L"IControlInterface", L"IControlInterface " + part.globalId + L" " + iidName(iid),
                    part.globalId),
          m_name(part.name),
          m_iid(iid) {}

    HRESULT STDMETHODCALLTYPE GetName(LPWSTR* out) override {
        return dispatch(method(L"GetName"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = taskString(m_name);
            return *out ? S_OK : E_OUTOFMEMORY;
        }, out);
    }

    HRESULT STDMETHODCALLTYPE GetIID(GUID* out) override {
        return dispatch(method(L"GetIID"), L"", [&]() -> HRESULT {
            if (!out)
                return E_POINTER;
            *out = m_iid;
            return S_OK;
        }, out);
    }

private:
    void* findInterface(REFIID iid) override {
        if (iid == IID_IUnknown || iid == __uuidof(IControlInterface))
            return static_cast<IControlInterface*>(this);
        return nullptr;
    }

    const std::wstring m_name;
    const IID m_iid;
};

}  // namespace

std::wstring partName(const Part& part) {
    return L"IPart " + part.globalId;
}

std::vector<IID> controlInterfacesOf(const Part& part) {
    std::vector<IID> interfaces;
    if (part.jacks)
        interfaces.push_back(__uuidof(IKsJackDescription));
    if (part.volume)
        interfaces.push_back(__uuidof(IAudioVolumeLevel));
    if (part.mute)
        interfaces.push_back(__uuidof(IAudioMute));
    if (part.inputSelector)
        interfaces.push_back(__uuidof(IAudioInputSelector));
    return interfaces;
}

IDeviceTopology* newTopology(std::shared_ptr<Core> core, DevicePtr device) {
    return new TopologyObject(std::move(core), std::move(device));
}

IPart* newPart(std::shared_ptr<Core> core, DevicePtr device, PartRef ref) {
    Part part;
    {
        std::lock_guard<std::recursive_mutex> lock(core->mutex);
        part = partOf(*device, ref);
    }
    return new PartObject(std::move(core), std::move(device), ref, part);
}

IPartsList* newPartsList(std::shared_ptr<Core> core, DevicePtr device, std::vector<PartRef> parts, std::wstring name) {
    return new PartsList(std::move(core), std::move(device), std::move(parts), std::move(name));
}

IControlInterface* newControlInterface(std::shared_ptr<Core> core, DevicePtr device, PartRef ref, const IID& iid) {
    Part part;
    {
        std::lock_guard<std::recursive_mutex> lock(core->mutex);
        part = partOf(*device, ref);
    }
    return new ControlInterface(std::move(core), std::move(device), ref, iid, part);
}

}  // namespace audiosim::detail

#include "Core.h"

#include "ComObject.h"
#include "Coverage.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace audiosim::detail {

Core::Core(MachineDescription description, std::string source)
    : name(std::move(description.name)),
      sourceName(std::move(source)),
      defaults(std::move(description.defaults)),
      deviceTree(std::move(description.deviceTree)) {
    for (Device& device : description.devices)
        addDevice(std::make_shared<Device>(std::move(device)));
    for (Fault& fault : description.faults)
        faults.add(std::move(fault));
    // The first node of an instance id answers for it, as a search of the
    // tree in order would.
    for (const TreeNode& node : deviceTree)
        m_parents.emplace(lower(node.instanceId), node.parent);
}

bool Core::parentOf(const std::wstring& child, std::wstring& parent) const {
    const auto found = m_parents.find(lower(child));
    if (found == m_parents.end())
        return false;
    parent = found->second;
    return true;
}

Core::~Core() {
    shutDown();
}

namespace {

bool hasWaveNumber(const Device& device) {
    return device.endpoint && device.wave.deviceNumber >= 0 && (device.flow == eRender || device.flow == eCapture);
}

}  // namespace

// Ids and wave numbers are unique on a validated machine, so every index
// holds each device once.
void Core::addDevice(std::shared_ptr<Device> device) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    m_devicesById.emplace(lower(device->id), device);
    if (hasWaveNumber(*device))
        m_waveDevices[device->flow].emplace(device->wave.deviceNumber, device);
    m_devices.push_back(std::move(device));
}

void Core::removeDevice(const std::shared_ptr<Device>& device) {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    const auto found = std::find(m_devices.begin(), m_devices.end(), device);
    if (found == m_devices.end())
        return;
    m_devicesById.erase(lower(device->id));
    if (hasWaveNumber(*device))
        m_waveDevices[device->flow].erase(device->wave.deviceNumber);
    m_devices.erase(found);
}

std::shared_ptr<Device> Core::findDevice(const std::wstring& id) const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    const auto found = m_devicesById.find(lower(id));
    return found == m_devicesById.end() ? nullptr : found->second;
}

const std::map<int, std::shared_ptr<Device>>* Core::waveNumbers(EDataFlow flow) const {
    return flow == eRender || flow == eCapture ? &m_waveDevices[flow] : nullptr;
}

std::shared_ptr<Device> Core::findWaveDevice(EDataFlow flow, int number) const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    const auto* numbers = waveNumbers(flow);
    if (!numbers)
        return nullptr;
    const auto found = numbers->find(number);
    return found == numbers->end() ? nullptr : found->second;
}

int Core::highestActiveWaveNumber(EDataFlow flow) const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    const auto* numbers = waveNumbers(flow);
    if (!numbers)
        return -1;
    for (auto entry = numbers->rbegin(); entry != numbers->rend(); ++entry) {
        if (entry->second->state == DEVICE_STATE_ACTIVE)
            return entry->first;
    }
    return -1;
}

std::shared_ptr<Device> Core::requireDevice(const std::wstring& id) const {
    auto device = findDevice(id);
    if (!device)
        throw std::invalid_argument("no device with the id " + narrow(id));
    return device;
}

std::shared_ptr<Device> Core::defaultEndpoint(EDataFlow flow, ERole role) const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    bool flowHasDefaults = false;
    for (const DefaultEndpoint& entry : defaults) {
        if (entry.flow != flow)
            continue;
        flowHasDefaults = true;
        if (entry.role == role) {
            auto device = findDevice(entry.id);
            return device && device->endpoint && device->state == DEVICE_STATE_ACTIVE ? device : nullptr;
        }
    }
    if (flowHasDefaults)
        return nullptr;
    for (const auto& device : m_devices) {
        if (device->endpoint && device->flow == flow && device->state == DEVICE_STATE_ACTIVE)
            return device;
    }
    return nullptr;
}

MachineDescription Core::snapshot() const {
    std::lock_guard<std::recursive_mutex> lock(mutex);
    MachineDescription description;
    description.name = name;
    for (const auto& device : m_devices)
        description.devices.push_back(*device);
    description.defaults = defaults;
    description.deviceTree = deviceTree;
    description.faults = faults.list();
    return description;
}

Core::Ticket Core::beginCall(const ObjectBase& object, const std::wstring& method, std::wstring arguments) {
    return beginCall(object.name(), object.subject(), method, std::move(arguments));
}

Core::Ticket Core::beginCall(const std::wstring& objectName, const std::wstring& subject, const std::wstring& method,
                             std::wstring arguments) {
    Ticket ticket;
    ticket.method = &method;
    ticket.fault = faults.check(method, objectName, subject);
    CallRecord record;
    record.object = objectName;
    record.method = method;
    record.arguments = std::move(arguments);
    record.threadId = GetCurrentThreadId();
    ticket.sequence = calls.begin(std::move(record));
    if (recordCoverage.load()) {
        ticket.fromLibrary = Coverage::calledFromLibrary();
        if (ticket.fromLibrary)
            Coverage::instance().note(method, ticket.fault.has_value());
    }
    return ticket;
}

HRESULT Core::endCall(const Ticket& ticket, HRESULT result) {
    calls.finish(ticket.sequence, result, ticket.fault.has_value());
    return result;
}

void Core::enroll(ObjectBase* object) {
    std::lock_guard<std::mutex> lock(m_objectsMutex);
    m_objects.insert(object);
}

void Core::withdraw(ObjectBase* object) {
    std::lock_guard<std::mutex> lock(m_objectsMutex);
    m_objects.erase(object);
}

std::vector<LiveObject> Core::liveObjects() const {
    std::map<std::wstring, LiveObject> byName;
    {
        std::lock_guard<std::mutex> lock(m_objectsMutex);
        for (const ObjectBase* object : m_objects) {
            LiveObject& entry = byName[object->name()];
            entry.name = object->name();
            entry.references += object->references();
            ++entry.objects;
        }
    }
    std::vector<LiveObject> result;
    for (auto& [name, entry] : byName)
        result.push_back(entry);
    return result;
}

void Core::addNotificationClient(IMMNotificationClient* client) {
    client->AddRef();
    std::lock_guard<std::mutex> lock(m_callbacksMutex);
    m_clients.push_back(client);
}

bool Core::removeNotificationClient(IMMNotificationClient* client) {
    IMMNotificationClient* removed = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        const auto found = std::find(m_clients.begin(), m_clients.end(), client);
        if (found == m_clients.end())
            return false;
        removed = *found;
        m_clients.erase(found);
    }
    removed->Release();
    return true;
}

size_t Core::notificationClientCount() const {
    std::lock_guard<std::mutex> lock(m_callbacksMutex);
    return m_clients.size();
}

void Core::postDeviceEvent(std::function<void(IMMNotificationClient*)> deliver) {
    std::vector<IMMNotificationClient*> clients;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        clients = m_clients;
    }
    for (IMMNotificationClient* client : clients)
        client->AddRef();
    events.post([clients, deliver = std::move(deliver)] {
        for (IMMNotificationClient* client : clients) {
            deliver(client);
            client->Release();
        }
    });
}

void Core::addVolumeCallback(const std::wstring& device, const void* owner, IAudioEndpointVolumeCallback* callback) {
    callback->AddRef();
    std::lock_guard<std::mutex> lock(m_callbacksMutex);
    m_volumeCallbacks.push_back({device, owner, callback});
}

bool Core::removeVolumeCallback(const void* owner, IAudioEndpointVolumeCallback* callback) {
    IAudioEndpointVolumeCallback* removed = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        const auto found = std::find_if(m_volumeCallbacks.begin(), m_volumeCallbacks.end(), [&](const VolumeCallback& entry) {
            return entry.owner == owner && entry.callback == callback;
        });
        if (found == m_volumeCallbacks.end())
            return false;
        removed = found->callback;
        m_volumeCallbacks.erase(found);
    }
    removed->Release();
    return true;
}

void Core::removeVolumeCallbacksOf(const void* owner) {
    std::vector<IAudioEndpointVolumeCallback*> removed;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        for (auto entry = m_volumeCallbacks.begin(); entry != m_volumeCallbacks.end();) {
            if (entry->owner == owner) {
                removed.push_back(entry->callback);
                entry = m_volumeCallbacks.erase(entry);
            } else {
                ++entry;
            }
        }
    }
    for (auto* callback : removed)
        callback->Release();
}

void Core::notifyEndpointVolume(const std::wstring& deviceId, const GUID& context) {
    const auto device = findDevice(deviceId);
    if (!device)
        return;
    std::vector<BYTE> data;
    {
        std::lock_guard<std::recursive_mutex> lock(mutex);
        if (!device->volume)
            return;
        const EndpointVolume& volume = *device->volume;
        const size_t channels = volume.levelsDb.size();
        data.resize(sizeof(AUDIO_VOLUME_NOTIFICATION_DATA) + (channels > 0 ? channels - 1 : 0) * sizeof(float));
        auto* notification = reinterpret_cast<AUDIO_VOLUME_NOTIFICATION_DATA*>(data.data());
        notification->guidEventContext = context;
        notification->bMuted = volume.muted ? TRUE : FALSE;
        notification->fMasterVolume = volume.toScalar(volume.masterDb());
        notification->nChannels = static_cast<UINT>(channels);
        for (size_t channel = 0; channel < channels; ++channel)
            notification->afChannelVolumes[channel] = volume.toScalar(volume.levelsDb[channel]);
    }
    std::vector<IAudioEndpointVolumeCallback*> callbacks;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        for (const VolumeCallback& entry : m_volumeCallbacks) {
            if (sameText(entry.device, deviceId)) {
                entry.callback->AddRef();
                callbacks.push_back(entry.callback);
            }
        }
    }
    events.post([callbacks, data]() mutable {
        for (auto* callback : callbacks) {
            callback->OnNotify(reinterpret_cast<AUDIO_VOLUME_NOTIFICATION_DATA*>(data.data()));
            callback->Release();
        }
    });
}

void Core::addControlCallback(const std::wstring& part, const void* owner, IControlChangeNotify* notify) {
    notify->AddRef();
    std::lock_guard<std::mutex> lock(m_callbacksMutex);
    m_controlCallbacks.push_back({part, owner, notify});
}

bool Core::removeControlCallback(const void* owner, IControlChangeNotify* notify) {
    IControlChangeNotify* removed = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        const auto found = std::find_if(m_controlCallbacks.begin(), m_controlCallbacks.end(), [&](const ControlCallback& entry) {
            return entry.owner == owner && entry.notify == notify;
        });
        if (found == m_controlCallbacks.end())
            return false;
        removed = found->notify;
        m_controlCallbacks.erase(found);
    }
    removed->Release();
    return true;
}

void Core::removeControlCallbacksOf(const void* owner) {
    std::vector<IControlChangeNotify*> removed;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        for (auto entry = m_controlCallbacks.begin(); entry != m_controlCallbacks.end();) {
            if (entry->owner == owner) {
                removed.push_back(entry->notify);
                entry = m_controlCallbacks.erase(entry);
            } else {
                ++entry;
            }
        }
    }
    for (auto* notify : removed)
        notify->Release();
}

void Core::notifyControlChange(const std::wstring& part, const GUID* context) {
    std::vector<IControlChangeNotify*> notifies;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        for (const ControlCallback& entry : m_controlCallbacks) {
            if (sameText(entry.part, part)) {
                entry.notify->AddRef();
                notifies.push_back(entry.notify);
            }
        }
    }
    const bool hasContext = context != nullptr;
    const GUID contextValue = hasContext ? *context : GUID{};
    const DWORD process = GetCurrentProcessId();
    events.post([notifies, hasContext, contextValue, process] {
        for (auto* notify : notifies) {
            notify->OnNotify(process, hasContext ? &contextValue : nullptr);
            notify->Release();
        }
    });
}

void Core::shutDown() {
    streams.stop();
    events.stop();
    std::vector<IUnknown*> released;
    {
        std::lock_guard<std::mutex> lock(m_callbacksMutex);
        for (auto* client : m_clients)
            released.push_back(client);
        for (auto& entry : m_volumeCallbacks)
            released.push_back(entry.callback);
        for (auto& entry : m_controlCallbacks)
            released.push_back(entry.notify);
        m_clients.clear();
        m_volumeCallbacks.clear();
        m_controlCallbacks.clear();
    }
    for (IUnknown* callback : released)
        callback->Release();
}

Part& partOf(Device& device, PartRef ref) {
    Topology& topology = *device.topology;
    return ref.type == Connector ? topology.connectors[ref.index] : topology.subunits[ref.index];
}

std::optional<PartRef> findPart(const Topology& topology, const std::wstring& name) {
    for (size_t i = 0; i < topology.connectors.size(); ++i) {
        if (topology.connectors[i].name == name)
            return PartRef{Connector, i};
    }
    for (size_t i = 0; i < topology.subunits.size(); ++i) {
        if (topology.subunits[i].name == name)
            return PartRef{Subunit, i};
    }
    return std::nullopt;
}

std::optional<PartRef> findPartById(const Topology& topology, UINT localId) {
    for (size_t i = 0; i < topology.connectors.size(); ++i) {
        if (topology.connectors[i].localId == localId)
            return PartRef{Connector, i};
    }
    for (size_t i = 0; i < topology.subunits.size(); ++i) {
        if (topology.subunits[i].localId == localId)
            return PartRef{Subunit, i};
    }
    return std::nullopt;
}

std::optional<PartRef> findPartByGlobalId(const Topology& topology, const std::wstring& globalId) {
    for (size_t i = 0; i < topology.connectors.size(); ++i) {
        if (sameText(topology.connectors[i].globalId, globalId))
            return PartRef{Connector, i};
    }
    for (size_t i = 0; i < topology.subunits.size(); ++i) {
        if (sameText(topology.subunits[i].globalId, globalId))
            return PartRef{Subunit, i};
    }
    return std::nullopt;
}

}  // namespace audiosim::detail

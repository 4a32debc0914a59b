// The shared state of one simulated machine. Every COM object holds the core
// by a shared pointer, so objects that callers keep for good never outlive
// what they read.
#pragma once

#include "EventThread.h"
#include "Streams.h"
#include "Text.h"

#include <audiosim/CallLog.h>
#include <audiosim/Faults.h>
#include <audiosim/Machine.h>
#include <audiosim/Model.h>

#include <windows.h>
#include <devicetopology.h>
#include <endpointvolume.h>
#include <mmdeviceapi.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace audiosim::detail {

class ObjectBase;

// The part of a topology that an object stands for.
struct PartRef {
    PartType type = Connector;
    size_t index = 0;
};

class Core : public std::enable_shared_from_this<Core> {
public:
    Core(MachineDescription description, std::string sourceName);
    ~Core();

    // ---- The model; read and written under `mutex`.
    mutable std::recursive_mutex mutex;
    std::wstring name;
    std::string sourceName;
    std::vector<DefaultEndpoint> defaults;
    const std::vector<TreeNode> deviceTree;
    // The parent of a device instance in the tree; ids compare without case.
    bool parentOf(const std::wstring& child, std::wstring& parent) const;

    // The devices in description order. They come and go only through
    // addDevice and removeDevice, which keep the lookups by id and by wave
    // number in step, so that a call costs the same on a machine of 300
    // devices as on one of 5.
    const std::vector<std::shared_ptr<Device>>& devices() const { return m_devices; }
    void addDevice(std::shared_ptr<Device> device);
    void removeDevice(const std::shared_ptr<Device>& device);

    std::shared_ptr<Device> findDevice(const std::wstring& id) const;   // ids compare without case
    std::shared_ptr<Device> requireDevice(const std::wstring& id) const;   // throws std::invalid_argument
    // The endpoint of the flow with that wave number, whatever its state.
    std::shared_ptr<Device> findWaveDevice(EDataFlow flow, int number) const;
    // The highest wave number among the flow's active endpoints, -1 for none.
    int highestActiveWaveNumber(EDataFlow flow) const;
    MachineDescription snapshot() const;
    // The default of a flow that names none is its first active endpoint;
    // a default that is not active gives none, as on Windows.
    std::shared_ptr<Device> defaultEndpoint(EDataFlow flow, ERole role) const;

    // ---- Calls, faults, events.
    CallLog calls;
    Faults faults;
    EventThread events;
    StreamHub streams;
    std::atomic<bool> recordCoverage{true};

    struct Ticket {
        unsigned long long sequence = 0;
        std::optional<FaultHit> fault;
        const std::wstring* method = nullptr;
        bool fromLibrary = false;
    };
    // Logs and counts one call and decides whether a fault answers it. The
    // wave devices, which are no COM objects, give their name and subject.
    Ticket beginCall(const ObjectBase& object, const std::wstring& method, std::wstring arguments);
    Ticket beginCall(const std::wstring& objectName, const std::wstring& subject, const std::wstring& method,
                     std::wstring arguments);
    HRESULT endCall(const Ticket& ticket, HRESULT result);

    // ---- Live objects.
    void enroll(ObjectBase* object);
    void withdraw(ObjectBase* object);
    std::vector<LiveObject> liveObjects() const;

    // ---- Call-backs registered by clients, each holding a reference.
    void addNotificationClient(IMMNotificationClient* client);
    bool removeNotificationClient(IMMNotificationClient* client);
    size_t notificationClientCount() const;
    // Calls `deliver` with every client registered now, on the event thread.
    void postDeviceEvent(std::function<void(IMMNotificationClient*)> deliver);

    void addVolumeCallback(const std::wstring& device, const void* owner, IAudioEndpointVolumeCallback* callback);
    bool removeVolumeCallback(const void* owner, IAudioEndpointVolumeCallback* callback);
    void removeVolumeCallbacksOf(const void* owner);
    // Tells the device's volume callbacks of its volume as it stands now.
    void notifyEndpointVolume(const std::wstring& device, const GUID& context);

    void addControlCallback(const std::wstring& partGlobalId, const void* owner, IControlChangeNotify* notify);
    bool removeControlCallback(const void* owner, IControlChangeNotify* notify);
    void removeControlCallbacksOf(const void* owner);
    void notifyControlChange(const std::wstring& partGlobalId, const GUID* context);

    // Ends the event thread after it has delivered what is queued and drops
    // every registered call-back.
    void shutDown();

private:
    std::vector<std::shared_ptr<Device>> m_devices;
    std::unordered_map<std::wstring, std::shared_ptr<Device>> m_devicesById;   // by lower-case id
    std::map<int, std::shared_ptr<Device>> m_waveDevices[2];                  // per flow, by wave number
    std::unordered_map<std::wstring, std::wstring> m_parents;                 // by lower-case instance id
    const std::map<int, std::shared_ptr<Device>>* waveNumbers(EDataFlow flow) const;

    // A set rather than a list: objects come and go on nearly every call,
    // and the library may hold thousands of others alive meanwhile.
    mutable std::mutex m_objectsMutex;
    std::unordered_set<ObjectBase*> m_objects;

    mutable std::mutex m_callbacksMutex;
    std::vector<IMMNotificationClient*> m_clients;
    struct VolumeCallback {
        std::wstring device;
        const void* owner;
        IAudioEndpointVolumeCallback* callback;
    };
    std::vector<VolumeCallback> m_volumeCallbacks;
    struct ControlCallback {
        std::wstring part;
        const void* owner;
        IControlChangeNotify* notify;
    };
    std::vector<ControlCallback> m_controlCallbacks;
};

// The part of a topology by reference; the caller holds core->mutex.
Part& partOf(Device& device, PartRef ref);
std::optional<PartRef> findPart(const Topology& topology, const std::wstring& name);
std::optional<PartRef> findPartById(const Topology& topology, UINT localId);
std::optional<PartRef> findPartByGlobalId(const Topology& topology, const std::wstring& globalId);

}  // namespace audiosim::detail

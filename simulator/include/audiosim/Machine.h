// A simulated audio machine: the description it was made from, the COM
// objects it hands out, the events it sends, its faults, its call log and the
// live references on its objects.
//
// The objects a caller holds stay valid after the Machine is gone (a
// reference kept for good by design must never point at freed memory); they
// then answer from the state the machine had last.
#pragma once

#include <audiosim/CallLog.h>
#include <audiosim/DescriptionError.h>
#include <audiosim/Faults.h>
#include <audiosim/Model.h>

#include <windows.h>
#include <mmdeviceapi.h>

#include <memory>
#include <string>
#include <vector>

namespace audiosim {

namespace detail {
class Core;
struct ScriptStep;
}

// The live references of all objects that share one name.
struct LiveObject {
    std::wstring name;
    ULONG references = 0;
    unsigned objects = 0;
};

// What a render endpoint played from its clients' data, as interleaved
// samples in -1..1, in the channel count and rate of the streams that played
// it (a stream of another layout starts the record afresh).
struct RenderedAudio {
    WORD channels = 0;
    DWORD sampleRate = 0;
    std::vector<float> samples;
};

class Machine {
public:
    // Loads a description; a bad one throws DescriptionError naming the file,
    // the place and the reason.
    static Machine fromFile(const std::string& path);
    static Machine fromJson(const std::string& text, const std::string& sourceName);
    // A machine built in C++; validated like a loaded one.
    explicit Machine(MachineDescription description);

    Machine(Machine&& other) noexcept;
    Machine& operator=(Machine&& other) noexcept;
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
    // Delivers the events still queued, stops the event thread and releases
    // the registered notification clients and callbacks.
    ~Machine();

    // The machine as it stands now, edits included.
    MachineDescription description() const;
    std::wstring name() const;

    // Edits. They change what later calls see and send no event by
    // themselves: a test edits, then fires the event it wants the library to
    // hear. Unknown ids throw std::invalid_argument; a device that does not
    // fit the machine throws DescriptionError.
    void addDevice(Device device);
    void removeDevice(const std::wstring& id);
    void setState(const std::wstring& id, DWORD state);
    void setProperty(const std::wstring& id, const PROPERTYKEY& key, PropertyValue value);
    void eraseProperty(const std::wstring& id, const PROPERTYKEY& key);
    void setDefault(EDataFlow flow, ERole role, const std::wstring& id);

    // The endpoint volume moved from outside the library, as by the user:
    // registered IAudioEndpointVolumeCallbacks hear of it on the event thread.
    void setEndpointVolume(const std::wstring& id, float masterDb);
    void setEndpointChannelVolume(const std::wstring& id, UINT channel, float levelDb);
    void setEndpointMute(const std::wstring& id, bool muted);
    EndpointVolume endpointVolume(const std::wstring& id) const;
    // A topology part's controls as they stand, found by its global id.
    Part part(const std::wstring& globalId) const;

    // Events, delivered to the registered IMMNotificationClients on the
    // machine's own event thread, in the order they were fired.
    void fireDeviceAdded(const std::wstring& id);
    void fireDeviceRemoved(const std::wstring& id);
    void fireStateChanged(const std::wstring& id, DWORD state);   // also sets the state
    void fireDefaultChanged(EDataFlow flow, ERole role, const std::wstring& id);   // also sets the default
    void firePropertyChanged(const std::wstring& id, const PROPERTYKEY& key);
    // Waits until every event fired or queued so far has been delivered.
    void flushEvents();

    // Runs an event script: a JSON array of steps such as
    // {"do": "fireStateChanged", "id": "...", "state": "unplugged"} (see
    // simulator/README.md). A script with an error in its text runs no step;
    // a step that does not fit the machine throws DescriptionError naming the
    // step, after the steps before it have run.
    void runScript(const std::string& text, const std::string& sourceName);
    void runScriptFile(const std::string& path);
    DWORD eventThreadId() const;
    size_t notificationClientCount() const;

    Faults& faults();
    CallLog& calls();

    // Whether the library's calls on this machine count towards the
    // fault-coverage report (see simulator/README.md). On by default; off
    // for benchmarks, where looking at every caller's stack costs time.
    void setFaultCoverageRecording(bool on);

    // References held on the machine's objects now, by object name; 0 for a
    // name with no live object.
    ULONG liveReferences(const std::wstring& objectName) const;
    // Every live object name with its references, sorted by name.
    std::vector<LiveObject> liveObjects() const;
    ULONG totalLiveReferences() const;

    // The simulated clock that the machine's audio clients and wave devices
    // run on: real time (QueryPerformanceCounter) times the speed, 1 by
    // default. 0 freezes every stream: no frame is played or recorded, no
    // event is signalled and no wave header completes until the speed is
    // raised again.
    void setClockSpeed(double speed);
    double clockSpeed() const;
    // Seconds of simulated time since the machine was made.
    double clockSeconds() const;

    // What the endpoint's clients and wave device played so far; the
    // silence the device played while a client left it without data is not
    // part of it.
    RenderedAudio rendered(const std::wstring& endpointId) const;
    std::vector<float> renderedSamples(const std::wstring& endpointId) const;
    void clearRendered(const std::wstring& endpointId);

    // The parent of a device instance in the machine's device tree.
    bool parentInstanceId(const std::wstring& child, std::wstring& parent) const;

    // An enumerator of this machine, as CoCreateInstance gives it once the
    // machine is installed; for tests that need no installation.
    HRESULT createEnumerator(REFIID iid, void** out);

    std::shared_ptr<detail::Core> core() const { return m_core; }

private:
    explicit Machine(std::shared_ptr<detail::Core> core);
    void runStep(detail::ScriptStep& step);

    std::shared_ptr<detail::Core> m_core;
};

// Whether the object is one of a simulated machine's, as opposed to one of
// the system's: how a test tells where CoCreateInstance went.
bool isSimulatedObject(IUnknown* object);

}  // namespace audiosim

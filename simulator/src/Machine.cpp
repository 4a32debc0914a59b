#include <audiosim/Machine.h>

#include "ComObject.h"
#include "Core.h"
#include "Coverage.h"
#include "EndpointVolumeRules.h"
#include "Loader.h"
#include "Objects.h"
#include "Text.h"
#include "Validate.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace audiosim {

using namespace detail;

namespace {

std::shared_ptr<Core> makeCore(MachineDescription description, const std::string& source) {
    validate(description, source);
    return std::make_shared<Core>(std::move(description), source);
}

// The file name without its folders, as messages name it.
std::string fileName(const std::string& path) {
    const size_t slash = path.find_last_of("\\/");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw DescriptionError(fileName(path), "/", "the file cannot be read");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

Machine Machine::fromFile(const std::string& path) {
    return fromJson(readFile(path), fileName(path));
}

Machine Machine::fromJson(const std::string& text, const std::string& sourceName) {
    return Machine(makeCore(readDescription(text, sourceName), sourceName));
}

Machine::Machine(MachineDescription description) : m_core(makeCore(std::move(description), "C++ description")) {}

Machine::Machine(std::shared_ptr<detail::Core> core) : m_core(std::move(core)) {}

Machine::Machine(Machine&& other) noexcept = default;

Machine& Machine::operator=(Machine&& other) noexcept {
    if (this != &other) {
        if (m_core)
            m_core->shutDown();
        m_core = std::move(other.m_core);
    }
    return *this;
}

Machine::~Machine() {
    if (m_core) {
        m_core->shutDown();
        Coverage::instance().write();
    }
}

void Machine::setFaultCoverageRecording(bool on) {
    m_core->recordCoverage = on;
}

MachineDescription Machine::description() const {
    return m_core->snapshot();
}

std::wstring Machine::name() const {
    return m_core->name;
}

void Machine::addDevice(Device device) {
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    MachineDescription changed = m_core->snapshot();
    changed.devices.push_back(std::move(device));
    validate(changed, m_core->sourceName);
    // Validation may have completed connections on existing devices; the
    // objects that callers hold keep pointing at the same Device records.
    const auto& devices = m_core->devices();
    for (size_t i = 0; i < devices.size(); ++i)
        *devices[i] = changed.devices[i];
    m_core->addDevice(std::make_shared<Device>(std::move(changed.devices.back())));
}

void Machine::removeDevice(const std::wstring& id) {
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    const auto device = m_core->requireDevice(id);
    m_core->removeDevice(device);
    // Objects still holding the device see it as gone from the machine.
    device->state = DEVICE_STATE_NOTPRESENT;
}

void Machine::setState(const std::wstring& id, DWORD state) {
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    m_core->requireDevice(id)->state = state;
}

void Machine::setProperty(const std::wstring& id, const PROPERTYKEY& key, PropertyValue value) {
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    m_core->requireDevice(id)->set(key, std::move(value));
}

void Machine::eraseProperty(const std::wstring& id, const PROPERTYKEY& key) {
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    m_core->requireDevice(id)->erase(key);
}

void Machine::setDefault(EDataFlow flow, ERole role, const std::wstring& id) {
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    const auto device = m_core->requireDevice(id);
    if (!device->endpoint || device->flow != flow)
        throw std::invalid_argument(narrow(id) + " is no endpoint of that flow");
    for (DefaultEndpoint& entry : m_core->defaults) {
        if (entry.flow == flow && entry.role == role) {
            entry.id = id;
            return;
        }
    }
    m_core->defaults.push_back({flow, role, id});
}

namespace {

// Says what the volume takes, so that the level or channel asked for can be
// put right.
std::string volumeRefusal(const std::wstring& id, const EndpointVolume& volume) {
    char range[96];
    std::snprintf(range, sizeof range, "%zu channels (from 0) and levels from %g to %g dB", volume.levelsDb.size(),
                  static_cast<double>(volume.minDb), static_cast<double>(volume.maxDb));
    return "the volume of " + narrow(id) + " cannot take that value: it has " + range;
}

template <class Change>
void changeVolume(Core& core, const std::wstring& id, Change change) {
    {
        std::lock_guard<std::recursive_mutex> lock(core.mutex);
        const auto device = core.requireDevice(id);
        if (!device->volume)
            throw std::invalid_argument(narrow(id) + " has no endpoint volume");
        if (FAILED(change(*device->volume)))
            throw std::invalid_argument(volumeRefusal(id, *device->volume));
    }
    core.notifyEndpointVolume(id, GUID{});
}

}  // namespace

void Machine::setEndpointVolume(const std::wstring& id, float masterDb) {
    changeVolume(*m_core, id, [&](EndpointVolume& volume) { return setMasterLevel(volume, masterDb); });
}

void Machine::setEndpointChannelVolume(const std::wstring& id, UINT channel, float levelDb) {
    changeVolume(*m_core, id, [&](EndpointVolume& volume) { return setChannelLevel(volume, channel, levelDb); });
}

void Machine::setEndpointMute(const std::wstring& id, bool muted) {
    changeVolume(*m_core, id, [&](EndpointVolume& volume) {
        volume.muted = muted;
        return S_OK;
    });
}

EndpointVolume Machine::endpointVolume(const std::wstring& id) const {
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    const auto device = m_core->requireDevice(id);
    if (!device->volume)
        throw std::invalid_argument(narrow(id) + " has no endpoint volume");
    return *device->volume;
}

Part Machine::part(const std::wstring& globalId) const {
    std::lock_guard<std::recursive_mutex> lock(m_core->mutex);
    for (const auto& device : m_core->devices()) {
        if (!device->topology)
            continue;
        if (const auto ref = findPartByGlobalId(*device->topology, globalId))
            return partOf(*device, *ref);
    }
    throw std::invalid_argument("no part has the global id " + narrow(globalId));
}

void Machine::fireDeviceAdded(const std::wstring& id) {
    m_core->postDeviceEvent([id](IMMNotificationClient* client) { client->OnDeviceAdded(id.c_str()); });
}

void Machine::fireDeviceRemoved(const std::wstring& id) {
    m_core->postDeviceEvent([id](IMMNotificationClient* client) { client->OnDeviceRemoved(id.c_str()); });
}

void Machine::fireStateChanged(const std::wstring& id, DWORD state) {
    if (m_core->findDevice(id))
        setState(id, state);
    m_core->postDeviceEvent([id, state](IMMNotificationClient* client) { client->OnDeviceStateChanged(id.c_str(), state); });
}

void Machine::fireDefaultChanged(EDataFlow flow, ERole role, const std::wstring& id) {
    setDefault(flow, role, id);
    m_core->postDeviceEvent(
        [flow, role, id](IMMNotificationClient* client) { client->OnDefaultDeviceChanged(flow, role, id.c_str()); });
}

void Machine::firePropertyChanged(const std::wstring& id, const PROPERTYKEY& key) {
    m_core->postDeviceEvent([id, key](IMMNotificationClient* client) { client->OnPropertyValueChanged(id.c_str(), key); });
}

void Machine::flushEvents() {
    m_core->events.flush();
}

void Machine::runScript(const std::string& text, const std::string& sourceName) {
    for (ScriptStep& step : readScript(text, sourceName)) {
        try {
            runStep(step);
        } catch (const DescriptionError& error) {
            throw DescriptionError(sourceName, error.place(), error.reason());
        } catch (const std::invalid_argument& error) {
            throw DescriptionError(sourceName, step.place, error.what());
        }
    }
}

void Machine::runScriptFile(const std::string& path) {
    runScript(readFile(path), fileName(path));
}

void Machine::runStep(ScriptStep& step) {
    const std::string& action = step.action;
    if (action == "fireDeviceAdded")
        fireDeviceAdded(step.id);
    else if (action == "fireDeviceRemoved")
        fireDeviceRemoved(step.id);
    else if (action == "fireStateChanged")
        fireStateChanged(step.id, step.state);
    else if (action == "fireDefaultChanged")
        fireDefaultChanged(step.flow, step.role, step.id);
    else if (action == "firePropertyChanged")
        firePropertyChanged(step.id, step.key);
    else if (action == "addEndpoint" || action == "addAdapter")
        addDevice(std::move(*step.device));
    else if (action == "removeDevice")
        removeDevice(step.id);
    else if (action == "setState")
        setState(step.id, step.state);
    else if (action == "setDefault")
        setDefault(step.flow, step.role, step.id);
    else if (action == "setProperty")
        setProperty(step.id, step.key, step.value);
    else if (action == "setEndpointVolume" && step.channel < 0)
        setEndpointVolume(step.id, step.level);
    else if (action == "setEndpointVolume")
        setEndpointChannelVolume(step.id, static_cast<UINT>(step.channel), step.level);
    else if (action == "setEndpointMute")
        setEndpointMute(step.id, step.muted);
    else if (action == "flushEvents")
        flushEvents();
}

DWORD Machine::eventThreadId() const {
    return m_core->events.threadId();
}

size_t Machine::notificationClientCount() const {
    return m_core->notificationClientCount();
}

Faults& Machine::faults() {
    return m_core->faults;
}

CallLog& Machine::calls() {
    return m_core->calls;
}

ULONG Machine::liveReferences(const std::wstring& objectName) const {
    for (const LiveObject& object : m_core->liveObjects()) {
        if (object.name == objectName)
            return object.references;
    }
    return 0;
}

std::vector<LiveObject> Machine::liveObjects() const {
    return m_core->liveObjects();
}

ULONG Machine::totalLiveReferences() const {
    ULONG total = 0;
    for (const LiveObject& object : m_core->liveObjects())
        total += object.references;
    return total;
}

void Machine::setClockSpeed(double speed) {
    m_core->streams.clock.setSpeed(speed);
}

double Machine::clockSpeed() const {
    return m_core->streams.clock.speed();
}

double Machine::clockSeconds() const {
    return m_core->streams.clock.now();
}

RenderedAudio Machine::rendered(const std::wstring& endpointId) const {
    return m_core->streams.rendered(endpointId);
}

std::vector<float> Machine::renderedSamples(const std::wstring& endpointId) const {
    return rendered(endpointId).samples;
}

void Machine::clearRendered(const std::wstring& endpointId) {
    m_core->streams.clearRendered(endpointId);
}

bool Machine::parentInstanceId(const std::wstring& child, std::wstring& parent) const {
    return m_core->parentOf(child, parent);
}

HRESULT Machine::createEnumerator(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    return handOver(newEnumerator(m_core), iid, out);
}

bool isSimulatedObject(IUnknown* object) {
    ObjectBase* simulated = simulatedObject(object);
    if (!simulated)
        return false;
    simulated->releaseRef();
    return true;
}

}  // namespace audiosim

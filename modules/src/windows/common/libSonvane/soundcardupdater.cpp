// Live updates of a card: observer registration and the card's notification
// client, which keeps the shared endpoint lists current and calls the
// observers.
//
// Every registered updater hears every endpoint event of the machine and
// keeps those whose device carries its card's path (compared exactly). The
// callbacks run on a platform thread and change the lists without a lock;
// only the COM reference count is interlocked. The connector map and the
// devices behind the endpoints stay as they were built.
#include <libSonvane/soundcard.h>

#include <libSonvane/endpointdeviceenumerator.h>

#include <orv/OrvLog.h>

ORV_LOG_CATEGORY("libSonvane.soundcard");

namespace {

// Calls one observer operation on every observer, in list order.
void notifyObservers(orv::Array<SoundCardObserverPtr>& observers, void (SoundCardObserver::*event)()) {
    for (orv::Uint32 index = 0; index < observers.size(); ++index) {
        (observers[index].get()->*event)();
    }
}

}  // namespace

// --- Observer registration on the card ----------------------------------------

bool SoundCard::registerRecordObserver(const SoundCardObserverPtr& observer) {
    ORV_TRACE("SoundCard::registerRecordObserver");
    return registerObserver(m_recordObservers, observer, "Unable to register record observer");
}

bool SoundCard::registerPlaybackObserver(const SoundCardObserverPtr& observer) {
    ORV_TRACE("SoundCard::registerPlaybackObserver");
    return registerObserver(m_playbackObservers, observer, "Unable to register playback observer");
}

// A failed registration leaves the flag down, so the next observer tries
// again; the observer is kept all the same and is called once a registration
// succeeds. The flag is this object's own, so two copies of a card made
// before the first observer each register the one updater.
bool SoundCard::registerObserver(ObserverList& observers, const SoundCardObserverPtr& observer, char const* failure) {
    if (observer.isNil() || observers.isNil()) {
        ORV_LOG(3) << failure;
        return false;
    }
    if (!m_notificationRegistered) {
        m_notificationRegistered = libSonvane::AudioDeviceEnumeratorFactory::enumerator()->addNotificationClient(
            ATL::CComPtr<IMMNotificationClient>(m_updater.p));
    }
    observers->append(observer);
    return true;
}

// --- The updater's life ----------------------------------------------------------

SoundCard::SoundCardDeviceUpdater::SoundCardDeviceUpdater() : m_referenceCount(1) {}

// Drops the shared handles in reverse order.
SoundCard::SoundCardDeviceUpdater::~SoundCardDeviceUpdater() {}

// The count starts at 1 and the returned pointer adds its own reference, so
// the updater stays one above its holders and is never freed by them.
ATL::CComPtr<SoundCard::SoundCardDeviceUpdater> SoundCard::SoundCardDeviceUpdater::createUpdater() {
    return ATL::CComPtr<SoundCardDeviceUpdater>(new SoundCardDeviceUpdater());
}

HRESULT STDMETHODCALLTYPE SoundCard::SoundCardDeviceUpdater::QueryInterface(REFIID iid, void** out) {
    if (IsEqualIID(iid, __uuidof(IUnknown)) || IsEqualIID(iid, __uuidof(IMMNotificationClient))) {
        AddRef();
        *out = static_cast<IMMNotificationClient*>(this);
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE SoundCard::SoundCardDeviceUpdater::AddRef() {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::Release");
    return static_cast<ULONG>(InterlockedIncrement(&m_referenceCount));
}

ULONG STDMETHODCALLTYPE SoundCard::SoundCardDeviceUpdater::Release() {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::Release");
    LONG const count = InterlockedDecrement(&m_referenceCount);
    if (count == 0) {
        delete this;
    }
    return static_cast<ULONG>(count);
}

// --- The shared parts ------------------------------------------------------------

bool SoundCard::SoundCardDeviceUpdater::setRecordDeviceList(const DeviceList& list) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdatersetRecordDeviceList");
    if (list.isNil()) {
        ORV_LOG(3) << "Cannot use an empty eCapture device list";
        return false;
    }
    m_recordDeviceList = list;
    return true;
}

bool SoundCard::SoundCardDeviceUpdater::setPlaybackDeviceList(const DeviceList& list) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::setPlaybackDeviceList");
    if (list.isNil()) {
        ORV_LOG(3) << "Cannot use an empty eRender device list";
        return false;
    }
    m_playbackDeviceList = list;
    return true;
}

bool SoundCard::SoundCardDeviceUpdater::setRecordObserver(const ObserverList& list) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::setRecordObserver");
    if (list.isNil()) {
        ORV_LOG(3) << "Cannot use NULL pointer";
        return false;
    }
    m_recordObserverList = list;
    return true;
}

bool SoundCard::SoundCardDeviceUpdater::setPlaybackObserver(const ObserverList& list) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::setPlaybackObserver");
    if (list.isNil()) {
        ORV_LOG(3) << "Cannot use NULL pointer";
        return false;
    }
    m_playbackObserverList = list;
    return true;
}

void SoundCard::SoundCardDeviceUpdater::setOwnerId(const SharedId& id) {
    m_ownerId = id;
}

// A device that cannot be resolved any more has an empty path and so
// belongs to no card with a real path. Its flow is then unknown and it is
// taken as a capture endpoint, like every flow other than render.
const SoundCard::DeviceList SoundCard::SoundCardDeviceUpdater::selectDeviceList(const AudioDevice& device) const {
    if (!(device.deviceProperty().deviceInstancePath == *m_ownerId)) {
        return DeviceList();
    }
    EDataFlow flow = eAll;
    device.dataFlow(flow);
    return flow == eRender ? m_playbackDeviceList : m_recordDeviceList;
}

const SoundCard::ObserverList SoundCard::SoundCardDeviceUpdater::selectObserver(const AudioDevice& device) const {
    if (!(device.deviceProperty().deviceInstancePath == *m_ownerId)) {
        return ObserverList();
    }
    EDataFlow flow = eAll;
    device.dataFlow(flow);
    return flow == eRender ? m_playbackObserverList : m_recordObserverList;
}

// --- The callbacks ----------------------------------------------------------------

// No duplicate test: a device announced twice is listed twice.
HRESULT STDMETHODCALLTYPE SoundCard::SoundCardDeviceUpdater::OnDeviceAdded(LPCWSTR pwstrDeviceId) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::OnDeviceAdded");
    orv::String const deviceId = pwstrDeviceId;
    ORV_LOG(1) << "Device " << deviceId << " has been added.";
    AudioDevice const device(deviceId);
    DeviceList const list = selectDeviceList(device);
    ObserverList const observers = selectObserver(device);
    if (list) {
        list->append(device);
    }
    if (observers) {
        notifyObservers(*observers, &SoundCardObserver::deviceAdded);
    }
    return S_OK;
}

// Only the list of the device's own flow is searched.
HRESULT STDMETHODCALLTYPE SoundCard::SoundCardDeviceUpdater::OnDeviceRemoved(LPCWSTR pwstrDeviceId) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::OnDeviceRemoved");
    orv::String const deviceId = pwstrDeviceId;
    ORV_LOG(1) << "Device " << deviceId << " has been removed.";
    AudioDevice const device(deviceId);
    DeviceList const list = selectDeviceList(device);
    ObserverList const observers = selectObserver(device);
    if (list) {
        int const index = findDevice(*list, device.deviceProperty().deviceId);
        if (index < 0) {
            return E_FAIL;
        }
        list->remove(static_cast<orv::Uint32>(index));
    }
    if (observers) {
        notifyObservers(*observers, &SoundCardObserver::deviceRemoved);
    }
    return S_OK;
}

// The new state is only logged: the entry reads its state afresh.
HRESULT STDMETHODCALLTYPE SoundCard::SoundCardDeviceUpdater::OnDeviceStateChanged(LPCWSTR pwstrDeviceId,
                                                                                  DWORD dwNewState) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::OnDeviceStateChanged");
    orv::String const deviceId = pwstrDeviceId;
    AudioDevice const device(deviceId);
    ORV_LOG(1) << "Device " << device.deviceProperty().endpointType << " id " << deviceId << " state changed to "
               << dwNewState;
    DeviceList const list = selectDeviceList(device);
    ObserverList const observers = selectObserver(device);
    if (!list) {
        return S_OK;
    }
    int const index = findDevice(*list, device.deviceProperty().deviceId);
    if (index < 0) {
        ORV_LOG(1) << "Returning E_FAIL.";
        return E_FAIL;
    }
    (*list)[static_cast<orv::Uint32>(index)].refreshDeviceState();
    if (observers) {
        notifyObservers(*observers, &SoundCardObserver::deviceStateChanged);
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SoundCard::SoundCardDeviceUpdater::OnDefaultDeviceChanged(EDataFlow, ERole,
                                                                                    LPCWSTR pwstrDefaultDeviceId) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdater::OnDefaultDeviceChanged");
    ORV_LOG(1) << "Default Device Has Changed To This Device " << orv::String(pwstrDefaultDeviceId);
    return S_OK;
}

// The card's stored properties are not refreshed.
HRESULT STDMETHODCALLTYPE SoundCard::SoundCardDeviceUpdater::OnPropertyValueChanged(LPCWSTR pwstrDeviceId,
                                                                                    const PROPERTYKEY) {
    ORV_TRACE("SoundCard::SoundCardDeviceUpdaterOnPropertyValueChanged");
    ORV_LOG(1) << "Device " << orv::String(pwstrDeviceId) << " property has changed.";
    return S_OK;
}

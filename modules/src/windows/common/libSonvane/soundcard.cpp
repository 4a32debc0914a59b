// Sound card assembly: the card as a handle on shared parts, the grouping of
// every endpoint of the machine by device instance path, and the search for
// one card by hardware id.
#include <libSonvane/soundcard.h>

#include <libSonvane/endpointdeviceenumerator.h>

#include <libVarnhost/ConfigManager.h>

#include <orv/OrvLog.h>

ORV_LOG_CATEGORY("libSonvane.soundcard");

// --- SoundCardInterface -----------------------------------------------------

SoundCardInterface::SoundCardInterface() {}
SoundCardInterface::SoundCardInterface(const SoundCardInterface&) {}
SoundCardInterface& SoundCardInterface::operator=(const SoundCardInterface&) {
    return *this;
}
SoundCardInterface::~SoundCardInterface() {}

// --- Life of a card -----------------------------------------------------------

// The updater is handed the very objects behind the card's handles, so that
// the path assigned to a new card later is the updater's owner id as well.
// It is registered with the platform only when the first observer comes.
SoundCard::SoundCard()
    : m_notificationRegistered(false),
      m_updater(SoundCardDeviceUpdater::createUpdater()),
      m_playbackDevices(new orv::Array<AudioDevice>()),
      m_recordDevices(new orv::Array<AudioDevice>()),
      m_internalDevices(new orv::Array<AudioDevice>()),
      m_playbackObservers(new orv::Array<SoundCardObserverPtr>()),
      m_recordObservers(new orv::Array<SoundCardObserverPtr>()),
      m_deviceId(new orv::String()),
      m_connectorMap() {
    m_updater->setRecordDeviceList(m_recordDevices);
    m_updater->setPlaybackDeviceList(m_playbackDevices);
    m_updater->setOwnerId(m_deviceId);
    m_updater->setPlaybackObserver(m_playbackObservers);
    m_updater->setRecordObserver(m_recordObservers);
}

// Member by member: the handles and the updater are shared, the connector map
// is copied entry by entry, the registration flag is the copy's own.
SoundCard::SoundCard(const SoundCard& other) = default;
SoundCard& SoundCard::operator=(const SoundCard& other) = default;

// Members go in reverse order, the updater last.
SoundCard::~SoundCard() {}

// --- Enumeration ----------------------------------------------------------------

orv::Array<SoundCard> SoundCard::enumerateSystemSoundDevices() {
    ORV_TRACE("SoundCard::enumerateSystemSoundDevices");
    CardTable deviceTable;
    libSonvane::EndpointDeviceEnumerator enumerator;
    if (!enumerator.isInitialized()) {
        ORV_LOG(3) << "Faild to initialize endpoint device enumerator";
        return orv::Array<SoundCard>();
    }

    // Capture first: a card is placed where its path first appears.
    EDataFlow const flows[] = {eCapture, eRender};
    for (EDataFlow const flow : flows) {
        orv::Array<AudioDevice> devices;
        orv::Uint32 const count = enumerator.audioDevices(flow, devices);
        for (orv::Uint32 index = 0; index < count; ++index) {
            enumerateSystemSoundDevices(devices[index], flow, deviceTable);
        }
    }

    for (orv::Uint32 index = 0; index < deviceTable.size(); ++index) {
        deviceTable[index].initializeConnectorMap();
    }
    return orv::Array<SoundCard>(deviceTable.values());
}

// The table's key comparison is exact: paths that differ in case make two
// cards.
void SoundCard::enumerateSystemSoundDevices(const AudioDevice& audioDevice, EDataFlow dataFlow,
                                            CardTable& deviceTable) {
    ORV_TRACE("SoundCard::enumerateSystemSoundDevices");
    AudioDeviceInterface::Properties const properties = audioDevice.deviceProperty();
    orv::String const& path = properties.deviceInstancePath;
    if (deviceTable.contains(path)) {
        deviceTable[path].addEndpointDevice(dataFlow, audioDevice);
        return;
    }
    SoundCard card;
    *card.m_deviceId = path;
    card.addEndpointDevice(dataFlow, audioDevice);
    deviceTable.insert(path, card);
}

void enumerateSoundCards(orv::Array<SoundCardInterfacePtr>& cards) {
    ORV_TRACE("enumerateSoundCards");
    orv::Array<SoundCard> const found = SoundCard::enumerateSystemSoundDevices();
    for (orv::Uint32 index = 0; index < found.size(); ++index) {
        cards.append(SoundCardInterfacePtr(new SoundCard(found[index])));
    }
}

// --- Identity ---------------------------------------------------------------------

// The path is a short prefix, a ".", and the hardware instance id; anything
// behind a second "." is not part of the id.
orv::String SoundCard::instanceId() const {
    orv::Array<orv::String> const tokens = m_deviceId->tokenize(".");
    if (tokens.size() >= 2) {
        return tokens[1];
    }
    ORV_LOG(3) << "Unrecognized device id format " << *m_deviceId;
    return orv::String();
}

// A failed parent lookup leaves the parent empty, so that card can still
// match on its own id, and an empty `id` matches it.
bool SoundCard::createSoundCard(const orv::String& id, SoundCard& card) {
    ORV_TRACE("SoundCard::createSoundCard");
    orv::Array<SoundCard> const cards = enumerateSystemSoundDevices();
    for (orv::Uint32 index = 0; index < cards.size(); ++index) {
        SoundCard const& candidate = cards[index];
        orv::String const child = candidate.instanceId();
        orv::String parent;
        if (libVarnhost::ConfigManager::getParentDeviceInstanceId(child, parent)) {
            ORV_LOG(2) << "Parent device id = " << parent << " device id =" << candidate.instanceId();
        } else {
            ORV_LOG(3) << "Unable to get parent id from the child id " << candidate.instanceId();
        }
        ORV_LOG(2) << candidate.instanceId();
        ORV_LOG(2) << id;
        if (orv::String::compareNoCase(child, id) == 0 || orv::String::compareNoCase(id, parent) == 0) {
            card = candidate;
            return true;
        }
    }
    return false;
}

const orv::String& SoundCard::deviceId() const {
    return *m_deviceId;
}

bool SoundCard::operator==(const SoundCard& other) {
    return orv::String::compareNoCase(*m_deviceId, *other.m_deviceId) == 0;
}

bool SoundCard::operator==(const SoundCardInterface& other) const {
    return deviceId() == other.deviceId();
}

// --- Filing endpoints ---------------------------------------------------------

bool SoundCard::addEndpointDevice(EDataFlow dataFlow, const AudioDevice& device) {
    if (dataFlow == eRender) {
        return addPlaybackEndpointDevice(device);
    }
    if (dataFlow == eCapture) {
        return addCaptureEndpointDevice(device);
    }
    return false;
}

bool SoundCard::addCaptureEndpointDevice(const AudioDevice& device) {
    return addDevice(*m_recordDevices, device);
}

bool SoundCard::addPlaybackEndpointDevice(const AudioDevice& device) {
    return addDevice(*m_playbackDevices, device);
}

// An id is refused when either endpoint list has it, whichever list the
// device was meant for.
bool SoundCard::addDevice(orv::Array<AudioDevice>& deviceTable, const AudioDevice& device) {
    ORV_TRACE("SoundCard::addDevice");
    orv::String const deviceId = device.deviceProperty().deviceId;
    if (isDeviceAlreadyInTheCard(deviceId)) {
        ORV_LOG(3) << "Cannot add duplicate device " << deviceId;
        return false;
    }
    deviceTable.append(device);
    return true;
}

int SoundCard::findDevice(const orv::Array<AudioDevice>& devices, const orv::String& deviceId) {
    for (orv::Uint32 index = 0; index < devices.size(); ++index) {
        if (orv::String::compareNoCase(devices[index].deviceProperty().deviceId, deviceId) == 0) {
            return static_cast<int>(index);
        }
    }
    return -1;
}

bool SoundCard::isDeviceAlreadyInTheCard(const orv::String& deviceId) {
    return findDevice(*m_playbackDevices, deviceId) >= 0 || findDevice(*m_recordDevices, deviceId) >= 0;
}

#pragma once
// Sound cards: the endpoints of the machine grouped by the device they hang
// on.
//
// The platform lists endpoints one by one and has no object for a card. A
// SoundCard is every endpoint, capture and render, in every state, whose
// device instance path is the same. SoundCard::enumerateSystemSoundDevices()
// builds all cards of the machine; enumerateSoundCards hands them out behind
// SoundCardInterface, and SoundCard::createSoundCard finds one card by the
// hardware id in its path or by the id of that device's parent.
//
// A SoundCard is a handle. Copies share the endpoint lists, the observers,
// the id string and the notification updater, so a device added through one
// copy (or by the updater) is seen by all; each copy has its own connector
// map and its own "updater registered" flag.
//
// Besides the endpoint lists a card knows the graph of connectors behind its
// endpoints, across every device topology the connectors lead into, and the
// devices found on the far side of those connectors (m_internalDevices).
// volumeController walks that graph for hardware volume and mute nodes;
// recordingMux finds input selectors on the devices behind the endpoints.
//
// A card with a registered observer follows endpoints as they come, go and
// change state. The updates arrive on a platform thread and change the
// shared lists without a lock: pointer results (AudioInterfacePtr) of a live
// card are short-lived, and its lists are not stable under a reader.
#include <libSonvane/SonvaneExport.h>
#include <libSonvane/AudioDeviceInterface.h>
#include <libSonvane/audiodeviceendpoint.h>
#include <libSonvane/audiodevicetopology.h>
#include <libSonvane/audiopart.h>

#include <COM/AtlComPtr.h>
#include <COM/DeviceTopologyApi.h>

#include <orv/OrvArray.h>
#include <orv/OrvOrderedHashTable.h>
#include <orv/OrvResource.h>
#include <orv/OrvString.h>
#include <orv/OrvTypes.h>

#include <windows.h>
#include <mmdeviceapi.h>

class SoundCardInterface;

// A pointer to an AudioDevice inside a card's list; it owns nothing and is
// good until that list next changes.
typedef orv::CopiedResource<orv::PointerStorage<AudioDeviceInterface, 3, 2>> AudioInterfacePtr;
// A card handed out by enumerateSoundCards; the caller deletes it.
typedef orv::CopiedResource<orv::PointerStorage<SoundCardInterface, 3, 2>> SoundCardInterfacePtr;

// Implemented by clients that want to hear of endpoints of a card coming,
// going and changing state. Called on a platform thread. The observer learns
// only that something happened and reads the card to see what.
class SoundCardObserver {
public:
    virtual void deviceStateChanged() = 0;
    virtual void deviceAdded() = 0;
    virtual void deviceRemoved() = 0;
    // The library never destroys an observer; the client does.
    virtual ~SoundCardObserver() {}
};

typedef orv::CopiedResource<orv::PointerStorage<SoundCardObserver, 3, 2>> SoundCardObserverPtr;

class SONVANE_API SoundCardInterface {
public:
    SoundCardInterface();
    SoundCardInterface(const SoundCardInterface& other);
    SoundCardInterface& operator=(const SoundCardInterface& other);

    // Each appends pointers to the matching endpoints, in any state, and
    // returns how many it appended.
    virtual orv::Uint32 microphoneEndpointDevice(orv::Array<AudioInterfacePtr>& result) = 0;
    virtual orv::Uint32 waveOutEndpointDevice(orv::Array<AudioInterfacePtr>& result) = 0;
    virtual orv::Uint32 lineInEndpointDevice(orv::Array<AudioInterfacePtr>& result) = 0;
    virtual orv::Uint32 spdifInEndpointDevice(orv::Array<AudioInterfacePtr>& result) = 0;
    virtual orv::Uint32 spdifOutEndpointDevice(orv::Array<AudioInterfacePtr>& result) = 0;
    virtual orv::Uint32 volumeController(const AudioDeviceInterface& device,
                                         orv::Array<AudioDeviceInterface::VolumeControl>& result) const = 0;
    virtual bool operator==(const SoundCardInterface& other) const = 0;
    // The device instance path that defines the card.
    virtual const orv::String& deviceId() const = 0;
    virtual ~SoundCardInterface();
};

class SONVANE_API SoundCard : public SoundCardInterface {
public:
    typedef orv::SharedResource<orv::PointerStorage<orv::Array<AudioDevice>, 0, 3>, 0> DeviceList;
    typedef orv::SharedResource<orv::PointerStorage<orv::Array<SoundCardObserverPtr>, 0, 3>, 0> ObserverList;
    typedef orv::SharedResource<orv::PointerStorage<orv::String, 0, 3>, 0> SharedId;

    // A hardware volume node found behind an endpoint, with the mute node
    // beside it (null when there is none), and the connector from which it
    // was reached.
    struct VolumeController {
        ATL::CComPtr<IAudioVolumeLevel> volumeLevel;
        ATL::CComPtr<IAudioMute> mute;
        GUID ownerType;
        orv::String ownerName;
    };

    // The card's notification client. It shares the card's lists, observers
    // and id, picks out the events whose device carries the card's path, keeps
    // the lists current and calls the observers.
    //
    // It is made with one reference more than its holders own, so ordinary
    // releases never free it: once registered it must outlive every card and
    // keep the shared parts alive for as long as the platform may call it.
    class SONVANE_API SoundCardDeviceUpdater final : public IMMNotificationClient {
    public:
        static ATL::CComPtr<SoundCardDeviceUpdater> createUpdater();
        ~SoundCardDeviceUpdater();

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;
        HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR pwstrDeviceId, DWORD dwNewState) override;
        HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR pwstrDeviceId) override;
        HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR pwstrDeviceId) override;
        HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow flow, ERole role,
                                                         LPCWSTR pwstrDefaultDeviceId) override;
        HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR pwstrDeviceId, const PROPERTYKEY key) override;

        // Each refuses, with false, a handle that holds no array.
        bool setRecordDeviceList(const DeviceList& list);
        bool setPlaybackDeviceList(const DeviceList& list);
        bool setRecordObserver(const ObserverList& list);
        bool setPlaybackObserver(const ObserverList& list);
        void setOwnerId(const SharedId& id);

    private:
        SoundCardDeviceUpdater();
        SoundCardDeviceUpdater(const SoundCardDeviceUpdater&) = delete;
        SoundCardDeviceUpdater& operator=(const SoundCardDeviceUpdater&) = delete;

        // The list or observers for the device's data flow when the device
        // belongs to this card; an empty handle otherwise.
        const DeviceList selectDeviceList(const AudioDevice& device) const;
        const ObserverList selectObserver(const AudioDevice& device) const;

        volatile LONG m_referenceCount;
        SharedId m_ownerId;
        DeviceList m_recordDeviceList;
        DeviceList m_playbackDeviceList;
        ObserverList m_playbackObserverList;
        ObserverList m_recordObserverList;
    };

    // An empty card with an empty id and a fresh, unregistered updater.
    SoundCard();
    SoundCard(const SoundCard& other);
    SoundCard& operator=(const SoundCard& other);
    // Unregisters nothing: a registered updater goes on serving the shared
    // lists and observers.
    ~SoundCard() override;

    // Every card of the machine, in the order in which their paths first
    // appeared (capture endpoints are listed first), connector maps built.
    static orv::Array<SoundCard> enumerateSystemSoundDevices();
    // The first card whose hardware instance id, or whose parent device's
    // id, is `id` (ignoring case); `card` is left alone when none is.
    static bool createSoundCard(const orv::String& id, SoundCard& card);

    // The hardware instance id: the second "."-separated token of the path;
    // empty when the path has none.
    orv::String instanceId() const;
    const orv::String& deviceId() const override;
    // Same path ignoring case. The interface's operator== compares exactly.
    bool operator==(const SoundCard& other);
    bool operator==(const SoundCardInterface& other) const override;

    // --- Lookup. Copies go with a state filter (a mask of DEVICE_STATE_
    // bits; 15 when the overload takes none); pointers go in any state.
    // Every count is what the call appended.

    // Searches the render and capture endpoints and the devices behind them.
    bool hasEndpoint(const orv::String& id) const;

    orv::Uint32 microphoneEndpointDevice(orv::Array<AudioDevice>& result) const;
    // Knows every microphone node type, the generic one last.
    orv::Uint32 microphoneEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    orv::Uint32 microphoneEndpointDevice(orv::Array<AudioInterfacePtr>& result) override;
    orv::Uint32 lineInEndpointDevice(orv::Array<AudioDevice>& result) const;
    orv::Uint32 lineInEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    orv::Uint32 lineInEndpointDevice(orv::Array<AudioInterfacePtr>& result) override;
    orv::Uint32 spdifInEndpointDevice(orv::Array<AudioDevice>& result) const;
    orv::Uint32 spdifInEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    orv::Uint32 spdifInEndpointDevice(orv::Array<AudioInterfacePtr>& result) override;
    orv::Uint32 spdifOutEndpointDevice(orv::Array<AudioDevice>& result) const;
    orv::Uint32 spdifOutEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    orv::Uint32 spdifOutEndpointDevice(orv::Array<AudioInterfacePtr>& result) override;
    orv::Uint32 speakerEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    orv::Uint32 speakerEndpointDevice(orv::Array<AudioInterfacePtr>& result);
    // Headphones first, then speakers.
    orv::Uint32 waveOutEndpointDevice(orv::Array<AudioDevice>& result) const;
    orv::Uint32 waveOutEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    orv::Uint32 waveOutEndpointDevice(orv::Array<AudioInterfacePtr>& result) override;
    orv::Uint32 hdmiOutEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    orv::Uint32 displayportOutEndpointDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    orv::Uint32 allPlaybackDevice(orv::Array<AudioDevice>& result) const;
    orv::Uint32 allPlaybackDevice(orv::Array<AudioDevice>& result, orv::Uint32 filter) const;
    // Finds nothing: the card has no loopback mix to offer.
    orv::Uint32 loopbackMixEndpointDevice(orv::Array<AudioDevice>& result) const;

    // --- Control discovery.

    // Answers 0 and touches nothing: the search works on an AudioDevice and
    // its own records, below.
    orv::Uint32 volumeController(const AudioDeviceInterface& device,
                                 orv::Array<AudioDeviceInterface::VolumeControl>& result) const override;
    // Replaces `result` with a record per volume node on the connectors
    // reachable from the endpoint's connectors, in breadth-first order;
    // returns their number. The endpoint must belong to this card.
    orv::Uint32 volumeController(const AudioDevice& endpoint, orv::Array<SoundCard::VolumeController>& result) const;
    // Appends the input selectors of the devices behind the endpoints;
    // returns the size of `result`.
    orv::Uint32 recordingMux(orv::Array<ATL::CComPtr<IAudioInputSelector>>& result);

    // --- Live updates. The first observer registers the card's updater with
    // the process-wide enumerator. An observer cannot be taken off again and
    // must outlive every notification.
    bool registerRecordObserver(const SoundCardObserverPtr& observer);
    bool registerPlaybackObserver(const SoundCardObserverPtr& observer);

private:
    // One connector of the card's graph and the indices of the entries it is
    // joined to, by cable or by a signal path inside one topology.
    struct ConnectorMapEntry {
        explicit ConnectorMapEntry(const AudioComponent<IConnector>& component);

        AudioComponent<IConnector> connector;
        orv::Array<orv::Uint32> links;
    };

    typedef orv::OrderedHashTable<orv::String, SoundCard, orv::EqualFunc<orv::String>, orv::HashFunc<orv::String>>
        CardTable;

    // Assembly.
    static void enumerateSystemSoundDevices(const AudioDevice& audioDevice, EDataFlow dataFlow, CardTable& deviceTable);
    bool addDevice(orv::Array<AudioDevice>& deviceTable, const AudioDevice& device);
    bool addEndpointDevice(EDataFlow dataFlow, const AudioDevice& device);
    bool addCaptureEndpointDevice(const AudioDevice& device);
    bool addPlaybackEndpointDevice(const AudioDevice& device);
    bool isDeviceAlreadyInTheCard(const orv::String& deviceId);
    // Index of the first device whose id is `deviceId` ignoring case, or -1.
    static int findDevice(const orv::Array<AudioDevice>& devices, const orv::String& deviceId);
    bool registerObserver(ObserverList& observers, const SoundCardObserverPtr& observer, char const* failure);

    // Connector map.
    void initializeConnectorMap();
    void expandConnector(orv::Uint32 index, orv::Array<orv::String>& visited);
    void linkConnectors();
    void registerConnectors(const orv::Array<AudioDevice>& deviceList);
    void registerConnectors(const AudioDeviceTopology& deviceTopology);
    // Index of the entry with the same connector id (ignoring case), or -1.
    int findConnector(const ConnectorMapEntry& entry) const;

    // Lookup.
    bool findEndpoint(const orv::Array<AudioDevice>& searchFrom, const orv::String& id, AudioDevice& result) const;
    orv::Uint32 findEndpoint(orv::Array<AudioDevice>& searchFrom, const GUID& deviceType,
                             orv::Array<AudioInterfacePtr>& result);
    orv::Uint32 findEndpoint(const orv::Array<AudioDevice>& searchFrom, orv::Array<AudioDevice>& result,
                             orv::Uint32 filter) const;
    orv::Uint32 findEndpoint(const orv::Array<AudioDevice>& searchFrom, const GUID& deviceType,
                             orv::Array<AudioDevice>& result, orv::Uint32 filter) const;

    // Control discovery.
    bool volumeControllerFromConnector(const AudioComponent<IConnector>& connector,
                                       orv::Array<SoundCard::VolumeController>& result) const;
    bool volumeControllerFromList(const orv::Array<AudioPart>& parts, const AudioComponent<IConnector>& connector,
                                  orv::Array<SoundCard::VolumeController>& result) const;
    bool partFromList(const orv::Array<AudioPart>& parts, const GUID& subType, orv::Array<AudioPart>& result) const;

    bool m_notificationRegistered;
    ATL::CComPtr<SoundCardDeviceUpdater> m_updater;
    DeviceList m_playbackDevices;
    DeviceList m_recordDevices;
    DeviceList m_internalDevices;
    ObserverList m_playbackObservers;
    ObserverList m_recordObservers;
    SharedId m_deviceId;
    orv::Array<ConnectorMapEntry> m_connectorMap;
};

// Appends one newly allocated SoundCard per card of the machine; the caller
// owns and deletes them. Does not clear `cards`.
SONVANE_API void enumerateSoundCards(orv::Array<SoundCardInterfacePtr>& cards);

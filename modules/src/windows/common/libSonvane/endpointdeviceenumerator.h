#pragma once
// Listing the machine's audio endpoints.
//
// AudioDeviceEnumerator wraps the platform's device enumerator and keeps COM
// initialised on the thread that made it. Two ways reach one:
//   libSonvane::enumerator()                      a new, not yet initialised
//                                                 enumerator in a counted share
//                                                 (the flat functions' own);
//   AudioDeviceEnumeratorFactory::enumerator()    the one process-wide object,
//                                                 made on first use and deleted
//                                                 when the library unloads.
// The two never share anything.
//
// Two listers read endpoints without that lasting object:
//   libSonvane::EndpointDeviceEnumerator   a short-lived lister for one
//                                          listing, with its own platform
//                                          enumerator made in the constructor;
//   EndpointDeviceEnumeratorCommon         the endpoints of one data flow
//                                          filed into four lists by state.
// Neither initialises COM: the calling thread must have done so.
#include <libSonvane/SonvaneExport.h>
#include <COM/AtlComPtr.h>
#include <COM/comptr.h>

#include <libSonvane/audiodeviceendpoint.h>

#include <orv/OrvArray.h>
#include <orv/OrvResource.h>

#include <windows.h>
#include <mmdeviceapi.h>

namespace libSonvane {

class AudioDeviceEnumerator;

namespace detail {
// The one maker of enumerators, for enumerator() and the factory.
struct EnumeratorMaker;
}  // namespace detail

typedef orv::SharedResource<orv::PointerStorage<AudioDeviceEnumerator, 0, 3>, 0> SharedAudioDeviceEnumerator;

// Makes a new enumerator at each call: not a singleton accessor.
SONVANE_API SharedAudioDeviceEnumerator enumerator();

class SONVANE_API AudioDeviceEnumerator {
public:
    typedef orv::CopiedResource<orv::PointerStorage<IMMDeviceEnumerator, 3, 2>> DeviceEnumeratorView;

    // Shares the platform enumerator and copies the client list. The copy
    // runs no CoInitialize, yet its destructor uninitialises COM once more.
    AudioDeviceEnumerator(AudioDeviceEnumerator const& other);
    AudioDeviceEnumerator& operator=(AudioDeviceEnumerator const& other);
    // Unregisters every client it registered, then lets COM go.
    ~AudioDeviceEnumerator();

    // Creates the platform enumerator into the field; false on failure.
    bool initialize();
    // A view of the platform enumerator, created first if there is none; the
    // view holds null when creation failed. It does not keep the platform
    // object alive.
    DeviceEnumeratorView deviceEnumerator();
    // Replaces `out` with one AudioDevice per endpoint of `flow`, in every
    // state and in the platform's order; returns the count.
    unsigned int audioDevices(EDataFlow flow, orv::Array<AudioDevice>& out) const;
    // Registers the client for endpoint notifications and keeps it until the
    // destructor unregisters it.
    bool addNotificationClient(ATL::CComPtr<IMMNotificationClient> const& client);

private:
    friend struct detail::EnumeratorMaker;

    // Creates no platform object; only COM is initialised.
    AudioDeviceEnumerator();

    ATL::CComPtr<IMMDeviceEnumerator> m_deviceEnumerator;
    orv::Array<ATL::CComPtr<IMMNotificationClient>> m_notificationClient;
    COMInitializer m_comInitializer;
};

class SONVANE_API AudioDeviceEnumeratorFactory {
public:
    typedef orv::CopiedResource<orv::PointerStorage<AudioDeviceEnumerator, 0, 3>> EnumeratorHolder;

    // The process-wide enumerator, made on first call. Its platform
    // enumerator is created on first use through deviceEnumerator().
    static EnumeratorHolder& enumerator();

    AudioDeviceEnumeratorFactory& operator=(AudioDeviceEnumeratorFactory const& other);

private:
    static EnumeratorHolder m_enumerator;
};

// Lists endpoints for one caller and one moment. The platform enumerator is
// made at construction and stays null when that fails: test isInitialized()
// before audioDevices, which does not.
class SONVANE_API EndpointDeviceEnumerator {
public:
    EndpointDeviceEnumerator();
    // Copies share the platform enumerator.
    EndpointDeviceEnumerator(EndpointDeviceEnumerator const& other);
    EndpointDeviceEnumerator& operator=(EndpointDeviceEnumerator const& other);
    ~EndpointDeviceEnumerator();

    bool isInitialized() const;
    ATL::CComPtr<IMMDeviceEnumerator> const& enumerator() const;
    // Replaces `out` with one AudioDevice per endpoint of `flow`, in every
    // state and in the platform's order; returns the count.
    unsigned int audioDevices(EDataFlow flow, orv::Array<AudioDevice>& out) const;

private:
    // Releases what it held and makes a new platform enumerator.
    bool initialize();

    ATL::CComPtr<IMMDeviceEnumerator> m_enumerator;
};

}  // namespace libSonvane

// The endpoints of one data flow in four lists, one per device state, and
// at most one registered notification observer. For other modules of the
// suite: nothing in this library makes one.
//
// The observer is a plain pointer. Neither clear() nor the destructor
// unregisters it, so a registered observer must be replaced or outlive the
// object; copies name the same observer.
class SONVANE_API EndpointDeviceEnumeratorCommon {
public:
    EndpointDeviceEnumeratorCommon();
    // Enumerates `flow` at once; the result is dropped.
    explicit EndpointDeviceEnumeratorCommon(EDataFlow flow);
    EndpointDeviceEnumeratorCommon(EndpointDeviceEnumeratorCommon const& other);
    EndpointDeviceEnumeratorCommon& operator=(EndpointDeviceEnumeratorCommon const& other);
    ~EndpointDeviceEnumeratorCommon();

    // Starts from scratch with a new platform enumerator and fills the lists;
    // false, with everything empty, when the enumerator cannot be made.
    bool enumerate(EDataFlow flow);
    // Renews the lists with the enumerator already held, which must exist.
    void refresh(EDataFlow flow);

    orv::Array<AudioDevice> activeDevice();
    orv::Array<AudioDevice> notPresentDevice();
    orv::Array<AudioDevice> disabledDevice();
    orv::Array<AudioDevice> unpluggedDevice();
    orv::Array<AudioDevice> const& activeDevice() const;
    orv::Array<AudioDevice> const& notPresentDevice() const;
    orv::Array<AudioDevice> const& disabledDevice() const;
    orv::Array<AudioDevice> const& unpluggedDevice() const;

    ATL::CComPtr<IMMDeviceEnumerator> enumerator();
    // Replaces the registered observer; null is ignored and keeps the old
    // one. Only the last observer is ever registered.
    void registerNotificationObserver(IMMNotificationClient* client);

private:
    // Room for a later use; nothing fills it.
    struct ReservedRecord {
        unsigned int value;
    };

    void unregisterNotificationObserver();
    void clearDeviceList();
    void clear();

    orv::Array<AudioDevice> m_activeDevice;
    orv::Array<AudioDevice> m_notPresentDevice;
    orv::Array<AudioDevice> m_disabledDevice;
    orv::Array<AudioDevice> m_unpluggedDevice;
    orv::Array<ReservedRecord> m_reservedRecord;
    IMMNotificationClient* m_notificationObserver;
    ATL::CComPtr<IMMDeviceEnumerator> m_enumerator;
};

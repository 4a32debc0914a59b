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
#include <libSonvane/SonvaneExport.h>
#include <COM/AtlComPtr.h>
#include <COM/comptr.h>

#include <orv/OrvArray.h>
#include <orv/OrvResource.h>

#include <windows.h>
#include <mmdeviceapi.h>

class AudioDevice;

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

}  // namespace libSonvane

#pragma once
// VolumeChangeNotification: the object that the platform calls when an
// endpoint's volume or mute changes. It tells the client twice, first by a
// plain function call on the platform's thread, then by posting message 977
// (wParam 0, lParam 0) to a window, which moves the news to that window's own
// thread. What changed is not passed on: the client reads the controller
// again.
//
// Usage: construct on the heap (the initial count of 1 is the constructor's),
// set the callbacks, hold it in an ATL::CComPtr and give it to
// VolumeController<EndpointVolumeController>::registerVolumeChangeNotification.
//
// Only the reference count is atomic. The callbacks may be changed at any
// time, also while registered; a function and context stored while a
// notification runs can be seen half new.
#include <libSonvane/SonvaneExport.h>

#include <COM/DeviceTopologyApi.h>

#include <windows.h>
#include <endpointvolume.h>

class SONVANE_API VolumeChangeNotification final : public IAudioEndpointVolumeCallback {
public:
    // The message posted on every change.
    static constexpr UINT changeMessage = 977;

    VolumeChangeNotification();
    // Copies take every member, the reference count included.
    VolumeChangeNotification(VolumeChangeNotification const& other);
    VolumeChangeNotification& operator=(VolumeChangeNotification const& other);
    ~VolumeChangeNotification();

    void setCallbackWindow(HWND window);
    void setCallbackFunction(void (*function)(void*), void* context);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    // Deletes the object when the count reaches 0.
    ULONG STDMETHODCALLTYPE Release() override;
    // Calls the function if there is one, then posts the message, also to a
    // null window; always answers 0.
    HRESULT STDMETHODCALLTYPE OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA data) override;

private:
    LONG m_refCount;
    HWND m_callbackWindow;
    void (*m_callbackFunction)(void*);
    void* m_callbackContext;
};

#include <libSonvane/VolumeChangeNotification.h>

#include <orv/OrvLog.h>

ORV_LOG_CATEGORY("libSonvane.volumeChangeNotification");

VolumeChangeNotification::VolumeChangeNotification()
    : m_refCount(1), m_callbackWindow(nullptr), m_callbackFunction(nullptr), m_callbackContext(nullptr) {}

VolumeChangeNotification::VolumeChangeNotification(VolumeChangeNotification const& other)
    : IAudioEndpointVolumeCallback(),
      m_refCount(other.m_refCount),
      m_callbackWindow(other.m_callbackWindow),
      m_callbackFunction(other.m_callbackFunction),
      m_callbackContext(other.m_callbackContext) {}

VolumeChangeNotification& VolumeChangeNotification::operator=(VolumeChangeNotification const& other) {
    m_refCount = other.m_refCount;
    m_callbackWindow = other.m_callbackWindow;
    m_callbackFunction = other.m_callbackFunction;
    m_callbackContext = other.m_callbackContext;
    return *this;
}

VolumeChangeNotification::~VolumeChangeNotification() {
    m_callbackWindow = nullptr;
    m_callbackFunction = nullptr;
    m_callbackContext = nullptr;
}

void VolumeChangeNotification::setCallbackWindow(HWND window) {
    m_callbackWindow = window;
}

void VolumeChangeNotification::setCallbackFunction(void (*function)(void*), void* context) {
    m_callbackFunction = function;
    m_callbackContext = context;
}

HRESULT STDMETHODCALLTYPE VolumeChangeNotification::QueryInterface(REFIID iid, void** out) {
    *out = nullptr;
    if (IsEqualIID(iid, __uuidof(IUnknown)) || IsEqualIID(iid, __uuidof(IAudioEndpointVolumeCallback))) {
        *out = static_cast<IAudioEndpointVolumeCallback*>(this);
    }
    if (!*out) {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG STDMETHODCALLTYPE VolumeChangeNotification::AddRef() {
    return static_cast<ULONG>(InterlockedIncrement(&m_refCount));
}

ULONG STDMETHODCALLTYPE VolumeChangeNotification::Release() {
    LONG count = InterlockedDecrement(&m_refCount);
    if (count == 0) {
        delete this;
    }
    return static_cast<ULONG>(count);
}

HRESULT STDMETHODCALLTYPE VolumeChangeNotification::OnNotify(PAUDIO_VOLUME_NOTIFICATION_DATA data) {
    ORV_TRACE("OnNotify");
    if (m_callbackFunction) {
        m_callbackFunction(m_callbackContext);
    }
    // Posted whatever the function did, so that a window hears of every
    // change; a refused post has no one to tell.
    PostMessageW(m_callbackWindow, changeMessage, 0, 0);
    return S_OK;
}

#include <libSonvane/volumecontroller.h>

#include <orv/OrvException.h>
#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <type_traits>

ORV_LOG_CATEGORY("libSonvane.volumecontroller");

namespace {

// Which of the two variants a controller is; each operation below carries
// the endpoint form first and the regular form second.
template <class T>
constexpr bool isEndpoint = std::is_same<T, EndpointVolumeController>::value;

// The interface that answers the channel count of a description.
IAudioEndpointVolume* levelInterface(EndpointVolumeController const& controller) {
    return controller.endpointVolume;
}

IAudioVolumeLevel* levelInterface(RegularVolumeController const& controller) {
    return controller.volumeLevel;
}

// The platform's scalar 0..1 as a percent, rounded to the nearest.
unsigned int scalarToPercent(float scalar) {
    return static_cast<unsigned int>(scalar * 100.0f + 0.5f);
}

// How far `level` lies into the range, as a fraction of its width.
float rangeFraction(float level, VolumeControllerInterface::DbVolumeRange const& range) {
    return (level - range.minimum) / (range.maximum - range.minimum);
}

}  // namespace

VolumeControllerInterface::VolumeControllerInterface() {}
VolumeControllerInterface::VolumeControllerInterface(VolumeControllerInterface const& other) {}
VolumeControllerInterface::~VolumeControllerInterface() {}

template <class T>
VolumeController<T>::VolumeController(T const& controller) : m_controller(controller) {
    ORV_TRACE("VolumeController::VolumeController");
}

template <class T>
VolumeController<T>::VolumeController(VolumeController const& other)
    : VolumeControllerInterface(other), m_controller(other.m_controller), m_notification(other.m_notification) {
    ORV_TRACE("VolumeController::VolumeController");
}

template <class T>
VolumeController<T>& VolumeController<T>::operator=(VolumeController const& other) {
    ORV_TRACE("VolumeController::operator=");
    m_controller = other.m_controller;
    m_notification = other.m_notification;
    return *this;
}

template <class T>
void VolumeController<T>::initialize(T const& controller) {
    ORV_TRACE("VolumeController::initialize");
    m_controller = controller;
}

template <class T>
VolumeController<T>::~VolumeController() {
    ORV_TRACE("VolumeController::~VolumeController");
    if constexpr (isEndpoint<T>) {
        if (m_notification) {
            m_controller.endpointVolume->UnregisterControlChangeNotify(m_notification);
        }
    }
}

template <class T>
unsigned int VolumeController<T>::numChannel() const {
    auto volume = levelInterface(m_controller);
    if (!volume) {
        return 0;
    }
    UINT count = 0;
    volume->GetChannelCount(&count);
    return count;
}

template <class T>
unsigned int VolumeController<T>::volumeLevelPercent(unsigned int channel) const {
    ORV_TRACE("VolumeController::volumeLevelPercent");
    if constexpr (isEndpoint<T>) {
        float scalar = 0.0f;
        m_controller.endpointVolume->GetChannelVolumeLevelScalar(channel, &scalar);
        return scalarToPercent(scalar);
    } else {
        DbVolumeRange range = {0.0f, 0.0f, 0.0f};
        volumeRangeDecibel(channel, range);
        float level = volumeLevelDecibel(channel);
        float percent = rangeFraction(level, range) * 100.0f;
        return static_cast<unsigned int>(static_cast<double>(percent) + 0.5);
    }
}

template <class T>
float VolumeController<T>::volumeLevelDecibel(unsigned int channel) const {
    ORV_TRACE("VolumeController::volumeLevelDecibel");
    float level = 0.0f;
    if constexpr (isEndpoint<T>) {
        m_controller.endpointVolume->GetChannelVolumeLevel(channel, &level);
    } else {
        m_controller.volumeLevel->GetLevel(channel, &level);
    }
    return level;
}

template <class T>
bool VolumeController<T>::volumeRangeDecibel(unsigned int channel, DbVolumeRange& range) const {
    ORV_TRACE("VolumeController::setVolumeLevelDecibel");
    HRESULT hr;
    if constexpr (isEndpoint<T>) {
        // The endpoint has one range for all its channels.
        hr = m_controller.endpointVolume->GetVolumeRange(&range.minimum, &range.maximum, &range.step);
    } else {
        hr = m_controller.volumeLevel->GetLevelRange(channel, &range.minimum, &range.maximum, &range.step);
    }
    return SUCCEEDED(hr);
}

template <class T>
unsigned int VolumeController<T>::masterVolumeLevelPercent() const {
    ORV_TRACE("VolumeController::masterVolumeLevelPercent");
    if constexpr (isEndpoint<T>) {
        float scalar = 0.0f;
        m_controller.endpointVolume->GetMasterVolumeLevelScalar(&scalar);
        return scalarToPercent(scalar);
    } else {
        ORV_ASSERT(numChannel() > 0, __FILE__);
        // Channel 0's range stands for all channels.
        DbVolumeRange range = {0.0f, 0.0f, 0.0f};
        volumeRangeDecibel(0, range);
        float level = masterVolumeLevelDecibel();
        return static_cast<unsigned int>((rangeFraction(level, range) + 0.5f) * 100.0f);
    }
}

template <class T>
float VolumeController<T>::masterVolumeLevelDecibel() const {
    ORV_TRACE("VolumeController::masterVolumeLevelDecibel");
    if constexpr (isEndpoint<T>) {
        float level = 0.0f;
        m_controller.endpointVolume->GetMasterVolumeLevel(&level);
        return level;
    } else {
        // The mean of the channels; with none it is 0 / 0.
        float sum = 0.0f;
        for (unsigned int channel = 0; channel < numChannel(); ++channel) {
            sum += volumeLevelDecibel(channel);
        }
        return sum / static_cast<float>(numChannel());
    }
}

template <class T>
bool VolumeController<T>::setVolumeLevelPercent(unsigned int channel, unsigned int percent) {
    ORV_TRACE("VolumeController::setVolumeLevelPercent");
    HRESULT hr;
    if constexpr (isEndpoint<T>) {
        hr = m_controller.endpointVolume->SetChannelVolumeLevelScalar(channel, percent / 100.0f, nullptr);
    } else {
        DbVolumeRange range = {0.0f, 0.0f, 0.0f};
        volumeRangeDecibel(channel, range);
        float level = (range.maximum - range.minimum) * (percent / 100.0f) + range.minimum;
        hr = m_controller.volumeLevel->SetLevel(channel, level, nullptr);
    }
    return SUCCEEDED(hr);
}

template <class T>
bool VolumeController<T>::setVolumeLevelDecibel(unsigned int channel, float decibel) {
    ORV_TRACE("VolumeController::setVolumeLevelDecibel");
    HRESULT hr;
    if constexpr (isEndpoint<T>) {
        hr = m_controller.endpointVolume->SetChannelVolumeLevel(channel, decibel, nullptr);
    } else {
        hr = m_controller.volumeLevel->SetLevel(channel, decibel, nullptr);
    }
    return SUCCEEDED(hr);
}

template <class T>
bool VolumeController<T>::setMasterVolumeLevelPercent(unsigned int percent) {
    ORV_TRACE("VolumeController::setMasterVolumeLevelPercent");
    if constexpr (isEndpoint<T>) {
        return SUCCEEDED(m_controller.endpointVolume->SetMasterVolumeLevelScalar(percent / 100.0f, nullptr));
    } else {
        // Topology nodes have no master scalar; the per-channel setter is not
        // a stand-in for it.
        return false;
    }
}

template <class T>
bool VolumeController<T>::setMasterVolumeLevelDecibel(float decibel) {
    ORV_TRACE("VolumeController::setMasterVolumeLevelDecibel");
    HRESULT hr;
    if constexpr (isEndpoint<T>) {
        hr = m_controller.endpointVolume->SetMasterVolumeLevel(decibel, nullptr);
    } else {
        hr = m_controller.volumeLevel->SetLevelUniform(decibel, nullptr);
    }
    return SUCCEEDED(hr);
}

template <class T>
bool VolumeController<T>::registerVolumeChangeNotification(
    ATL::CComPtr<VolumeChangeNotification> const& notification) {
    ORV_TRACE("VolumeController::registerVolumeChangeNotification");
    if constexpr (isEndpoint<T>) {
        IAudioEndpointVolume* volume = m_controller.endpointVolume;
        if (!volume) {
            ORV_LOG(3) << "Volume controller has not been initialized yet";
            return false;
        }
        if (m_notification) {
            volume->UnregisterControlChangeNotify(m_notification);
        }
        m_notification = notification;
        HRESULT hr = volume->RegisterControlChangeNotify(m_notification);
        if (FAILED(hr)) {
            ORV_LOG(3) << "Unable to register control change notification " << orv::OrvValue(hr).toHexString(true);
        }
        return SUCCEEDED(hr);
    } else {
        // Topology nodes tell no one of their changes.
        return false;
    }
}

template <class T>
orv::String const& VolumeController<T>::ownerName() const {
    ORV_TRACE("VolumeController::ownerName");
    return m_controller.ownerName;
}

template <class T>
GUID const& VolumeController<T>::ownerType() const {
    ORV_TRACE("VolumeController::ownerType");
    return m_controller.ownerType;
}

template <class T>
bool VolumeController<T>::isMuted() const {
    ORV_TRACE("VolumeController::isMuted");
    // Preset to muted: a control that cannot tell is taken as silent.
    BOOL muted = 1;
    if constexpr (isEndpoint<T>) {
        m_controller.endpointVolume->GetMute(&muted);
    } else {
        m_controller.mute->GetMute(&muted);
    }
    return muted == 1;
}

template <class T>
bool VolumeController<T>::setMute(bool mute) {
    ORV_TRACE("VolumeController::setMute");
    HRESULT hr;
    if constexpr (isEndpoint<T>) {
        hr = m_controller.endpointVolume->SetMute(mute ? 1 : 0, nullptr);
    } else {
        hr = m_controller.mute->SetMute(mute ? 1 : 0, nullptr);
    }
    return SUCCEEDED(hr);
}

template <class T>
bool VolumeController<T>::hasVolumeControl() const {
    if constexpr (isEndpoint<T>) {
        return true;
    } else {
        return m_controller.volumeLevel != nullptr;
    }
}

template <class T>
bool VolumeController<T>::hasMuteControl() const {
    if constexpr (isEndpoint<T>) {
        return true;
    } else {
        return m_controller.mute != nullptr;
    }
}

template class VolumeController<EndpointVolumeController>;
template class VolumeController<RegularVolumeController>;

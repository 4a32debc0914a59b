#pragma once
// One view of a volume control: levels per channel and master, in percent and
// in decibels, mute, and who owns the control.
//
// VolumeController<EndpointVolumeController> sits on an endpoint's
// IAudioEndpointVolume; it is what every device gets. It alone can register a
// VolumeChangeNotification.
//
// VolumeController<RegularVolumeController> sits on the IAudioVolumeLevel and
// IAudioMute of topology nodes. Those know decibels only, so its percent
// values are computed from the reported range of the channel:
//   channel percent = (level - minimum) / (maximum - minimum) * 100, rounded;
//   master percent  = ((level - minimum) / (maximum - minimum) + 0.5) * 100,
//                     truncated, with the mean level of all channels and the
//                     range of channel 0: the master reads 50 at the minimum
//                     and 150 at the maximum, by design of this variant.
// It has no master percent setter (always false) and no notification.
//
// Common rules: a bool result is true when the platform call succeeded. Level
// getters start from 0 and do not test the platform's answer, so a failing
// getter reads 0 dB or 0 percent, and a failing mute getter reads muted.
// Percent values are neither clamped nor range-checked. Apart from numChannel
// and registerVolumeChangeNotification nothing tests the interface pointers:
// ask hasVolumeControl / hasMuteControl first on a regular control.
#include <libSonvane/SonvaneExport.h>
#include <libSonvane/VolumeChangeNotification.h>

#include <COM/AtlComPtr.h>
#include <COM/DeviceTopologyApi.h>

#include <orv/OrvString.h>

#include <windows.h>
#include <endpointvolume.h>

class SONVANE_API VolumeControllerInterface {
public:
    struct DbVolumeRange {
        float minimum;
        float maximum;
        // As the platform reports it; not used by the controllers.
        float step;
    };

    VolumeControllerInterface();
    VolumeControllerInterface(VolumeControllerInterface const& other);

    virtual unsigned int numChannel() const = 0;
    virtual unsigned int volumeLevelPercent(unsigned int channel) const = 0;
    virtual float volumeLevelDecibel(unsigned int channel) const = 0;
    virtual bool volumeRangeDecibel(unsigned int channel, DbVolumeRange& range) const = 0;
    virtual unsigned int masterVolumeLevelPercent() const = 0;
    virtual float masterVolumeLevelDecibel() const = 0;
    virtual bool setVolumeLevelPercent(unsigned int channel, unsigned int percent) = 0;
    virtual bool setVolumeLevelDecibel(unsigned int channel, float decibel) = 0;
    virtual bool setMasterVolumeLevelPercent(unsigned int percent) = 0;
    virtual bool setMasterVolumeLevelDecibel(float decibel) = 0;
    virtual bool registerVolumeChangeNotification(ATL::CComPtr<VolumeChangeNotification> const& notification) = 0;
    virtual orv::String const& ownerName() const = 0;
    virtual GUID const& ownerType() const = 0;
    virtual bool isMuted() const = 0;
    virtual bool setMute(bool mute) = 0;
    virtual bool hasVolumeControl() const = 0;
    virtual bool hasMuteControl() const = 0;
    virtual ~VolumeControllerInterface();
};

// The endpoint volume object of a device and who it belongs to.
struct EndpointVolumeController {
    ATL::CComPtr<IAudioEndpointVolume> endpointVolume;
    GUID ownerType;
    orv::String ownerName;
};

// The level and mute nodes of a topology and who they belong to; mute is null
// when the node has none beside it.
struct RegularVolumeController {
    ATL::CComPtr<IAudioVolumeLevel> volumeLevel;
    ATL::CComPtr<IAudioMute> mute;
    GUID ownerType;
    orv::String ownerName;
};

template <class T>
class VolumeController : public VolumeControllerInterface {
public:
    explicit VolumeController(T const& controller);
    // Shares the registered notification too.
    VolumeController(VolumeController const& other);
    VolumeController& operator=(VolumeController const& other);
    // Replaces the description only.
    void initialize(T const& controller);

    unsigned int numChannel() const override;
    unsigned int volumeLevelPercent(unsigned int channel) const override;
    float volumeLevelDecibel(unsigned int channel) const override;
    bool volumeRangeDecibel(unsigned int channel, DbVolumeRange& range) const override;
    unsigned int masterVolumeLevelPercent() const override;
    float masterVolumeLevelDecibel() const override;
    bool setVolumeLevelPercent(unsigned int channel, unsigned int percent) override;
    bool setVolumeLevelDecibel(unsigned int channel, float decibel) override;
    bool setMasterVolumeLevelPercent(unsigned int percent) override;
    bool setMasterVolumeLevelDecibel(float decibel) override;
    // Unregisters a notification registered before, keeps the new one (also
    // when the platform refuses it) and registers it.
    bool registerVolumeChangeNotification(ATL::CComPtr<VolumeChangeNotification> const& notification) override;
    orv::String const& ownerName() const override;
    GUID const& ownerType() const override;
    bool isMuted() const override;
    bool setMute(bool mute) override;
    bool hasVolumeControl() const override;
    bool hasMuteControl() const override;
    // The endpoint variant unregisters its notification first; every copy
    // does so, and only the first call finds it registered.
    ~VolumeController() override;

private:
    T m_controller;
    ATL::CComPtr<VolumeChangeNotification> m_notification;
};

extern template class SONVANE_API VolumeController<EndpointVolumeController>;
extern template class SONVANE_API VolumeController<RegularVolumeController>;

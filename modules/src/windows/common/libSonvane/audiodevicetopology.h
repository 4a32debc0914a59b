#pragma once
// AudioDeviceTopology: a snapshot of one device topology, the id of the device
// that owns it and its connectors and subunits in the platform's order. It
// changes only by a new initialize, and does not follow the device.
//
// A topology built from a connector or subunit describes the device that
// holds that node, which is how the owner of a connector is found.
#include <libSonvane/SonvaneExport.h>
#include <libSonvane/audiopart.h>

#include <COM/AtlComPtr.h>
#include <COM/DeviceTopologyApi.h>

#include <orv/OrvArray.h>
#include <orv/OrvString.h>

class SONVANE_API AudioDeviceTopology {
public:
    AudioDeviceTopology();
    // The constructors drop the result of initialize: test isInitialized().
    AudioDeviceTopology(const ATL::CComPtr<IDeviceTopology>& deviceTopology);
    AudioDeviceTopology(const ATL::CComPtr<ISubunit>& subunit);
    AudioDeviceTopology(const ATL::CComPtr<IConnector>& connector);
    AudioDeviceTopology(const AudioComponent<IConnector>& connector);
    AudioDeviceTopology(const AudioDeviceTopology& other);
    AudioDeviceTopology& operator=(const AudioDeviceTopology& other);
    AudioDeviceTopology& operator=(const ATL::CComPtr<IDeviceTopology>& deviceTopology);
    ~AudioDeviceTopology();

    // Each of these starts from an empty snapshot, so a failure leaves the
    // object empty whatever it held. A non-null topology always gives true,
    // even when no connector or subunit could be read.
    bool initialize(const ATL::CComPtr<IDeviceTopology>& deviceTopology);
    bool initialize(const ATL::CComPtr<IConnector>& connector);
    bool initialize(const ATL::CComPtr<ISubunit>& subunit);

    bool isInitialized() const;
    ATL::CComPtr<IDeviceTopology>& topology();
    const ATL::CComPtr<IDeviceTopology>& topology() const;
    orv::String deviceOwner() const;
    orv::Array<AudioComponent<IConnector>>& connector();
    const orv::Array<AudioComponent<IConnector>>& connector() const;
    orv::Array<AudioComponent<ISubunit>>& subunit();
    const orv::Array<AudioComponent<ISubunit>>& subunit() const;

    // Whether the platform finds a signal path between the two connectors in
    // either direction. A connector is never linked to itself. The snapshot
    // must be initialized.
    bool connectorsAreLinked(const AudioComponent<IConnector>& first,
                             const AudioComponent<IConnector>& second) const;

private:
    bool initialize(const ATL::CComPtr<IPart>& part);
    template <class Interface>
    bool initializeHelper(Interface* obj);
    void clear();

    ATL::CComPtr<IDeviceTopology> m_topology;
    orv::String m_deviceOwner;
    orv::Array<AudioComponent<IConnector>> m_connector;
    orv::Array<AudioComponent<ISubunit>> m_subunit;
};

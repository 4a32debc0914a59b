#include <libSonvane/audiodevicetopology.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <objbase.h>

ORV_LOG_CATEGORY("libSonvane.audioDeviceTopology");

namespace {

// The topology's connectors in index order; one that cannot be read is left
// out and costs nothing else.
void readConnectors(IDeviceTopology* topology, orv::Array<AudioComponent<IConnector>>& list) {
    UINT count = 0;
    topology->GetConnectorCount(&count);
    ORV_LOG(2) << "Num connector = " << count;
    for (UINT index = 0; index < count; ++index) {
        IConnector* connector = nullptr;
        HRESULT hr = topology->GetConnector(index, &connector);
        if (FAILED(hr)) {
            ORV_LOG(3) << "Unable to retrieve connector index " << index << " "
                       << orv::OrvValue(hr).toHexString(true);
            continue;
        }
        list.append(AudioComponent<IConnector>(connector));
        if (connector) {
            connector->Release();
        }
    }
}

// The topology's subunits in index order, as readConnectors.
void readSubunits(IDeviceTopology* topology, orv::Array<AudioComponent<ISubunit>>& list) {
    UINT count = 0;
    topology->GetSubunitCount(&count);
    ORV_LOG(2) << "Subunit count = " << count;
    for (UINT index = 0; index < count; ++index) {
        ISubunit* subunit = nullptr;
        HRESULT hr = topology->GetSubunit(index, &subunit);
        if (FAILED(hr)) {
            ORV_LOG(3) << "Unable to retrieve subunit index " << index << " "
                       << orv::OrvValue(hr).toHexString(true);
            continue;
        }
        list.append(AudioComponent<ISubunit>(subunit));
        if (subunit) {
            subunit->Release();
        }
    }
}

}  // namespace

AudioDeviceTopology::AudioDeviceTopology() {}

AudioDeviceTopology::AudioDeviceTopology(const ATL::CComPtr<IDeviceTopology>& deviceTopology) {
    ORV_TRACE("AudioDeviceTopology::AudioDeviceTopology");
    initialize(deviceTopology);
}

AudioDeviceTopology::AudioDeviceTopology(const ATL::CComPtr<ISubunit>& subunit) {
    ORV_TRACE("AudioDeviceTopology::AudioDeviceTopology");
    initializeHelper(subunit.p);
}

AudioDeviceTopology::AudioDeviceTopology(const ATL::CComPtr<IConnector>& connector) {
    ORV_TRACE("AudioDeviceTopology::AudioDeviceTopology");
    initializeHelper(connector.p);
}

AudioDeviceTopology::AudioDeviceTopology(const AudioComponent<IConnector>& connector) {
    ORV_TRACE("AudioDeviceTopology::AudioDeviceTopology");
    initializeHelper(connector.component().p);
}

AudioDeviceTopology::AudioDeviceTopology(const AudioDeviceTopology& other) = default;
AudioDeviceTopology& AudioDeviceTopology::operator=(const AudioDeviceTopology& other) = default;
AudioDeviceTopology::~AudioDeviceTopology() = default;

AudioDeviceTopology& AudioDeviceTopology::operator=(const ATL::CComPtr<IDeviceTopology>& deviceTopology) {
    initialize(deviceTopology);
    return *this;
}

bool AudioDeviceTopology::initialize(const ATL::CComPtr<IDeviceTopology>& deviceTopology) {
    ORV_TRACE("AudioDeviceTopology::initialize");
    clear();
    m_topology = deviceTopology;
    if (!m_topology) {
        ORV_LOG(2) << "Using NULL deviceTopology invalidates this object";
        return false;
    }

    // Some drivers report a failure and still hand out the id; it is used.
    LPWSTR deviceId = nullptr;
    HRESULT hr = m_topology->GetDeviceId(&deviceId);
    if (deviceId) {
        m_deviceOwner = deviceId;
        CoTaskMemFree(deviceId);
    }
    if (FAILED(hr)) {
        ORV_LOG(3) << "Unable to retrieve device id from topology " << orv::OrvValue(hr).toHexString(true);
    }

    readConnectors(m_topology, m_connector);
    readSubunits(m_topology, m_subunit);
    return true;
}

bool AudioDeviceTopology::initialize(const ATL::CComPtr<IConnector>& connector) {
    return initializeHelper(connector.p);
}

bool AudioDeviceTopology::initialize(const ATL::CComPtr<ISubunit>& subunit) {
    return initializeHelper(subunit.p);
}

bool AudioDeviceTopology::initialize(const ATL::CComPtr<IPart>& part) {
    ORV_TRACE("AudioDeviceTopology::initialize");
    if (!part) {
        ORV_LOG(3) << "Cannot use NULL part to get device topology";
        return false;
    }
    // A failure here still ends in the null topology's line and false below.
    ATL::CComPtr<IDeviceTopology> deviceTopology;
    HRESULT hr = partTopologyObject(part, &deviceTopology);
    if (FAILED(hr)) {
        ORV_LOG(3) << "GetTopologyObject fails " << orv::OrvValue(hr).toHexString(true);
    }
    return initialize(deviceTopology);
}

template <class Interface>
bool AudioDeviceTopology::initializeHelper(Interface* obj) {
    ORV_TRACE("AudioDeviceTopology::initializeHelper");
    clear();
    if (!obj) {
        ORV_LOG(3) << "Cannot use NULL as parameter";
        return false;
    }
    ATL::CComPtr<IPart> part;
    HRESULT hr = obj->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&part));
    if (FAILED(hr)) {
        ORV_LOG(3) << "No part interface found";
        return false;
    }
    return initialize(part);
}

void AudioDeviceTopology::clear() {
    m_topology.Release();
    m_deviceOwner.clear();
    m_connector.clear();
    m_subunit.clear();
}

bool AudioDeviceTopology::isInitialized() const {
    return m_topology != nullptr;
}

ATL::CComPtr<IDeviceTopology>& AudioDeviceTopology::topology() {
    return m_topology;
}

const ATL::CComPtr<IDeviceTopology>& AudioDeviceTopology::topology() const {
    return m_topology;
}

orv::String AudioDeviceTopology::deviceOwner() const {
    return m_deviceOwner;
}

orv::Array<AudioComponent<IConnector>>& AudioDeviceTopology::connector() {
    return m_connector;
}

const orv::Array<AudioComponent<IConnector>>& AudioDeviceTopology::connector() const {
    return m_connector;
}

orv::Array<AudioComponent<ISubunit>>& AudioDeviceTopology::subunit() {
    return m_subunit;
}

const orv::Array<AudioComponent<ISubunit>>& AudioDeviceTopology::subunit() const {
    return m_subunit;
}

bool AudioDeviceTopology::connectorsAreLinked(const AudioComponent<IConnector>& first,
                                              const AudioComponent<IConnector>& second) const {
    ORV_TRACE("AudioDeviceTopology::connectorsAreLinked");
    if (orv::String::compareNoCase(first.id(), second.id()) == 0) {
        ORV_LOG(3) << "Function treats the same connectors as unlinked";
        return false;
    }
    ATL::CComPtr<IPart> firstPart = first.part().part();
    ATL::CComPtr<IPart> secondPart = second.part().part();
    if (!firstPart || !secondPart) {
        ORV_LOG(3) << "One of the connectors is invalid";
        return false;
    }

    // The platform's search is the only one; what it finds is not read, only
    // whether it finds anything.
    IPartsList* path = nullptr;
    bool linked = SUCCEEDED(m_topology->GetSignalPath(firstPart, secondPart, TRUE, &path));
    if (!linked) {
        ORV_LOG(3) << "No signal path from " << first.id() << " to " << second.id();
        linked = SUCCEEDED(m_topology->GetSignalPath(secondPart, firstPart, TRUE, &path));
        if (!linked) {
            ORV_LOG(3) << "No signal path from " << second.id() << " to " << first.id();
        }
    }
    if (path) {
        path->Release();
    }
    return linked;
}

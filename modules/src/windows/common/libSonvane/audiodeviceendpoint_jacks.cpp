// AudioDevice: the physical jacks behind an endpoint, and the number under
// which the legacy wave functions know the same endpoint.
#include <libSonvane/audiodeviceendpoint.h>

#include <orv/OrvLog.h>
#include <orv/OrvResource.h>
#include <orv/OrvValue.h>

#include <platform/Platform.h>

#include <windows.h>
#include <mmsystem.h>
#include <objbase.h>
#if __has_include(<mmddk.h>)
#include <mmddk.h>
#endif

#include <cstdint>

// Driver messages that ask a wave device for the id of the endpoint behind
// it. They live in the multimedia driver header, which not every SDK
// installation carries.
#ifndef DRV_QUERYFUNCTIONINSTANCEID
#define DRV_QUERYFUNCTIONINSTANCEID 0x811
#endif
#ifndef DRV_QUERYFUNCTIONINSTANCEIDSIZE
#define DRV_QUERYFUNCTIONINSTANCEIDSIZE 0x812
#endif

ORV_LOG_CATEGORY("libSonvane.audioDeviceEndpoint");

namespace {

// What waveLegacyDeviceID answers when no wave device matches. It is also
// the wave mapper's number, so a stream opened with it still plays somewhere.
unsigned int const kNoLegacyDevice = 0xFFFFFFFFu;

// The id text one driver reports; the block comes from CoTaskMemAlloc.
typedef orv::SharedResource<orv::ComTaskMemStorage<unsigned short>, 1> IdBuffer;

HRESULT connectorAt(IDeviceTopology* topology, UINT index, ATL::CComPtr<IConnector>& connector) {
    return topology->GetConnector(index, &connector);
}

// The far side of a connection is where a jack interface may be offered.
// Each step that finds nothing leaves `jacks` null.
void jackInterfaceBehind(IConnector* connector, ATL::CComPtr<IKsJackDescription>& jacks) {
    ATL::CComPtr<IConnector> partner;
    if (FAILED(connector->GetConnectedTo(&partner))) {
        ORV_LOG(1) << "No Jack Info for non-active device";
        return;
    }
    ATL::CComPtr<IPart> part;
    if (FAILED(partner->QueryInterface(__uuidof(IPart), reinterpret_cast<void**>(&part)))) {
        ORV_LOG(1) << "No jack info. Can't find IPart";
        return;
    }
    // A refusal counts even when the part hands out an object with it.
    if (FAILED(part->Activate(CLSCTX_INPROC_SERVER, __uuidof(IKsJackDescription), reinterpret_cast<void**>(&jacks)))) {
        jacks.Release();
    }
}

// Every description is appended, also one whose fetch failed, so that the
// list keeps the jack count the driver announced.
void appendJackDescriptions(IKsJackDescription* jacks, orv::Array<KSJACK_DESCRIPTION>& list) {
    UINT count = 0;
    jacks->GetJackCount(&count);
    for (UINT index = 0; index < count; ++index) {
        KSJACK_DESCRIPTION description = {};
        jacks->GetJackDescription(index, &description);
        list.append(description);
    }
}

UINT legacyDeviceCount(EDataFlow flow) {
    return flow == eRender ? platform::wave().outGetNumDevs() : platform::wave().inGetNumDevs();
}

HWAVEOUT asWaveOutHandle(unsigned int deviceId) {
    return reinterpret_cast<HWAVEOUT>(static_cast<std::uintptr_t>(deviceId));
}

HWAVEIN asWaveInHandle(unsigned int deviceId) {
    return reinterpret_cast<HWAVEIN>(static_cast<std::uintptr_t>(deviceId));
}

template <class Target>
unsigned __int64 addressParameter(Target* target) {
    return static_cast<unsigned __int64>(reinterpret_cast<std::uintptr_t>(target));
}

}  // namespace

// Only the first connector that offers a jack interface is read, even when
// it reports no jack: the endpoint's jacks all sit on one connection.
unsigned int AudioDevice::jackInfo(orv::Array<KSJACK_DESCRIPTION>& list) {
    ORV_TRACE("AudioDevice::jackInfo");
    IDeviceTopology* const topology = m_deviceTopology.topology();
    if (!topology) {
        ORV_LOG(3) << "Audio device has no topology";
        return 0;
    }
    list = orv::Array<KSJACK_DESCRIPTION>();
    // No connector count is read: the first index the topology refuses ends
    // the walk.
    ATL::CComPtr<IConnector> connector;
    for (UINT index = 0; SUCCEEDED(connectorAt(topology, index, connector)); ++index) {
        ATL::CComPtr<IKsJackDescription> jacks;
        jackInterfaceBehind(connector, jacks);
        connector.Release();
        if (jacks) {
            appendJackDescriptions(jacks, list);
            break;
        }
    }
    return list.size();
}

unsigned int AudioDevice::waveMessage(EDataFlow flow, unsigned int deviceId, unsigned int message,
                                      unsigned __int64 param1, unsigned __int64 param2) {
    ORV_TRACE("AudioDevice::waveMessage");
    if (flow == eRender) {
        return platform::wave().outMessage(asWaveOutHandle(deviceId), message, static_cast<DWORD_PTR>(param1),
                                           static_cast<DWORD_PTR>(param2));
    }
    return platform::wave().inMessage(asWaveInHandle(deviceId), message, static_cast<DWORD_PTR>(param1),
                                      static_cast<DWORD_PTR>(param2));
}

// Each wave driver of the endpoint's direction is asked for the id of the
// endpoint it serves; the first whose id equals ours, case included, wins. A
// driver that does not answer costs only its own number; running out of
// memory ends the search.
unsigned int AudioDevice::waveLegacyDeviceID() {
    ORV_TRACE("AudioDevice::waveLegacyDeviceID");
    orv::String const endpointId = deviceProperty().deviceId;
    EDataFlow flow = eRender;
    if (!dataFlow(flow)) {
        ORV_LOG(3) << "Audio stream flow cannot be determined";
        return kNoLegacyDevice;
    }
    if (flow == eAll) {
        ORV_LOG(3) << "Getting a legacy device id with eAll data flow is not possible";
        return kNoLegacyDevice;
    }
    ORV_LOG(1) << "EDataFlow = " << static_cast<int>(flow);

    UINT const count = legacyDeviceCount(flow);
    for (unsigned int legacyId = 0; legacyId < count; ++legacyId) {
        unsigned __int64 idSize = 0;
        unsigned int result =
            waveMessage(flow, legacyId, DRV_QUERYFUNCTIONINSTANCEIDSIZE, addressParameter(&idSize), 0);
        if (result != 0) {
            ORV_LOG(3) << "waveMessage returns an error " << result;
            continue;
        }
        IdBuffer idText(static_cast<unsigned short*>(CoTaskMemAlloc(static_cast<SIZE_T>(idSize))));
        if (idText.isNil()) {
            ORV_LOG(3) << "Cannot allocate device id buffer";
            return kNoLegacyDevice;
        }
        result = waveMessage(flow, legacyId, DRV_QUERYFUNCTIONINSTANCEID, addressParameter(idText.get()), idSize);
        if (result != 0) {
            ORV_LOG(3) << "waveMessage returns an error " << result;
            continue;
        }
        if (orv::String(idText.get()) == endpointId) {
            ORV_LOG(2) << "Endpoint device " << deviceProperty().endpointType << " " << deviceProperty().friendlyName
                       << " " << endpointId << " has wave id = " << legacyId;
            return legacyId;
        }
    }
    return kNoLegacyDevice;
}

// Endpoint groups against the machine's own audio stack. Wine offers no
// device topology, so no endpoint leads to an adapter: every endpoint must be
// looked at, dropped without an error line, and the result is no group.
#include <libSonvane/libSonvane.h>

#include "LogCapture.h"

#include <RealStackTest.h>
#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>
#include <devicetopology.h>

#include <string>

namespace {

class RealStackGroups : public RealStackTest {
protected:
    // Endpoints in the states the groups are built from, counted without the
    // library, and whether any of them has a topology.
    void countGroupableEndpoints(UINT& count, bool& anyTopology) {
        count = 0;
        anyTopology = false;
        ATL::CComPtr<IMMDeviceCollection> collection;
        DWORD const states = DEVICE_STATE_ACTIVE | DEVICE_STATE_DISABLED | DEVICE_STATE_UNPLUGGED;
        ASSERT_TRUE(SUCCEEDED(m_platform->EnumAudioEndpoints(eAll, states, &collection)));
        collection->GetCount(&count);
        for (UINT i = 0; i < count; ++i) {
            ATL::CComPtr<IMMDevice> device;
            collection->Item(i, &device);
            ATL::CComPtr<IDeviceTopology> topology;
            if (SUCCEEDED(device->Activate(__uuidof(IDeviceTopology), CLSCTX_ALL, nullptr,
                                           reinterpret_cast<void**>(&topology)))) {
                anyTopology = true;
            }
        }
    }
};

TEST_F(RealStackGroups, NoTopologyGivesNoGroupAndNoErrorLine) {
    UINT groupable = 0;
    bool anyTopology = true;
    countGroupableEndpoints(groupable, anyTopology);
    ASSERT_GT(groupable, 0u) << "the stack should offer at least its default endpoints";
    ASSERT_FALSE(anyTopology) << "this stack has a device topology: the groups would not be empty";

    LogCapture log;
    libSonvane::EndpointEnumerator enumerator;
    orv::Array<libSonvane::SharedEndpointGroup> groups;
    groups.append(libSonvane::SharedEndpointGroup(new libSonvane::EndpointGroup()));
    EXPECT_EQ(0u, enumerator.enumerate(groups));
    EXPECT_EQ(0u, groups.size()) << "enumerate must empty what it is given";

    // The enumerator is silent about endpoints without topology: what tells
    // why the list is empty is that every groupable endpoint went through the
    // adapter lookup (its trace line) and no line above detail was written.
    EXPECT_EQ(groupable, log.count("Entering getInstanceId", 1)) << log.dump();
    for (LogCapture::Record const& record : log.records()) {
        if (record.category == "libSonvane.EndpointEnumerator") {
            EXPECT_EQ(1, record.level) << record.text;
        }
    }

    // A second run over the same object and a close after it change nothing.
    EXPECT_EQ(0u, enumerator.enumerate(groups));
    enumerator.close();
    enumerator.close();
    EXPECT_EQ(0u, enumerator.enumerate(groups));
}

}  // namespace

#pragma once
// The fixture of the tests that run on the machine's own audio stack: COM for
// the test's length and the platform's device enumerator, to count and read
// endpoints without the library and compare with what it answers. A stack
// without an enumerator fails the test at once, saying so.
#include <COM/AtlComPtr.h>

#include <gtest/gtest.h>

#include <windows.h>
#include <mmdeviceapi.h>

class RealStackTest : public ::testing::Test {
protected:
    void SetUp() override {
        CoInitialize(nullptr);
        HRESULT const hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_INPROC_SERVER,
                                            __uuidof(IMMDeviceEnumerator), reinterpret_cast<void**>(&m_platform));
        ASSERT_TRUE(SUCCEEDED(hr)) << "no device enumerator on this machine: is the audio stack running?";
    }
    void TearDown() override {
        m_platform.Release();
        CoUninitialize();
    }

    ATL::CComPtr<IMMDeviceEnumerator> m_platform;
};

#include <brel5/DiagModule.h>
#include <libVarnhost/ConfigManager.h>
#include <orv/ManagedThread.h>
#include <orv/OrvResourceSettings.h>
#include <orv/OrvSystem.h>
#include <platform/Platform.h>

#include <SettingsFile.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace {

// --- ManagedThread ----------------------------------------------------------

struct Gate {
    HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ~Gate() { CloseHandle(event); }
};

int waitForGateThenAnswer(orv::ManagedThread& thread) {
    Gate* gate = static_cast<Gate*>(thread.m_userPointer);
    WaitForSingleObject(gate->event, INFINITE);
    return 42;
}

TEST(ManagedThreadTest, RunsUntilItsFunctionReturnsAndKeepsTheExitCode) {
    Gate gate;
    orv::ManagedThread thread(&waitForGateThenAnswer, &gate);
    EXPECT_EQ(&gate, thread.userPointer());
    EXPECT_FALSE(thread.isRunning()) << "constructing does not start";
    int code = -7;
    EXPECT_FALSE(thread.getExitCode(&code));

    ASSERT_TRUE(thread.run(nullptr));
    EXPECT_TRUE(thread.isRunning());
    EXPECT_FALSE(thread.getExitCode(&code));
    EXPECT_FALSE(thread.run(nullptr)) << "a thread object runs once";

    SetEvent(gate.event);
    EXPECT_TRUE(thread.join());
    EXPECT_FALSE(thread.isRunning());
    ASSERT_TRUE(thread.getExitCode(&code));
    EXPECT_EQ(42, code);
    EXPECT_TRUE(thread.join()) << "joining a finished thread returns at once";
}

TEST(ManagedThreadTest, FunctionLeftByAnExceptionHasNoExitCode) {
    orv::ManagedThread thread([](orv::ManagedThread&) -> int { throw std::runtime_error("worker failed"); },
                              nullptr);
    ASSERT_TRUE(thread.run(nullptr));
    thread.join();
    EXPECT_FALSE(thread.isRunning());
    int code = -7;
    EXPECT_FALSE(thread.getExitCode(&code));
    EXPECT_EQ(-7, code);
}

TEST(ManagedThreadTest, DestructorWaitsForARunningThread) {
    std::atomic<bool> finished{false};
    {
        orv::ManagedThread thread(
            [](orv::ManagedThread& self) {
                orv::System::mssleep(30);
                static_cast<std::atomic<bool>*>(self.m_userPointer)->store(true);
                return 0;
            },
            &finished);
        ASSERT_TRUE(thread.run(nullptr));
    }
    EXPECT_TRUE(finished.load());
}

// --- Stop request -----------------------------------------------------------

// The waiting pattern of stream code: beat at 10 ms until told to stop.
int waitUntilStopped(orv::ManagedThread&) {
    while (!brel5::DiagModule::checkForStop()) {
        orv::System::mssleep(10);
    }
    return 128;
}

TEST(StopRequestTest, StaysRaisedUntilClearedAndEndsAWaitOnAnotherThread) {
    brel5::DiagModule::clearStop();
    EXPECT_FALSE(brel5::DiagModule::checkForStop());

    orv::ManagedThread waiter(&waitUntilStopped, nullptr);
    ASSERT_TRUE(waiter.run(nullptr));
    brel5::DiagModule::requestStop();
    waiter.join();
    int code = 0;
    ASSERT_TRUE(waiter.getExitCode(&code));
    EXPECT_EQ(128, code);

    EXPECT_TRUE(brel5::DiagModule::checkForStop());
    EXPECT_TRUE(brel5::DiagModule::checkForStop()) << "reading the request does not clear it";
    brel5::DiagModule::clearStop();
    EXPECT_FALSE(brel5::DiagModule::checkForStop());
}

// --- Settings ---------------------------------------------------------------

bool externalMicSetting(orv::String& value) {
    return orv::Resource::getSetting("orvrsysinfodirect", "AllowExternalMicTesting.value", value,
                                     orv::OrvLocale::getGlobalLocale());
}

TEST(SettingsTest, MissingFileSectionOrKeyIsNotThere) {
    SettingsFile settings("foundation-missing");
    orv::String value("untouched");
    EXPECT_FALSE(externalMicSetting(value));

    settings.write("[othersection]\r\nAllowExternalMicTesting.value=true\r\n");
    EXPECT_FALSE(externalMicSetting(value));

    settings.write("[orvrsysinfodirect]\r\nSomethingElse.value=true\r\n");
    EXPECT_FALSE(externalMicSetting(value));
    EXPECT_EQ("untouched", value.toUtf8());
}

TEST(SettingsTest, ValuesAreReadAsWrittenWithoutSurroundingBlanks) {
    SettingsFile settings("foundation-values");
    settings.write("[orvrsysinfodirect]\r\nAllowExternalMicTesting.value=  true  \r\n");
    orv::String value;
    ASSERT_TRUE(externalMicSetting(value));
    EXPECT_TRUE(orv::String::strToBoolean(value.trim()));

    SettingsFile other("foundation-false");
    other.write("[orvrsysinfodirect]\r\nAllowExternalMicTesting.value=false\r\n");
    ASSERT_TRUE(externalMicSetting(value));
    EXPECT_EQ("false", value.toUtf8());

    SettingsFile empty("foundation-empty");
    empty.write("[orvrsysinfodirect]\r\nAllowExternalMicTesting.value=\r\n");
    ASSERT_TRUE(externalMicSetting(value)) << "an empty value is there";
    EXPECT_TRUE(value.empty());
}

TEST(SettingsTest, GlobalLocaleIsOneObject) {
    EXPECT_EQ(&orv::OrvLocale::getGlobalLocale(), &orv::OrvLocale::getGlobalLocale());
}

// --- Platform seam ----------------------------------------------------------

class OneParentTree : public platform::DeviceTree {
public:
    bool parentInstanceId(const std::wstring& child, std::wstring& parent) override {
        if (child != L"HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269\\4&1") {
            return false;
        }
        parent = L"PCI\\VEN_8086&DEV_A170\\3&11583659&0&FB";
        return true;
    }
};

TEST(ConfigManagerTest, ParentComesFromTheServedDeviceTreeUntilTheSystemIsBack) {
    OneParentTree tree;
    platform::serveDeviceTree(&tree);
    orv::String parent;
    EXPECT_TRUE(libVarnhost::ConfigManager::getParentDeviceInstanceId("HDAUDIO\\FUNC_01&VEN_10EC&DEV_0269\\4&1",
                                                                      parent));
    EXPECT_EQ("PCI\\VEN_8086&DEV_A170\\3&11583659&0&FB", parent.toUtf8());
    EXPECT_FALSE(libVarnhost::ConfigManager::getParentDeviceInstanceId("USB\\VID_0000", parent));

    platform::serveDeviceTree(nullptr);
    EXPECT_NE(&tree, &platform::deviceTree());
    EXPECT_FALSE(libVarnhost::ConfigManager::getParentDeviceInstanceId("NO\\SUCH\\DEVICE", parent));
}

}  // namespace

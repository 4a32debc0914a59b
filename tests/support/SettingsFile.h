#pragma once
// A settings file of the test's own, named by SONVANE_SETTINGS while the
// object lives, so that no test reads what another left behind. It is removed
// on both ends and not written until the test says so.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>
#include <string>

class SettingsFile {
public:
    // The file is sonvane-<name>.ini in the temporary folder; tests that run
    // at the same time give different names.
    explicit SettingsFile(char const* name) {
        wchar_t folder[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, folder);
        m_path = std::wstring(folder) + L"sonvane-" + widened(name) + L".ini";
        DeleteFileW(m_path.c_str());
        SetEnvironmentVariableW(L"SONVANE_SETTINGS", m_path.c_str());
    }
    ~SettingsFile() {
        DeleteFileW(m_path.c_str());
        SetEnvironmentVariableW(L"SONVANE_SETTINGS", nullptr);
    }
    SettingsFile(SettingsFile const&) = delete;
    SettingsFile& operator=(SettingsFile const&) = delete;

    void write(char const* content) {
        FILE* file = _wfopen(m_path.c_str(), L"wb");
        ASSERT_NE(nullptr, file);
        fputs(content, file);
        fclose(file);
    }

private:
    // Names are plain ASCII.
    static std::wstring widened(std::string const& name) { return std::wstring(name.begin(), name.end()); }

    std::wstring m_path;
};

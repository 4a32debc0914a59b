#include <orv/OrvResourceSettings.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <windows.h>

#include <vector>

ORV_LOG_CATEGORY("orv.settings");

namespace orv {

namespace {

std::wstring environmentVariable(wchar_t const* name) {
    DWORD const length = GetEnvironmentVariableW(name, nullptr, 0);
    if (length == 0) {
        return std::wstring();
    }
    std::vector<wchar_t> buffer(length);
    DWORD const written = GetEnvironmentVariableW(name, buffer.data(), length);
    return std::wstring(buffer.data(), written < length ? written : 0);
}

// The folder of libMarlbase.dll, with a trailing separator.
std::wstring folderOfThisLibrary() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&folderOfThisLibrary), &module);
    wchar_t path[MAX_PATH] = {};
    DWORD const length = GetModuleFileNameW(module, path, MAX_PATH);
    std::wstring folder(path, length);
    std::wstring::size_type const slash = folder.find_last_of(L"\\/");
    return slash == std::wstring::npos ? std::wstring() : folder.substr(0, slash + 1);
}

// The INI reader looks for relative names in the Windows folder, so the path
// is made absolute first.
std::wstring absolutePath(std::wstring const& path) {
    wchar_t full[MAX_PATH] = {};
    DWORD const length = GetFullPathNameW(path.c_str(), MAX_PATH, full, nullptr);
    return (length > 0 && length < MAX_PATH) ? std::wstring(full, length) : path;
}

std::wstring settingsFile() {
    std::wstring const configured = environmentVariable(L"SONVANE_SETTINGS");
    return absolutePath(configured.empty() ? folderOfThisLibrary() + L"sonvane.ini" : configured);
}

// Stands for "no such key": no setting text can contain it.
wchar_t const kMissing[] = L"\x01missing\x01";

bool readProfileString(std::wstring const& file, String const& section, String const& key, std::wstring& value) {
    std::vector<wchar_t> buffer(256);
    for (;;) {
        DWORD const length =
            GetPrivateProfileStringW(section.wideBuffer(), key.wideBuffer(), kMissing, buffer.data(),
                                     static_cast<DWORD>(buffer.size()), file.c_str());
        if (length + 1 < buffer.size()) {
            value.assign(buffer.data(), length);
            return value != kMissing;
        }
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace

OrvLocale const& OrvLocale::getGlobalLocale() {
    static OrvLocale const global;
    return global;
}

bool Resource::getSetting(char const* resource, char const* key, String& value, OrvLocale const& locale) {
    std::wstring const file = settingsFile();
    std::wstring text;
    if (!readProfileString(file, String(resource), String(key), text)) {
        ORV_LOG(1) << "setting " << resource << "/" << key << " is not there";
        return false;
    }
    value = text.c_str();
    return true;
}

}  // namespace orv

#include "Coverage.h"

#include "Text.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>

namespace audiosim::detail {

namespace {

const wchar_t* const kLibraryModule = L"libSonvane.dll";
// Frames between a simulated method and its caller: the dispatch helper, the
// method, and for CoCreateInstance the frames of COM itself.
const ULONG kFramesToSearch = 24;
// A library call is nearly always found within the first few frames (the
// caller of the simulated method is the fourth), and a stack walk costs by
// the frame (under Wine about 3.7 us for 24 frames, 0.4 us for 4, on every
// call), so the near frames are searched first and the rest only when they
// hold no library frame.
const ULONG kNearFrames = 4;

struct ModuleRange {
    const BYTE* begin = nullptr;
    const BYTE* end = nullptr;
};

ModuleRange loadedLibraryRange() {
    const HMODULE module = GetModuleHandleW(kLibraryModule);
    if (!module)
        return {};
    const BYTE* base = reinterpret_cast<const BYTE*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    return {base, base + headers->OptionalHeader.SizeOfImage};
}

// The loader's notification of a module loaded or unloaded, as
// LdrRegisterDllNotification documents it; no SDK header declares it.
struct LoaderString {
    USHORT length;   // in bytes
    USHORT maximumLength;
    PWSTR buffer;
};
struct DllNotificationData {
    ULONG flags;
    const LoaderString* fullDllName;
    const LoaderString* baseDllName;
    void* dllBase;
    ULONG sizeOfImage;
};
const ULONG kDllLoaded = 1;
const ULONG kDllUnloaded = 2;
typedef VOID(CALLBACK* DllNotification)(ULONG reason, const DllNotificationData* data, void* context);
typedef LONG(NTAPI* RegisterDllNotification)(ULONG flags, DllNotification notification, void* context, void** cookie);

// Whether the system will tell `notification` of every module loaded and
// unloaded from now on; the registration lasts as long as the process.
bool registerDllNotification(DllNotification notification, void* context) {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    const FARPROC found = ntdll ? GetProcAddress(ntdll, "LdrRegisterDllNotification") : nullptr;
    if (!found)
        return false;
    const auto registerNotification = reinterpret_cast<RegisterDllNotification>(reinterpret_cast<void*>(found));
    void* cookie = nullptr;
    return registerNotification(0, notification, context, &cookie) >= 0;
}

// By hand rather than through the locale functions, since the loader calls
// with its lock held; the library's name is plain ASCII.
bool isLibraryName(const LoaderString& name) {
    const auto folded = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c; };
    const size_t length = name.length / sizeof(WCHAR);
    if (!name.buffer || length != std::wcslen(kLibraryModule))
        return false;
    for (size_t i = 0; i < length; ++i) {
        if (folded(name.buffer[i]) != folded(kLibraryModule[i]))
            return false;
    }
    return true;
}

// Where the library lies, or an empty range while it is not loaded. Asking
// the loader by name costs little while the library is loaded, but under
// Wine 75 to 800 us when it is not (the loader looks for the file), and a
// program that drives the simulator without the library would pay that on
// every call. So the range is followed through the loader's notifications,
// and only where the system gives none is the loader asked every time.
class LibraryWatch {
public:
    // Never destroyed: the loader keeps calling it until the process ends.
    static LibraryWatch& instance() {
        static LibraryWatch* watch = new LibraryWatch();
        return *watch;
    }

    ModuleRange range() const {
        if (!m_notified)
            return loadedLibraryRange();
        return {m_begin.load(), m_end.load()};
    }

private:
    LibraryWatch() {
        // Notified first and asked second, so that a load in between is not missed.
        m_notified = registerDllNotification(&LibraryWatch::onDll, this);
        if (m_notified)
            set(loadedLibraryRange());
    }

    // The end before the beginning: a reader that finds the beginning finds
    // its end, and one that finds none does not look further.
    void set(const ModuleRange& range) {
        m_end = range.end;
        m_begin = range.begin;
    }

    // Runs under the loader's lock: it only looks at the name and the range.
    static VOID CALLBACK onDll(ULONG reason, const DllNotificationData* data, void* context) {
        if (!data || !data->baseDllName || !isLibraryName(*data->baseDllName))
            return;
        auto* watch = static_cast<LibraryWatch*>(context);
        const BYTE* base = static_cast<const BYTE*>(data->dllBase);
        if (reason == kDllLoaded)
            watch->set({base, base + data->sizeOfImage});
        else if (reason == kDllUnloaded)
            watch->set({});
    }

    bool m_notified = false;
    std::atomic<const BYTE*> m_begin{nullptr};
    std::atomic<const BYTE*> m_end{nullptr};
};

bool anyInRange(const ModuleRange& range, void* const* frames, USHORT count) {
    for (USHORT i = 0; i < count; ++i) {
        const BYTE* address = static_cast<const BYTE*>(frames[i]);
        if (address >= range.begin && address < range.end)
            return true;
    }
    return false;
}

std::string programName() {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string name(path);
    const size_t slash = name.find_last_of("\\/");
    if (slash != std::string::npos)
        name = name.substr(slash + 1);
    const size_t dot = name.rfind('.');
    if (dot != std::string::npos)
        name = name.substr(0, dot);
    return name;
}

std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

}  // namespace

Coverage& Coverage::instance() {
    static Coverage* recorder = new Coverage();
    return *recorder;
}

bool Coverage::calledFromLibrary() {
    const ModuleRange range = LibraryWatch::instance().range();
    if (!range.begin)
        return false;
    // Both walks are made here, so that frame numbers mean the same in each.
    void* frames[kFramesToSearch] = {};
    const USHORT nearCount = RtlCaptureStackBackTrace(1, kNearFrames, frames, nullptr);
    if (anyInRange(range, frames, nearCount))
        return true;
    if (nearCount < kNearFrames)
        return false;   // the stack ended among the near frames
    const USHORT farCount = RtlCaptureStackBackTrace(1 + kNearFrames, kFramesToSearch - kNearFrames, frames, nullptr);
    return anyInRange(range, frames, farCount);
}

void Coverage::note(const std::wstring& method, bool faulted) {
    std::lock_guard<std::mutex> lock(m_mutex);
    Counts& counts = m_methods[method];
    ++counts.calls;
    if (faulted)
        ++counts.faults;
}

void Coverage::write() {
    const char* folder = std::getenv("SONVANE_FAULT_REPORT_DIR");
    if (!folder || !*folder)
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_methods.empty())
        return;
    CreateDirectoryA(folder, nullptr);
    const std::string program = programName();
    const std::string path = std::string(folder) + "/" + program + ".json";
    std::string json = "{\n  \"program\": " + jsonString(program) + ",\n  \"methods\": {";
    bool first = true;
    for (const auto& [method, counts] : m_methods) {
        json += first ? "\n" : ",\n";
        first = false;
        json += "    " + jsonString(narrow(method)) + ": {\"calls\": " + std::to_string(counts.calls) +
                ", \"faults\": " + std::to_string(counts.faults) + "}";
    }
    json += "\n  }\n}\n";
    if (FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(json.data(), 1, json.size(), file);
        std::fclose(file);
    }
}

}  // namespace audiosim::detail

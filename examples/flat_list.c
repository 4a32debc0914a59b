/*
 * Lists every audio endpoint of both directions through libSonvane's eleven
 * flat functions. The program knows nothing of the library's classes: it
 * loads the DLL, finds the functions by their plain names and calls them,
 * as a plain caller in any language would.
 *
 *   flat_list [path-to-libSonvane.dll]
 */
#include <windows.h>

#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>

typedef bool (*InitializeFn)(void);
typedef void (*TearDownFn)(void);
typedef unsigned (*NumDevicesFn)(bool render);
typedef bool (*CopyTextFn)(bool render, unsigned index, void* buffer);
typedef unsigned (*LengthFn)(bool render, unsigned index);
typedef unsigned (*NumberFn)(bool render, unsigned index);

struct FlatApi {
    InitializeFn initialize;
    TearDownFn tearDown;
    NumDevicesFn numDevices;
    CopyTextFn getDeviceName;
    LengthFn getDeviceNameLength;
    CopyTextFn getDeviceDescription;
    LengthFn getDeviceDescriptionLength;
    CopyTextFn getDeviceId;
    LengthFn getDeviceIdLength;
    NumberFn getDeviceState;
    NumberFn getDeviceType;
};

static FARPROC find(HMODULE dll, const char* name) {
    FARPROC f = GetProcAddress(dll, name);
    if (!f) fprintf(stderr, "flat_list: %s is not exported\n", name);
    return f;
}

static bool loadApi(HMODULE dll, struct FlatApi* api) {
    api->initialize = (InitializeFn)find(dll, "initialize");
    api->tearDown = (TearDownFn)find(dll, "tearDown");
    api->numDevices = (NumDevicesFn)find(dll, "numDevices");
    api->getDeviceName = (CopyTextFn)find(dll, "getDeviceName");
    api->getDeviceNameLength = (LengthFn)find(dll, "getDeviceNameLength");
    api->getDeviceDescription = (CopyTextFn)find(dll, "getDeviceDescription");
    api->getDeviceDescriptionLength = (LengthFn)find(dll, "getDeviceDescriptionLength");
    api->getDeviceId = (CopyTextFn)find(dll, "getDeviceId");
    api->getDeviceIdLength = (LengthFn)find(dll, "getDeviceIdLength");
    api->getDeviceState = (NumberFn)find(dll, "getDeviceState");
    api->getDeviceType = (NumberFn)find(dll, "getDeviceType");
    return api->initialize && api->tearDown && api->numDevices && api->getDeviceName &&
           api->getDeviceNameLength && api->getDeviceDescription && api->getDeviceDescriptionLength &&
           api->getDeviceId && api->getDeviceIdLength && api->getDeviceState && api->getDeviceType;
}

/* The library writes exactly `length` UTF-16 units and no terminator: ask for
 * the length, make room for one more unit and terminate the text here. */
static wchar_t* readText(LengthFn length, CopyTextFn copy, bool render, unsigned index) {
    unsigned units = length(render, index);
    wchar_t* text = (wchar_t*)calloc(units + 1, sizeof(wchar_t));
    if (!text) return NULL;
    if (!copy(render, index, text)) text[0] = L'\0';
    text[units] = L'\0';
    return text;
}

static const char* stateName(unsigned state) {
    switch (state) {
    case 1: return "active";
    case 2: return "disabled";
    case 4: return "not present";
    case 8: return "unplugged";
    default: return "unknown";
    }
}

static const char* typeName(unsigned type) {
    static const char* names[] = {"speaker", "headphones", "S/PDIF", "HDMI", "microphone", "line"};
    return type < sizeof names / sizeof names[0] ? names[type] : "none";
}

static void listDirection(const struct FlatApi* api, bool render) {
    unsigned count = api->numDevices(render);
    printf("%s endpoints: %u\n", render ? "Render" : "Capture", count);
    for (unsigned i = 0; i < count; ++i) {
        wchar_t* name = readText(api->getDeviceNameLength, api->getDeviceName, render, i);
        wchar_t* description = readText(api->getDeviceDescriptionLength, api->getDeviceDescription, render, i);
        wchar_t* id = readText(api->getDeviceIdLength, api->getDeviceId, render, i);
        unsigned state = api->getDeviceState(render, i);
        unsigned type = api->getDeviceType(render, i);
        printf("  [%u] name: %ls\n", i, name ? name : L"");
        printf("      description: %ls\n", description ? description : L"");
        printf("      id: %ls\n", id ? id : L"");
        printf("      state: %u (%s)\n", state, stateName(state));
        printf("      type: %u (%s)\n", type, typeName(type));
        free(name);
        free(description);
        free(id);
    }
}

int main(int argc, char** argv) {
    const char* path = argc > 1 ? argv[1] : "libSonvane.dll";
    HMODULE dll = LoadLibraryA(path);
    if (!dll) {
        fprintf(stderr, "flat_list: cannot load %s (error %lu)\n", path, GetLastError());
        return 2;
    }
    struct FlatApi api;
    if (!loadApi(dll, &api)) {
        FreeLibrary(dll);
        return 2;
    }
    if (!api.initialize()) {
        fprintf(stderr, "flat_list: initialize failed: no audio device enumerator on this machine\n");
        FreeLibrary(dll);
        return 1;
    }
    listDirection(&api, true);
    listDirection(&api, false);
    api.tearDown();
    FreeLibrary(dll);
    return 0;
}

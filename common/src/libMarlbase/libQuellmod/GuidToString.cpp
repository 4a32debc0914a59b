#include <libQuellmod/GuidToString.h>

#include <objbase.h>

orv::String guidToString(GUID* guid) {
    if (!guid) {
        return orv::String();
    }
    wchar_t text[40] = {};
    StringFromGUID2(*guid, text, 40);
    return orv::String(text);
}

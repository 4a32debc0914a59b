#pragma once
// Host settings, looked up by resource and key.
//
// Settings live in an INI file: the path in the environment variable
// SONVANE_SETTINGS, else "sonvane.ini" beside libMarlbase.dll. The resource is
// the section and the key the key:
//
//   [orvrsysinfodirect]
//   AllowExternalMicTesting.value=true
//
// The file is read at every call (nothing is cached), so a change shows at the
// next lookup. A missing file, section or key is "not there". The INI reader
// strips blanks around a value.
#include <orv/OrvExport.h>
#include <orv/OrvString.h>

namespace orv {

// The locale that setting lookups are made in. Settings here have one text
// for every locale, so it carries nothing yet.
class ORV_API OrvLocale {
public:
    static OrvLocale const& getGlobalLocale();
};

class ORV_API Resource {
public:
    // True and `value` set when the key is there.
    static bool getSetting(char const* resource, char const* key, String& value, OrvLocale const& locale);
};

}  // namespace orv

#pragma once
// orv::String: text of 16-bit UCS-2 units (a wchar_t on Windows).
//
// size() counts units; getUCS2Buffer() and wideBuffer() give them, always
// followed by a terminating 0 that size() does not count. Narrow text given as
// char const* is taken as ASCII (each byte one unit); toUtf8()/fromUtf8()
// convert properly where text leaves or enters the process.
//
// tokenize(separators) splits at every unit that occurs in `separators` and
// drops empty pieces ("a,,b" by "," gives "a", "b"). trim() strips blanks,
// tabs, carriage returns, line feeds, vertical tabs and form feeds from both
// ends. strToBoolean() is true for "true", "yes", "on" and "1" in any case
// and false for everything else; it does not trim (callers trim first).
// compareNoCase() compares ordinally ignoring case, 0 when equal.
#include <orv/OrvArray.h>
#include <orv/OrvExport.h>
#include <orv/OrvTypes.h>

#include <string>

namespace orv {

class ORV_API String {
public:
    String();
    String(String const& other);
    String(String&& other) noexcept;
    String(char const* ascii);
    String(unsigned short const* units);
    String(wchar_t const* wide);
    ~String();

    String& operator=(String const& other);
    String& operator=(String&& other) noexcept;
    String& operator=(unsigned short const* units);
    String& operator=(wchar_t const* wide);

    Uint32 size() const;
    bool empty() const;
    void clear();

    unsigned short const* getUCS2Buffer() const;
    wchar_t const* wideBuffer() const;
    std::string toUtf8() const;
    static String fromUtf8(std::string const& utf8);

    bool operator==(String const& other) const;
    bool operator!=(String const& other) const;
    int compareNoCase(String const& other) const;
    static int compareNoCase(String const& left, String const& right);

    String& operator+=(String const& other);
    String& operator+=(char const* ascii);

    Array<String> tokenize(String const& separators) const;
    String& trim();
    static bool strToBoolean(String const& text);

private:
    std::wstring m_text;
};

ORV_API String operator+(char const* left, String const& right);
ORV_API String operator+(String const& left, String const& right);
ORV_API String operator+(String const& left, char const* right);

}  // namespace orv

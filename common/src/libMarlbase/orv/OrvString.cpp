#include <orv/OrvString.h>

#include <windows.h>

#include <cwctype>
#include <utility>

static_assert(sizeof(wchar_t) == sizeof(unsigned short), "orv::String keeps UCS-2 units in wchar_t");

namespace orv {

namespace {

std::wstring widenAscii(char const* ascii) {
    std::wstring text;
    if (ascii) {
        for (char const* p = ascii; *p; ++p) {
            text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(*p)));
        }
    }
    return text;
}

wchar_t const* asWide(unsigned short const* units) {
    return reinterpret_cast<wchar_t const*>(units);
}

std::wstring copyOf(wchar_t const* wide) {
    return wide ? std::wstring(wide) : std::wstring();
}

bool isBlank(wchar_t unit) {
    return unit == L' ' || unit == L'\t' || unit == L'\r' || unit == L'\n' || unit == L'\v' ||
           unit == L'\f';
}

// Ordinal comparison ignoring case, as -1, 0 or 1.
int compareOrdinalNoCase(std::wstring const& left, std::wstring const& right) {
    int const result = CompareStringOrdinal(left.c_str(), static_cast<int>(left.size()), right.c_str(),
                                            static_cast<int>(right.size()), TRUE);
    return result == CSTR_EQUAL ? 0 : (result == CSTR_LESS_THAN ? -1 : 1);
}

}  // namespace

String::String() = default;
String::String(String const& other) = default;
String::String(String&& other) noexcept : m_text(std::move(other.m_text)) {}
String::String(char const* ascii) : m_text(widenAscii(ascii)) {}
String::String(unsigned short const* units) : m_text(copyOf(asWide(units))) {}
String::String(wchar_t const* wide) : m_text(copyOf(wide)) {}
String::~String() = default;

String& String::operator=(String const& other) = default;

String& String::operator=(String&& other) noexcept {
    m_text = std::move(other.m_text);
    return *this;
}

String& String::operator=(unsigned short const* units) {
    m_text = copyOf(asWide(units));
    return *this;
}

String& String::operator=(wchar_t const* wide) {
    m_text = copyOf(wide);
    return *this;
}

Uint32 String::size() const {
    return static_cast<Uint32>(m_text.size());
}

bool String::empty() const {
    return m_text.empty();
}

void String::clear() {
    m_text.clear();
}

unsigned short const* String::getUCS2Buffer() const {
    return reinterpret_cast<unsigned short const*>(m_text.c_str());
}

wchar_t const* String::wideBuffer() const {
    return m_text.c_str();
}

std::string String::toUtf8() const {
    if (m_text.empty()) {
        return std::string();
    }
    int const length = static_cast<int>(m_text.size());
    int const bytes = WideCharToMultiByte(CP_UTF8, 0, m_text.c_str(), length, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, m_text.c_str(), length, &utf8[0], bytes, nullptr, nullptr);
    return utf8;
}

String String::fromUtf8(std::string const& utf8) {
    String text;
    if (utf8.empty()) {
        return text;
    }
    int const length = static_cast<int>(utf8.size());
    int const units = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), length, nullptr, 0);
    text.m_text.assign(static_cast<size_t>(units), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), length, &text.m_text[0], units);
    return text;
}

bool String::operator==(String const& other) const {
    return m_text == other.m_text;
}

bool String::operator!=(String const& other) const {
    return m_text != other.m_text;
}

int String::compareNoCase(String const& other) const {
    return compareOrdinalNoCase(m_text, other.m_text);
}

int String::compareNoCase(String const& left, String const& right) {
    return compareOrdinalNoCase(left.m_text, right.m_text);
}

String& String::operator+=(String const& other) {
    m_text += other.m_text;
    return *this;
}

String& String::operator+=(char const* ascii) {
    m_text += widenAscii(ascii);
    return *this;
}

Array<String> String::tokenize(String const& separators) const {
    Array<String> tokens;
    std::wstring::size_type start = 0;
    while (start < m_text.size()) {
        std::wstring::size_type const end = m_text.find_first_of(separators.m_text, start);
        std::wstring::size_type const stop = end == std::wstring::npos ? m_text.size() : end;
        if (stop > start) {
            tokens.append(String(m_text.substr(start, stop - start).c_str()));
        }
        start = stop + 1;
    }
    return tokens;
}

String& String::trim() {
    std::wstring::size_type first = 0;
    std::wstring::size_type last = m_text.size();
    while (first < last && isBlank(m_text[first])) {
        ++first;
    }
    while (last > first && isBlank(m_text[last - 1])) {
        --last;
    }
    m_text = m_text.substr(first, last - first);
    return *this;
}

bool String::strToBoolean(String const& text) {
    static char const* const trueTexts[] = {"true", "yes", "on", "1"};
    for (char const* candidate : trueTexts) {
        if (compareNoCase(text, String(candidate)) == 0) {
            return true;
        }
    }
    return false;
}

String operator+(char const* left, String const& right) {
    String text(left);
    text += right;
    return text;
}

String operator+(String const& left, String const& right) {
    String text(left);
    text += right;
    return text;
}

String operator+(String const& left, char const* right) {
    String text(left);
    text += right;
    return text;
}

}  // namespace orv

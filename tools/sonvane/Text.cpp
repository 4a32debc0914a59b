#include "Text.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <sstream>

std::string utf8(orv::String const& text) {
    return text.toUtf8();
}

std::string utf8(std::wstring const& text) {
    if (text.empty()) {
        return std::string();
    }
    int const length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                           nullptr, nullptr);
    std::string result(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &result[0], length, nullptr,
                        nullptr);
    return result;
}

std::wstring wide(std::string const& utf8Text) {
    if (utf8Text.empty()) {
        return std::wstring();
    }
    int const length =
        MultiByteToWideChar(CP_UTF8, 0, utf8Text.data(), static_cast<int>(utf8Text.size()), nullptr, 0);
    std::wstring result(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8Text.data(), static_cast<int>(utf8Text.size()), &result[0], length);
    return result;
}

orv::String orvText(std::string const& utf8Text) {
    return orv::String::fromUtf8(utf8Text);
}

std::string guidText(GUID const& guid) {
    char text[40];
    std::snprintf(text, sizeof text, "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned long>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

bool isNullGuid(GUID const& guid) {
    GUID const empty = {};
    return IsEqualGUID(guid, empty) != 0;
}

std::string hexCode(long code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lX", static_cast<unsigned long>(code));
    return text;
}

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool containsNoCase(std::string const& text, std::string const& part) {
    return lowerCase(text).find(lowerCase(part)) != std::string::npos;
}

bool equalsNoCase(std::string const& left, std::string const& right) {
    return lowerCase(left) == lowerCase(right);
}

std::string fixed(double value, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << value;
    return text.str();
}

double rounded(double value, int decimals) {
    double const scale = std::pow(10.0, decimals);
    return std::round(value * scale) / scale;
}

namespace {
// Columns are measured in characters, not bytes, so that names with accents
// stay aligned.
size_t displayWidth(std::string const& text) {
    size_t width = 0;
    for (unsigned char c : text) {
        if ((c & 0xC0) != 0x80) {
            ++width;
        }
    }
    return width;
}
}  // namespace

TextTable::TextTable(std::vector<std::string> header) {
    m_rows.push_back(std::move(header));
}

void TextTable::addRow(std::vector<std::string> row) {
    m_rows.push_back(std::move(row));
}

std::string TextTable::render(std::string const& indent) const {
    std::vector<size_t> widths;
    for (auto const& row : m_rows) {
        widths.resize(std::max(widths.size(), row.size()), 0);
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    std::string text;
    for (auto const& row : m_rows) {
        std::string line = indent;
        for (size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            if (column + 1 < row.size()) {
                line += std::string(widths[column] - displayWidth(row[column]) + 2, ' ');
            }
        }
        text += line + "\n";
    }
    return text;
}

#pragma once
// Text conversions and small formatting helpers shared by the commands.
#include <orv/OrvString.h>

#include <windows.h>
#include <guiddef.h>

#include <string>
#include <vector>

std::string utf8(orv::String const& text);
std::string utf8(std::wstring const& text);
std::wstring wide(std::string const& utf8Text);
orv::String orvText(std::string const& utf8Text);

// "{DFF21CE1-F70F-11D0-B917-00A0C9223196}"
std::string guidText(GUID const& guid);
bool isNullGuid(GUID const& guid);
// "0x8889000E"
std::string hexCode(long code);

std::string lowerCase(std::string text);
bool containsNoCase(std::string const& text, std::string const& part);
bool equalsNoCase(std::string const& left, std::string const& right);

// A number with a fixed count of decimals, "-6.0".
std::string fixed(double value, int decimals);
// The same rounding as a number, for JSON: a float level read as -39.15
// stays -39.15 instead of -39.150001525878906.
double rounded(double value, int decimals);

// Rows of cells printed in columns, each as wide as its widest cell.
class TextTable {
public:
    explicit TextTable(std::vector<std::string> header);
    void addRow(std::vector<std::string> row);
    std::string render(std::string const& indent = "") const;

private:
    std::vector<std::vector<std::string>> m_rows;
};

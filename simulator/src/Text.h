// Text conversions shared by the simulator's sources.
#pragma once

#include <windows.h>

#include <string>

namespace audiosim::detail {

std::wstring widen(const std::string& utf8);
std::string narrow(const std::wstring& wide);
std::wstring lower(std::wstring text);
bool sameText(const std::wstring& a, const std::wstring& b);
// "0x8889000E": an HRESULT as the call log and messages write it.
std::string hresultText(HRESULT result);

}  // namespace audiosim::detail

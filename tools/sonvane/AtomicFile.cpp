#include "AtomicFile.h"

#include "Text.h"
#include "ToolError.h"

namespace {

std::string systemMessage(DWORD code) {
    wchar_t* text = nullptr;
    DWORD const length =
        FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                       nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring message = length ? std::wstring(text, length) : std::wstring();
    if (text) {
        LocalFree(text);
    }
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' || message.back() == L'.')) {
        message.pop_back();
    }
    return message.empty() ? "error " + std::to_string(code) : utf8(message);
}

// Beside the target, so that the rename stays on one volume; the process id
// keeps two runs apart.
std::wstring temporaryName(std::wstring const& target) {
    return target + L"." + std::to_wstring(GetCurrentProcessId()) + L".partial";
}

}  // namespace

AtomicFile::AtomicFile(std::string const& path) : m_path(path), m_temporary(temporaryName(wide(path))) {
    m_file = CreateFileW(m_temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_file == INVALID_HANDLE_VALUE) {
        throw fileError("cannot write " + path + ": " + systemMessage(GetLastError()));
    }
}

AtomicFile::~AtomicFile() {
    discard();
}

void AtomicFile::discard() {
    if (m_file != INVALID_HANDLE_VALUE) {
        CloseHandle(m_file);
        m_file = INVALID_HANDLE_VALUE;
        DeleteFileW(m_temporary.c_str());
    }
}

void AtomicFile::fail(char const* what, DWORD error) {
    discard();
    DeleteFileW(m_temporary.c_str());
    throw fileError(std::string(what) + " " + m_path + ": " + systemMessage(error));
}

void AtomicFile::write(void const* data, size_t bytes) {
    unsigned char const* cursor = static_cast<unsigned char const*>(data);
    while (bytes > 0) {
        DWORD const chunk = bytes > 0x40000000 ? 0x40000000 : static_cast<DWORD>(bytes);
        DWORD written = 0;
        if (!WriteFile(m_file, cursor, chunk, &written, nullptr) || written != chunk) {
            fail("cannot write", GetLastError());
        }
        cursor += written;
        bytes -= written;
    }
}

void AtomicFile::commit() {
    if (!CloseHandle(m_file)) {
        fail("cannot write", GetLastError());
    }
    m_file = INVALID_HANDLE_VALUE;
    if (!MoveFileExW(m_temporary.c_str(), wide(m_path).c_str(), MOVEFILE_REPLACE_EXISTING)) {
        fail("cannot put in place", GetLastError());
    }
}

#pragma once
// A file that appears whole or not at all. What is written goes to a
// temporary file beside the target, which is renamed over the target only
// by commit(); a failure, a stop or the end of the object without commit
// deletes it. The temporary file is made at once, so that a path that
// cannot be written fails before any device is touched.
#include <windows.h>

#include <string>

class AtomicFile {
public:
    // Throws a file error when the folder cannot take the file.
    explicit AtomicFile(std::string const& path);
    ~AtomicFile();
    AtomicFile(AtomicFile const&) = delete;
    AtomicFile& operator=(AtomicFile const&) = delete;

    void write(void const* data, size_t bytes);
    void write(std::string const& text) { write(text.data(), text.size()); }
    // Puts the file in place.
    void commit();

    std::string const& path() const { return m_path; }

private:
    void discard();
    [[noreturn]] void fail(char const* what, DWORD error);

    std::string m_path;
    std::wstring m_temporary;
    HANDLE m_file = INVALID_HANDLE_VALUE;
};

#include "ToolProcess.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

std::wstring wide(std::string const& text) {
    if (text.empty()) {
        return std::wstring();
    }
    int const length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring result(static_cast<size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &result[0], length);
    return result;
}

std::string narrow(std::wstring const& text) {
    if (text.empty()) {
        return std::string();
    }
    int const length =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &result[0], length, nullptr, nullptr);
    return result;
}

std::string folderOfThisProgram() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path);
    return narrow(folder.substr(0, folder.find_last_of(L"\\/")));
}

// The quoting rules of CommandLineToArgvW: backslashes are literal unless
// they come before a quote.
std::wstring quoted(std::wstring const& argument) {
    if (!argument.empty() && argument.find_first_of(L" \t\"") == std::wstring::npos) {
        return argument;
    }
    std::wstring result = L"\"";
    size_t backslashes = 0;
    for (wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        result.append(c == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
        backslashes = 0;
        result.push_back(c);
    }
    result.append(backslashes * 2, L'\\');
    return result + L"\"";
}

// Takes what the pipe holds now, without waiting for more.
void takeAvailable(HANDLE pipe, std::string& into) {
    char buffer[4096];
    DWORD available = 0;
    while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) && available > 0) {
        DWORD read = 0;
        if (!ReadFile(pipe, buffer, available < sizeof buffer ? available : sizeof buffer, &read, nullptr) ||
            read == 0) {
            return;
        }
        into.append(buffer, read);
    }
}

// Reads both pipes until the child has ended. The end of the child, not the
// end of its pipes, is what counts: Wine may start a helper process for the
// child (its desktop, for one) that inherits the pipes and outlives it.
void collect(HANDLE child, HANDLE outPipe, std::string& out, HANDLE errPipe, std::string& err) {
    for (;;) {
        bool const ended = WaitForSingleObject(child, 5) == WAIT_OBJECT_0;
        takeAvailable(outPipe, out);
        takeAvailable(errPipe, err);
        if (ended) {
            return;
        }
    }
}

struct Pipe {
    HANDLE read = nullptr;
    HANDLE write = nullptr;

    Pipe() {
        SECURITY_ATTRIBUTES inherit = {sizeof inherit, nullptr, TRUE};
        CreatePipe(&read, &write, &inherit, 0);
        SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
    }
    ~Pipe() {
        CloseHandle(read);
        if (write) {
            CloseHandle(write);
        }
    }
    void closeWriteEnd() {
        CloseHandle(write);
        write = nullptr;
    }
};

}  // namespace

ToolRun runTool(std::vector<std::string> const& arguments) {
    std::wstring commandLine = quoted(wide(folderOfThisProgram() + "\\sonvane.exe"));
    for (std::string const& argument : arguments) {
        commandLine += L" " + quoted(wide(argument));
    }
    Pipe out;
    Pipe err;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = out.write;
    startup.hStdError = err.write;
    PROCESS_INFORMATION process = {};
    ToolRun run;
    if (!CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
        run.err = "CreateProcess failed with " + std::to_string(GetLastError());
        return run;
    }
    out.closeWriteEnd();
    err.closeWriteEnd();
    collect(process.hProcess, out.read, run.out, err.read, run.err);
    // Windows text mode writes "\r\n"; the tests compare lines.
    for (std::string* text : {&run.out, &run.err}) {
        text->erase(std::remove(text->begin(), text->end(), '\r'), text->end());
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    run.exitCode = static_cast<int>(code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return run;
}

nlohmann::json ToolRun::json() const {
    return nlohmann::json::parse(out, nullptr, false);
}

std::vector<std::string> ToolRun::errorLines() const {
    std::vector<std::string> lines;
    std::istringstream text(err);
    std::string line;
    while (std::getline(text, line)) {
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::string ToolRun::describe() const {
    return "exit code " + std::to_string(exitCode) + "\n--- stdout\n" + out + "--- stderr\n" + err;
}

std::string machine(std::string const& name) {
    char const* folder = std::getenv("SONVANE_SIM_MACHINES");
    return std::string(folder ? folder : "") + "/" + name;
}

ScratchFolder::ScratchFolder() {
    wchar_t base[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, base);
    m_path = narrow(base) + "sonvane-cli-" + std::to_string(GetCurrentProcessId()) + "-" +
             std::to_string(GetTickCount64());
    CreateDirectoryW(wide(m_path).c_str(), nullptr);
}

ScratchFolder::~ScratchFolder() {
    for (std::string const& name : names()) {
        DeleteFileW(wide(file(name)).c_str());
    }
    RemoveDirectoryW(wide(m_path).c_str());
}

std::vector<std::string> ScratchFolder::names() const {
    std::vector<std::string> found;
    WIN32_FIND_DATAW entry;
    HANDLE const search = FindFirstFileW(wide(m_path + "\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        return found;
    }
    do {
        std::string const name = narrow(entry.cFileName);
        if (name != "." && name != "..") {
            found.push_back(name);
        }
    } while (FindNextFileW(search, &entry));
    FindClose(search);
    return found;
}

void ScratchFolder::write(std::string const& name, std::string const& contents) const {
    std::ofstream(std::filesystem::u8path(file(name)), std::ios::binary) << contents;
}

std::string ScratchFolder::read(std::string const& name) const {
    std::ifstream in(std::filesystem::u8path(file(name)), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

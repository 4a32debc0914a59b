#pragma once
// How a command ends, as a number a script can test, and the error that
// carries one clear line to the user together with that number.
#include <stdexcept>
#include <string>

enum class ExitCode : int {
    Ok = 0,
    TestFailed = 1,    // a loopback check did not pass
    Usage = 2,         // the command line is wrong
    Device = 3,        // no such endpoint, the device or the platform refused
    File = 4,          // a file cannot be read or written, a bad machine file
    Stopped = 5,       // Ctrl+C ended a command that had not finished its work
};

class ToolError : public std::runtime_error {
public:
    ToolError(ExitCode code, std::string const& message) : std::runtime_error(message), m_code(code) {}
    ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

inline ToolError usageError(std::string const& message) { return ToolError(ExitCode::Usage, message); }
inline ToolError deviceError(std::string const& message) { return ToolError(ExitCode::Device, message); }
inline ToolError fileError(std::string const& message) { return ToolError(ExitCode::File, message); }

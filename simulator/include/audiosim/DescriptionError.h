#pragma once

#include <stdexcept>
#include <string>

namespace audiosim {

// A machine description that cannot be served. what() reads
// "<file>: <place>: <reason>", the place being a JSON pointer such as
// /endpoints/2/properties/1/type, a line and column for a syntax error, or
// the device for a machine built in C++.
class DescriptionError : public std::runtime_error {
public:
    DescriptionError(std::string file, std::string place, std::string reason);

    const std::string& file() const { return m_file; }
    const std::string& place() const { return m_place; }
    const std::string& reason() const { return m_reason; }

private:
    std::string m_file;
    std::string m_place;
    std::string m_reason;
};

}  // namespace audiosim

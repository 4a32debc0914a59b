#include <audiosim/DescriptionError.h>

namespace audiosim {

DescriptionError::DescriptionError(std::string file, std::string place, std::string reason)
    : std::runtime_error(file + ": " + place + ": " + reason),
      m_file(std::move(file)),
      m_place(std::move(place)),
      m_reason(std::move(reason)) {}

}  // namespace audiosim

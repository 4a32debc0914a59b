#include "LogCapture.h"

LogCapture::LogCapture()
    : m_previousPriority(orv::LogFactory::getPriority()), m_previousSink(orv::LogFactory::setSink(this)) {
    orv::LogFactory::setPriority(orv::LoggerPriority::LOGGER_DETAIL);
}

LogCapture::~LogCapture() {
    orv::LogFactory::setPriority(m_previousPriority);
    orv::LogFactory::setSink(m_previousSink);
}

void LogCapture::write(char const* category, int level, orv::String const& text) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_records.push_back(Record{category ? category : "", level, text.toUtf8()});
}

bool LogCapture::contains(std::string const& textPart, int level) const {
    return count(textPart, level) > 0;
}

size_t LogCapture::count(std::string const& textPart, int level) const {
    std::lock_guard<std::mutex> guard(m_lock);
    size_t found = 0;
    for (Record const& record : m_records) {
        if ((level == 0 || record.level == level) && record.text.find(textPart) != std::string::npos) {
            ++found;
        }
    }
    return found;
}

size_t LogCapture::countInCategory(std::string const& category) const {
    std::lock_guard<std::mutex> guard(m_lock);
    size_t found = 0;
    for (Record const& record : m_records) {
        if (category.empty() || record.category == category) {
            ++found;
        }
    }
    return found;
}

std::vector<LogCapture::Record> LogCapture::records() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_records;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_records.clear();
}

std::string LogCapture::dump() const {
    std::lock_guard<std::mutex> guard(m_lock);
    std::string text;
    for (Record const& record : m_records) {
        text += std::to_string(record.level) + " " + record.category + ": " + record.text + "\n";
    }
    return text;
}

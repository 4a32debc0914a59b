#pragma once
// Captures log lines for the lifetime of the object: switches every level on
// (threshold 1), installs a sink that keeps (category, level, text) of every
// written line, and puts threshold and sink back on destruction.
//
//   LogCapture log;
//   doSomething();
//   EXPECT_TRUE(log.contains("Cannot add duplicate device", 3)) << log.dump();
//
// Texts are UTF-8 and start with the source line number, as written.
#include <orv/OrvLog.h>

#include <mutex>
#include <string>
#include <vector>

class LogCapture : public orv::LogSink {
public:
    struct Record {
        std::string category;
        int level;
        std::string text;
    };

    LogCapture();
    ~LogCapture() override;

    void write(char const* category, int level, orv::String const& text) override;

    // Whether a line contains textPart, at exactly `level` when it is not 0.
    bool contains(std::string const& textPart, int level = 0) const;
    size_t count(std::string const& textPart, int level = 0) const;
    // Lines of one category (all when empty).
    size_t countInCategory(std::string const& category) const;
    std::vector<Record> records() const;
    void clear();
    // Every line as "<level> <category>: <text>", for failure messages.
    std::string dump() const;

private:
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    int m_previousPriority;
    orv::LogSink* m_previousSink;
    mutable std::mutex m_lock;
    std::vector<Record> m_records;
};

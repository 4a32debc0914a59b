#include <orv/OrvArray.h>
#include <orv/OrvException.h>
#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <string>

ORV_LOG_CATEGORY("foundation.tests");

namespace {

char const* counted(int& evaluations) {
    ++evaluations;
    return "composed";
}

orv::Logger* fileLogger() {
    orv::Logger* logger = nullptr;
    orv::LogFactory::createLogger("foundation.tests", logger);
    return logger;
}

TEST(LogTest, WrittenLineStartsWithItsLineNumberAndCarriesCategoryAndLevel) {
    LogCapture log;
    long const hr = static_cast<long>(0x8889000EUL);
    int const line = __LINE__; ORV_LOG(3) << "Initialize returns " << orv::OrvValue(hr).toHexString(true);

    std::vector<LogCapture::Record> const records = log.records();
    ASSERT_EQ(1u, records.size()) << log.dump();
    EXPECT_EQ("foundation.tests", records[0].category);
    EXPECT_EQ(3, records[0].level);
    EXPECT_EQ(std::to_string(line) + " Initialize returns 0x8889000E", records[0].text);
}

TEST(LogTest, LineBelowTheProcessThresholdIsNeitherComposedNorWritten) {
    LogCapture log;
    orv::LogFactory::setPriority(orv::LoggerPriority::LOGGER_ERROR);
    int evaluations = 0;
    ORV_LOG(2) << counted(evaluations);
    ORV_LOG(1) << counted(evaluations);
    EXPECT_EQ(0, evaluations);
    EXPECT_EQ(0u, log.records().size());

    ORV_LOG(4) << counted(evaluations);
    EXPECT_EQ(1, evaluations);
    EXPECT_TRUE(log.contains("composed", 4));

    orv::LogFactory::setPriority(orv::LoggerPriority::LOGGER_OFF);
    ORV_LOG(4) << counted(evaluations);
    EXPECT_EQ(1, evaluations) << "threshold 5 switches everything off";
}

TEST(LogTest, LoggerOwnPriorityIsTheSecondGate) {
    LogCapture log;
    orv::Logger* logger = fileLogger();
    logger->priority = orv::LoggerPriority::LOGGER_ERROR;
    int evaluations = 0;
    ORV_LOG(2) << counted(evaluations);
    ORV_LOG(3) << counted(evaluations);
    logger->priority = orv::LoggerPriority::LOGGER_DETAIL;

    EXPECT_EQ(1, evaluations);
    EXPECT_EQ(1u, log.count("composed", 3));
    EXPECT_EQ(0u, log.count("composed", 2));
}

TEST(LogTest, LoggerIsOnePerCategory) {
    orv::Logger* again = nullptr;
    orv::LogFactory::createLogger("foundation.tests", again);
    EXPECT_EQ(fileLogger(), again);
    orv::Logger* other = nullptr;
    orv::LogFactory::createLogger("foundation.other", other);
    EXPECT_NE(again, other);
    EXPECT_STREQ("foundation.other", other->category());
}

TEST(LogTest, TraceMarksEntryAndExitAtLevelOneOnly) {
    LogCapture log;
    {
        ORV_TRACE("Scope::traced");
        ORV_LOG(2) << "inside";
    }
    std::vector<LogCapture::Record> const records = log.records();
    ASSERT_EQ(3u, records.size()) << log.dump();
    EXPECT_EQ(1, records[0].level);
    EXPECT_NE(std::string::npos, records[0].text.find("Scope::traced"));
    EXPECT_NE(std::string::npos, records[1].text.find("inside"));
    EXPECT_EQ(1, records[2].level);
    EXPECT_NE(std::string::npos, records[2].text.find("Scope::traced"));

    log.clear();
    orv::LogFactory::setPriority(orv::LoggerPriority::LOGGER_INFO);
    {
        ORV_TRACE("Scope::silent");
    }
    EXPECT_EQ(0u, log.records().size()) << log.dump();
}

TEST(LogTest, StreamWritesEachKindOfOperand) {
    orv::LoggerStream stream;
    stream + "a" + orv::String("b");
    stream << -3 << " " << -4L << " " << static_cast<unsigned short>(5) << " " << 6u << " " << 7UL << " "
           << 18446744073709551615ULL << " " << 0.5f << " " << -1.25;
    EXPECT_EQ("ab-3 -4 5 6 7 18446744073709551615 0.5 -1.25", stream.text().toUtf8());
}

TEST(LogTest, LogAssertRecordsTheFailureAndLogsItAtLevelFour) {
    LogCapture log;
    unsigned long long const before = orv::AssertionFailure::assertionCount();
    orv::AssertionFailure::logAssert("SomeFile", 42, "x < y", orv::String("with detail"));

    EXPECT_EQ(before + 1, orv::AssertionFailure::assertionCount());
    orv::AssertionRecord record;
    ASSERT_TRUE(orv::AssertionFailure::lastAssertion(record));
    EXPECT_EQ("SomeFile", record.file);
    EXPECT_EQ(42u, record.line);
    EXPECT_EQ("x < y", record.expression);
    EXPECT_EQ("with detail", record.message);
    EXPECT_TRUE(log.contains("42 Assertion failed: x < y in SomeFile:42 with detail", 4)) << log.dump();

    orv::logArrayAllocationFailure("OrvArrayRep", 7, 5000);
    ASSERT_TRUE(orv::AssertionFailure::lastAssertion(record));
    EXPECT_EQ("rep", record.expression);
    EXPECT_EQ("Asked for array of size: 5000", record.message);
}

}  // namespace

#pragma once
// Exceptions and the assertion stop of the foundation.
//
// A failed check never returns to the code behind it: it is recorded with
// AssertionFailure::logAssert and then raised as structured exception 7
// (RaiseException(7, 0, 0, nullptr)), which nothing is meant to handle. The
// macros below are the only way code of this project states such a check:
//
//   ORV_ASSERT(index < size(), "OrvArrayCommon");          // text "index < size()"
//   ORV_ASSERT_TEXT(a + 1 <= b + 1, "a <= b + 1", "File");  // text given apart
//   ORV_ASSERT_MSG(rep, "OrvArrayRep", someString);        // message evaluated on failure only
//
// logAssert writes the failure as a level-4 log line (category "orv") and
// always to standard error as
//   "Assertion failed: <expression> in <file>:<line>[ <message>]"
// so that a dying process leaves the expression text behind even with the
// log switched off.
#include <orv/OrvExport.h>
#include <orv/OrvTypes.h>

#include <windows.h>

#include <string>

namespace orv {

class String;

// Base of the exceptions that the foundation throws. Thrown by value.
class ORV_API Exception {
public:
    Exception();
    explicit Exception(std::string message);
    Exception(Exception const& other);
    Exception& operator=(Exception const& other);
    virtual ~Exception();

    // UTF-8 description for diagnostics.
    virtual char const* what() const;

private:
    std::string m_message;
};

// What the last failed check was, kept process-wide for tests and crash
// reports.
struct AssertionRecord {
    std::string file;
    unsigned long long line = 0;
    std::string expression;
    std::string message;  // UTF-8, empty when the check had none
};

class ORV_API AssertionFailure {
public:
    static void logAssert(char const* file, unsigned long long line, char const* expression);
    static void logAssert(char const* file, unsigned long long line, char const* expression,
                          String const& message);

    // The last recorded failure; false when there has been none.
    static bool lastAssertion(AssertionRecord& record);
    // How many failures have been recorded in this process.
    static unsigned long long assertionCount();
};

}  // namespace orv

// The stop that follows every recorded failure.
#define ORV_ASSERTION_STOP() ::RaiseException(7, 0, 0, nullptr)

#define ORV_ASSERT_TEXT(expression, text, file)                                \
    do {                                                                       \
        if (!(expression)) {                                                   \
            ::orv::AssertionFailure::logAssert((file), __LINE__, (text));      \
            ORV_ASSERTION_STOP();                                              \
        }                                                                      \
    } while (0)

#define ORV_ASSERT(expression, file) ORV_ASSERT_TEXT(expression, #expression, file)

#define ORV_ASSERT_MSG(expression, file, message)                                       \
    do {                                                                                \
        if (!(expression)) {                                                            \
            ::orv::AssertionFailure::logAssert((file), __LINE__, #expression, (message)); \
            ORV_ASSERTION_STOP();                                                       \
        }                                                                               \
    } while (0)

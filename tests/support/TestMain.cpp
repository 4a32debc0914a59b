// The main of every test program. An assertion stop of the foundation raises
// structured exception 7; under Wine an unhandled exception first starts the
// debugger and prints a long crash dump, so the filter below ends the process
// at once with the exception code as its exit code. Death tests then see
// "exited with code 7".
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>

namespace {
LONG WINAPI exitWithExceptionCode(EXCEPTION_POINTERS* info) {
    std::fflush(stdout);
    std::fflush(stderr);
    ExitProcess(info->ExceptionRecord->ExceptionCode);
}
}  // namespace

int main(int argc, char** argv) {
    SetUnhandledExceptionFilter(exitWithExceptionCode);
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    testing::InitGoogleTest(&argc, argv);
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    return RUN_ALL_TESTS();
}

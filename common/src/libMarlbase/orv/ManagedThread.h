#pragma once
// orv::ManagedThread: one worker thread made from a function and a user
// pointer. The function receives the thread object and finds its work
// through m_userPointer. Constructing does not start the thread; run() does.
// The destructor joins a thread that is still running.
#include <orv/OrvExport.h>

#include <windows.h>

#include <atomic>
#include <functional>

namespace orv {

class ORV_API ManagedThread {
public:
    typedef std::function<int(ManagedThread&)> Function;

    ManagedThread(Function function, void* userPointer);
    ~ManagedThread();

    // Starts the thread; false when it cannot be started or was started
    // before. The name is for debuggers and may be null.
    bool run(char const* name);
    // True from run() until the thread function has returned.
    bool isRunning() const;
    // Waits, without a time limit, until the thread function has returned;
    // returns at once for a thread that has finished or never ran.
    bool join();
    // The thread function's return value; false when it has none (not yet
    // returned, or left by an exception).
    bool getExitCode(int* code) const;

    void* userPointer() const { return m_userPointer; }

    // Read by thread functions to find their work.
    void* m_userPointer;

    ManagedThread(ManagedThread const&) = delete;
    ManagedThread& operator=(ManagedThread const&) = delete;

private:
    static DWORD WINAPI threadMain(LPVOID self);
    void runFunction();

    Function m_function;
    HANDLE m_thread;
    std::atomic<bool> m_running;
    std::atomic<bool> m_hasExitCode;
    int m_exitCode;
};

}  // namespace orv

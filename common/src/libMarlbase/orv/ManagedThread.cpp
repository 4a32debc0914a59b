#include <orv/ManagedThread.h>

#include <orv/OrvLog.h>
#include <orv/OrvValue.h>

#include <utility>

ORV_LOG_CATEGORY("orv.thread");

namespace orv {

namespace {

HANDLE startThread(LPTHREAD_START_ROUTINE routine, void* argument) {
    HANDLE const thread = CreateThread(nullptr, 0, routine, argument, 0, nullptr);
    if (!thread) {
        ORV_LOG(3) << "CreateThread fails with " << OrvValue(GetLastError()).toHexString(true);
    }
    return thread;
}

}  // namespace

ManagedThread::ManagedThread(Function function, void* userPointer)
    : m_userPointer(userPointer),
      m_function(std::move(function)),
      m_thread(nullptr),
      m_running(false),
      m_hasExitCode(false),
      m_exitCode(0) {}

ManagedThread::~ManagedThread() {
    join();
    if (m_thread) {
        CloseHandle(m_thread);
    }
}

bool ManagedThread::run(char const* name) {
    if (m_thread) {
        return false;
    }
    m_running = true;
    m_thread = startThread(&ManagedThread::threadMain, this);
    if (!m_thread) {
        m_running = false;
        return false;
    }
    return true;
}

bool ManagedThread::isRunning() const {
    return m_running;
}

bool ManagedThread::join() {
    if (m_thread) {
        WaitForSingleObject(m_thread, INFINITE);
    }
    return true;
}

bool ManagedThread::getExitCode(int* code) const {
    if (!m_hasExitCode) {
        return false;
    }
    *code = m_exitCode;
    return true;
}

DWORD WINAPI ManagedThread::threadMain(LPVOID self) {
    static_cast<ManagedThread*>(self)->runFunction();
    return 0;
}

void ManagedThread::runFunction() {
    try {
        m_exitCode = m_function(*this);
        m_hasExitCode = true;
    } catch (...) {
        ORV_LOG(3) << "thread function left by an exception";
    }
    m_running = false;
}

}  // namespace orv

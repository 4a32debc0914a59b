#include "EventThread.h"

#include <objbase.h>

namespace audiosim::detail {

EventThread::~EventThread() {
    stop();
}

void EventThread::startLocked() {
    if (!m_thread.joinable() && !m_stopping && !m_stopped)
        m_thread = std::thread([this] { run(); });
}

void EventThread::post(std::function<void()> task) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_stopping || m_stopped)
        return;
    m_tasks.push_back(std::move(task));
    ++m_posted;
    startLocked();
    m_changed.notify_all();
}

void EventThread::flush() {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_thread.joinable() || GetCurrentThreadId() == m_threadId)
        return;
    const unsigned long long target = m_posted;
    m_changed.wait(lock, [&] { return m_done >= target || m_stopped; });
}

void EventThread::stop() {
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_stopped)
            return;
        m_stopping = true;
        m_changed.notify_all();
    }
    if (m_thread.joinable()) {
        if (m_thread.get_id() == std::this_thread::get_id())
            m_thread.detach();
        else
            m_thread.join();
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_stopped = true;
    m_changed.notify_all();
}

DWORD EventThread::threadId() {
    std::unique_lock<std::mutex> lock(m_mutex);
    startLocked();
    m_changed.wait(lock, [&] { return m_threadId != 0 || m_stopped || m_stopping; });
    return m_threadId;
}

void EventThread::run() {
    // The system calls its clients from the multithreaded apartment; a
    // client that creates COM objects in its callback finds the same.
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_threadId = GetCurrentThreadId();
    m_changed.notify_all();
    for (;;) {
        m_changed.wait(lock, [&] { return !m_tasks.empty() || m_stopping; });
        if (m_tasks.empty())
            break;
        std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
        ++m_done;
        m_changed.notify_all();
    }
    lock.unlock();
    CoUninitialize();
}

}  // namespace audiosim::detail

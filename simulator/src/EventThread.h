// The machine's own thread, on which it calls its clients back, as the
// system does: IMMNotificationClient, IAudioEndpointVolumeCallback and
// IControlChangeNotify never run on the thread that caused the event.
#pragma once

#include <windows.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace audiosim::detail {

class EventThread {
public:
    EventThread() = default;
    ~EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    // Queues a task; the thread starts with the first one. After stop()
    // tasks are dropped.
    void post(std::function<void()> task);
    // Waits until every task queued before the call has run. From the event
    // thread itself it returns at once, since waiting there could never end.
    void flush();
    // Runs what is queued, then ends the thread.
    void stop();
    DWORD threadId();

private:
    void startLocked();   // with m_mutex held
    void run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_tasks;
    unsigned long long m_posted = 0;
    unsigned long long m_done = 0;
    bool m_stopping = false;
    bool m_stopped = false;
    std::thread m_thread;
    DWORD m_threadId = 0;
};

}  // namespace audiosim::detail

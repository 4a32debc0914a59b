#pragma once
// A real window whose message loop runs on a thread of its own, as a client's
// user interface thread would. It counts the messages of one number that
// reach its window procedure and signals an event at each.
#include <windows.h>

#include <thread>

class MessageWindow {
public:
    explicit MessageWindow(UINT watchedMessage);
    // Closes the window and joins its thread.
    ~MessageWindow();

    HWND window() const { return m_window; }
    DWORD threadId() const { return m_threadId; }
    LONG received() const { return m_received; }
    // Blocks until the watched message has arrived `count` times in all.
    void waitForMessages(LONG count);

private:
    MessageWindow(MessageWindow const&) = delete;
    MessageWindow& operator=(MessageWindow const&) = delete;

    static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void run(HANDLE ready);

    UINT m_watchedMessage;
    HWND m_window = nullptr;
    DWORD m_threadId = 0;
    volatile LONG m_received = 0;
    HANDLE m_arrived;
    std::thread m_thread;
};

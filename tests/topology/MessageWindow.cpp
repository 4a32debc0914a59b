#include "MessageWindow.h"

namespace {
wchar_t const windowClassName[] = L"SonvaneTopologyTestsWindow";
}

MessageWindow::MessageWindow(UINT watchedMessage)
    : m_watchedMessage(watchedMessage), m_arrived(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    m_thread = std::thread(&MessageWindow::run, this, ready);
    WaitForSingleObject(ready, INFINITE);
    CloseHandle(ready);
}

MessageWindow::~MessageWindow() {
    PostMessageW(m_window, WM_CLOSE, 0, 0);
    m_thread.join();
    CloseHandle(m_arrived);
}

void MessageWindow::waitForMessages(LONG count) {
    while (m_received < count) {
        WaitForSingleObject(m_arrived, INFINITE);
    }
}

LRESULT CALLBACK MessageWindow::windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* self = reinterpret_cast<MessageWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && message == self->m_watchedMessage) {
        InterlockedIncrement(&self->m_received);
        SetEvent(self->m_arrived);
        return 0;
    }
    if (message == WM_DESTROY) {
        PostQuitMessage(0);
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void MessageWindow::run(HANDLE ready) {
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = &MessageWindow::windowProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = windowClassName;
    RegisterClassW(&windowClass);  // fails harmlessly when a window before registered it

    m_threadId = GetCurrentThreadId();
    m_window = CreateWindowExW(0, windowClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                               GetModuleHandleW(nullptr), nullptr);
    SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    SetEvent(ready);

    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
}

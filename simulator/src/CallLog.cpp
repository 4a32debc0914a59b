#include <audiosim/CallLog.h>

namespace audiosim {

namespace {

bool isPolling(const std::wstring& method) {
    return method == L"IAudioClient::GetCurrentPadding" || method == L"IAudioCaptureClient::GetNextPacketSize";
}

bool sameCall(const CallRecord& a, const CallRecord& b) {
    return a.method == b.method && a.object == b.object && a.arguments == b.arguments && a.result == b.result &&
           a.threadId == b.threadId && a.faulted == b.faulted;
}

}  // namespace

std::vector<CallRecord> CallLog::all() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records;
}

std::vector<CallRecord> CallLog::of(const std::wstring& method) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<CallRecord> result;
    for (const CallRecord& record : m_records) {
        if (record.method == method)
            result.push_back(record);
    }
    return result;
}

std::vector<std::wstring> CallLog::methods() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::wstring> result;
    result.reserve(m_records.size());
    for (const CallRecord& record : m_records)
        result.push_back(record.method);
    return result;
}

size_t CallLog::count(const std::wstring& method) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    size_t n = 0;
    for (const CallRecord& record : m_records)
        n += record.method == method ? 1 + record.repeats : 0;
    return n;
}

size_t CallLog::size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records.size();
}

void CallLog::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_firstTicket += m_records.size();
    m_records.clear();
}

void CallLog::setRecording(bool on) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_recording = on;
}

bool CallLog::recording() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_recording;
}

unsigned long long CallLog::begin(CallRecord record) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_recording)
        return 0;
    m_records.push_back(std::move(record));
    // Tickets start at 1 so that 0 can mean "not recorded".
    return m_firstTicket + m_records.size();
}

void CallLog::finish(unsigned long long ticket, HRESULT result, bool faulted) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (ticket <= m_firstTicket || ticket > m_firstTicket + m_records.size())
        return;
    CallRecord& record = m_records[ticket - m_firstTicket - 1];
    record.result = result;
    record.faulted = faulted;
    // A worker spinning on a polling call would fill the log in seconds.
    const bool last = ticket == m_firstTicket + m_records.size();
    if (last && m_records.size() >= 2 && isPolling(record.method) &&
        sameCall(m_records[m_records.size() - 2], record)) {
        ++m_records[m_records.size() - 2].repeats;
        m_records.pop_back();
    }
}

}  // namespace audiosim

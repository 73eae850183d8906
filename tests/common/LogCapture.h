#ifndef ZELKOV_TESTS_COMMON_LOG_CAPTURE_H
#define ZELKOV_TESTS_COMMON_LOG_CAPTURE_H

#include <mutex>
#include <string>
#include <vector>

#include <zelkov_platform/log_control.h>

namespace zelkov_test {

// Enables the given log mask and collects every printed message for the
// lifetime of the object. Messages may arrive from any thread.
class LogCapture {
public:
    struct Message {
        int level;
        std::string tag;
        std::string text;
    };

    explicit LogCapture(int mask = 0xff) {
        zelkov_platform::SetLogSink(&LogCapture::Sink, this);
        zelkov_platform::SetLogMask(mask);
    }
    ~LogCapture() {
        zelkov_platform::SetLogMask(-1);
        zelkov_platform::SetLogSink(nullptr, nullptr);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Message> Messages() const {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_messages;
    }
    // Number of messages at `level` whose text contains `fragment`.
    int Count(int level, const std::string& fragment) const {
        std::lock_guard<std::mutex> guard(m_lock);
        int count = 0;
        for (const Message& message : m_messages) {
            if (message.level == level && message.text.find(fragment) != std::string::npos) ++count;
        }
        return count;
    }
    void Reset() {
        std::lock_guard<std::mutex> guard(m_lock);
        m_messages.clear();
    }

private:
    static void Sink(int level, const char* tag, const char* text, void* context) {
        auto* self = static_cast<LogCapture*>(context);
        std::lock_guard<std::mutex> guard(self->m_lock);
        self->m_messages.push_back({level, tag != nullptr ? tag : "", text});
    }

    mutable std::mutex m_lock;
    std::vector<Message> m_messages;
};

}  // namespace zelkov_test

#endif

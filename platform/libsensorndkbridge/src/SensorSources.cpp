// Event sources of the simulated platform: synthetic streams at a fixed rate
// and the replay of a recorded motion trace, each on a thread of its own.
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include <zelkov_platform/sensor_control.h>

namespace zelkov_platform {
namespace {

using Clock = std::chrono::steady_clock;

// A thread that runs `body` until stopped; `body` sleeps through SleepUntil.
class SourceThread {
public:
    template <typename Body>
    explicit SourceThread(Body body) : m_thread([this, body] { body(*this); }) {}
    ~SourceThread() {
        {
            std::lock_guard<std::mutex> guard(m_lock);
            m_stop = true;
        }
        m_cond.notify_all();
        m_thread.join();
    }
    // False when the source was stopped before `when`.
    bool SleepUntil(Clock::time_point when) {
        std::unique_lock<std::mutex> lock(m_lock);
        return !m_cond.wait_until(lock, when, [this] { return m_stop; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_cond;
    bool m_stop = false;
    std::thread m_thread;  // last: starts once the members above exist
};

struct TraceSample {
    int64_t offsetNs;
    int type;
    std::vector<float> values;
};

std::vector<TraceSample> ReadTrace(const char* path) {
    std::vector<TraceSample> samples;
    std::ifstream file(path != nullptr ? path : "");
    std::string line;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        double ms = 0;
        TraceSample sample{};
        if (!(fields >> ms >> sample.type)) continue;
        sample.offsetNs = static_cast<int64_t>(ms * 1e6);
        float value;
        while (fields >> value) sample.values.push_back(value);
        samples.push_back(std::move(sample));
    }
    return samples;
}

std::mutex g_sources_lock;
std::map<int, std::unique_ptr<SourceThread>> g_streams;
int g_next_stream_id = 1;
std::unique_ptr<SourceThread> g_replay;

}  // namespace

int StartSensorStream(int type, double rateHz) {
    auto period = std::chrono::nanoseconds(static_cast<int64_t>(1e9 / (rateHz > 0 ? rateHz : 1)));
    auto stream = std::make_unique<SourceThread>([type, period](SourceThread& self) {
        Clock::time_point next = Clock::now();
        for (int64_t n = 0;; ++n) {
            float phase = static_cast<float>(n) * 0.01f;
            ASensorEvent event = MakeSensorEvent(type, {std::sin(phase), std::cos(phase), 0.5f * std::sin(2 * phase),
                                                        0.0f, 1.0f, 0.0f, 0.0f});
            InjectSensorEvent(event);
            next += period;
            if (!self.SleepUntil(next)) return;
        }
    });
    std::lock_guard<std::mutex> guard(g_sources_lock);
    int id = g_next_stream_id++;
    g_streams[id] = std::move(stream);
    return id;
}

void StopSensorStream(int id) {
    std::unique_ptr<SourceThread> stream;
    {
        std::lock_guard<std::mutex> guard(g_sources_lock);
        auto found = g_streams.find(id);
        if (found == g_streams.end()) return;
        stream = std::move(found->second);
        g_streams.erase(found);
    }
    // Joined outside the lock: the stream may be injecting right now.
}

void StopAllSensorStreams() {
    std::map<int, std::unique_ptr<SourceThread>> streams;
    {
        std::lock_guard<std::mutex> guard(g_sources_lock);
        streams.swap(g_streams);
    }
    // Joined outside the lock, as in StopSensorStream.
}

const char* DefaultMotionTracePath() {
    return ZELKOV_MOTION_TRACE_PATH;
}

int CountTraceSamples(const char* path) {
    return static_cast<int>(ReadTrace(path).size());
}

bool StartTraceReplay(const char* path, bool loop) {
    StopTraceReplay();
    std::vector<TraceSample> samples = ReadTrace(path);
    if (samples.empty()) return false;
    auto replay = std::make_unique<SourceThread>([samples, loop](SourceThread& self) {
        do {
            Clock::time_point start = Clock::now();
            for (const TraceSample& sample : samples) {
                if (!self.SleepUntil(start + std::chrono::nanoseconds(sample.offsetNs))) return;
                ASensorEvent event = MakeSensorEvent(sample.type, {});
                for (std::size_t i = 0; i < sample.values.size() && i < 16; ++i) event.data[i] = sample.values[i];
                InjectSensorEvent(event);
            }
        } while (loop);
    });
    std::lock_guard<std::mutex> guard(g_sources_lock);
    g_replay = std::move(replay);
    return true;
}

void StopTraceReplay() {
    std::unique_ptr<SourceThread> replay;
    {
        std::lock_guard<std::mutex> guard(g_sources_lock);
        replay = std::move(g_replay);
    }
}

}  // namespace zelkov_platform

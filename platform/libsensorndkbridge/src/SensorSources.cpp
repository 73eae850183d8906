// Event sources of the simulated platform: synthetic streams at a fixed rate,
// all served by one thread as a device's sensor events reach a process through
// one service thread, and the replay of a recorded motion trace on a thread of
// its own.
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

// The streams and the one thread that injects their events when due.
class StreamScheduler {
public:
    ~StreamScheduler() {
        {
            std::lock_guard<std::mutex> guard(m_lock);
            m_exit = true;
        }
        m_cond.notify_all();
        if (m_thread.joinable()) m_thread.join();
    }
    int Start(int type, Clock::duration period) {
        std::lock_guard<std::mutex> guard(m_lock);
        const int id = m_nextId++;
        m_streams[id] = Stream{type, period, Clock::now(), 0};
        if (!m_thread.joinable()) m_thread = std::thread([this] { Run(); });
        m_cond.notify_all();
        return id;
    }
    // Once this returns, no event of the stopped streams is injected any more.
    void Stop(const int* id) {
        std::unique_lock<std::mutex> lock(m_lock);
        if (id != nullptr) {
            m_streams.erase(*id);
        } else {
            m_streams.clear();
        }
        m_cond.notify_all();
        m_cond.wait(lock, [this] { return !m_injecting; });
    }

private:
    struct Stream {
        int type;
        Clock::duration period;
        Clock::time_point next;
        int64_t count;
    };

    void Run() {
        std::unique_lock<std::mutex> lock(m_lock);
        std::vector<ASensorEvent> due;
        while (!m_exit) {
            if (m_streams.empty()) {
                m_cond.wait(lock);
                continue;
            }
            Clock::time_point earliest = Clock::time_point::max();
            for (const auto& entry : m_streams) earliest = std::min(earliest, entry.second.next);
            if (Clock::now() < earliest) {
                m_cond.wait_until(lock, earliest);  // also woken by a change of the streams
                continue;
            }
            due.clear();
            const Clock::time_point now = Clock::now();
            for (auto& entry : m_streams) {
                Stream& stream = entry.second;
                if (stream.next > now) continue;
                float phase = static_cast<float>(stream.count++) * 0.01f;
                due.push_back(MakeSensorEvent(stream.type, {std::sin(phase), std::cos(phase),
                                                            0.5f * std::sin(2 * phase), 0.0f, 1.0f, 0.0f, 0.0f}));
                stream.next += stream.period;
            }
            m_injecting = true;
            lock.unlock();
            InjectSensorEvents(due.data(), due.size());
            lock.lock();
            m_injecting = false;
            m_cond.notify_all();
        }
    }

    std::mutex m_lock;
    std::condition_variable m_cond;
    std::map<int, Stream> m_streams;
    int m_nextId = 1;
    bool m_injecting = false;
    bool m_exit = false;
    std::thread m_thread;
};

StreamScheduler g_streams;
std::mutex g_sources_lock;
std::unique_ptr<SourceThread> g_replay;

}  // namespace

int StartSensorStream(int type, double rateHz) {
    auto period = std::chrono::nanoseconds(static_cast<int64_t>(1e9 / (rateHz > 0 ? rateHz : 1)));
    return g_streams.Start(type, period);
}

void StopSensorStream(int id) { g_streams.Stop(&id); }

void StopAllSensorStreams() { g_streams.Stop(nullptr); }

const char* DefaultMotionTracePath() { return ZELKOV_MOTION_TRACE_PATH; }

int CountTraceSamples(const char* path) { return static_cast<int>(ReadTrace(path).size()); }

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

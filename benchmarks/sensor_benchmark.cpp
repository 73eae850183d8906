// Sensor listener costs on the simulated platform: how fast the looper thread
// drains events, how long an injected event takes to reach GetSensorData, and
// how quickly DisableSensor stops the loop (it wakes the 300 ms poll), idle and
// under load. Every latency comes with a floor measured in the same run and on
// the same cores: two hand-offs of a condition variable, each to a thread that
// has been blocked since its last turn, which is what an injected event costs
// at least on its way to a waiting reader (the looper thread wakes in its
// poll, then wakes the reader). The ratio holds from one machine to the next.
#include <pthread.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include <android/sensor_manager/ISensorListener.h>
#include <zelkov_platform/sensor_control.h>

using namespace zelkov;

namespace {

// Events drained per second from a full queue: a burst of the queue's capacity
// queued at once, timed until the queue is empty.
void BM_IntakeRate(benchmark::State& state) {
    const int burst = static_cast<int>(state.range(0));
    zelkov_platform::ResetSensorPlatform();
    zelkov_platform::SetQueueCapacity(static_cast<std::size_t>(burst));
    ISensorListener* listener = LoadSensorListener();
    listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 2);
    std::vector<ASensorEvent> events(static_cast<std::size_t>(burst),
                                     zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {0.1f, 0.2f, 0.3f}));
    for (auto _ : state) {
        zelkov_platform::InjectSensorEvents(events.data(), events.size());
        while (zelkov_platform::PendingEventCount() != 0) {}
    }
    state.counters["events_per_second"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * burst, benchmark::Counter::kIsRate);
    listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_IntakeRate)->Arg(8)->Arg(256)->UseRealTime();

using Clock = std::chrono::steady_clock;

double MicrosecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// Median, 99th percentile (nearest rank) and maximum of some samples.
struct Figures {
    double median, p99, max;
};
Figures FiguresOf(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return {samples[samples.size() / 2], samples[(samples.size() * 99 + 99) / 100 - 1], samples.back()};
}

// Where the timed threads run: the benchmark thread (the reader) on one core,
// the looper thread and the floor's partner on another, so every timed wake
// crosses cores the same way. On a single core nothing is pinned.
class CorePlan {
public:
    CorePlan() {
        cpu_set_t allowed;
        CPU_ZERO(&allowed);
        CPU_ZERO(&m_reader);
        CPU_ZERO(&m_looper);
        if (sched_getaffinity(0, sizeof(allowed), &allowed) != 0) return;
        m_saved = allowed;
        std::vector<int> cpus;
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            if (CPU_ISSET(cpu, &allowed)) cpus.push_back(cpu);
        }
        if (cpus.size() < 2) return;
        CPU_SET(cpus[0], &m_reader);
        CPU_SET(cpus[1], &m_looper);
        m_pinned = true;
    }
    ~CorePlan() {
        if (m_pinned) sched_setaffinity(0, sizeof(m_saved), &m_saved);
    }
    void PinReader() const { Pin(0, m_reader); }
    void PinPartner() const { Pin(0, m_looper); }
    // The listener's looper thread: the thread polling the platform's loopers
    // (threads of earlier loops that have ended are skipped by the kernel).
    void PinLooper() const {
        for (int i = 0; i < 1000 && zelkov_platform::PollingThreadIds().empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (int tid : zelkov_platform::PollingThreadIds()) Pin(tid, m_looper);
    }

private:
    void Pin(pid_t tid, const cpu_set_t& cpus) const {
        if (m_pinned) sched_setaffinity(tid, sizeof(cpus), &cpus);
    }
    cpu_set_t m_saved, m_reader, m_looper;
    bool m_pinned = false;
};

// The floor of an injected event's way to a waiting reader: the caller wakes
// a partner blocked since its last turn (as the looper thread sits in its
// poll between events), and the partner, under the same lock, wakes the
// caller, blocked since it handed over (as the reader waits for the sample).
// A benchmark takes one floor sample per iteration, next to the sample it
// times, so both see the same machine load.
class WakeChainFloor {
public:
    explicit WakeChainFloor(const CorePlan& cores)
        : m_partner([this, &cores] {
              cores.PinPartner();
              Serve();
          }) {}
    ~WakeChainFloor() {
        {
            std::lock_guard<std::mutex> guard(m_lock);
            m_turn = -1;
        }
        m_partnerCond.notify_one();
        m_partner.join();
    }
    void Measure() {
        const Clock::time_point start = Clock::now();
        std::unique_lock<std::mutex> guard(m_lock);
        m_turn = 1;
        m_partnerCond.notify_one();
        m_callerCond.wait(guard, [this] { return m_turn == 0; });
        guard.unlock();
        m_samplesUs.push_back(MicrosecondsSince(start));
    }
    const std::vector<double>& SamplesUs() const { return m_samplesUs; }

private:
    void Serve() {
        std::unique_lock<std::mutex> guard(m_lock);
        for (;;) {
            m_partnerCond.wait(guard, [this] { return m_turn != 0; });
            if (m_turn < 0) return;
            m_turn = 0;
            m_callerCond.notify_one();
        }
    }

    std::mutex m_lock;
    std::condition_variable m_partnerCond, m_callerCond;
    int m_turn = 0;  // 1: the partner's turn, 0: the caller's, -1: done
    std::vector<double> m_samplesUs;
    std::thread m_partner;  // last: starts once the members above exist
};

// Median, p99 and maximum of one sample per iteration, with the same figures
// of the hand-off floor taken alongside, and each as a multiple of its floor.
void ReportLatencies(benchmark::State& state, std::vector<double> samplesUs, const WakeChainFloor& floorChain) {
    if (samplesUs.empty()) return;
    const Figures got = FiguresOf(std::move(samplesUs));
    const Figures floor = FiguresOf(floorChain.SamplesUs());
    const std::pair<const char*, std::pair<double, double>> rows[] = {
        {"median", {got.median, floor.median}}, {"p99", {got.p99, floor.p99}}, {"max", {got.max, floor.max}}};
    for (const auto& row : rows) {
        const std::string figure = row.first;
        state.counters[figure + "_us"] = row.second.first;
        state.counters["floor_" + figure + "_us"] = row.second.second;
        state.counters[figure + "_x_floor"] = row.second.first / row.second.second;
    }
}

struct OtherSensor {
    int listenerType;
    int platformType;
    double rateHz;
};
const OtherSensor kOtherSensors[] = {
    {SENSOR_LISTENER_ACCELEROMETER, ASENSOR_TYPE_ACCELEROMETER, 400},
    {SENSOR_LISTENER_ROTATION_VECTOR, ASENSOR_TYPE_ROTATION_VECTOR, 200},
    {SENSOR_LISTENER_LIGHT, ASENSOR_TYPE_LIGHT, 5},
};

// From injecting one gyroscope event to a waiting GetSensorData returning it,
// while the accelerometer, rotation vector and light sensor stream as on a
// device. Their events raise the same new-data flag, so a read may return
// early with an older gyroscope sample and is then repeated.
void BM_InjectToQuery(benchmark::State& state) {
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    std::vector<int> streams;
    for (const OtherSensor& other : kOtherSensors) {
        listener->EnableSensor(other.listenerType, 0, 0);
        streams.push_back(zelkov_platform::StartSensorStream(other.platformType, other.rateHz));
    }
    listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 2);
    SensorListenerEvent event{};
    SensorListenerExtraData extra{};
    int64_t stamp = 0;
    std::vector<double> latenciesUs;
    CorePlan cores;
    cores.PinReader();
    cores.PinLooper();
    WakeChainFloor floorChain(cores);
    for (auto _ : state) {
        stamp = std::max(stamp + 1, zelkov_platform::BootTimeNs());  // unique and current
        const Clock::time_point start = Clock::now();
        zelkov_platform::InjectSensorEvent(zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_GYROSCOPE, {1, 2, 3}, stamp));
        do {
            listener->GetSensorData(SENSOR_LISTENER_GYROSCOPE, &event, true, &extra);
        } while (event.gyro.timestamp != stamp);
        latenciesUs.push_back(MicrosecondsSince(start));
        floorChain.Measure();
    }
    ReportLatencies(state, std::move(latenciesUs), floorChain);
    state.counters["avg_latency_ns"] = static_cast<double>(extra.avg_latency_ns);
    for (int id : streams) zelkov_platform::StopSensorStream(id);
    listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
    for (const OtherSensor& other : kOtherSensors) listener->DisableSensor(other.listenerType);
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_InjectToQuery)->UseRealTime()->Unit(benchmark::kMicrosecond);

// DisableSensor of the last type: exit request, looper wake, join, release.
// The looper thread is given 10 ms to settle into its 300 ms poll first, the
// case the wake must cut short (a disable right after the enable instead waits
// for the thread's start-up, a few milliseconds here); the fixed iteration
// count bounds those waits.
void BM_DisableStopsLoop(benchmark::State& state) {
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    std::vector<double> stopsUs;
    CorePlan cores;
    cores.PinReader();
    WakeChainFloor floorChain(cores);
    for (auto _ : state) {
        state.PauseTiming();
        floorChain.Measure();
        listener->EnableSensor(SENSOR_LISTENER_GYROSCOPE, 0, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        cores.PinLooper();
        state.ResumeTiming();
        const Clock::time_point start = Clock::now();
        listener->DisableSensor(SENSOR_LISTENER_GYROSCOPE);
        stopsUs.push_back(MicrosecondsSince(start));
    }
    ReportLatencies(state, std::move(stopsUs), floorChain);
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_DisableStopsLoop)->Iterations(200)->UseRealTime()->Unit(benchmark::kMicrosecond);

// The same stop while four sensors stream at 1 kHz each, the fastest device
// rates: the four types run together for 20 ms, three are disabled, and the
// disable of the last is timed. Its stream keeps the looper thread draining
// right up to the wake, and the pass drains until the queue is empty before
// the thread sees the exit request.
void BM_DisableUnderLoad(benchmark::State& state) {
    const OtherSensor kStreams[] = {
        {SENSOR_LISTENER_ACCELEROMETER, ASENSOR_TYPE_ACCELEROMETER, 1000},
        {SENSOR_LISTENER_ROTATION_VECTOR, ASENSOR_TYPE_ROTATION_VECTOR, 1000},
        {SENSOR_LISTENER_LIGHT, ASENSOR_TYPE_LIGHT, 1000},
        {SENSOR_LISTENER_GYROSCOPE, ASENSOR_TYPE_GYROSCOPE, 1000},
    };
    zelkov_platform::ResetSensorPlatform();
    ISensorListener* listener = LoadSensorListener();
    std::vector<int> streams;
    for (const OtherSensor& stream : kStreams) {
        streams.push_back(zelkov_platform::StartSensorStream(stream.platformType, stream.rateHz));
    }
    std::vector<double> stopsUs;
    CorePlan cores;
    cores.PinReader();
    WakeChainFloor floorChain(cores);
    for (auto _ : state) {
        state.PauseTiming();
        floorChain.Measure();
        for (const OtherSensor& stream : kStreams) listener->EnableSensor(stream.listenerType, 1000, 2);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        cores.PinLooper();
        for (int i = 0; i < 3; ++i) listener->DisableSensor(kStreams[i].listenerType);
        state.ResumeTiming();
        const Clock::time_point start = Clock::now();
        listener->DisableSensor(kStreams[3].listenerType);
        stopsUs.push_back(MicrosecondsSince(start));
    }
    for (int id : streams) zelkov_platform::StopSensorStream(id);
    ReportLatencies(state, std::move(stopsUs), floorChain);
    UnloadSensorListener(&listener);
}
BENCHMARK(BM_DisableUnderLoad)->Iterations(200)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

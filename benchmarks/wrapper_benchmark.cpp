// What an accessor of the exported stream wrapper costs compared with the
// cheapest call the camera core could make instead: the same field of the same
// record read or written by a function of this program that is never inlined.
// Each iteration runs a batch of wrapper calls and then a batch of direct
// calls, each batch timed on its own, so both see the same machine load and
// their ratio stays meaningful on a busy machine.
#include <chrono>

#include <benchmark/benchmark.h>

#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/internal/StreamRecords.h>

using namespace zelkov;

namespace {

// Plain noinline still lets GCC clone a getter into one that takes the field's
// value, moving the load into the caller; noipa keeps the call as written.
#if defined(__clang__)
#define ZEL_DIRECT_CALL __attribute__((noinline))
#else
#define ZEL_DIRECT_CALL __attribute__((noinline, noipa))
#endif

ZEL_DIRECT_CALL unsigned int DirectGetWidth(const camera3_stream* stream) { return stream->width; }
ZEL_DIRECT_CALL void DirectSetWidth(camera3_stream* stream, unsigned int width) { stream->width = width; }
ZEL_DIRECT_CALL unsigned long long DirectGetUsage(const camera3_stream* stream) { return stream->usage; }
ZEL_DIRECT_CALL void DirectSetUsage(camera3_stream* stream, unsigned long long usage) { stream->usage = usage; }

// Long enough that the two clock reads around a batch are noise next to it.
constexpr int kBatch = 4096;

using Clock = std::chrono::steady_clock;

// `wrapperCall(stream, i)` and `directCall(record, i)` make one call each.
// Counters: nanoseconds per call of each, and wrapper / direct.
template <typename WrapperCall, typename DirectCall>
void Compare(benchmark::State& state, WrapperCall wrapperCall, DirectCall directCall) {
    ZelCamera3Stream stream;
    camera3_stream* record = stream.Ptr();
    Clock::duration wrapperTime{}, directTime{};
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < kBatch; ++i) wrapperCall(stream, i);
        const Clock::time_point middle = Clock::now();
        for (int i = 0; i < kBatch; ++i) directCall(record, i);
        const Clock::time_point end = Clock::now();
        wrapperTime += middle - start;
        directTime += end - middle;
    }
    const double calls = static_cast<double>(state.iterations()) * kBatch;
    const double wrapperNs = std::chrono::duration<double, std::nano>(wrapperTime).count() / calls;
    const double directNs = std::chrono::duration<double, std::nano>(directTime).count() / calls;
    state.counters["wrapper_ns"] = wrapperNs;
    state.counters["direct_ns"] = directNs;
    state.counters["ratio"] = wrapperNs / directNs;
}

void BM_GetWidth(benchmark::State& state) {
    Compare(
        state,
        [](ZelCamera3Stream& stream, int) {
            benchmark::DoNotOptimize(&stream);
            benchmark::DoNotOptimize(stream.GetWidth());
        },
        [](camera3_stream* record, int) {
            benchmark::DoNotOptimize(record);
            benchmark::DoNotOptimize(DirectGetWidth(record));
        });
}
BENCHMARK(BM_GetWidth);

void BM_SetWidth(benchmark::State& state) {
    Compare(
        state,
        [](ZelCamera3Stream& stream, int i) {
            stream.SetWidth(static_cast<unsigned int>(i));
            benchmark::ClobberMemory();
        },
        [](camera3_stream* record, int i) {
            DirectSetWidth(record, static_cast<unsigned int>(i));
            benchmark::ClobberMemory();
        });
}
BENCHMARK(BM_SetWidth);

void BM_GetUsage(benchmark::State& state) {
    Compare(
        state,
        [](ZelCamera3Stream& stream, int) {
            benchmark::DoNotOptimize(&stream);
            benchmark::DoNotOptimize(stream.GetUsage());
        },
        [](camera3_stream* record, int) {
            benchmark::DoNotOptimize(record);
            benchmark::DoNotOptimize(DirectGetUsage(record));
        });
}
BENCHMARK(BM_GetUsage);

void BM_SetUsage(benchmark::State& state) {
    Compare(
        state,
        [](ZelCamera3Stream& stream, int i) {
            stream.SetUsage(static_cast<unsigned long long>(i) << 32 | 1u);
            benchmark::ClobberMemory();
        },
        [](camera3_stream* record, int i) {
            DirectSetUsage(record, static_cast<unsigned long long>(i) << 32 | 1u);
            benchmark::ClobberMemory();
        });
}
BENCHMARK(BM_SetUsage);

}  // namespace

BENCHMARK_MAIN();

#ifndef ZELKOV_FUZZ_CHECKS_SENSOR_INTAKE_CHECKS_H
#define ZELKOV_FUZZ_CHECKS_SENSOR_INTAKE_CHECKS_H

// An arbitrary event stream (SensorIntakeInput.h) into a sample store, event
// by event as the looper stores them. Each event must report the type bit
// the routing rules give it, the store must follow those rules, and the
// latency history must hold, for the last 30 gyroscope events read with a
// clock, the clock reading minus the timestamp.
//
// Needs the listener's sources built into the executable (its intake is
// hidden in the library).

#include <cstdint>
#include <cstring>
#include <deque>

#include <android/sensor_manager/internal/SensorListener.h>

#include "fuzz/checks/FuzzCheck.h"
#include "fuzz/checks/SensorIntakeInput.h"

namespace zelkov_fuzz {

namespace sensor_detail {

using zelkov::SensorListenerEvent;

// Far from any timestamp of the seeds, so that latencies of every sign occur.
constexpr int64_t kClockBase = INT64_C(4000000000000000000);

// Two's complement arithmetic without signed overflow.
inline int64_t WrapAdd(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
inline int64_t WrapSub(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

template <typename T>
bool SameBits(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

struct ExpectedStore {
    SensorListenerEvent store{};
    std::deque<int64_t> latencies;  // of the gyroscope events in the history

    // The type bit the event fills, 0 when it is dropped.
    uint32_t Route(const SensorIntakeRecord& record, int64_t now, bool statistics, int hrmCode) {
        const float* d = record.data;
        uint32_t bit = 0;
        switch (PlatformTypeOf(record)) {
            case 1:
                store.accel = {d[0], d[1], d[2]};
                bit = 1;
                break;
            case 4:
                if (statistics && now != 0) {
                    latencies.push_back(WrapSub(now, record.timestamp));
                    if (latencies.size() > 30) latencies.pop_front();
                }
                store.gyro = {d[0], d[1], d[2], record.timestamp};
                bit = 2;
                break;
            case 5:
                store.light = d[0];
                bit = 4;
                break;
            case 27:
                if (d[0] >= 0.0f && d[0] <= 3.0f) {
                    store.orientation = static_cast<uint32_t>(d[0]);
                    bit = 8;
                }
                break;
            case 11:
                store.rotation = {d[0], d[1], d[2], d[3], d[4], record.timestamp};
                bit = 128;
                break;
            case 0x10029:
                if (d[0] == -1.0f || d[0] == -2.0f) {
                    std::memcpy(&store.alc.status, &d[1], sizeof(store.alc.status));
                } else {
                    store.alc.value = d[0];
                    if (hrmCode == 1000) std::memcpy(store.alc.extra, &d[1], sizeof(store.alc.extra));
                }
                bit = 16;
                break;
            case 0x1002A:
                std::memcpy(store.vendor_1002a.values, d, sizeof(store.vendor_1002a.values));
                bit = 32;
                break;
            case 0x1002F:
                store.vendor_1002f = d[0];
                bit = 64;
                break;
            default: break;
        }
        return bit;
    }
};

inline void CheckLatencies(const zelkov::SensorListenerExtraDataInternal& stats, const ExpectedStore& expected) {
    ZEL_FUZZ_CHECK(stats.latency_count == static_cast<int64_t>(expected.latencies.size()));
    int64_t sum = 0;
    for (int64_t i = 0; i < stats.latency_count; ++i) {
        ZEL_FUZZ_CHECK(stats.At(i) == expected.latencies[static_cast<size_t>(i)]);
        sum = WrapAdd(sum, stats.At(i));
    }
    ZEL_FUZZ_CHECK(stats.latency_sum == sum);
}

// Member by member: the record's padding is not part of a sample.
inline void CheckStore(const SensorListenerEvent& got, const SensorListenerEvent& want) {
#define ZEL_SAME(member) SameBits(got.member, want.member)
    ZEL_FUZZ_CHECK(ZEL_SAME(accel.x) && ZEL_SAME(accel.y) && ZEL_SAME(accel.z));
    ZEL_FUZZ_CHECK(ZEL_SAME(gyro.x) && ZEL_SAME(gyro.y) && ZEL_SAME(gyro.z) && ZEL_SAME(gyro.timestamp));
    ZEL_FUZZ_CHECK(ZEL_SAME(light));
    ZEL_FUZZ_CHECK(got.orientation == want.orientation && got.orientation <= 3);
    ZEL_FUZZ_CHECK(ZEL_SAME(alc.value) && ZEL_SAME(alc.sensor_type) && ZEL_SAME(alc.status) && ZEL_SAME(alc.extra));
    ZEL_FUZZ_CHECK(ZEL_SAME(vendor_1002a.values));
    ZEL_FUZZ_CHECK(ZEL_SAME(vendor_1002f));
    ZEL_FUZZ_CHECK(ZEL_SAME(rotation.x) && ZEL_SAME(rotation.y) && ZEL_SAME(rotation.z) && ZEL_SAME(rotation.w) &&
                   ZEL_SAME(rotation.accuracy) && ZEL_SAME(rotation.timestamp));
#undef ZEL_SAME
}

}  // namespace sensor_detail

inline void CheckSensorIntake(const uint8_t* data, size_t size) {
    using namespace sensor_detail;
    if (size < kSensorIntakeHeaderBytes) return;
    const bool statistics = (data[0] & 1) != 0;
    const int hrmCode = (data[0] & 2) != 0 ? 1000 : 7;

    SensorListenerEvent store{};
    zelkov::SensorListenerExtraDataInternal stats;
    ExpectedStore expected;
    size_t index = 0;
    for (size_t at = kSensorIntakeHeaderBytes; at + kSensorIntakeRecordBytes <= size && index < kMaxSensorIntakeRecords;
         at += kSensorIntakeRecordBytes, ++index) {
        const SensorIntakeRecord record = ReadSensorIntakeRecord(data + at);
        ASensorEvent event;
        std::memset(&event, 0, sizeof(event));
        event.version = sizeof(event);
        event.type = PlatformTypeOf(record);
        event.timestamp = record.timestamp;
        std::memcpy(event.data, record.data, sizeof(record.data));
        const int64_t now = (record.kind & kClockFailsBit) != 0 ? 0 : kClockBase + static_cast<int64_t>(index);
        const uint32_t bit = zelkov::StoreSensorEvent(event, now, statistics ? 2 : 1, hrmCode, store, stats);
        ZEL_FUZZ_CHECK(bit == expected.Route(record, now, statistics, hrmCode));
    }
    CheckStore(store, expected.store);
    CheckLatencies(stats, expected);
}

}  // namespace zelkov_fuzz

#endif

#ifndef ZELKOV_FUZZ_CHECKS_SENSOR_INTAKE_CHECKS_H
#define ZELKOV_FUZZ_CHECKS_SENSOR_INTAKE_CHECKS_H

// An arbitrary event stream (SensorIntakeInput.h) through the listener's
// looper passes on the simulated platform, then a query of every type without
// waiting. The expected store follows the routing rules event by event; the
// latency history must hold, for the last 30 gyroscope events, latencies that
// give back a clock reading taken during the intake.
//
// Needs the listener's sources built into the executable (its class is hidden
// in the library); reaches its private state through the listener's test peer.

#include <climits>
#include <cstdint>
#include <cstring>
#include <deque>
#include <vector>

#include <android/sensor_manager/internal/SensorListener.h>
#include <sensorndkbridge/looper_camera.h>
#include <zelkov_platform/log_control.h>
#include <zelkov_platform/sensor_control.h>

#include "fuzz/checks/FuzzCheck.h"
#include "fuzz/checks/SensorIntakeInput.h"
#include "tests/sensor_manager/SensorListenerTestPeer.h"

namespace zelkov_fuzz {

namespace sensor_detail {

using zelkov::SensorListenerEvent;

// Two's complement arithmetic without signed overflow.
inline int64_t WrapAdd(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

template <typename T>
bool SameBits(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

struct ExpectedStore {
    SensorListenerEvent store{};
    uint32_t valid = 0;
    bool newData = false;
    std::deque<int64_t> statStamps;  // timestamps of the gyroscope events in the latency history

    void Route(const SensorIntakeRecord& record, bool statistics, int hrmCode) {
        const float* d = record.data;
        uint32_t bit = 0;
        switch (PlatformTypeOf(record)) {
            case 1:
                store.accel = {d[0], d[1], d[2]};
                bit = 1;
                break;
            case 4:
                if (statistics) {
                    statStamps.push_back(record.timestamp);
                    if (statStamps.size() > 30) statStamps.pop_front();
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
        valid |= bit;
        newData = newData || bit != 0;
    }
};

// Every latency is the clock reading at intake minus the event's timestamp.
inline void CheckLatencies(const zelkov::SensorListenerExtraDataInternal& stats, const ExpectedStore& expected,
                           int64_t before, int64_t after) {
    ZEL_FUZZ_CHECK(stats.latency_count == static_cast<int64_t>(expected.statStamps.size()));
    int64_t sum = 0;
    for (int64_t i = 0; i < stats.latency_count; ++i) {
        const int64_t latency = stats.At(i);
        const int64_t now = WrapAdd(latency, expected.statStamps[static_cast<size_t>(i)]);
        ZEL_FUZZ_CHECK(now >= before && now <= after);
        sum = WrapAdd(sum, latency);
    }
    ZEL_FUZZ_CHECK(stats.latency_sum == sum);
}

inline void CheckQueries(zelkov::SensorListener& listener, const ExpectedStore& expected, bool statistics,
                         int hrmCode) {
    using namespace zelkov;
    g_enabledSensorMask = 0xFF;
    const SensorListenerEvent& want = expected.store;
    for (int bit = 1; bit <= 128; bit <<= 1) {
        SensorListenerEvent got;
        std::memset(&got, 0xA5, sizeof(got));
        SensorListenerExtraData extra{-7};
        const int status = listener.GetSensorData(bit, &got, false, &extra);
        if ((expected.valid & static_cast<uint32_t>(bit)) == 0) {
            ZEL_FUZZ_CHECK(status == -EAGAIN);
            continue;
        }
        ZEL_FUZZ_CHECK(status == 0);
        ZEL_FUZZ_CHECK(!SensorListenerTestPeer::NewData(listener));
#define ZEL_SAME(member) SameBits(got.member, want.member)
        switch (bit) {
            case SENSOR_LISTENER_ACCELEROMETER:
                ZEL_FUZZ_CHECK(ZEL_SAME(accel.x) && ZEL_SAME(accel.y) && ZEL_SAME(accel.z));
                break;
            case SENSOR_LISTENER_GYROSCOPE: {
                ZEL_FUZZ_CHECK(ZEL_SAME(gyro.x) && ZEL_SAME(gyro.y) && ZEL_SAME(gyro.z) && ZEL_SAME(gyro.timestamp));
                const SensorListenerExtraDataInternal stats = SensorListenerTestPeer::Latencies(listener);
                const bool average = statistics && stats.latency_count > 0;
                ZEL_FUZZ_CHECK(extra.avg_latency_ns == (average ? stats.latency_sum / stats.latency_count : -1));
                break;
            }
            case SENSOR_LISTENER_LIGHT: ZEL_FUZZ_CHECK(ZEL_SAME(light)); break;
            case SENSOR_LISTENER_DEVICE_ORIENTATION:
                ZEL_FUZZ_CHECK(got.orientation == want.orientation && got.orientation <= 3);
                break;
            case SENSOR_LISTENER_ALC:
                ZEL_FUZZ_CHECK(ZEL_SAME(alc.value) && ZEL_SAME(alc.status) && ZEL_SAME(alc.extra));
                ZEL_FUZZ_CHECK(got.alc.sensor_type == static_cast<float>(hrmCode));
                break;
            case SENSOR_LISTENER_VENDOR_1002A: ZEL_FUZZ_CHECK(ZEL_SAME(vendor_1002a.values)); break;
            case SENSOR_LISTENER_VENDOR_1002F: ZEL_FUZZ_CHECK(ZEL_SAME(vendor_1002f)); break;
            case SENSOR_LISTENER_ROTATION_VECTOR:
                ZEL_FUZZ_CHECK(ZEL_SAME(rotation.x) && ZEL_SAME(rotation.y) && ZEL_SAME(rotation.z) &&
                               ZEL_SAME(rotation.w) && ZEL_SAME(rotation.accuracy) && ZEL_SAME(rotation.timestamp));
                break;
        }
#undef ZEL_SAME
    }
    // No bit, several bits, or bits outside the enabled ones.
    for (int type : {0, 3, 256, -1, INT_MIN}) {
        SensorListenerEvent got;
        const bool enabled = (type & 0xFF) != 0;
        const bool valid = (expected.valid & static_cast<uint32_t>(type)) != 0;
        ZEL_FUZZ_CHECK(listener.GetSensorData(type, &got, false, nullptr) == (enabled && !valid ? -EAGAIN : -EINVAL));
    }
    g_enabledSensorMask = 0;
}

inline void DiscardLog(int, const char*, const char*, void*) {}

}  // namespace sensor_detail

inline void CheckSensorIntake(const uint8_t* data, size_t size) {
    using namespace sensor_detail;
    using Peer = zelkov::SensorListenerTestPeer;
    if (size < kSensorIntakeHeaderBytes) return;
    const bool statistics = (data[0] & 1) != 0;
    const int hrmCode = (data[0] & 2) != 0 ? 1000 : 7;
    const int readError = kSensorIntakeErrors[(data[0] >> 2) & 3];
    const size_t perPass = data[1] % 16 + 1;
    std::vector<SensorIntakeRecord> records;
    for (size_t at = kSensorIntakeHeaderBytes;
         at + kSensorIntakeRecordBytes <= size && records.size() < kMaxSensorIntakeRecords;
         at += kSensorIntakeRecordBytes) {
        records.push_back(ReadSensorIntakeRecord(data + at));
    }

    // Every message is formatted, none printed.
    zelkov_platform::SetLogSink(DiscardLog, nullptr);
    zelkov_platform::SetLogMask(0xFF);
    zelkov_platform::ClearGetEventsResults();

    zelkov::SensorListener listener;
    Peer::AttachQueue(listener);
    Peer::Configure(listener, statistics ? 2 : 1, hrmCode);
    ExpectedStore expected;
    const int64_t before = zelkov_platform::BootTimeNs();
    for (size_t first = 0; first < records.size(); first += perPass) {
        std::vector<ASensorEvent> events;
        bool failRead = false;
        for (size_t i = first; i < records.size() && i < first + perPass; ++i) {
            const SensorIntakeRecord& record = records[i];
            ASensorEvent event;
            std::memset(&event, 0, sizeof(event));
            event.version = sizeof(event);
            event.type = PlatformTypeOf(record);
            event.timestamp = record.timestamp;
            std::memcpy(event.data, record.data, sizeof(record.data));
            events.push_back(event);
            failRead = failRead || (record.kind & kFailReadBit) != 0;
            expected.Route(record, statistics, hrmCode);
        }
        zelkov_platform::InjectSensorEvents(events.data(), events.size(), true);
        if (failRead) zelkov_platform::FailNextGetEvents(readError);
        ZEL_FUZZ_CHECK(Peer::Pass(listener));
    }
    // Whatever a failed read left behind. A queue signals its looper only when
    // an event arrives, so each pass is preceded by a magnetometer event, which
    // the intake drops.
    for (int pass = 0; pass < 64 && zelkov_platform::PendingEventCount() != 0; ++pass) {
        zelkov_platform::InjectSensorEvent(zelkov_platform::MakeSensorEvent(ASENSOR_TYPE_MAGNETIC_FIELD, {}), true);
        Peer::Pass(listener);
    }
    ZEL_FUZZ_CHECK(zelkov_platform::PendingEventCount() == 0);
    const int64_t after = zelkov_platform::BootTimeNs();
    Peer::DetachQueue(listener);

    ZEL_FUZZ_CHECK(Peer::NewData(listener) == expected.newData);
    CheckLatencies(Peer::Latencies(listener), expected, before, after);
    CheckQueries(listener, expected, statistics, hrmCode);
}

}  // namespace zelkov_fuzz

#endif

#ifndef ZELKOV_FUZZ_CHECKS_SENSOR_INTAKE_INPUT_H
#define ZELKOV_FUZZ_CHECKS_SENSOR_INTAKE_INPUT_H

// The byte format of a sensor intake input, shared by the fuzzer, the seed
// generator and the regression tests.
//
//   header (2 bytes)
//     [0] bit 0: gyroscope latency statistics on (options 2, else 1)
//         bit 1: the light sensor chip is the rear one (code 1000, else 7)
//         bits 2-7: unused
//     [1] unused
//   records (41 bytes each, little end first), at most kMaxSensorIntakeRecords
//     kind      1 byte: bits 0-3 pick kSensorIntakeTypes[kind], or `type` past
//               its end; bit 7: the clock cannot be read at this event
//     type      int32
//     timestamp int64
//     data      7 float32

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zelkov_fuzz {

struct SensorIntakeRecord {
    uint8_t kind;
    int32_t type;
    int64_t timestamp;
    float data[7];
};

constexpr size_t kSensorIntakeHeaderBytes = 2;
constexpr size_t kSensorIntakeRecordBytes = 1 + 4 + 8 + 7 * 4;
constexpr size_t kMaxSensorIntakeRecords = 128;
constexpr uint8_t kClockFailsBit = 0x80;

// The routed platform types, a dropped one (magnetometer) and type 0.
constexpr int kSensorIntakeTypes[] = {1, 4, 5, 27, 11, 0x10029, 0x1002A, 0x1002F, 2, 0};
constexpr int kSensorIntakeTypeCount = sizeof(kSensorIntakeTypes) / sizeof(kSensorIntakeTypes[0]);

inline int PlatformTypeOf(const SensorIntakeRecord& record) {
    const int pick = record.kind & 0x0F;
    return pick < kSensorIntakeTypeCount ? kSensorIntakeTypes[pick] : record.type;
}

inline SensorIntakeRecord ReadSensorIntakeRecord(const uint8_t* bytes) {
    SensorIntakeRecord record;
    record.kind = bytes[0];
    std::memcpy(&record.type, bytes + 1, sizeof(record.type));
    std::memcpy(&record.timestamp, bytes + 5, sizeof(record.timestamp));
    std::memcpy(record.data, bytes + 13, sizeof(record.data));
    return record;
}

inline void AppendSensorIntakeRecord(std::vector<uint8_t>& out, const SensorIntakeRecord& record) {
    uint8_t bytes[kSensorIntakeRecordBytes];
    bytes[0] = record.kind;
    std::memcpy(bytes + 1, &record.type, sizeof(record.type));
    std::memcpy(bytes + 5, &record.timestamp, sizeof(record.timestamp));
    std::memcpy(bytes + 13, record.data, sizeof(record.data));
    out.insert(out.end(), bytes, bytes + sizeof(bytes));
}

}  // namespace zelkov_fuzz

#endif

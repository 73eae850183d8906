// The fuzz targets' checks on their seed corpora and on the inputs fuzzing
// found, plus the two findings written out as readable cases.
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fuzz/checks/CameraMetadataChecks.h"
#include "fuzz/checks/NativeHandleChecks.h"
#include "fuzz/checks/SensorIntakeChecks.h"

namespace {

using Check = void (*)(const uint8_t*, size_t);

std::vector<uint8_t> ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs `check` on every file kept for `fuzzer`; returns how many there were.
// A failing check aborts, naming its condition.
int ReplayDirectory(const std::string& directory, const std::string& fuzzer, Check check) {
    const std::filesystem::path folder = std::filesystem::path(directory) / fuzzer;
    if (!std::filesystem::is_directory(folder)) return 0;
    int replayed = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path().string());
        const std::vector<uint8_t> bytes = ReadFile(file.path());
        check(bytes.data(), bytes.size());
        ++replayed;
    }
    return replayed;
}

TEST(FuzzReplayTest, CameraMetadataSeedsAndFindings) {
    EXPECT_GE(ReplayDirectory(ZEL_FUZZ_CORPUS_DIR, "camera_metadata_fuzzer", zelkov_fuzz::CheckCameraMetadata), 4);
    EXPECT_GE(ReplayDirectory(ZEL_FUZZ_INPUTS_DIR, "camera_metadata_fuzzer", zelkov_fuzz::CheckCameraMetadata), 1);
}

TEST(FuzzReplayTest, SensorIntakeSeedsAndFindings) {
    EXPECT_GE(ReplayDirectory(ZEL_FUZZ_CORPUS_DIR, "sensor_intake_fuzzer", zelkov_fuzz::CheckSensorIntake), 4);
    EXPECT_GE(ReplayDirectory(ZEL_FUZZ_INPUTS_DIR, "sensor_intake_fuzzer", zelkov_fuzz::CheckSensorIntake), 1);
}

TEST(FuzzReplayTest, NativeHandleSeeds) {
    EXPECT_GE(ReplayDirectory(ZEL_FUZZ_CORPUS_DIR, "native_handle_fuzzer", zelkov_fuzz::CheckNativeHandle), 4);
}

// Found by the metadata fuzzer: a data count that is not a whole number of
// 8-byte units. The platform accepts it (only the values' ends are checked,
// against the capacity); appending after such a buffer would misalign the
// next buffer's values, which the stand-in stops (see the fuzz checks).
TEST(FuzzFindingsTest, RaggedMetadataDataCountIsValid) {
    camera_metadata_t* source = allocate_camera_metadata(1, 64);
    const double gps[3] = {48.85, 2.35, 35.0};
    ASSERT_EQ(add_camera_metadata_entry(source, ANDROID_JPEG_GPS_COORDINATES, gps, 3), 0);
    const size_t size = get_camera_metadata_size(source);
    std::unique_ptr<uint64_t[]> block(new uint64_t[size / 8]);
    std::memcpy(block.get(), source, size);
    free_camera_metadata(source);
    auto* metadata = reinterpret_cast<camera_metadata_t*>(block.get());

    constexpr size_t kDataCountOffset = 6 * sizeof(uint32_t);
    for (uint32_t ragged : {25u, 30u, 31u, 1u}) {
        std::memcpy(reinterpret_cast<uint8_t*>(block.get()) + kDataCountOffset, &ragged, sizeof(ragged));
        EXPECT_EQ(validate_camera_metadata_structure(metadata, &size), 0) << ragged;
    }
}

// Found by the intake fuzzer: gyroscope timestamps far from now overflowed the
// signed latency and its running sum. They now wrap, and the history still
// gives back the clock readings taken at intake.
TEST(FuzzFindingsTest, ExtremeGyroscopeTimestampsKeepTheLatencyStatisticsDefined) {
    using zelkov_fuzz::SensorIntakeRecord;
    const uint8_t statisticsOn = 0x01;
    std::vector<uint8_t> input = {statisticsOn, 0};
    const uint8_t gyroscope = 1;  // kSensorIntakeTypes[1]
    for (int64_t stamp : {INT64_MIN, INT64_MAX, INT64_MIN + 1, int64_t{-1}, INT64_MIN}) {
        SensorIntakeRecord record = {};
        record.kind = gyroscope;
        record.timestamp = stamp;
        zelkov_fuzz::AppendSensorIntakeRecord(input, record);
    }
    ASSERT_EQ(zelkov_fuzz::kSensorIntakeTypes[gyroscope], 4);
    zelkov_fuzz::CheckSensorIntake(input.data(), input.size());
}

}  // namespace

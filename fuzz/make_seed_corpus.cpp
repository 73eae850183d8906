// Writes the seed corpora of the fuzz targets: make_seed_corpus <fuzz/corpus>.
// Metadata seeds are buffers made with the metadata library itself; sensor and
// handle seeds follow the byte formats their checks read.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include <system/camera_metadata.h>

#include "fuzz/checks/SensorIntakeInput.h"

namespace {

std::string g_root;

void Write(const std::string& fuzzer, const std::string& name, const void* bytes, size_t size) {
    const std::string path = g_root + "/" + fuzzer + "/" + name;
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr || std::fwrite(bytes, 1, size, file) != size) {
        std::perror(path.c_str());
        std::exit(1);
    }
    std::fclose(file);
}

// ---- camera metadata ----

void WriteMetadata(const std::string& name, const camera_metadata_t* metadata) {
    Write("camera_metadata_fuzzer", name, metadata, get_camera_metadata_size(metadata));
}

// One entry of every type, inline (at most four bytes) and in the data area.
camera_metadata_t* EveryType(size_t spareEntries, size_t spareData) {
    camera_metadata_t* m = allocate_camera_metadata(7 + spareEntries, 160 + spareData);
    const uint8_t aeMode = 1;
    const int64_t exposure = 33000000;
    const float focal = 4.25f;
    const camera_metadata_rational_t step = {1, 3};
    const float gains[4] = {1.5f, 1.0f, 1.0f, 2.0f};
    const double gps[3] = {48.85, 2.35, 35.0};
    const int32_t configs[8] = {35, 1920, 1080, 0, 33, 4000, 3000, 0};
    add_camera_metadata_entry(m, ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS, configs, 8);
    add_camera_metadata_entry(m, ANDROID_CONTROL_AE_MODE, &aeMode, 1);
    add_camera_metadata_entry(m, ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1);
    add_camera_metadata_entry(m, ANDROID_LENS_FOCAL_LENGTH, &focal, 1);
    add_camera_metadata_entry(m, ANDROID_CONTROL_AE_COMPENSATION_STEP, &step, 1);
    add_camera_metadata_entry(m, ANDROID_COLOR_CORRECTION_GAINS, gains, 4);
    add_camera_metadata_entry(m, ANDROID_JPEG_GPS_COORDINATES, gps, 3);
    return m;
}

int VendorTagType(const vendor_tag_ops_t*, uint32_t) { return TYPE_INT32; }

void MetadataSeeds() {
    camera_metadata_t* empty = allocate_camera_metadata(0, 0);
    WriteMetadata("empty", empty);
    free_camera_metadata(empty);

    camera_metadata_t* unsorted = EveryType(0, 0);
    WriteMetadata("every_type", unsorted);
    sort_camera_metadata(unsorted);
    WriteMetadata("every_type_sorted", unsorted);
    free_camera_metadata(unsorted);

    camera_metadata_t* spare = EveryType(4, 64);
    const int32_t orientation = 90;
    add_camera_metadata_entry(spare, ANDROID_SENSOR_ORIENTATION, &orientation, 1);
    add_camera_metadata_entry(spare, ANDROID_SENSOR_ORIENTATION, &orientation, 1);  // a repeated tag
    WriteMetadata("spare_capacity", spare);
    free_camera_metadata(spare);

    // A vendor tag, typed by vendor ops present only while it is added.
    vendor_tag_ops_t ops = {};
    ops.get_tag_type = VendorTagType;
    set_camera_metadata_vendor_ops(&ops);
    camera_metadata_t* vendor = allocate_camera_metadata(2, 16);
    const int32_t values[3] = {7, 8, 9};
    add_camera_metadata_entry(vendor, 0x80000001u, values, 3);
    add_camera_metadata_entry(vendor, ANDROID_LENS_FOCAL_LENGTH, values, 1);
    set_camera_metadata_vendor_ops(nullptr);
    WriteMetadata("vendor_tag", vendor);
    free_camera_metadata(vendor);
}

// ---- sensor intake ----

using zelkov_fuzz::SensorIntakeRecord;

constexpr int64_t kStamp = 1000000000;  // one second after boot: an ordinary past timestamp

// The index of a platform type in kSensorIntakeTypes.
uint8_t Kind(int platformType) {
    for (int i = 0; i < zelkov_fuzz::kSensorIntakeTypeCount; ++i) {
        if (zelkov_fuzz::kSensorIntakeTypes[i] == platformType) return static_cast<uint8_t>(i);
    }
    return 0x0F;
}

SensorIntakeRecord Event(int platformType, std::vector<float> data, int64_t timestamp = kStamp) {
    SensorIntakeRecord record = {};
    record.kind = Kind(platformType);
    record.type = platformType;
    record.timestamp = timestamp;
    for (size_t i = 0; i < data.size() && i < 7; ++i) record.data[i] = data[i];
    return record;
}

void WriteSensor(const std::string& name, uint8_t flags, const std::vector<SensorIntakeRecord>& records) {
    std::vector<uint8_t> bytes = {flags, 0};
    for (const SensorIntakeRecord& record : records) zelkov_fuzz::AppendSensorIntakeRecord(bytes, record);
    Write("sensor_intake_fuzzer", name, bytes.data(), bytes.size());
}

void SensorSeeds() {
    WriteSensor("every_type", 0x01,
                {Event(1, {0.5f, -9.8f, 1.25f}), Event(4, {0.1f, 0.2f, 0.3f}), Event(5, {321.5f}), Event(27, {2.0f}),
                 Event(11, {0.1f, 0.2f, 0.3f, 0.9f, 0.05f}), Event(0x10029, {40, 1, 2, 3, 4, 5, 6}),
                 Event(0x1002A, {1, 2, 3, 4, 5, 6, 7}), Event(0x1002F, {8.5f})});

    std::vector<SensorIntakeRecord> gyro;
    for (int i = 0; i < 40; ++i) gyro.push_back(Event(4, {0.01f * i, 0, 0}, kStamp + i * 5000000LL));
    WriteSensor("gyro_history", 0x01, gyro);

    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    WriteSensor("odd_values", 0x02,
                {Event(27, {3.5f}), Event(27, {nan}), Event(27, {3.0f}), Event(0x10029, {-2.0f, 3.5f}),
                 Event(0x10029, {12.0f, 1, 2, 3, 4, 5, 6}), Event(1, {nan, inf, -inf}), Event(2, {1, 2, 3}),
                 Event(0, {1}), Event(0x12345, {1})});

    std::vector<SensorIntakeRecord> clockFails = {Event(5, {1.0f}), Event(4, {2, 2, 2}), Event(4, {1, 1, 1})};
    clockFails[1].kind |= zelkov_fuzz::kClockFailsBit;
    WriteSensor("clock_fails", 0x01, clockFails);
}

// ---- native handle ----

void WriteHandle(const std::string& name, std::vector<int32_t> words) {
    Write("native_handle_fuzzer", name, words.data(), words.size() * sizeof(int32_t));
}

void HandleSeeds() {
    // version, split (numFds = split % (data words + 1)), data words
    WriteHandle("two_fds_three_ints", {12, 2, 100, 101, 102, 103, 104});
    WriteHandle("no_data", {12, 0});
    WriteHandle("ints_only", {12, 0, 7, -1024, 9});
    WriteHandle("fds_only", {-7, 3, 3, 4, 5});
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <fuzz/corpus>\n", argv[0]);
        return 2;
    }
    g_root = argv[1];
    MetadataSeeds();
    SensorSeeds();
    HandleSeeds();
    return 0;
}

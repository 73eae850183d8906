// Camera metadata costs through the handler as the entry count grows: find
// (linear before sorting, binary after), add, update with data moved, sort,
// append, clone and validate. Entries are vendor tags of type int32 with two
// values each, so every one has data in the data area.
#include <vector>

#include <benchmark/benchmark.h>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <system/camera_metadata.h>

using namespace zelkov;

namespace {

constexpr unsigned int kFirstTag = CAMERA_METADATA_VENDOR_TAG_BOUNDARY;

const char* SectionName(const vendor_tag_ops*, uint32_t) { return "com.zelkov.bench"; }
const char* TagName(const vendor_tag_ops*, uint32_t) { return "value"; }
int TagType(const vendor_tag_ops*, uint32_t) { return TYPE_INT32; }

IZelCameraMetadataHandler* Handler() {
    static vendor_tag_ops ops = [] {
        vendor_tag_ops v{};
        v.get_section_name = SectionName;
        v.get_tag_name = TagName;
        v.get_tag_type = TagType;
        return v;
    }();
    IZelCameraMetadataHandler* handler = GetCameraMetadataHandler();
    handler->SetVendorOps(&ops);
    return handler;
}

// `count` entries added in descending tag order, so the buffer is unsorted.
camera_metadata* Filled(unsigned int count, unsigned int spare = 0) {
    IZelCameraMetadataHandler* handler = Handler();
    camera_metadata* metadata = handler->Allocate(count + spare, (count + spare) * 16);
    for (unsigned int i = count; i-- > 0;) {
        const int32_t values[] = {int32_t(i), -int32_t(i)};
        handler->AddEntry(metadata, kFirstTag + i, values, 2);
    }
    return metadata;
}

void BM_Add(benchmark::State& state) {
    const unsigned int count = unsigned(state.range(0));
    IZelCameraMetadataHandler* handler = Handler();
    const int32_t values[] = {1, 2};
    for (auto _ : state) {
        camera_metadata* metadata = handler->Allocate(count, count * 8);
        for (unsigned int i = 0; i < count; ++i) handler->AddEntry(metadata, kFirstTag + i, values, 2);
        handler->Free(metadata);
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.SetComplexityN(count);
}

void Find(benchmark::State& state, bool sorted) {
    const unsigned int count = unsigned(state.range(0));
    IZelCameraMetadataHandler* handler = Handler();
    camera_metadata* metadata = Filled(count);
    if (sorted) handler->Sort(metadata);
    zel_camera_metadata_ro_entry entry;
    unsigned int next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(handler->FindRoEntry(metadata, kFirstTag + next, &entry));
        next = (next + 7) % count;
    }
    state.SetComplexityN(state.range(0));
    handler->Free(metadata);
}
void BM_FindUnsorted(benchmark::State& state) { Find(state, false); }
void BM_FindSorted(benchmark::State& state) { Find(state, true); }

// The first entry's data alternates between 8 and 16 bytes, so each update
// moves every later value down and appends the new one.
void BM_UpdateMovingData(benchmark::State& state) {
    const unsigned int count = unsigned(state.range(0));
    IZelCameraMetadataHandler* handler = Handler();
    camera_metadata* metadata = Filled(count, 1);
    const int32_t values[] = {1, 2, 3, 4};
    unsigned int length = 4;
    for (auto _ : state) {
        benchmark::DoNotOptimize(handler->UpdateEntry(metadata, 0, values, length, nullptr));
        length = length == 4 ? 2 : 4;
    }
    state.SetComplexityN(state.range(0));
    handler->Free(metadata);
}

// Includes a clone of the unsorted buffer per iteration; see BM_Clone.
void BM_CloneAndSort(benchmark::State& state) {
    IZelCameraMetadataHandler* handler = Handler();
    camera_metadata* unsorted = Filled(unsigned(state.range(0)));
    for (auto _ : state) {
        camera_metadata* copy = handler->Clone(unsorted);
        handler->Sort(copy);
        handler->Free(copy);
    }
    state.SetComplexityN(state.range(0));
    handler->Free(unsorted);
}

void BM_Clone(benchmark::State& state) {
    IZelCameraMetadataHandler* handler = Handler();
    camera_metadata* source = Filled(unsigned(state.range(0)));
    for (auto _ : state) handler->Free(handler->Clone(source));
    state.SetComplexityN(state.range(0));
    handler->Free(source);
}

void BM_Append(benchmark::State& state) {
    const unsigned int count = unsigned(state.range(0));
    IZelCameraMetadataHandler* handler = Handler();
    camera_metadata* source = Filled(count);
    for (auto _ : state) {
        camera_metadata* dst = handler->Allocate(count, count * 8);
        benchmark::DoNotOptimize(handler->Append(dst, source));
        handler->Free(dst);
    }
    state.SetComplexityN(state.range(0));
    handler->Free(source);
}

void BM_Validate(benchmark::State& state) {
    IZelCameraMetadataHandler* handler = Handler();
    camera_metadata* metadata = Filled(unsigned(state.range(0)));
    const unsigned int size = unsigned(get_camera_metadata_size(metadata));
    for (auto _ : state) benchmark::DoNotOptimize(handler->ValidateStructure(metadata, &size));
    state.SetComplexityN(state.range(0));
    handler->Free(metadata);
}

// Complexity() fits the time against the entry count (N) and reports the best BigO.
#define ZEL_METADATA_BENCHMARK(name) BENCHMARK(name)->RangeMultiplier(4)->Range(8, 2048)->Complexity()
ZEL_METADATA_BENCHMARK(BM_Add);
ZEL_METADATA_BENCHMARK(BM_FindUnsorted);
ZEL_METADATA_BENCHMARK(BM_FindSorted);
ZEL_METADATA_BENCHMARK(BM_UpdateMovingData);
ZEL_METADATA_BENCHMARK(BM_CloneAndSort);
ZEL_METADATA_BENCHMARK(BM_Clone);
ZEL_METADATA_BENCHMARK(BM_Append);
ZEL_METADATA_BENCHMARK(BM_Validate);

}  // namespace

BENCHMARK_MAIN();

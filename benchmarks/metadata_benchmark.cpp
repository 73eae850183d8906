// Camera metadata costs through the handler as the entry count grows: find
// (linear before sorting, binary after), add, update with data moved, sort,
// append, clone and validate. Entries are vendor tags of type int32 with two
// values each, so every one has data in the data area.
#include <chrono>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <android/misc/IZelCameraMetadataHandler.h>
#include <system/camera_metadata.h>

#include "platform/libcamera_metadata/MetadataTestSupport.h"

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

// `count` entries, tags kFirstTag + step * i, added in descending tag order,
// so the buffer is unsorted.
camera_metadata* Filled(unsigned int count, unsigned int spare = 0, unsigned int step = 1) {
    IZelCameraMetadataHandler* handler = Handler();
    camera_metadata* metadata = handler->Allocate(count + spare, (count + spare) * 16);
    for (unsigned int i = count; i-- > 0;) {
        const int32_t values[] = {int32_t(i), -int32_t(i)};
        handler->AddEntry(metadata, kFirstTag + step * i, values, 2);
    }
    return metadata;
}

// Entry indices in a random order, so no branch predictor learns the keys.
std::vector<uint32_t> RandomIndices(unsigned int count, size_t length) {
    std::mt19937 random(count);
    std::uniform_int_distribution<uint32_t> index(0, count - 1);
    std::vector<uint32_t> indices(length);
    for (uint32_t& i : indices) i = index(random);
    return indices;
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

// The search find is measured against: a lower bound over the raw entries of
// a buffer without equal tags, filling the entry as find does, written here.
inline int SearchEntries(const camera_metadata_t* metadata, uint32_t tag, camera_metadata_ro_entry_t* entry) {
    using namespace zelkov_test;
    const uint8_t* base = reinterpret_cast<const uint8_t*>(metadata);
    const auto* entries = reinterpret_cast<const RawEntry*>(base + HeaderWordOf(metadata, kEntriesStart));
    const size_t count = HeaderWordOf(metadata, kEntryCount);
    const RawEntry* first = entries;
    for (size_t n = count; n > 1; n -= n / 2) {
        if (first[n / 2].tag < tag) first += n / 2;
    }
    if (count == 0 || first->tag != tag) return -2;
    entry->index = size_t(first - entries);
    entry->tag = first->tag;
    entry->type = first->type;
    entry->count = first->count;
    entry->data.u8 = first->count * camera_metadata_type_size[first->type] > 4
                         ? base + HeaderWordOf(metadata, kDataStart) + OffsetOf(*first)
                         : first->data;
    return 0;
}

// The same search as a call (never inlined), like a call into a library that
// binds its own calls locally.
#if defined(__clang__)
__attribute__((noinline))
#else
__attribute__((noinline, noipa))
#endif
int SearchEntriesCall(const camera_metadata_t* metadata, uint32_t tag, camera_metadata_ro_entry_t* entry) {
    return SearchEntries(metadata, tag, entry);
}

// find_camera_metadata_ro_entry on a sorted buffer against the search written
// here, called and inlined, over the same entries and keys, in alternating
// timed batches of one iteration so all see the same load. Counters: ns per
// lookup of each and find's ratio to each.
void BM_FindSortedVsInlineSearch(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    constexpr int kBatch = 4096;
    const unsigned int count = unsigned(state.range(0));
    camera_metadata* metadata = Filled(count);
    sort_camera_metadata(metadata);
    std::vector<uint32_t> keys(kBatch);
    for (int i = 0; i < kBatch; ++i) keys[i] = kFirstTag + (unsigned(i) * 7) % count;
    camera_metadata_ro_entry_t entry;
    // One timed batch of each per iteration, in a rotating order.
    auto batch = [&](int which) {
        const Clock::time_point start = Clock::now();
        for (uint32_t key : keys) {
            benchmark::DoNotOptimize(which == 0   ? find_camera_metadata_ro_entry(metadata, key, &entry)
                                     : which == 1 ? SearchEntriesCall(metadata, key, &entry)
                                                  : SearchEntries(metadata, key, &entry));
        }
        return Clock::now() - start;
    };
    Clock::duration time[3] = {};
    int first = 0;
    for (auto _ : state) {
        for (int i = 0; i < 3; ++i) time[(first + i) % 3] += batch((first + i) % 3);
        first = (first + 1) % 3;
    }
    const double lookups = static_cast<double>(state.iterations()) * kBatch;
    auto perLookup = [lookups](Clock::duration time) {
        return std::chrono::duration<double, std::nano>(time).count() / lookups;
    };
    state.counters["find_ns"] = perLookup(time[0]);
    state.counters["search_call_ns"] = perLookup(time[1]);
    state.counters["search_inline_ns"] = perLookup(time[2]);
    state.counters["find_vs_call"] = perLookup(time[0]) / perLookup(time[1]);
    state.counters["find_vs_inline"] = perLookup(time[0]) / perLookup(time[2]);
    Handler()->Free(metadata);
}
BENCHMARK(BM_FindSortedVsInlineSearch)->Arg(8)->Arg(64)->Arg(500)->Arg(2048);

// find_camera_metadata_ro_entry on a sorted buffer of tags 2 apart, for
// present tags and for the absent ones between them, random keys, in
// alternating timed batches of one iteration so both see the same load.
// Counters: ns per lookup of each and absent / present.
void BM_FindSortedPresentVsAbsent(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    const unsigned int count = unsigned(state.range(0));
    camera_metadata* metadata = Filled(count, 0, 2);
    sort_camera_metadata(metadata);
    std::vector<uint32_t> present = RandomIndices(count, 4096);
    std::vector<uint32_t> absent = present;
    for (size_t i = 0; i < present.size(); ++i) {
        present[i] = kFirstTag + 2 * present[i];
        absent[i] = present[i] + 1;
    }
    camera_metadata_ro_entry_t entry;
    auto batch = [&](const std::vector<uint32_t>& keys) {
        const Clock::time_point start = Clock::now();
        for (uint32_t key : keys) benchmark::DoNotOptimize(find_camera_metadata_ro_entry(metadata, key, &entry));
        return Clock::now() - start;
    };
    Clock::duration presentTime{}, absentTime{};
    bool presentFirst = true;
    for (auto _ : state) {
        if (presentFirst) presentTime += batch(present);
        absentTime += batch(absent);
        if (!presentFirst) presentTime += batch(present);
        presentFirst = !presentFirst;
    }
    const double lookups = static_cast<double>(state.iterations()) * present.size();
    const double presentNs = std::chrono::duration<double, std::nano>(presentTime).count() / lookups;
    const double absentNs = std::chrono::duration<double, std::nano>(absentTime).count() / lookups;
    state.counters["present_ns"] = presentNs;
    state.counters["absent_ns"] = absentNs;
    state.counters["absent_vs_present"] = absentNs / presentNs;
    Handler()->Free(metadata);
}
BENCHMARK(BM_FindSortedPresentVsAbsent)->Arg(8)->Arg(64)->Arg(500)->Arg(2048);

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

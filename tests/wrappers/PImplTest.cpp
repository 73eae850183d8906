// Ownership states and copy rules of the owning record wrapper, seen through
// the two stream instantiations.
#include <cstdlib>
#include <cstring>
#include <utility>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/internal/StreamRecords.h>

#include "common/ByteProbe.h"

using zelkov::HalStream;
using zelkov::ZelCamera3HalStream;
using zelkov::ZelCamera3Stream;
using zelkov::zel_camera3_stream;

namespace {

HalStream* NewHalStreamRecord() { return static_cast<HalStream*>(std::calloc(1, sizeof(HalStream))); }

TEST(PImpl, SizesAreThoseOfTheStorageRecords) {
    EXPECT_EQ(ZelCamera3Stream::Size(), sizeof(zel_camera3_stream));
    EXPECT_EQ(ZelCamera3HalStream::Size(), sizeof(HalStream));
    if (zelkov_test::kIs32BitArm) {
        EXPECT_EQ(ZelCamera3Stream::Size(), 96u);
        EXPECT_EQ(ZelCamera3HalStream::Size(), 32u);
    }
}

TEST(PImpl, DefaultConstructedOwnsAZeroedRecord) {
    ZelCamera3Stream stream;
    ASSERT_NE(stream.Ptr(), nullptr);
    const auto* bytes = reinterpret_cast<const unsigned char*>(stream.Ptr());
    for (unsigned int i = 0; i < ZelCamera3Stream::Size(); ++i) ASSERT_EQ(bytes[i], 0) << "byte " << i;
}

TEST(PImpl, BorrowingWrapperNeverFreesItsRecord) {
    zel_camera3_stream record{};
    {
        ZelCamera3Stream borrowed(&record.stream, false);
        EXPECT_EQ(borrowed.Ptr(), &record.stream);
        borrowed.SetWidth(640);
        ZelCamera3Stream owner;
        owner = std::move(borrowed);  // the owner's record is freed, the borrowed one is not
        EXPECT_EQ(owner.Ptr(), &record.stream);
        EXPECT_EQ(borrowed.Ptr(), nullptr);
        owner.ResetPtr(nullptr, false);  // releasing a borrowed record frees nothing
    }
    EXPECT_EQ(record.stream.width, 640u);  // still readable: never freed (ASan would report it)
}

TEST(PImpl, OwningWrapperTakesOverACallersRecord) {
    auto* first = NewHalStreamRecord();
    auto* second = NewHalStreamRecord();
    ZelCamera3HalStream wrapper(first, true);
    wrapper.ResetPtr(second, true);  // frees `first`; LeakSanitizer proves it in the host build
    EXPECT_EQ(wrapper.Ptr(), second);
}

TEST(PImpl, ReleaseHandsTheRecordOverAndEmptiesTheWrapper) {
    ZelCamera3HalStream wrapper;
    HalStream* record = wrapper.Ptr();
    HalStream* released = wrapper.Release();
    EXPECT_EQ(released, record);
    EXPECT_EQ(wrapper.Ptr(), nullptr);
    ZelCamera3HalStream::Free(released);
    ZelCamera3HalStream::Free(nullptr);
}

TEST(PImpl, MoveLeavesTheSourceEmpty) {
    ZelCamera3Stream source;
    source.SetStreamId(7);
    camera3_stream* record = source.Ptr();
    ZelCamera3Stream target(std::move(source));
    EXPECT_EQ(source.Ptr(), nullptr);
    EXPECT_EQ(target.Ptr(), record);
    EXPECT_EQ(target.GetStreamId(), 7);

    ZelCamera3Stream other;
    other = std::move(target);
    EXPECT_EQ(other.Ptr(), record);
    EXPECT_EQ(target.Ptr(), nullptr);
    other = std::move(other);  // self-move changes nothing
    EXPECT_EQ(other.Ptr(), record);
}

TEST(PImpl, CopyConstructionCopiesTheWholeStorageRecord) {
    ZelCamera3Stream source;
    source.SetWidth(1920);
    source.SetStreamId(3);
    ZelCamera3Stream copy(source);
    EXPECT_NE(copy.Ptr(), source.Ptr());
    EXPECT_EQ(std::memcmp(copy.Ptr(), source.Ptr(), ZelCamera3Stream::Size()), 0);
    EXPECT_EQ(copy.GetStreamId(), 3);

    ZelCamera3Stream empty(nullptr, false);
    ZelCamera3Stream fromEmpty(empty);  // owns a fresh record, nothing copied
    EXPECT_NE(fromEmpty.Ptr(), nullptr);
}

TEST(PImpl, CopyAssignmentKeepsTheTargetsOwnership) {
    ZelCamera3Stream source;
    source.SetHeight(1080);

    zel_camera3_stream borrowedRecord{};
    ZelCamera3Stream borrowing(&borrowedRecord.stream, false);
    borrowing = source;  // overwrites the borrowed record in place
    EXPECT_EQ(borrowing.Ptr(), &borrowedRecord.stream);
    EXPECT_EQ(borrowedRecord.stream.height, 1080u);

    ZelCamera3Stream empty(nullptr, false);
    empty = source;  // allocates an owned record first
    ASSERT_NE(empty.Ptr(), nullptr);
    EXPECT_EQ(empty.GetHeight(), 1080u);

    ZelCamera3Stream emptySource(nullptr, false);
    ZelCamera3Stream target(nullptr, false);
    target = emptySource;  // allocates, copies nothing
    EXPECT_NE(target.Ptr(), nullptr);

    source = source;  // self-assignment is harmless
    EXPECT_EQ(source.GetHeight(), 1080u);

    ZelCamera3Stream emptySelf(nullptr, false);
    ZelCamera3Stream& alias = emptySelf;
    emptySelf = alias;  // an empty wrapper allocates first, whatever the source
    EXPECT_NE(emptySelf.Ptr(), nullptr);
}

TEST(PImpl, CopyToAndCopyFromMoveSizeBytesOnlyBetweenRecords) {
    ZelCamera3Stream source;
    source.SetFormat(35);
    ZelCamera3Stream empty(nullptr, false);
    source.CopyTo(empty);  // never allocates
    EXPECT_EQ(empty.Ptr(), nullptr);
    source.CopyTo(static_cast<camera3_stream*>(nullptr));

    ZelCamera3Stream target;
    source.CopyTo(target);
    EXPECT_EQ(target.GetFormat(), 35);

    ZelCamera3Stream fromPointer(nullptr, false);
    fromPointer.CopyFrom(source.Ptr());
    EXPECT_EQ(fromPointer.GetFormat(), 35);
    ZelCamera3Stream fromWrapper(nullptr, false);
    fromWrapper.CopyFrom(source);
    EXPECT_EQ(fromWrapper.GetFormat(), 35);
    fromWrapper.CopyFrom(static_cast<const camera3_stream*>(nullptr));  // nothing copied
    EXPECT_EQ(fromWrapper.GetFormat(), 35);
}

TEST(PImpl, ClearZeroesTheRecordAndKeepsItsState) {
    ZelCamera3Stream stream;
    camera3_stream* record = stream.Ptr();
    stream.SetWidth(1);
    stream.SetStreamId(9);
    stream.Clear();
    EXPECT_EQ(stream.Ptr(), record);
    EXPECT_EQ(stream.GetWidth(), 0u);
    EXPECT_EQ(stream.GetStreamId(), 0);
    ZelCamera3Stream empty(nullptr, false);
    empty.Clear();  // nothing to clear
    EXPECT_EQ(empty.Ptr(), nullptr);
}

TEST(PImpl, CopyMovesCountTimesSizeBytesAndStopsThere) {
    constexpr unsigned int kCount = 2;
    const unsigned int size = ZelCamera3Stream::Size();
    std::vector<unsigned char> source(size * (kCount + 1), 0xAB);
    std::vector<unsigned char> destination(size * (kCount + 1), 0);
    auto* src = reinterpret_cast<camera3_stream*>(source.data());
    auto* dst = reinterpret_cast<camera3_stream*>(destination.data());

    ZelCamera3Stream::Copy(dst, src, 0);
    ZelCamera3Stream::Copy(nullptr, src, kCount);
    ZelCamera3Stream::Copy(dst, nullptr, kCount);
    EXPECT_EQ(destination[0], 0);

    ZelCamera3Stream::Copy(dst, src, kCount);
    EXPECT_EQ(destination[size * kCount - 1], 0xAB);
    EXPECT_EQ(destination[size * kCount], 0);
    if (zelkov_test::kIs32BitArm) {
        EXPECT_EQ(size * kCount, 192u);
    }
}

TEST(PImpl, CreateReturnsAnArrayOfCountRecords) {
    camera3_stream* records = ZelCamera3Stream::Create(3);
    ASSERT_NE(records, nullptr);
    std::memset(records, 0x5A, 3 * ZelCamera3Stream::Size());  // ASan checks the block is that large
    ZelCamera3Stream::Free(records);
}

}  // namespace

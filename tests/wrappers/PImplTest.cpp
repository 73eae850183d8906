// Ownership states and copy rules of the owning record wrapper, seen through
// the stream instantiation, whose storage record is larger than the record
// it hands out. Frees are checked by AddressSanitizer and LeakSanitizer.
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <android/wrappers/ZelCamera3Stream.h>
#include <android/wrappers/internal/StreamRecords.h>

using zelkov::zel_camera3_stream;
using zelkov::ZelCamera3HalStream;
using zelkov::ZelCamera3Stream;

static_assert(std::is_nothrow_move_constructible_v<ZelCamera3Stream> &&
                  std::is_nothrow_move_assignable_v<ZelCamera3Stream> &&
                  std::is_nothrow_move_constructible_v<ZelCamera3HalStream> &&
                  std::is_nothrow_move_assignable_v<ZelCamera3HalStream>,
              "containers must move wrappers, not copy them");

namespace {

TEST(PImpl, DefaultConstructedOwnsAZeroedRecord) {
    ZelCamera3Stream stream;
    ASSERT_NE(stream.Ptr(), nullptr);
    const auto* bytes = reinterpret_cast<const unsigned char*>(stream.Ptr());
    for (unsigned int i = 0; i < ZelCamera3Stream::Size(); ++i) ASSERT_EQ(bytes[i], 0) << "byte " << i;
}

TEST(PImpl, BorrowedRecordsAreNeverFreedOwnedOnesOnce) {
    zel_camera3_stream record{};
    {
        ZelCamera3Stream borrowed(&record.stream, false);
        ZelCamera3Stream owner;
        owner = std::move(borrowed);  // frees the owner's record, not the borrowed one
        EXPECT_EQ(owner.Ptr(), &record.stream);
        EXPECT_EQ(borrowed.Ptr(), nullptr);
        owner.ResetPtr(nullptr, false);
        ZelCamera3Stream again(&record.stream, false);
    }
    record.stream_id = 1;  // still alive

    ZelCamera3Stream stream;
    stream.SetStreamId(3);
    stream.ResetPtr(stream.Ptr(), true);  // its own record: kept, not freed
    EXPECT_EQ(stream.GetStreamId(), 3);
    ZelCamera3HalStream hal;
    hal.ResetPtr(ZelCamera3HalStream().Release(), true);  // frees the first record, owns the second
}

TEST(PImpl, ReleaseAndMoveLeaveTheSourceEmpty) {
    ZelCamera3Stream source;
    camera3_stream* record = source.Ptr();
    ZelCamera3Stream target(std::move(source));
    EXPECT_EQ(source.Ptr(), nullptr);
    EXPECT_EQ(target.Ptr(), record);
    ZelCamera3Stream other;
    other = std::move(target);
    EXPECT_EQ(target.Ptr(), nullptr);
    other = std::move(other);  // self-move changes nothing
    EXPECT_EQ(other.Ptr(), record);
    EXPECT_EQ(other.Release(), record);
    EXPECT_EQ(other.Ptr(), nullptr);
    ZelCamera3Stream::Free(record);
    ZelCamera3Stream::Free(nullptr);
}

// A moving vector keeps a borrower borrowing: writes still reach its record.
TEST(PImpl, GrowingVectorMovesBorrowers) {
    zel_camera3_stream records[9]{};
    std::vector<ZelCamera3Stream> streams;
    for (zel_camera3_stream& record : records) streams.emplace_back(&record.stream, false);
    for (ZelCamera3Stream& stream : streams) stream.SetWidth(640);
    for (const zel_camera3_stream& record : records) EXPECT_EQ(record.stream.width, 640u);
}

// The stream id sits past the platform's stream: only a copy of Size() bytes carries it.
TEST(PImpl, EveryCopyCarriesTheWholeStorageRecord) {
    ZelCamera3Stream source;
    source.SetStreamId(7);
    ZelCamera3Stream constructed(source);
    ZelCamera3Stream assigned(nullptr, false);
    assigned = source;  // allocates first
    zel_camera3_stream borrowedRecord{};
    ZelCamera3Stream borrowing(&borrowedRecord.stream, false);
    borrowing = source;  // overwrites the borrowed record in place
    ZelCamera3Stream fromPointer(nullptr, false);
    fromPointer.CopyFrom(source.Ptr());
    ZelCamera3Stream fromWrapper(nullptr, false);
    fromWrapper.CopyFrom(source);
    ZelCamera3Stream copiedTo;
    source.CopyTo(copiedTo);
    zel_camera3_stream toPointer{};
    source.CopyTo(&toPointer.stream);
    zel_camera3_stream sources[2]{};
    zel_camera3_stream targets[3]{};
    sources[1].stream_id = 7;
    ZelCamera3Stream::Copy(&targets[0].stream, &sources[0].stream, 2);
    targets[2].stream_id = 5;
    ZelCamera3Stream::Copy(&targets[2].stream, &sources[0].stream, 0);

    for (const ZelCamera3Stream* copy : {&constructed, &assigned, &borrowing, &fromPointer, &fromWrapper, &copiedTo}) {
        EXPECT_NE(copy->Ptr(), source.Ptr());
        EXPECT_EQ(copy->GetStreamId(), 7);
    }
    EXPECT_EQ(borrowing.Ptr(), &borrowedRecord.stream);
    EXPECT_EQ(borrowedRecord.stream_id, 7);
    EXPECT_EQ(toPointer.stream_id, 7);
    EXPECT_EQ(targets[1].stream_id, 7);
    EXPECT_EQ(targets[2].stream_id, 5);
}

TEST(PImpl, CopiesWithoutARecordOnOneSide) {
    ZelCamera3Stream source;
    source.SetStreamId(7);
    ZelCamera3Stream empty(nullptr, false);
    source.CopyTo(empty);  // never allocates
    EXPECT_EQ(empty.Ptr(), nullptr);
    source.CopyTo(static_cast<camera3_stream*>(nullptr));
    EXPECT_NE(ZelCamera3Stream(empty).Ptr(), nullptr);  // owns a fresh record, nothing copied
    ZelCamera3Stream target(nullptr, false);
    target = empty;  // allocates, copies nothing
    EXPECT_NE(target.Ptr(), nullptr);
    source.CopyFrom(static_cast<const camera3_stream*>(nullptr));
    source = source;
    EXPECT_EQ(source.GetStreamId(), 7);
    ZelCamera3Stream::Copy(nullptr, source.Ptr(), 1);
    ZelCamera3Stream::Copy(target.Ptr(), nullptr, 1);
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
    empty.Clear();
    EXPECT_EQ(empty.Ptr(), nullptr);
    camera3_stream* records = ZelCamera3Stream::Create(3);
    ASSERT_NE(records, nullptr);
    std::memset(records, 0x5A, 3 * ZelCamera3Stream::Size());  // ASan checks the block is that large
    ZelCamera3Stream::Free(records);
}

}  // namespace

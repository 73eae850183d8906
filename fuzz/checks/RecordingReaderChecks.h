#ifndef ZELKOV_FUZZ_CHECKS_RECORDING_READER_CHECKS_H
#define ZELKOV_FUZZ_CHECKS_RECORDING_READER_CHECKS_H

// Arbitrary bytes as a hal3_check recording. The reader either refuses them
// with one line or gives records that are whole: written out again they read
// back the same, every one, with nothing cut.

#include <cstdint>
#include <string>
#include <vector>

#include "Recording.h"
#include "fuzz/checks/FuzzCheck.h"

namespace zelkov_fuzz {

inline void CheckRecordingReader(const uint8_t* bytes, size_t size) {
    hal3_check::Recording read;
    const std::string err = hal3_check::ParseRecording(bytes, size, &read);
    if (!err.empty()) {
        ZEL_FUZZ_CHECK(err.find('\n') == std::string::npos);
        return;
    }
    ZEL_FUZZ_CHECK(read.cut == !read.note.empty());
    std::vector<uint8_t> again = hal3_check::RecordingHeader();
    for (const auto& r : read.records) {
        const std::vector<uint8_t> record = hal3_check::EncodeRecord(r);
        again.insert(again.end(), record.begin(), record.end());
    }
    hal3_check::Recording reread;
    ZEL_FUZZ_CHECK(hal3_check::ParseRecording(again.data(), again.size(), &reread).empty());
    ZEL_FUZZ_CHECK(!reread.cut && reread.records.size() == read.records.size());
    for (size_t i = 0; i < read.records.size(); ++i)
        ZEL_FUZZ_CHECK(hal3_check::EncodeRecord(reread.records[i]) == hal3_check::EncodeRecord(read.records[i]));
}

}  // namespace zelkov_fuzz

#endif

#ifndef HAL3_CHECK_REPLAY_H
#define HAL3_CHECK_REPLAY_H
// Replays a recording (Recording.h) through the same ResultChecker a live run
// uses: each recorded request is submitted to it and each recorded callback
// handed to it, in the recorded order, with stream records and buffer handles
// standing in for the recorded ones by identity. What the driving side of a
// live run checks around the calls (flush, close, late callbacks, stalls) is
// checked on the recorded calls and their recorded times. Every finding keeps
// the record it came at and the frame it names.

#include "Finding.h"
#include "Metadata.h"
#include "Recording.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace hal3_check {

struct ReplayFinding {
    Finding finding;
    std::string text;  // "[rule <id>] ..."
    std::string rule;  // its id
    bool warning = false;
    uint64_t record = 0;  // index of the record it came at
    int64_t bootNs = 0;   // that record's time
};

// One device from open to close.
struct ReplaySession {
    uint32_t session = 0;  // id in the records
    uint32_t ordinal = 0;  // 1 for the first device opened in the file, 2 for the next ...
    std::string camera;
    uint64_t firstRecord = 0, lastRecord = 0;
    bool closed = false;
    std::vector<ReplayFinding> findings;
};

// The device sessions of a recording, in the order they were opened (each
// open starts one, its close ends it).
std::vector<ReplaySession> SessionsOf(const RecordingFile& recording);

// Replays `session` and fills its findings. `stallNs`: no callback for this
// long with frames in flight is a time-out, as --stall-ms in a live run.
void Replay(const RecordingFile& recording, int64_t stallNs, ReplaySession* session,
            const std::function<void(const std::string&)>& trace = nullptr);

// A recorded metadata buffer as a buffer of its own (aligned); a malformed
// one comes back malformed, an absent one null.
MetadataPtr MetadataOf(const RecordedMetadata& metadata);

// hal3_check --replay=<file>: registers one test per recorded session (so
// --gtest_output gives one JUnit test case each) and runs them. Returns the
// exit code: 2 for a file that is not a readable recording (one line).
int RunReplay(const std::string& path, int stallMs);

}  // namespace hal3_check

#endif  // HAL3_CHECK_REPLAY_H

#ifndef HAL3_CHECK_TIMELINE_H
#define HAL3_CHECK_TIMELINE_H
// A run drawn as a Chrome trace-event file (JSON), which Perfetto's UI and
// chrome://tracing open. Drawn from a session's records, so a live run and a
// replay give the same picture:
//   - a track per calling thread, each HAL call an "X" slice, each callback a
//     short slice on the thread that made it;
//   - a track per stream (lanes when buffers overlap), each buffer a slice
//     from its request to its return;
//   - frame lanes, each frame a slice from its request to its last piece,
//     with flow arrows ("s" -> "f") to its shutter, partial results and
//     buffers;
//   - each finding an instant event named by its rule id;
//   - counters: the AE, AF and AWB states and the exposure time of results.

#include "Recording.h"
#include "Replay.h"

#include <string>
#include <vector>

namespace hal3_check {

// Writes the timeline of `sessions` (their findings included; one process
// track group each) to `path`. Returns the path, or "" when it cannot be
// written.
std::string WriteTimeline(const std::string& path, const RecordingFile& recording,
                          const std::vector<ReplaySession>& sessions);

// Live runs: each scenario's child records its device calls to
// recording_<camera>_<scenario>.h3r in the output directory (and, with
// --record, the parent appends them to that file after the scenario); the
// parent draws timeline_<camera>_<scenario>.json from it with the
// scenario's findings. Install after the scenario isolation.
void RecordScenarios(const std::string& recordPath);

}  // namespace hal3_check

#endif  // HAL3_CHECK_TIMELINE_H

#ifndef HAL3_CHECK_RESULT_EVENT_H
#define HAL3_CHECK_RESULT_EVENT_H
// One callback or submission as the checker thread takes it from the queue
// (private to ResultChecker).

#include "ResultChecker.h"

namespace hal3_check {

struct ResultChecker::Event {
    enum Kind { kSubmit, kSubmitFailed, kResult, kNotify, kFlushBegin, kFlushEnd, kBarrier } kind;
    explicit Event(Kind k) : kind(k) {}
    uint32_t frame = 0;
    uint32_t partial = 0;
    MetadataPtr metadata;
    bool malformedMetadata = false;  // metadata came but failed validation
    bool nullResult = false;
    uint32_t claimedBuffers = 0;  // num_output_buffers as the device gave it
    bool bufferArray = false;
    std::vector<ReturnedBuffer> buffers;
    bool inputBuffer = false;
    bool zslStill = false;  // a submitted ZSL still capture
    camera3_notify_msg_t msg{};
    int64_t arrivalNs = NowNs();
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_RESULT_EVENT_H

#ifndef HAL3_CHECK_SCENARIOS_H
#define HAL3_CHECK_SCENARIOS_H
// The scenario base: one camera of the loaded module, opened with a checker
// attached, with helpers to configure, stream and wind down. Scenarios are
// GoogleTest tests over the module's cameras; each ends with one summary line.

#include "DeviceConnector.h"
#include "FindingSink.h"
#include "Fixtures.h"
#include "Metadata.h"
#include "ModuleConnector.h"
#include "Options.h"
#include "Report.h"
#include "ResultChecker.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace hal3_check {

std::vector<std::string> CameraIds();

class CameraScenario : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override;
    void TearDown() override;

    // Opens and initializes the device with a fresh checker and fixtures.
    void Open();
    // Configures `specs`; false (with a failure) when the device refuses.
    bool Configure(const std::vector<StreamSpec>& specs);
    // The default settings of a template, as a copy the scenario may change.
    MetadataPtr Settings(int templateType);
    // Submits `count` requests on `streams`, the last one's pictures dumped
    // when `dumpLast`; false when one is refused or stalls.
    bool Stream(int count, const camera_metadata_t* settings, const std::vector<size_t>& streams, bool dumpLast = true);
    // Waits for every frame in flight; moves the finished frames into frames_
    // and the checker's failures into the test. False on a time-out.
    bool Drain();
    // Flushes (unless the device failed fatally), drains and closes; then
    // no callback may arrive.
    void Close();
    // flush, held to its time bounds; the checker knows a flush is running.
    int TimedFlush();
    // Findings: failures fail the test, warnings go to the trace and summary.
    void ReportFailures(const std::vector<Finding>& findings);
    void Record(Finding finding) { m_findings->Add(std::move(finding)); }
    // A finding the scenario cannot go on after; the caller returns.
    void Fatal(Finding finding) { m_findings->AddEnding(std::move(finding)); }

    // Output sizes of `format` the camera advertises, largest first.
    std::vector<StreamConfig> Sizes(int format) const;
    // YUV_420_888 sizes; none is a finding (the scenario then ends).
    std::vector<StreamConfig> YuvSizes();

    std::unique_ptr<FindingSink> m_findings;  // outlives the checker, which reports to it
    ModuleConnector& m_module = ModuleConnector::Get();
    std::string m_id;
    camera_info m_info{};
    const camera_metadata_t* m_static = nullptr;
    uint32_t m_partialCount = 1;
    uint32_t m_frameCounterTag = 0;  // com.zelkov.sim.frameCounter, when the module declares it
    uint32_t m_blobBytes = 0;
    int64_t m_stallNs = 0;
    DeviceConnector* m_device = nullptr;
    std::unique_ptr<ResultChecker> m_checker;
    std::unique_ptr<StreamFixture> m_streams;
    std::unique_ptr<FrameFixture> m_framesFixture;
    std::vector<FrameRecord> m_frames;
    std::string m_note;  // extra text for the summary line
    bool m_initialized = false;
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_SCENARIOS_H

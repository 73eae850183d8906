#pragma once
// The scenario base: one camera of the loaded module, opened with a checker
// attached, with helpers to configure, stream and wind down. Scenarios are
// GoogleTest tests over the module's cameras; each ends with one summary line.

#include "DeviceConnector.h"
#include "Fixtures.h"
#include "Metadata.h"
#include "ModuleConnector.h"
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
    // Flushes, drains and closes; then no callback may arrive.
    void Close();
    void ReportFailures(const std::vector<std::string>& failures);

    // Output sizes of `format` the camera advertises, largest first.
    std::vector<StreamConfig> Sizes(int format) const;

    ModuleConnector& module_ = ModuleConnector::Get();
    std::string id_;
    camera_info info_{};
    const camera_metadata_t* static_ = nullptr;
    uint32_t partialCount_ = 1;
    uint32_t blobBytes_ = 0;
    int64_t stallNs_ = 0;
    DeviceConnector* device_ = nullptr;
    std::unique_ptr<ResultChecker> checker_;
    std::unique_ptr<StreamFixture> streams_;
    std::unique_ptr<FrameFixture> frames_fixture_;
    std::vector<FrameRecord> frames_;
    std::string note_;  // extra text for the summary line
};

}  // namespace hal3_check

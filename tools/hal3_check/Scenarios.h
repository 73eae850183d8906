#ifndef HAL3_CHECK_SCENARIOS_H
#define HAL3_CHECK_SCENARIOS_H
// The scenario base: one camera of the loaded module, opened with a checker
// attached, with helpers to configure, stream and wind down, driving the
// module as the camera service does. Scenarios are GoogleTest tests over the
// module's cameras, one file per family (ScenariosDevice, ScenariosStreaming,
// ScenariosCapture); each ends with one summary line.

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
std::string CameraName(const ::testing::TestParamInfo<std::string>& p);
#define HAL3_CAMERAS(suite) INSTANTIATE_TEST_SUITE_P(Camera, suite, ::testing::ValuesIn(CameraIds()), CameraName)

// The consumer a stream stands for, by the usage it adds to the device's.
constexpr uint64_t kConsumerDisplay = kUsageHwComposer, kConsumerGpu = kUsageHwTexture,
                   kConsumerVideo = kUsageHwVideoEncoder, kConsumerApp = kUsageSwReadOften;

class CameraScenario : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override;
    void TearDown() override;

    // Opens and initializes the device with a fresh checker and fixtures.
    void Open();
    // Configures `requested`; false (with a failure) when the device refuses.
    bool Configure(const std::vector<StreamSpec>& requested);
    // The default settings of a template, as a copy the scenario may change.
    MetadataPtr Settings(int templateType);
    // Submits `count` requests on `streams`, the last one's pictures dumped
    // when `dumpLast`; false when one is refused or stalls. With `fenceHoldNs`,
    // each request's buffers wait on acquire fences signalled that much later.
    bool Stream(int count, const camera_metadata_t* settings, const std::vector<size_t>& streams, bool dumpLast = true,
                int64_t fenceHoldNs = 0);
    // Waits for every frame in flight, then Collect(). False on a time-out.
    bool Drain();
    // Moves the frames finished so far into m_frames, without waiting.
    void Collect();
    // After ERROR_DEVICE or -ENODEV only close is left.
    bool Lost() { return m_checker == nullptr || m_checker->deviceError(); }
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

    // YUV_420_888 sizes; none is a finding (the scenario then ends).
    std::vector<StreamConfig> YuvSizes();
    // The largest size of `format` within maxWidth x maxHeight (0: any), as a
    // stream for `consumer`; width 0 when there is none.
    StreamSpec Largest(int format, uint64_t consumer, uint32_t maxWidth = 0, uint32_t maxHeight = 0) const;
    // The stream combinations the camera's hardware level guarantees
    // (MandatoryStreamCombination's tables, outputs only), each a list of streams.
    std::vector<std::vector<StreamSpec>> MandatoryCombinations() const;
    // Output sizes of `format` the camera advertises, largest first.
    std::vector<StreamConfig> Sizes(int format) const { return m_staticInfo->Outputs(format); }
    // android.info.supportedHardwareLevel is LEGACY or EXTERNAL.
    bool LegacyOrExternal() const;
    // Whether the u8 list `tag` holds `value`.
    bool Lists(uint32_t tag, uint8_t value) const;

    std::unique_ptr<FindingSink> m_findings;  // outlives the checker, which reports to it
    ModuleConnector& m_module = ModuleConnector::Get();
    std::string m_id;
    camera_info m_info{};
    const camera_metadata_t* m_static = nullptr;
    std::unique_ptr<StaticInfo> m_staticInfo;  // the reader of m_static
    uint32_t m_frameCounterTag = 0;            // com.zelkov.sim.frameCounter, when the module declares it
    uint32_t m_blobBytes = 0;
    int64_t m_stallNs = 0;
    uint32_t m_version = 0;  // the open device's API
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

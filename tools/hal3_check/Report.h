#ifndef HAL3_CHECK_REPORT_H
#define HAL3_CHECK_REPORT_H
// What a run leaves behind in --out: the per-frame trace, frame pictures
// (PNG where libpng is available, JPEG as the device wrote it), the
// in-flight table of a time-out, and one summary line per scenario.

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace hal3_check {

struct Options {
    std::string module;  // --module: path to load; empty: hw_get_module
    std::string camera;  // --camera: one id; empty: all
    std::string out = "hal3_check_out";
    int frames = 30;            // --frames: frames per streaming scenario
    int stallMs = 2000;         // --stall-ms: no progress for this long is a time-out
    int rateTolerancePct = 20;  // --rate-tolerance: recording frame intervals may be off by this much
    bool dumpFrames = true;     // --no-dump
};
Options& options();

class Report {
public:
    static Report& Get();
    void Open(const std::string& dir);
    void Trace(const std::string& line);
    // Writes `name` under the output directory; returns its path or "".
    std::string WritePng(const std::string& name, const std::vector<uint8_t>& rgb, uint32_t width, uint32_t height);
    std::string WriteFile(const std::string& name, const std::vector<uint8_t>& bytes);
    void Summary(const std::string& line);
    const std::vector<std::string>& summaries() const { return m_summaries; }
    const std::string& dir() const { return m_dir; }
    static bool PngAvailable();

private:
    std::mutex m_mutex;
    std::string m_dir;
    FILE* m_trace = nullptr;
    std::vector<std::string> m_summaries;
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_REPORT_H

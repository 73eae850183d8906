#ifndef HAL3_CHECK_REPORT_H
#define HAL3_CHECK_REPORT_H
// What a run leaves behind in --out: the per-frame trace, frame pictures
// (PNG where libpng is available, JPEG as the device wrote it), the
// in-flight table of a time-out, and one summary line per scenario. The
// trace is written by the parent process alone: a scenario's process
// forwards its lines (a module there may close or reuse any descriptor).

#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace hal3_check {

class Report {
public:
    static Report& Get();
    void Open(const std::string& dir);
    void Trace(const std::string& line);
    // In a scenario's process: trace lines ('T') and summaries ('S') go to
    // `forward`, and this process lets go of the trace file.
    void ForwardTo(std::function<void(char kind, const std::string& line)> forward);
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
    std::function<void(char, const std::string&)> m_forward;
    std::vector<std::string> m_summaries;
};

}  // namespace hal3_check

#endif  // HAL3_CHECK_REPORT_H

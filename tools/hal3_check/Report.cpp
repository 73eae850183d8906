#include "Report.h"

#include <cstdio>
#include <filesystem>

#ifdef HAL3_CHECK_HAVE_PNG
#include <png.h>
#endif

namespace hal3_check {

Report& Report::Get() {
    static Report report;
    return report;
}

void Report::Open(const std::string& dir) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_dir = dir;
    std::error_code ignored;  // a failure shows as the trace file failing to open
    std::filesystem::create_directories(dir, ignored);
    m_trace = fopen((dir + "/trace.txt").c_str(), "w");
}

void Report::ForwardTo(std::function<void(char, const std::string&)> forward) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_forward = std::move(forward);
    if (m_trace != nullptr) fclose(m_trace);  // its buffer was flushed before the fork
    m_trace = nullptr;
}

void Report::Trace(const std::string& line) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_forward) return m_forward('T', line);
    if (m_trace == nullptr) return;
    fprintf(m_trace, "%s\n", line.c_str());
    fflush(m_trace);
}

bool Report::PngAvailable() {
#ifdef HAL3_CHECK_HAVE_PNG
    return true;
#else
    return false;
#endif
}

std::string Report::WritePng(const std::string& name, const std::vector<uint8_t>& rgb, uint32_t width,
                             uint32_t height) {
#ifdef HAL3_CHECK_HAVE_PNG
    std::string path = m_dir + "/" + name;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), int(width * 3), nullptr) == 0) return "";
    return path;
#else
    (void)name, (void)rgb, (void)width, (void)height;
    return "";
#endif
}

std::string Report::WriteFile(const std::string& name, const std::vector<uint8_t>& bytes) {
    std::string path = m_dir + "/" + name;
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr) return "";
    bool ok = fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return fclose(f) == 0 && ok ? path : "";
}

void Report::Summary(const std::string& line) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_forward) return m_forward('S', line);
    m_summaries.push_back(line);
    if (m_trace != nullptr) {
        fprintf(m_trace, "SUMMARY %s\n", line.c_str());
        fflush(m_trace);
    }
    printf("%s\n", line.c_str());
    fflush(stdout);
}

}  // namespace hal3_check

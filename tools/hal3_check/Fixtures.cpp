#include "Fixtures.h"

#include "Options.h"
#include "Report.h"

#include <jpeglib.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstring>

namespace hal3_check {

BufferPool::~BufferPool() {
    for (auto& b : m_buffers) GrallocHelper::Free(&b);
}

std::string BufferPool::Allocate(const camera3_stream_t& stream, uint32_t count, uint32_t blobBytes) {
    uint32_t width = stream.width, height = stream.height;
    if (stream.format == kFormatBlob) {
        // As the camera service does: the JPEG buffer is its maximum size x 1.
        width = blobBytes;
        height = 1;
    }
    for (uint32_t i = 0; i < count; ++i) {
        GrallocBuffer b;
        std::string err = GrallocHelper::Allocate(width, height, stream.format, stream.usage | kUsageSwReadOften, &b);
        if (!err.empty()) return err;
        m_buffers.push_back(b);
        m_free.push_back(&m_buffers.back().handle);
    }
    return "";
}

buffer_handle_t* BufferPool::Acquire(int64_t timeoutNs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_cv.wait_for(lock, std::chrono::nanoseconds(timeoutNs), [&] { return !m_free.empty(); })) return nullptr;
    buffer_handle_t* h = m_free.front();
    m_free.pop_front();
    return h;
}

void BufferPool::Release(buffer_handle_t* handle) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_free.push_back(handle);
    }
    m_cv.notify_one();
}

const GrallocBuffer* BufferPool::Find(const buffer_handle_t* handle) const {
    for (const auto& b : m_buffers)
        if (&b.handle == handle) return &b;
    return nullptr;
}

int StreamFixture::IndexOf(const camera3_stream_t* s) const {
    for (size_t i = 0; i < m_streams.size(); ++i)
        if (m_streams[i].get() == s) return int(i);
    return -1;
}

namespace {

constexpr int kFormatImplementationDefined = 0x22;

bool SameSpec(const StreamSpec& a, const StreamSpec& b) {
    return a.format == b.format && a.width == b.width && a.height == b.height && a.consumerUsage == b.consumerUsage &&
           a.rotation == b.rotation;
}

}  // namespace

int StreamFixture::Configure(const std::vector<StreamSpec>& specs, uint32_t blobBytes, std::vector<Finding>* failures) {
    // The device may still look at the old records during the call.
    std::vector<std::unique_ptr<camera3_stream_t>> old = std::move(m_streams);
    std::vector<StreamSpec> oldSpecs = std::move(m_specs);
    m_streams.clear();
    m_specs.clear();
    m_pools.clear();
    std::vector<camera3_stream_t*> list;
    for (const auto& s : specs) {
        std::unique_ptr<camera3_stream_t> stream;
        for (size_t i = 0; i < old.size() && stream == nullptr; ++i)
            if (old[i] != nullptr && SameSpec(oldSpecs[i], s)) stream = std::move(old[i]);
        if (stream == nullptr) {
            stream = std::make_unique<camera3_stream_t>();
            stream->stream_type = CAMERA3_STREAM_OUTPUT;
            stream->width = s.width;
            stream->height = s.height;
            stream->rotation = s.rotation;
            stream->data_space = s.format == kFormatBlob ? 0x8C20000 /* V0_JFIF */ : 0;
            stream->physical_camera_id = "";
        }
        // What the device wrote last time is asked afresh.
        stream->format = s.format;
        stream->usage = s.consumerUsage;
        list.push_back(stream.get());
        m_streams.push_back(std::move(stream));
        m_specs.push_back(s);
    }
    camera3_stream_configuration_t config{uint32_t(list.size()), list.data(), CAMERA3_STREAM_CONFIGURATION_NORMAL_MODE,
                                          nullptr};
    int rc = m_device->Configure(&config);
    if (rc != 0) return rc;
    for (size_t i = 0; i < m_streams.size(); ++i) {
        const camera3_stream_t& s = *m_streams[i];
        const StreamSpec& asked = m_specs[i];
        std::string name = "stream " + std::to_string(i) + " (" + std::to_string(asked.width) + "x" +
                           std::to_string(asked.height) + ")";
        if (s.max_buffers == 0)
            failures->push_back(Finding{RuleId::kConfigureMaxBuffers, kNoFrame, name + ": max_buffers is 0"});
        if ((s.usage & (kUsageCameraWrite | kUsageSwWriteOften)) == 0)
            failures->push_back(
                Finding{RuleId::kConfigureUsage, kNoFrame, name + ": no producer usage (camera or CPU write) set"});
        if ((asked.format != kFormatImplementationDefined && s.format != asked.format) || s.width != asked.width ||
            s.height != asked.height)
            failures->push_back(Finding{RuleId::kConfigureStreamChanged, kNoFrame,
                                        name + ": the device changed it to format " + std::to_string(s.format) + " " +
                                            std::to_string(s.width) + "x" + std::to_string(s.height)});
        auto pool = std::make_unique<BufferPool>();
        std::string err = pool->Allocate(s, std::max<uint32_t>(s.max_buffers, 1), blobBytes);
        if (!err.empty())
            failures->push_back(Finding{RuleId::kBufferAlloc, kNoFrame, "stream " + std::to_string(i) + ": " + err});
        m_pools.push_back(std::move(pool));
    }
    return 0;
}

FrameFixture::FrameFixture(DeviceConnector* device, StreamFixture* streams, ResultChecker* checker, int64_t stallNs,
                           std::string prefix)
    : m_device(device), m_streams(streams), m_checker(checker), m_stallNs(stallNs), m_prefix(std::move(prefix)) {
    m_checker->SetInspector([this](uint32_t frame, const ReturnedBuffer& b, FindingSink& findings) {
        if (auto f = Inspect(frame, b)) findings.Add(std::move(*f));
    });
}

int FrameFixture::Submit(const camera_metadata_t* settings, const std::vector<size_t>& streamIndexes,
                         uint32_t* frameOut) {
    std::vector<camera3_stream_buffer_t> buffers;
    for (size_t i : streamIndexes) {
        buffer_handle_t* h = m_streams->pool(i).Acquire(m_stallNs);
        if (h == nullptr) {
            // Every buffer of the stream is still with the device.
            for (auto& b : buffers) m_streams->pool(size_t(m_streams->IndexOf(b.stream))).Release(b.buffer);
            m_checker->WaitIdle();
            return -ETIMEDOUT;
        }
        buffers.push_back({m_streams->stream(i), h, CAMERA3_BUFFER_STATUS_OK, -1, -1});
    }
    camera3_capture_request_t request{};
    request.frame_number = m_nextFrame++;
    request.settings = settings == m_lastSettings ? nullptr : settings;
    request.num_output_buffers = uint32_t(buffers.size());
    request.output_buffers = buffers.data();
    if (frameOut) *frameOut = request.frame_number;
    m_checker->OnSubmit(request);
    int rc = m_device->Submit(&request);
    if (rc != 0) {
        m_checker->OnSubmitFailed(request.frame_number);
        m_checker->Sync();
        for (auto& b : buffers) m_streams->pool(size_t(m_streams->IndexOf(b.stream))).Release(b.buffer);
        return rc;
    }
    m_lastSettings = settings;
    return 0;
}

void FrameFixture::DumpFrame(uint32_t frame) {
    std::lock_guard<std::mutex> lock(m_dumpMutex);
    m_dumpFrames.insert(frame);
}

std::vector<std::string> FrameFixture::dumped() {
    std::lock_guard<std::mutex> lock(m_dumpMutex);
    return m_dumped;
}

std::optional<Finding> FrameFixture::Inspect(uint32_t frame, const ReturnedBuffer& b) {
    int index = m_streams->IndexOf(b.stream);
    if (index < 0) return Finding{RuleId::kBufferOnce, frame, "buffer of an unknown stream"};
    BufferPool& pool = m_streams->pool(size_t(index));
    const GrallocBuffer* buffer = pool.Find(b.handle);
    std::optional<Finding> failure;
    bool dump;
    {
        std::lock_guard<std::mutex> lock(m_dumpMutex);
        dump = m_dumpFrames.count(frame) > 0;
    }
    if (buffer != nullptr && b.status == CAMERA3_BUFFER_STATUS_OK) {
        std::string name = m_prefix + "_s" + std::to_string(index) + "_f" + std::to_string(frame);
        if (buffer->format == kFormatBlob) {
            std::vector<uint8_t> blob, jpeg;
            if (!GrallocHelper::ReadBytes(*buffer, &blob))
                return Finding{RuleId::kBufferLock, kNoFrame, "cannot lock a JPEG buffer"};
            failure = CheckJpegBlob(blob, b.stream->width, b.stream->height, &jpeg);
            ++m_jpegs;
            if (!failure && options().dumpFrames) {
                std::string path = Report::Get().WriteFile(name + ".jpg", jpeg);
                std::lock_guard<std::mutex> lock(m_dumpMutex);
                if (!path.empty()) m_dumped.push_back(path);
            }
        } else {
            std::vector<uint8_t> luma;
            if (m_decodeFrameNumbers) {
                if (!GrallocHelper::ReadLuma(*buffer, 1, &luma))
                    return Finding{RuleId::kBufferLock, kNoFrame, "cannot lock a YUV buffer"};
                int64_t drawn = DecodeFrameNumber(luma, buffer->width, buffer->height);
                if (drawn >= 0 && drawn != int64_t(frame))
                    failure = Finding{
                        RuleId::kStaleFrame, frame,
                        "stream " + std::to_string(index) + " holds the picture of frame " + std::to_string(drawn)};
            }
            std::vector<uint8_t> rgb;
            if (dump && options().dumpFrames && Report::PngAvailable() && GrallocHelper::ReadRgb(*buffer, &rgb)) {
                std::string path = Report::Get().WritePng(name + ".png", rgb, buffer->width, buffer->height);
                std::lock_guard<std::mutex> lock(m_dumpMutex);
                if (!path.empty()) m_dumped.push_back(path);
            }
        }
    }
    pool.Release(b.handle);
    return failure;
}

int64_t DecodeFrameNumber(const std::vector<uint8_t>& luma, uint32_t width, uint32_t height) {
    // 32 blocks across the top rows, block i over columns [i*width/32,
    // (i+1)*width/32), most significant bit first, 0 dark and 1 bright.
    if (width < 32 || height < 1 || luma.size() < width) return -1;
    uint32_t value = 0;
    for (uint32_t bit = 0; bit < 32; ++bit) {
        uint8_t y = luma[(2 * bit + 1) * width / 64];
        if (y > 64 && y < 192) return -1;  // not a strip: a colour-bar or other picture
        value = (value << 1) | (y >= 192 ? 1u : 0u);
    }
    return value;
}

std::vector<Finding> CheckColorBars(const GrallocBuffer& picture) {
    // White, yellow, cyan, green, magenta, red, blue, black: luma falls bar to
    // bar; the signs of Cb and Cr ('+' high, '-' low, '0' neutral, '.' too
    // weak to tell: yellow's Cr and blue's Cr are only ~8 % off neutral).
    static const char* const kBars[8][2] = {{"white", "00"},   {"yellow", "-."}, {"cyan", "+-"}, {"green", "--"},
                                            {"magenta", "++"}, {"red", "-+"},    {"blue", "+."}, {"black", "00"}};
    constexpr int kLumaStep = 8, kChroma = 16;  // margins for rounding and range
    auto sign = [](int c) { return c - 128 >= kChroma ? '+' : c - 128 <= -kChroma ? '-' : '0'; };
    std::vector<uint8_t> row;
    if (!GrallocHelper::ReadYCbCrRow(picture, picture.height / 2, &row))
        return {Finding{RuleId::kBufferLock, kNoFrame, "cannot lock a YUV buffer"}};
    std::vector<Finding> failures;
    for (uint32_t i = 0; i < 8; ++i) {
        const uint8_t* p = row.data() + size_t((2 * i + 1) * picture.width / 16) * 3;  // the bar's centre
        const uint8_t* previous = p - size_t(picture.width / 8) * 3;
        std::string signs{sign(p[1]), sign(p[2])}, want = kBars[i][1];
        bool ok = i == 0 || p[0] + kLumaStep <= previous[0];
        for (size_t c = 0; c < 2; ++c) ok &= want[c] == '.' || want[c] == signs[c];
        if (!ok)
            failures.push_back(
                Finding{RuleId::kTestPattern, kNoFrame,
                        "bar " + std::to_string(i) + " (" + kBars[i][0] + "): Y " + std::to_string(p[0]) + " Cb " +
                            std::to_string(p[1]) + " Cr " + std::to_string(p[2]) + " (Cb/Cr signs " + signs +
                            ", wanted " + want +
                            (i == 0 ? ")"
                                    : "; Y must be " + std::to_string(kLumaStep) + " below the previous bar's " +
                                          std::to_string(previous[0]) + ")")});
    }
    return failures;
}

namespace {

struct JpegError {
    jpeg_error_mgr mgr;
    jmp_buf jump;
};

}  // namespace

std::optional<Finding> CheckJpegBlob(const std::vector<uint8_t>& blob, uint32_t width, uint32_t height,
                                     std::vector<uint8_t>* jpeg) {
    if (blob.size() < sizeof(camera3_jpeg_blob_t))
        return Finding{RuleId::kJpegBlob, kNoFrame, "buffer smaller than the blob trailer"};
    camera3_jpeg_blob_t trailer;
    memcpy(&trailer, blob.data() + blob.size() - sizeof trailer, sizeof trailer);
    if (trailer.jpeg_blob_id != CAMERA3_JPEG_BLOB_ID)
        return Finding{RuleId::kJpegBlob, kNoFrame, "no JPEG blob id in the trailer"};
    if (trailer.jpeg_size < 4 || trailer.jpeg_size > blob.size() - sizeof trailer)
        return Finding{RuleId::kJpegBlob, kNoFrame,
                       "JPEG size " + std::to_string(trailer.jpeg_size) + " does not fit the buffer"};
    jpeg->assign(blob.begin(), blob.begin() + trailer.jpeg_size);
    if ((*jpeg)[0] != 0xFF || (*jpeg)[1] != 0xD8)
        return Finding{RuleId::kJpegBlob, kNoFrame, "JPEG data does not start with SOI"};

    jpeg_decompress_struct cinfo{};
    JpegError err;
    std::vector<uint8_t> row;  // before setjmp: a longjmp must not skip its destructor
    cinfo.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = [](j_common_ptr c) { longjmp(reinterpret_cast<JpegError*>(c->err)->jump, 1); };
    err.mgr.output_message = [](j_common_ptr) {};
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&cinfo);
        return Finding{RuleId::kJpegDecode, kNoFrame, "libjpeg cannot decode the JPEG"};
    }
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, jpeg->data(), static_cast<unsigned long>(jpeg->size()));
    jpeg_read_header(&cinfo, TRUE);
    jpeg_start_decompress(&cinfo);
    row.resize(size_t(cinfo.output_width) * cinfo.output_components);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW r = row.data();
        jpeg_read_scanlines(&cinfo, &r, 1);
    }
    uint32_t w = cinfo.output_width, h = cinfo.output_height;
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    if (w != width || h != height)
        return Finding{RuleId::kJpegDecode, kNoFrame,
                       "JPEG is " + std::to_string(w) + "x" + std::to_string(h) + ", the stream " +
                           std::to_string(width) + "x" + std::to_string(height)};
    return std::nullopt;
}

}  // namespace hal3_check

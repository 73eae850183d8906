#include "Fixtures.h"

#include "Options.h"
#include "Report.h"

#include <jpeglib.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace hal3_check {

BufferPool::~BufferPool() {
    for (auto& b : m_buffers) GrallocHelper::Free(&b);
}

std::string BufferPool::Allocate(const camera3_stream_t& stream, uint32_t count, uint64_t usage, uint32_t blobBytes) {
    uint32_t width = stream.width, height = stream.height;
    if (stream.format == HAL_PIXEL_FORMAT_BLOB) {
        // As the camera service does: the JPEG buffer is its maximum size x 1.
        width = blobBytes;
        height = 1;
    }
    m_maxInDevice = std::max<uint32_t>(stream.max_buffers, 1);
    for (uint32_t i = 0; i < count; ++i) {
        GrallocBuffer b;
        std::string err = GrallocHelper::Allocate(width, height, stream.format, usage, &b);
        if (!err.empty()) return err;
        m_buffers.push_back(b);
        m_free.push_back(&m_buffers.back().handle);
    }
    return "";
}

buffer_handle_t* BufferPool::Acquire(int64_t timeoutNs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    // Camera3Stream::getBuffer: the device never holds more than max_buffers.
    if (!m_cv.wait_for(lock, std::chrono::nanoseconds(timeoutNs),
                       [&] { return !m_free.empty() && m_inDevice < m_maxInDevice; }))
        return nullptr;
    buffer_handle_t* h = m_free.front();
    m_free.pop_front();
    ++m_inDevice;
    return h;
}

void BufferPool::Release(buffer_handle_t* handle) {
    if (Find(handle) == nullptr) return;  // a pool of a later configuration
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_free.push_back(handle);
        --m_inDevice;
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

camera3_stream_t* StreamFixture::Unconfigured(size_t like) {
    auto s = std::make_unique<camera3_stream_t>();
    const camera3_stream_t& model = *m_streams[like];
    s->stream_type = model.stream_type;
    s->width = model.width;
    s->height = model.height;
    s->format = model.format;
    s->usage = model.usage;
    s->data_space = model.data_space;
    s->physical_camera_id = "";
    m_unconfigured.push_back(std::move(s));
    return m_unconfigured.back().get();
}

namespace {

bool SameSpec(const StreamSpec& a, const StreamSpec& b) {
    return a.format == b.format && a.width == b.width && a.height == b.height && a.consumerUsage == b.consumerUsage &&
           a.rotation == b.rotation;
}

// The buffers a consumer holds beyond the device's max_buffers (the
// minimum undequeued count of its queue): an ImageReader's images, one
// acquired buffer for the composer, a texture or a video encoder.
uint32_t ConsumerBuffers(uint64_t consumerUsage) { return (consumerUsage & kUsageSwReadOften) ? 2 : 1; }

// The checker reads only buffers it allocated CPU-readable, which a module
// cannot change: a refused lock is a broken gralloc, not the module's fault.
void Unreadable(const char* what, int64_t frame) {
    Report::Get().Trace(std::string("gralloc refused to lock the checker's own ") + what + " buffer of frame " +
                        std::to_string(frame));
}

}  // namespace

int StreamFixture::Configure(const std::vector<StreamSpec>& requested, uint32_t blobBytes,
                             std::vector<Finding>* failures) {
    // The device may still look at the old records during the call, and
    // after a refusal until a configuration succeeds (they stay "active").
    std::vector<std::unique_ptr<camera3_stream_t>> old = std::move(m_streams);
    std::vector<StreamSpec> oldSpecs = std::move(m_specs);
    m_streams.clear();
    m_specs.clear();
    m_pools.clear();
    const uint32_t version = m_device->version();
    std::vector<camera3_stream_t*> list;
    for (const auto& s : requested) {
        std::unique_ptr<camera3_stream_t> stream;
        for (size_t i = 0; i < old.size() && stream == nullptr; ++i)
            if (old[i] != nullptr && SameSpec(oldSpecs[i], s)) stream = std::move(old[i]);
        if (stream == nullptr) {
            stream = std::make_unique<camera3_stream_t>();
            stream->stream_type = CAMERA3_STREAM_OUTPUT;
            stream->width = s.width;
            stream->height = s.height;
            // Rotation came with device API 3.3, the V0 JFIF data space with 3.4.
            if (version >= CAMERA_DEVICE_API_VERSION_3_3) stream->rotation = s.rotation;
            if (s.format == HAL_PIXEL_FORMAT_BLOB)
                stream->data_space =
                    version >= CAMERA_DEVICE_API_VERSION_3_4 ? HAL_DATASPACE_V0_JFIF : HAL_DATASPACE_JFIF;
            stream->physical_camera_id = "";
        }
        // What the device wrote last time is asked afresh.
        stream->format = s.format;
        stream->usage = s.consumerUsage;
        list.push_back(stream.get());
        m_streams.push_back(std::move(stream));
        m_specs.push_back(s);
    }
    for (auto& r : old)
        if (r != nullptr) m_retired.push_back(std::move(r));
    camera3_stream_configuration_t config{uint32_t(list.size()), list.data(), CAMERA3_STREAM_CONFIGURATION_NORMAL_MODE,
                                          nullptr};
    int rc = m_device->Configure(&config);
    if (rc != 0) return rc;
    m_retired.clear();  // as the service, unused records go once a configuration succeeded
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
        if ((asked.format != HAL_PIXEL_FORMAT_IMPLEMENTATION_DEFINED && s.format != asked.format) ||
            s.width != asked.width || s.height != asked.height)
            failures->push_back(Finding{RuleId::kConfigureStreamChanged, kNoFrame,
                                        name + ": the device changed it to format " + std::to_string(s.format) + " " +
                                            std::to_string(s.width) + "x" + std::to_string(s.height)});
        // The checker reads every JPEG, and other pictures where it decodes them.
        uint64_t usage = s.usage | asked.consumerUsage;
        if (s.format == HAL_PIXEL_FORMAT_BLOB || m_readEvery) usage |= kUsageSwReadOften;
        auto pool = std::make_unique<BufferPool>();
        std::string err = pool->Allocate(s, std::max<uint32_t>(s.max_buffers, 1) + ConsumerBuffers(asked.consumerUsage),
                                         usage, blobBytes);
        if (!err.empty())
            failures->push_back(Finding{RuleId::kBufferAlloc, kNoFrame, "stream " + std::to_string(i) + ": " + err});
        m_pools.push_back(std::move(pool));
    }
    return 0;
}

FrameFixture::FrameFixture(DeviceConnector* device, StreamFixture* streams, ResultChecker* checker, int64_t stallNs,
                           std::string prefix)
    : m_device(device), m_streams(streams), m_checker(checker), m_stallNs(stallNs), m_prefix(std::move(prefix)) {
    m_checker->SetInspector(
        [this](uint32_t frame, const ReturnedBuffer& b, FindingSink& findings) { Inspect(frame, b, findings); });
}

int FrameFixture::Submit(const camera_metadata_t* settings, const std::vector<size_t>& streamIndexes,
                         uint32_t* frameOut, int64_t fenceHoldNs) {
    std::vector<camera3_stream_buffer_t> buffers;
    for (size_t i : streamIndexes) {
        buffer_handle_t* h = m_streams->pool(i).Acquire(m_stallNs);
        if (h == nullptr) {
            // Every buffer of the stream the device may hold is still with it.
            for (size_t k = 0; k < buffers.size(); ++k) m_streams->pool(streamIndexes[k]).Release(buffers[k].buffer);
            m_checker->WaitIdle();
            return -ETIMEDOUT;
        }
        buffers.push_back({m_streams->stream(i), h, CAMERA3_BUFFER_STATUS_OK, -1, -1});
    }
    // Late fences are eventfds: pollable like a sync fence, signalled by a
    // write from another thread (a device may wait inside the call).
    std::vector<int> signals;
    for (auto& b : buffers) {
        if (fenceHoldNs == 0) break;
        signals.push_back(eventfd(0, EFD_CLOEXEC));
        b.acquire_fence = fcntl(signals.back(), F_DUPFD_CLOEXEC, 0);
    }
    camera3_capture_request_t request{};
    request.frame_number = m_nextFrame;
    request.settings = settings == m_lastSettings ? nullptr : settings;
    request.num_output_buffers = uint32_t(buffers.size());
    request.output_buffers = buffers.data();
    std::thread signaller;
    if (!signals.empty())
        signaller = std::thread([&, frame = request.frame_number] {
            std::this_thread::sleep_for(std::chrono::nanoseconds(fenceHoldNs));
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                for (auto& b : buffers) {
                    auto it = m_outstanding.find({frame, b.stream});
                    if (it != m_outstanding.end()) it->second.signalled = true;
                }
            }
            const uint64_t one = 1;
            for (int fd : signals) {
                if (write(fd, &one, sizeof one) != ssize_t(sizeof one)) perror("hal3_check: eventfd");
                close(fd);
            }
        });
    int rc = SubmitTracked(&request, streamIndexes);
    if (signaller.joinable()) signaller.join();
    if (frameOut) *frameOut = request.frame_number;
    if (rc == 0) m_lastSettings = settings;
    return rc;
}

int FrameFixture::SubmitProbe(camera3_capture_request_t* request) {
    std::vector<size_t> pools;
    for (uint32_t i = 0; i < request->num_output_buffers; ++i) {
        int index = m_streams->IndexOf(request->output_buffers[i].stream);
        pools.push_back(index < 0 ? 0 : size_t(index));  // an unconfigured stream's buffer is from pool 0
    }
    return SubmitTracked(request, pools);
}

int FrameFixture::SubmitTracked(camera3_capture_request_t* request, const std::vector<size_t>& pools) {
    request->frame_number = m_nextFrame++;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (uint32_t i = 0; i < request->num_output_buffers; ++i) {
            const camera3_stream_buffer_t& b = request->output_buffers[i];
            m_outstanding[{request->frame_number, b.stream}] = {b.buffer, pools[i], b.acquire_fence,
                                                                b.acquire_fence < 0};
            if (b.acquire_fence >= 0) m_fences.push_back(b.acquire_fence);
        }
    }
    m_checker->OnSubmit(*request);
    int rc = m_device->Submit(request);
    if (rc == 0) return 0;
    m_checker->OnSubmitFailed(request->frame_number);
    m_checker->Sync();
    std::lock_guard<std::mutex> lock(m_mutex);
    for (uint32_t i = 0; i < request->num_output_buffers; ++i) {
        const camera3_stream_buffer_t& b = request->output_buffers[i];
        m_outstanding.erase({request->frame_number, b.stream});
        m_streams->pool(pools[i]).Release(b.buffer);
        if (b.acquire_fence >= 0) {  // a refused request leaves its fences with the caller
            close(b.acquire_fence);
            m_fences.erase(std::find(m_fences.begin(), m_fences.end(), b.acquire_fence));
        }
    }
    return rc;
}

void FrameFixture::DumpFrame(uint32_t frame) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_dumpFrames.insert(frame);
}

std::vector<std::string> FrameFixture::dumped() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_dumped;
}

const GrallocBuffer* FrameFixture::lastReturned(size_t index) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_lastReturned.find(index);
    return it == m_lastReturned.end() ? nullptr : it->second;
}

std::vector<Finding> FrameFixture::LeakedFences() {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Finding> leaks;
    for (int fd : m_fences) {
        char link[64] = {};
        std::string path = "/proc/self/fd/" + std::to_string(fd);
        if (readlink(path.c_str(), link, sizeof link - 1) > 0 && strstr(link, "eventfd") != nullptr)
            leaks.push_back({RuleId::kFenceLeak, kNoFrame,
                             "acquire fence " + std::to_string(fd) + " still open after close: never closed"});
    }
    m_fences.clear();
    return leaks;
}

void FrameFixture::Inspect(uint32_t frame, const ReturnedBuffer& b, FindingSink& findings) {
    Outstanding o;
    bool dump;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_outstanding.find({frame, b.stream});
        if (it == m_outstanding.end()) return;  // the checker names it
        o = it->second;
        m_outstanding.erase(it);
        dump = m_dumpFrames.count(frame) > 0;
        if (o.fence >= 0 && b.releaseFence == o.fence)  // given back, and closed by the checker
            m_fences.erase(std::find(m_fences.begin(), m_fences.end(), o.fence));
    }
    const bool ok = b.status == CAMERA3_BUFFER_STATUS_OK;
    if (ok && !o.signalled)
        findings.Add({RuleId::kAcquireFence, frame, "a buffer came back written before its acquire fence signalled"});
    if (!ok && o.fence >= 0 && b.releaseFence != -1 && b.releaseFence != o.fence)
        findings.Add({RuleId::kReleaseFence, frame,
                      "a failed buffer's release fence is " + std::to_string(b.releaseFence) +
                          ", neither its acquire fence " + std::to_string(o.fence) + " nor -1"});
    if (o.pool >= m_streams->count()) return;
    BufferPool& pool = m_streams->pool(o.pool);
    const GrallocBuffer* buffer = pool.Find(o.handle);
    if (buffer != nullptr && ok && (buffer->usage & kUsageSwReadOften) != 0) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_lastReturned[o.pool] = buffer;
        }
        std::string name = m_prefix + "_s" + std::to_string(o.pool) + "_f" + std::to_string(frame);
        if (buffer->format == HAL_PIXEL_FORMAT_BLOB) {
            std::vector<uint8_t> blob, jpeg;
            if (!GrallocHelper::ReadBytes(*buffer, &blob)) return Unreadable("JPEG", frame);
            std::vector<Finding> failures = CheckJpegBlob(blob, b.stream->width, b.stream->height, &jpeg);
            ++m_jpegs;
            if (failures.empty() && options().dumpFrames) {
                std::string path = Report::Get().WriteFile(name + ".jpg", jpeg);
                std::lock_guard<std::mutex> lock(m_mutex);
                if (!path.empty()) m_dumped.push_back(path);
            }
            for (auto& f : failures) findings.Add({f.rule, frame, f.detail});
        } else {
            std::vector<uint8_t> luma;
            if (m_decodeFrameNumbers) {
                if (!GrallocHelper::ReadLuma(*buffer, 1, &luma)) return Unreadable("YUV", frame);
                int64_t drawn = DecodeFrameNumber(luma, buffer->width, buffer->height);
                if (drawn >= 0 && drawn != int64_t(frame))
                    findings.Add(
                        {RuleId::kStaleFrame, frame,
                         "stream " + std::to_string(o.pool) + " holds the picture of frame " + std::to_string(drawn)});
            }
            std::vector<uint8_t> rgb;
            if (dump && options().dumpFrames && Report::PngAvailable() && GrallocHelper::ReadRgb(*buffer, &rgb)) {
                std::string path = Report::Get().WritePng(name + ".png", rgb, buffer->width, buffer->height);
                std::lock_guard<std::mutex> lock(m_mutex);
                if (!path.empty()) m_dumped.push_back(path);
            }
        }
    }
    pool.Release(o.handle);
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

std::vector<Finding> CheckColorBars(const GrallocBuffer& picture, double visibleFrom, double visibleWidth) {
    // White, yellow, cyan, green, magenta, red, blue, black: luma falls bar to
    // bar; the signs of Cb and Cr ('+' high, '-' low, '0' neutral, '.' too
    // weak to tell: yellow's Cr and blue's Cr are only ~8 % off neutral).
    static const char* const kBars[8][2] = {{"white", "00"},   {"yellow", "-."}, {"cyan", "+-"}, {"green", "--"},
                                            {"magenta", "++"}, {"red", "-+"},    {"blue", "+."}, {"black", "00"}};
    constexpr int kLumaStep = 8, kChroma = 16;  // margins for rounding and range
    auto sign = [](int c) { return c - 128 >= kChroma ? '+' : c - 128 <= -kChroma ? '-' : '0'; };
    std::vector<uint8_t> row;
    if (!GrallocHelper::ReadYCbCrRow(picture, picture.height / 2, &row)) {
        Unreadable("YUV", kNoFrame);
        return {};
    }
    std::vector<Finding> failures;
    const uint8_t* previous = nullptr;
    for (uint32_t i = 0; i < 8; ++i) {
        // The bar's centre across the array, then across the picture's part of it.
        double x = ((2 * i + 1) / 16.0 - visibleFrom) / visibleWidth;
        if (x < 0 || x >= 1) continue;  // cropped away
        const uint8_t* p = row.data() + size_t(x * picture.width) * 3;
        std::string signs{sign(p[1]), sign(p[2])}, want = kBars[i][1];
        bool ok = previous == nullptr || p[0] + kLumaStep <= previous[0];
        for (size_t c = 0; c < 2; ++c) ok &= want[c] == '.' || want[c] == signs[c];
        if (!ok)
            failures.push_back(Finding{
                RuleId::kTestPattern, kNoFrame,
                "bar " + std::to_string(i) + " (" + kBars[i][0] + "): Y " + std::to_string(p[0]) + " Cb " +
                    std::to_string(p[1]) + " Cr " + std::to_string(p[2]) + " (Cb/Cr signs " + signs + ", wanted " +
                    want +
                    (previous == nullptr ? ")"
                                         : "; Y must be " + std::to_string(kLumaStep) + " below the previous bar's " +
                                               std::to_string(previous[0]) + ")")});
        previous = p;
    }
    return failures;
}

namespace {

struct JpegError {
    jpeg_error_mgr mgr;
    jmp_buf jump;
};

}  // namespace

std::vector<Finding> CheckJpegBlob(const std::vector<uint8_t>& blob, uint32_t width, uint32_t height,
                                   std::vector<uint8_t>* jpeg) {
    // An app finds the JPEG's size in the trailer; without one, ImageReader
    // logs it and hands over the whole buffer, which still decodes.
    std::vector<Finding> out;
    camera3_jpeg_blob_t trailer{};
    if (blob.size() >= sizeof trailer) memcpy(&trailer, blob.data() + blob.size() - sizeof trailer, sizeof trailer);
    size_t size = blob.size();
    if (trailer.jpeg_blob_id != CAMERA3_JPEG_BLOB_ID)
        out.push_back({RuleId::kJpegTrailer, kNoFrame, "no JPEG blob id at the end of the buffer"});
    else if (trailer.jpeg_size < 4 || trailer.jpeg_size > blob.size() - sizeof trailer)
        out.push_back({RuleId::kJpegTrailer, kNoFrame,
                       "the trailer's JPEG size " + std::to_string(trailer.jpeg_size) + " does not fit the buffer"});
    else
        size = trailer.jpeg_size;
    jpeg->assign(blob.begin(), blob.begin() + ptrdiff_t(size));
    if (size < 2 || (*jpeg)[0] != 0xFF || (*jpeg)[1] != 0xD8) {
        out.push_back({RuleId::kJpegBlob, kNoFrame, "the buffer does not start with a JPEG SOI"});
        return out;
    }

    jpeg_decompress_struct cinfo{};
    JpegError err;
    std::vector<uint8_t> row;  // before setjmp: a longjmp must not skip its destructor
    cinfo.err = jpeg_std_error(&err.mgr);
    err.mgr.error_exit = [](j_common_ptr c) { longjmp(reinterpret_cast<JpegError*>(c->err)->jump, 1); };
    err.mgr.output_message = [](j_common_ptr) {};
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&cinfo);
        out.push_back({RuleId::kJpegDecode, kNoFrame, "libjpeg cannot decode the JPEG"});
        return out;
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
        out.push_back({RuleId::kJpegDecode, kNoFrame,
                       "JPEG is " + std::to_string(w) + "x" + std::to_string(h) + ", the stream " +
                           std::to_string(width) + "x" + std::to_string(height)});
    return out;
}

}  // namespace hal3_check

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "flowclientlib/flowclientlib.h"
#include "imgio/tiff_library.h"
#include "k7pi_baselib/in_memory.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

struct TiffCloser {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

bool is_flow(const K7Image* image) { return image && image->channels == 2 && image->sample_type == SAMPLE_F32; }

bool write_flow(const char* path, const FlowFields& fields) {
    const K7Image *forward = fields.forward.get(), *backward = fields.backward.get();
    const int channels = backward ? 4 : 2;
    imgio::OutputFile file;
    if (!file.open(path)) return false;
    TiffPtr tiff(imgio::create_tiff(file, path));
    const std::uint16_t extra[] = {EXTRASAMPLE_UNSPECIFIED, EXTRASAMPLE_UNSPECIFIED, EXTRASAMPLE_UNSPECIFIED};
    TIFF* t = tiff.get();
    bool good = t && TIFFSetField(t, TIFFTAG_IMAGEWIDTH, forward->width) &&
                TIFFSetField(t, TIFFTAG_IMAGELENGTH, forward->height) && TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 32) &&
                TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP) &&
                TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, channels) &&
                TIFFSetField(t, TIFFTAG_EXTRASAMPLES, channels - 1, extra) &&
                TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK) &&
                TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
                TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE) &&
                TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
    std::vector<float> line(static_cast<std::size_t>(forward->width) * static_cast<std::size_t>(channels));
    for (int y = 0; good && y < forward->height; ++y) {
        for (int x = 0; x < forward->width; ++x) {
            float* to = line.data() + channels * x;
            std::memcpy(to, image_row<float>(forward, y) + 2 * x, 2 * sizeof(float));
            if (backward) std::memcpy(to + 2, image_row<float>(backward, y) + 2 * x, 2 * sizeof(float));
        }
        good = TIFFWriteScanline(t, line.data(), static_cast<std::uint32_t>(y), 0) == 1;
    }
    good = good && TIFFWriteDirectory(t) == 1;
    tiff.reset();
    return good && file.commit();
}

bool read_flow(const char* path, FlowFields& fields) {
    imgio::InputFile file;
    if (!file.open(path)) return false;
    const TiffPtr tiff(imgio::open_tiff(file, path));
    std::uint32_t width = 0, height = 0;
    std::uint16_t bits = 0, channels = 0, format = 0, planes = 0;
    if (!tiff || !TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width) ||
        !TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height) ||
        !TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_BITSPERSAMPLE, &bits) ||
        !TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &channels) ||
        !TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLEFORMAT, &format) ||
        !TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_PLANARCONFIG, &planes))
        return false;
    // Nothing is compressed, so that a file is at least as large as what it holds.
    if (width < 1 || height < 1 || width > 65535 || height > 65535 || bits != 32 || format != SAMPLEFORMAT_IEEEFP ||
        planes != PLANARCONFIG_CONTIG || (channels != 2 && channels != 4) ||
        static_cast<std::int64_t>(width) * height * channels * 4 > file.size())
        return false;
    FlowFields read;
    read.forward = make_image_uncleared(static_cast<int>(width), static_cast<int>(height), 2, SAMPLE_F32);
    if (channels == 4)
        read.backward = make_image_uncleared(static_cast<int>(width), static_cast<int>(height), 2, SAMPLE_F32);
    std::vector<float> line(static_cast<std::size_t>(width) * channels);
    if (!read.forward || (channels == 4 && !read.backward) ||
        TIFFScanlineSize(tiff.get()) != static_cast<tmsize_t>(line.size() * sizeof(float)))
        return false;
    for (std::uint32_t y = 0; y < height; ++y) {
        if (TIFFReadScanline(tiff.get(), line.data(), y, 0) != 1) return false;
        for (std::uint32_t x = 0; x < width; ++x) {
            const float* from = line.data() + x * channels;
            std::memcpy(image_row<float>(read.forward.get(), static_cast<int>(y)) + 2 * x, from, 2 * sizeof(float));
            if (read.backward)
                std::memcpy(image_row<float>(read.backward.get(), static_cast<int>(y)) + 2 * x, from + 2,
                            2 * sizeof(float));
        }
    }
    fields = std::move(read);
    return true;
}

// Under another name first, then renamed.
template <class Write>
bool write_whole(const std::string& path, Write write) {
    const std::string part = path + "." + make_uuid();
    if (path.empty() || !write(part.c_str())) return false;
    if (std::rename(part.c_str(), path.c_str()) == 0) return true;
    remove_file(part.c_str());
    return false;
}

}  // namespace

FlowJob::FlowJob() {
    m_work = read_variable("KESTREL_WORK_AREA", path_join(get_home_directory(), "FlowWork"));
    if (m_work.size() >= VARIABLE_BUFFER_SIZE) m_work.clear();
    if (!m_work.empty() && m_work.back() != PATH_SEP) m_work += PATH_SEP;
}
FlowJob::~FlowJob() = default;

bool FlowJob::prepare() {
    m_ready = !m_work.empty() && create_directories(path_join(m_work, "flows").c_str());
    return m_ready;
}

bool FlowJob::set_job_name(const std::string& name) {
    if (name.empty() || name.size() >= VARIABLE_BUFFER_SIZE || name.find(PATH_SEP) != std::string::npos) return false;
    m_job = name;
    return true;
}

std::string FlowJob::catalog_file() const { return m_work + m_job + "Catalog"; }

std::string FlowJob::flow_file(int frame) const {
    char number[16];
    std::snprintf(number, sizeof number, "%5.5d", frame);
    return path_join(path_join(m_work, "flows"), m_job + number + ".tif");
}

int FlowJob::put_flow(int frame, const FlowFields& fields) {
    if (!m_ready) return FLOW_JOB_NOT_READY;
    if (frame < 0 || !is_flow(fields.forward.get()) ||
        (fields.backward && !image_same_layout(fields.forward.get(), fields.backward.get())))
        return FLOW_JOB_BAD_ARGUMENTS;
    const bool written = in_memory(
        [&] { return write_whole(flow_file(frame), [&](const char* path) { return write_flow(path, fields); }); });
    return written ? FLOW_JOB_OK : FLOW_JOB_WRITE_FAILED;
}

int FlowJob::get_flow(int frame, FlowFields& fields) const {
    if (!m_ready) return FLOW_JOB_NOT_READY;
    if (frame < 0) return FLOW_JOB_BAD_ARGUMENTS;
    return in_memory([&] { return read_flow(flow_file(frame).c_str(), fields); }) ? FLOW_JOB_OK : FLOW_JOB_READ_FAILED;
}

int FlowJob::write_catalog(int first, int last) const {
    if (!m_ready) return FLOW_JOB_NOT_READY;
    if (first < 0 || last < first) return FLOW_JOB_BAD_ARGUMENTS;
    const bool written = in_memory([&] {
        std::string lines;
        for (int frame = first; frame <= last; ++frame)
            if (file_exists(flow_file(frame).c_str())) lines += std::to_string(frame) + "\n";
        return write_whole(catalog_file(), [&](const char* path) {
            imgio::OutputFile file;
            return file.open(path) && file.write(lines.data(), lines.size()) && file.commit();
        });
    });
    return written ? FLOW_JOB_OK : FLOW_JOB_WRITE_FAILED;
}

#include <cstdio>

#include "imagelib/imagelib_fileio.h"
#include "imagelib/imagelib_geometry.h"
#include "jawslib/jawslib.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr int POLL_MILLISECONDS = 100;

bool within(int value, int least, int most) { return value >= least && value <= most; }

}  // namespace

bool JwrsClient::fail(JawsStatus status) {
    m_status = status;
    return false;
}

bool JwrsClient::makeDirectory(const std::string& path) {
    if (directory_exists(path.c_str())) return true;
    if (file_exists(path.c_str())) return fail(JawsStatus::DirectoryIsFile);
    return create_directories(path.c_str()) || fail(JawsStatus::NoDirectory);
}

JwrsClient::JwrsClient(const std::string& base)
    : m_input(path_join(base, JAWS_INPUT)), m_output(path_join(base, JAWS_OUTPUT)) {
    if (!makeDirectory(m_input) || !makeDirectory(m_output)) return;
    Trace(TRACE_INFO, "(VAR) JawsServer input directory: %s\n", m_input.c_str());
    Trace(TRACE_INFO, "(VAR) JawsServer output directory: %s\n", m_output.c_str());
    const std::string job = make_uuid(), picture = make_uuid();
    if (job.empty() || picture.empty()) {
        fail(JawsStatus::NoName);
        return;
    }
    m_job = path_join(m_input, job);
    m_request.picture = path_join(m_output, picture + ".tif");
    m_rasterInfo = raster_info_line(m_request);
}

bool JwrsClient::SetResolution(int width, int height) {
    if (!within(width, JAWS_LEAST_SIDE, JAWS_MOST_SIDE) || !within(height, JAWS_LEAST_SIDE, JAWS_MOST_SIDE))
        return fail(JawsStatus::BadResolution);
    m_request.width = width;
    m_request.height = height;
    m_rasterInfo = raster_info_line(m_request);
    return true;
}

bool JwrsClient::SetDepth(int depth) {
    if (!within(depth, JAWS_LEAST_DEPTH, JAWS_MOST_DEPTH)) return fail(JawsStatus::BadDepth);
    m_request.depth = depth;
    m_rasterInfo = raster_info_line(m_request);
    return true;
}

bool JwrsClient::SendPostScriptToService(const char* path, bool header) {
    if (m_job.empty()) return false;  // the constructor has told why
    const std::string part = m_job + ".part";
    switch (write_jaws_job(path, header ? &m_request : nullptr, part.c_str())) {
        case JawsJob::Done:
            break;
        case JawsJob::NoScript:
            return fail(JawsStatus::NoScript);
        default:
            return fail(JawsStatus::NoJob);
    }
    if (std::rename(part.c_str(), m_job.c_str()) == 0) return true;
    remove_file(part.c_str());
    return fail(JawsStatus::NoJob);
}

bool JwrsClient::waitForService(int timeout_ms, const StopRequested& stop) {
    Trace(TRACE_INFO, "GetImageFromService(): Waiting for: %s to be processed.\n", m_job.c_str());
    for (int spent = 0; file_exists(m_job.c_str()); spent += POLL_MILLISECONDS) {
        const bool stopped = stop && stop();
        if (!stopped && spent <= timeout_ms) {
            thread_sleep(POLL_MILLISECONDS);
            continue;
        }
        remove_file(m_job.c_str());
        if (stopped) return fail(JawsStatus::Stopped);
        Trace(TRACE_ERROR, "GetImageFromService(): Wait timed out.\n");
        return fail(JawsStatus::TimedOut);
    }
    return true;
}

ImagePtr JwrsClient::readPicture() {
    const char* path = m_request.picture.c_str();
    Trace(TRACE_INFO, "GetImageFromService(): Retrieving image: %s.\n", path);
    if (!file_exists(path)) {
        Trace(TRACE_ERROR, "GetImageFromService(): Image: %s not found.\n", path);
        fail(JawsStatus::NoPicture);
        return nullptr;
    }
    ImagePtr image(image_read(path));
    remove_file(path);
    if (!image) {
        Trace(TRACE_ERROR, "GetImageFromService(): Image: %s - Read failed.\n", path);
        fail(JawsStatus::BadPicture);
    } else if (image->width != m_request.width || image->height != m_request.height) {
        Trace(TRACE_ERROR, "GetImageFromService(): Image: %s - Unexpected size.\n", path);
        fail(JawsStatus::WrongSize);
        image.reset();
    }
    return image;
}

ImagePtr JwrsClient::GetImageFromService(int timeout_ms, bool flip, const StopRequested& stop) {
    if (m_job.empty() || !waitForService(timeout_ms, stop)) return nullptr;
    ImagePtr image = readPicture();
    if (!image) return nullptr;
    if (flip) image_flip_vertical(image.get());
    Trace(TRACE_INFO, "GetImageFromService(): Success.\n");
    m_status = JawsStatus::Ok;
    return image;
}

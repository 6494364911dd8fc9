#include "host/cli/flow_frames.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <utility>

#include "host/cli/failure.h"
#include "host/cli/interrupt.h"
#include "host/cli/text.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace quillon {

// ---- Frames -------------------------------------------------------------------------------------------------------

FlowClip::FlowClip(std::vector<std::string> files) : m_files(std::move(files)) {
    for (const std::string& file : m_files) {
        m_infos.push_back(readPictureInfo(file));
        const PictureInfo &first = m_infos.front(), &info = m_infos.back();
        if (info.width != first.width || info.height != first.height)
            throw RunError(file + " is of " + std::to_string(info.width) + "x" + std::to_string(info.height) +
                           " pixels, " + m_files.front() + " of " + std::to_string(first.width) + "x" +
                           std::to_string(first.height));
        if (info.width > 65535 || info.height > 65535) throw RunError(file + " is too large");
    }
}

void FlowClip::read(int frame, K7Image* image) const {
    PictureInfo read;
    Picture picture = readPicture(m_files[static_cast<std::size_t>(frame)], {}, &read);
    if (picture.width != image->width || picture.height != image->height)
        throw RunError(m_files[static_cast<std::size_t>(frame)] + " has changed its size");
    convertAlpha(picture, read.alpha, Alpha::Premultiplied);
    for (int y = 0; y < picture.height; ++y)
        std::copy_n(picture.row(picture.height - 1 - y), 4 * picture.width, image_row<float>(image, y));
}

WriteOptions FlowClip::writeOptions(int frame) const {
    const PictureInfo& read = info(frame);
    WriteOptions options;
    options.depth = read.bits <= 8 ? 8 : (read.bits <= 16 && !read.half ? 16 : 32);
    if (read.half) options.store = Store::Half;
    options.pixelAspect = read.pixelAspect;
    options.alpha = read.alpha == Alpha::None ? Alpha::None : Alpha::Premultiplied;
    options.colour = read.colour;
    options.frameRate = read.frameRate;
    return options;
}

Picture pictureOf(const K7Image& image) {
    Picture picture(image.width, image.height);
    for (int y = 0; y < picture.height; ++y)
        std::copy_n(image_row<float>(&image, picture.height - 1 - y), 4 * picture.width, picture.row(y));
    return picture;
}

// ---- Parameters ---------------------------------------------------------------------------------------------------

namespace {

std::vector<std::string> parameterNames() {
    std::vector<std::string> names;
    std::string rest = ofc_names();
    for (std::size_t comma = 0; !rest.empty(); rest.erase(0, comma)) {
        comma = rest.find(", ");
        names.push_back(rest.substr(0, comma));
        comma = comma == std::string::npos ? rest.size() : comma + 2;
    }
    std::erase(names, "command");
    return names;
}

bool inRange(const Ofc& ofc) {
    return flow_settings_are_valid(ofc.flow_settings()) && between_settings_are_valid(ofc.between_settings()) &&
           ofc.directions >= 1 && ofc.directions <= 2 && ofc.fields_data >= OFC_FRAMES &&
           ofc.fields_data <= OFC_ODD_FIELD_FIRST;
}

}  // namespace

Ofc flowParameters(const std::vector<std::string>& assignments) {
    Ofc ofc;
    const std::vector<std::string> names = parameterNames();
    for (const std::string& assignment : assignments) {
        const auto sign = assignment.find('=');
        const std::string name = assignment.substr(0, sign);
        if (sign == std::string::npos) throw UsageError("\"" + assignment + "\" is not NAME=VALUE");
        if (std::find(names.begin(), names.end(), name) == names.end())
            throw UsageError("there is no parameter \"" + name + "\"" + suggestion(name, names) + " (there are " +
                             ofc_names().substr(ofc_names().find(' ') + 1) + ")");
        if (!ofc_set(ofc, name, assignment.substr(sign + 1)) || !inRange(ofc))
            throw UsageError("\"" + assignment + "\": that is no value for " + name);
    }
    return ofc;
}

// ---- Threads ------------------------------------------------------------------------------------------------------

RowPool::RowPool(unsigned threads) : m_pool(threads) {
    SetTraceLevel(TRACE_OFF);  // what goes wrong is told by this program
    image_set_multiprocess(this, &RowPool::dispatch);
    image_set_multiprocess_float(this, &RowPool::dispatch);
}
RowPool::~RowPool() { image_clear_multiprocess_context(this); }

void RowPool::dispatch(void* context, RowWorker worker, int rows, void* job) {
    const auto part = [=](unsigned index, unsigned count) {
        const auto border = [&](unsigned n) {
            return static_cast<int>(static_cast<long long>(rows) * n / static_cast<long long>(count));
        };
        worker(job, border(index), border(index + 1) - 1);
    };
    auto& pool = static_cast<RowPool*>(context)->m_pool;
    if (!pool.run(std::min(pool.size(), static_cast<unsigned>(rows)), part)) worker(job, 0, rows - 1);
}

// ---- The loop -----------------------------------------------------------------------------------------------------

ClipLoop::ClipLoop(const FlowClip& clip, const Ofc& parameters) : m_clip(clip), m_parameters(parameters) {
    set_image_params(clip.width(), clip.height(), 4, SAMPLE_F32);
    set_input_frames(0, clip.count() - 1);
}

bool ClipLoop::guarded(const std::function<void()>& work) {
    try {
        work();
        return true;
    } catch (...) {
        m_failure = std::current_exception();
        return false;
    }
}

bool ClipLoop::get_input_frame(int frame, K7Image* picture) {
    return guarded([&] { m_clip.read(frame, picture); });
}

bool ClipLoop::set_ofc_params(Ofc& ofc) {
    const int first = ofc.fr_start, last = ofc.fr_end;
    ofc = m_parameters;
    ofc.fr_start = first, ofc.fr_end = last;
    return true;
}

bool ClipLoop::abort_requested() { return interrupted(); }

void ClipLoop::runClip() {
    const int code = run();
    if (m_failure) std::rethrow_exception(m_failure);
    if (interrupted()) throw RunError("interrupted");
    if (code != 0) throw RunError(error_text(code));
}

}  // namespace quillon

#include "host/jaws/service.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "host/jaws/rasteriser.h"
#include "jawslib/jawslib.h"

namespace jaws {

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto Poll = std::chrono::milliseconds(50);
constexpr auto BetweenSweeps = std::chrono::minutes(1);
constexpr std::uintmax_t LargestJob = 512u << 20;  // bytes

// Why a job has no picture.
class Refusal : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};
// The service is to end; the job stays.
struct Stopping {};

int samplesAlongSide(int depth) { return std::clamp(depth, 1, 4) + 1; }

void writePicture(const fs::path& picture, const std::string& bytes) {
    fs::path part = picture;
    part.replace_extension(".part");
    std::error_code error;
    std::ofstream file(part, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (file.good()) fs::rename(part, picture, error);
    if (file.good() && !error) return;
    fs::remove(part, error);
    throw Refusal("the picture can't be written");
}

// The first line of what Ghostscript says.
std::string wordsOf(const fs::path& messages) {
    std::ifstream file(messages);
    std::string line(160, '\0');
    file.read(line.data(), static_cast<std::streamsize>(line.size()));
    line.resize(static_cast<std::size_t>(file.gcount()));
    line.resize(std::min(line.find('\n'), line.size()));
    for (char& c : line)
        if (static_cast<unsigned char>(c) < ' ' || c == 127) c = '?';
    return line;
}

void requireDrawn(RunEnd end, const fs::path& messages, const RunLimits& limits) {
    switch (end) {
        case RunEnd::Done:
            return;
        case RunEnd::Stopped:
            throw Stopping();
        case RunEnd::TimedOut:
            throw Refusal("not drawn within " + std::to_string(static_cast<int>(limits.seconds)) + " seconds");
        default:
            throw Refusal("Ghostscript fails: " + wordsOf(messages));
    }
}

JawsRequest readJob(const fs::path& job, const fs::path& script) {
    std::error_code error;
    if (!fs::is_regular_file(fs::symlink_status(job, error))) throw Refusal("no file");
    if (fs::file_size(job, error) > LargestJob || error) throw Refusal("too large");
    JawsRequest request;
    switch (read_jaws_job(job.c_str(), script.c_str(), &request)) {
        case JawsJob::Done:
            return request;
        case JawsJob::Broken:
            throw Refusal("not a job");
        default:
            throw Refusal("can't be read, or there is no room to decipher it");
    }
}

void requireSound(const JawsRequest& request) {
    const auto within = [](int value, int least, int most) { return value >= least && value <= most; };
    if (!within(request.width, JAWS_LEAST_SIDE, JAWS_MOST_SIDE) ||
        !within(request.height, JAWS_LEAST_SIDE, JAWS_MOST_SIDE) ||
        !within(request.depth, JAWS_LEAST_DEPTH, JAWS_MOST_DEPTH))
        throw Refusal("a size or a depth that is not served");
}

}  // namespace

fs::path usualBase() { return jaws_base_directory(); }

Service::Service(const fs::path& base, Tell tell, RunLimits limits)
    : m_program(findGhostscript()), m_spool(base), m_tell(std::move(tell)), m_limits(limits) {
    if (m_program.empty())
        throw std::runtime_error("Ghostscript is not installed (the program gs, Debian's package ghostscript)");
}

// Draws one job and puts its picture in place. What was done, in words.
std::string Service::draw(const fs::path& job, const Stop& stop) {
    const auto start = Clock::now();
    const WorkFolder work;
    const JawsRequest request = readJob(job, work.path() / "job.ps");
    requireSound(request);
    const fs::path picture = m_spool.pictureFor(request.picture);
    if (picture.empty()) throw Refusal("asks for a file outside the output directory");
    const int samples = samplesAlongSide(request.depth);
    const RunEnd end = drawPage(m_program, work.path(), {request.width, request.height, samples}, m_limits, stop);
    requireDrawn(end, work.path() / "messages", m_limits);
    const Samples page = readPage(work.path() / "page.png", request.width, request.height);
    if (page.empty()) throw Refusal("Ghostscript has drawn nothing of this size");
    writePicture(picture, tiffOf(page, request.width, request.height));
    std::error_code error;
    if (!fs::exists(job, error)) fs::remove(picture, error);  // the client waits no more
    char text[80];
    std::snprintf(text, sizeof text, "%dx%d, %d samples a pixel, %.2f s", request.width, request.height,
                  samples * samples, std::chrono::duration<double>(Clock::now() - start).count());
    return text;
}

// The job goes last: that is the sign for the client.
void Service::serve(const std::string& name, const Stop& stop) {
    const fs::path job = m_spool.input() / name;
    const auto claim = Claim::take(job);
    if (!claim) return;
    std::string outcome;
    try {
        outcome = draw(job, stop);
    } catch (const Stopping&) {
        return;
    } catch (const std::exception& error) {
        outcome = std::string("no picture: ") + error.what();
    }
    std::error_code error;
    fs::remove(job, error);
    if (error) m_stuck.insert(name);
    m_tell(name + ": " + outcome);
}

void Service::run(const Stop& stop) {
    auto nextSweep = Clock::now();
    while (!stop()) {
        if (Clock::now() >= nextSweep) {
            m_spool.sweep();
            WorkFolder::removeLeft();
            nextSweep = Clock::now() + BetweenSweeps;
        }
        for (const std::string& name : m_spool.readyJobs())
            if (!stop() && !m_stuck.contains(name)) serve(name, stop);
        std::this_thread::sleep_for(Poll);
    }
}

}  // namespace jaws

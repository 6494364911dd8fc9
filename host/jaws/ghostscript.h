// Ghostscript as a child process that is not trusted: what it draws comes from files of anywhere.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace jaws {

// The program in one of the folders of PATH; empty where there is none.
std::filesystem::path findGhostscript();

struct PageRequest {
    int width, height;  // pixels
    int samples;        // along each side of a pixel
};

struct RunLimits {
    double seconds = 10.0;            // on the wall, and of processor time
    std::size_t memory = 1ull << 30;  // bytes of address space
    std::size_t file = 256ull << 20;  // bytes of any file that it writes
};

enum class RunEnd { Done, Failed, TimedOut, Stopped };

// Draws folder/job.ps as folder/page.png: four samples a pixel, not premultiplied, white without alpha where nothing
// was painted. It runs in folder/tmp, its only folder for temporary files: of all others -dSAFER keeps it away, but not
// of that one. It gets no environment, no further processes and no files that are open here. Its last words are in
// folder/messages.
RunEnd drawPage(const std::filesystem::path& program, const std::filesystem::path& folder, const PageRequest& page,
                const RunLimits& limits, const std::function<bool()>& stop);

}  // namespace jaws

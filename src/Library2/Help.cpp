#include <cstdio>
#include <string>

#include "Library2/Actions.h"
#include "k7pi_baselib/k7pi_baselib.h"

namespace {

constexpr std::size_t LONGEST_HELP_PATH = 2048;

// The manual in the bundle's Resources, unless the variable QuillonHelpPath names another.
std::string manualFile() {
    const std::string replaced = read_variable("QuillonHelpPath");
    if (!replaced.empty() && replaced.size() <= LONGEST_HELP_PATH) return replaced;
    return path_join(bundle_resources(), "OFX_Quillon.pdf");
}

// Hands the file to the desktop. What went wrong; empty where it was opened.
std::string openFile(const std::string& file) {
    if (!file_exists(file.c_str())) return "The file " + file + " was not found.";
    if (open_address(("file://" + file).c_str())) return {};
    return "There is no application associated with the file name extension for " + file +
           ":\nperhaps you need to install Adobe Acrobat?.";
}

}  // namespace

// A plug-in has no window of its own to show a dialog in: the facts go to the log, the manual to the desktop.
void showHelp(const EffectTraits& traits) {
    const std::string label = effectLabel(traits);
    std::fprintf(stderr, "%s Version %s\n", label.c_str(), PRODUCT_VERSION);
    const std::string file = manualFile();  // before the first line: looking it up writes lines of its own
    Trace(TRACE_INFO, "%s Plug-Ins for OFX: %s\n", "Quillon", PRODUCT_VERSION_LONG);
    TraceMore("%s: %s\n", label.c_str(), traits.description);
    TraceMore("More help on %s: file://%s\n", label.c_str(), file.c_str());
    if (const std::string failure = openFile(file); !failure.empty())
        Trace(TRACE_WARN, "Error Loading File: %s\n", failure.c_str());
}

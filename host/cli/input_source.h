// Where a clip's pictures come from: one file, or a numbered sequence of files.
#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/cli/picture_file.h"
#include "host/cli/sequence.h"
#include "host/core/image.h"

namespace quillon {

// How the plug-in is to get the pictures.
struct PictureForm {
    ofxhost::Depth depth = ofxhost::Depth::Float;
    double pixelAspect = 1.0;
    double renderScale = 1.0;
};

// Samples rounded to the form's depth; bounds begin at 0, 0.
ofxhost::ImagePtr toHostImage(const Picture& picture, const PictureForm& form);
// Levels of an integer depth become level / 255 or level / 65535.
Picture fromHostImage(const ofxhost::Image& image);

// Thread safe. Keeps the pictures it has read lately.
class InputSource {
  public:
    // Throws UsageError or RunError when there is no such file, or no file of the sequence.
    explicit InputSource(const std::string& file);

    const std::string& text() const { return m_pattern.text(); }
    bool isSequence() const { return m_pattern.numbered(); }
    const std::vector<int>& frames() const { return m_frames; }  // of a sequence, ascending
    std::filesystem::path fileAt(double time) const;
    PictureSize size(double time) const;  // in the file

    void setForm(const PictureForm& form) { m_form = form; }
    // A still at any time; of a sequence the frame, held at its first and last. Throws RunError (also from a frame
    // that is missing in between); the text stays in failure().
    ofxhost::ImagePtr imageAt(double time);
    // What went wrong since the last call, and forgets it; empty when all is well.
    std::string takeFailure();

  private:
    int frameAt(double time) const;
    ofxhost::ImagePtr load(int frame) const;

    FilePattern m_pattern;
    std::vector<int> m_frames;
    PictureForm m_form;
    std::mutex m_mutex;
    std::list<std::pair<int, ofxhost::ImagePtr>> m_recent;  // latest first
    std::string m_failure;
};

}  // namespace quillon

// Where a clip's pictures come from: one file, or a numbered sequence of files.
#pragma once

#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
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
    ~InputSource();  // waits for what is being read ahead
    InputSource(const InputSource&) = delete;
    InputSource& operator=(const InputSource&) = delete;

    const std::string& text() const { return m_pattern.text(); }
    bool isSequence() const { return m_pattern.numbered(); }
    const std::vector<int>& frames() const { return m_frames; }  // of a sequence, ascending
    std::filesystem::path fileAt(double time) const;
    PictureSize size(double time) const;  // in the file; throws as imageAt does

    void setForm(const PictureForm& form) { m_form = form; }
    // A still at any time; of a sequence the frame, held at its first and last. Throws RunError (also from a frame
    // that is missing in between); the text stays in failure().
    ofxhost::ImagePtr imageAt(double time);
    // Begins to read, on threads of its own, what imageAt() will be asked for soon; a failure is told then. No more
    // than a few at a time: what is read ahead is kept beside the pictures read lately.
    void readAhead(const std::vector<double>& times);
    struct Times {
        int files = 0;
        double reading = 0.0;  // seconds, summed over all threads
    };
    Times times() const;
    // What went wrong since the last call, and forgets it; empty when all is well.
    std::string takeFailure();

  private:
    int frameAt(double time) const;
    void requirePresent(int frame) const;
    ofxhost::ImagePtr load(int frame);
    std::shared_future<ofxhost::ImagePtr> known(int frame);  // and now the latest; invalid when it is not

    FilePattern m_pattern;
    std::vector<int> m_frames;
    PictureForm m_form;
    struct Recent {
        int frame;
        std::shared_future<ofxhost::ImagePtr> picture;  // there, or being read
    };
    using Recents = std::list<Recent>;
    // Both move what they drop into a list to be destroyed without the lock, since that may wait for a file.
    void keep(int frame, std::shared_future<ofxhost::ImagePtr> picture, Recents& dropped);
    void forget(int frame, Recents& dropped);

    mutable std::mutex m_mutex;
    Recents m_recent;                // latest first
    std::size_t m_pictureBytes = 0;  // of one of them
    std::size_t m_ahead = 0;
    Times m_times;
    std::string m_failure;
};

}  // namespace quillon

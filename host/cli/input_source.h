// Where a clip's pictures come from: one file, or a numbered sequence of files.
#pragma once

#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/cli/host_image.h"
#include "host/cli/picture_file.h"
#include "host/cli/sequence.h"

namespace quillon {

// What a frame is for which a sequence has no file.
enum class Missing {
    Error,  // between its files; before the first and after the last one they are held
    Hold,   // the one before it; before the first, the first
    Black   // transparent black
};

// A file name may end in ":LAYER", where the part before the colon ends in .exr or .tif. Thread safe. Keeps the
// pictures it has read lately.
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
    bool has(int frame) const;        // a file for this very frame; a still has all
    PictureInfo infoAt(double time);  // of the file; throws as imageAt does
    std::vector<int> gaps() const;    // frames between the first and the last without a file

    void setMissing(Missing missing) { m_missing = missing; }
    void setForm(const PictureForm& form) { m_form = form; }
    // A still at any time; of a sequence the frame, or what stands for a missing one. Throws RunError; the text stays
    // for takeFailure().
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
    struct Loaded {
        ofxhost::ImagePtr image;
        PictureInfo info;
    };
    Loaded load(int frame);
    Loaded loadedAt(double time);
    std::shared_future<Loaded> known(int frame);  // and now the latest; invalid when it is not

    FilePattern m_pattern;
    std::string m_layer;
    std::vector<int> m_frames;
    Missing m_missing = Missing::Error;
    PictureForm m_form;
    struct Recent {
        int frame;
        std::shared_future<Loaded> picture;  // there, or being read
    };
    using Recents = std::list<Recent>;
    // Both move what they drop into a list to be destroyed without the lock, since that may wait for a file.
    void keep(int frame, std::shared_future<Loaded> picture, Recents& dropped);
    void forget(int frame, Recents& dropped);

    mutable std::mutex m_mutex;
    Recents m_recent;                // latest first
    std::size_t m_pictureBytes = 0;  // of one of them
    std::size_t m_ahead = 0;
    Times m_times;
    std::string m_failure;
};

}  // namespace quillon

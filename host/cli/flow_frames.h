// What `quillon flow` and `quillon between` share: frames for the bundle's flow library, its parameters, and its
// threads.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "flowclientlib/flowdirectlib.h"
#include "host/cli/picture_file.h"
#include "host/core/thread_pool.h"

namespace quillon {

// The frames of a clip: files of one size, in order. In memory they are premultiplied, with their top row first.
class FlowClip {
  public:
    // Throws RunError when a file is not there, or is not of the first one's size.
    explicit FlowClip(std::vector<std::string> files);

    int count() const { return static_cast<int>(m_files.size()); }
    int width() const { return m_infos.front().width; }
    int height() const { return m_infos.front().height; }
    const PictureInfo& info(int frame) const { return m_infos[static_cast<std::size_t>(frame)]; }
    void read(int frame, K7Image* picture) const;
    // As the file of the frame stores it, as far as the output's format can.
    WriteOptions writeOptions(int frame) const;

  private:
    std::vector<std::string> m_files;
    std::vector<PictureInfo> m_infos;
};

// Premultiplied, top row first.
Picture pictureOf(const K7Image& image);

// "NAME=VALUE" of the command record. Throws UsageError for names that are none, and values out of their range.
Ofc flowParameters(const std::vector<std::string>& assignments);

// While it lives, the libraries' rows are spread over threads.
class RowPool {
  public:
    explicit RowPool(unsigned threads);  // 0: as many as the machine runs at once
    ~RowPool();
    RowPool(const RowPool&) = delete;
    RowPool& operator=(const RowPool&) = delete;

  private:
    static void dispatch(void* context, RowWorker worker, int rows, void* job);
    ofxhost::ThreadPool m_pool;
};

// The loop over a clip's frames. Failures of files are thrown by runClip().
class ClipLoop : public FlowDirectLoop {
  public:
    ClipLoop(const FlowClip& clip, const Ofc& parameters);
    // Throws RunError, and what an override has thrown.
    void runClip();

  protected:
    bool get_input_frame(int frame, K7Image* picture) final;
    bool set_ofc_params(Ofc& ofc) final;
    bool abort_requested() override;
    bool guarded(const std::function<void()>& work);  // false, and kept for runClip(), when it throws

    const FlowClip& m_clip;
    Ofc m_parameters;
    std::exception_ptr m_failure;
};

}  // namespace quillon

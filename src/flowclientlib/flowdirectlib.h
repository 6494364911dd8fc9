// The loop with which an effect or a program gets in-between frames: derive from FlowDirectLoop and supply frames.
#pragma once

#include <vector>

#include "flowclientlib/flowclientlib.h"

enum class FlowMode {
    Direct,     // flow is found for each pair of frames
    FlowSave,   // and handed to put_output_flowfield
    FlowReuse,  // flow comes from get_input_flowfield, none is found
    Fjm,        // from get_input_flowfield where it has a pair's, else found and handed to put_output_flowfield
};

// The codes are those of error_text(). Runs on the calling thread; parallel work is inside the flow finder.
class FlowDirectLoop {
  public:
    FlowDirectLoop();
    virtual ~FlowDirectLoop();
    FlowDirectLoop(const FlowDirectLoop&) = delete;
    FlowDirectLoop& operator=(const FlowDirectLoop&) = delete;

    static const char* error_text(int code);

    void set_mode(FlowMode mode) { m_mode = mode; }
    // Of all frames, in and out; channels up to 4. Not usable: code 1 when it runs.
    void set_image_params(int width, int height, int channels, int sample_type);
    void set_input_frames(int first, int last);
    // In-betweens are made of the pictures of get_between_input_frame, flow is found in those of get_input_frame.
    void set_between_frames(bool on) { m_between_frames = on; }
    // Output frame n shows the input at time uvsmap[n], in frames; times outside of the input count as its ends.
    // Without a map it is one output frame for each input frame.
    void set_vsmap(const double* uvsmap, int uvsmaplen);
    // The shutter opens at an output frame's time and stays open for `shutter` input frames, 0 to 1; a frame is the
    // mean of `samples` in-betweens within that time. More than one sample needs frames of floats.
    void set_shutter(double shutter, int samples);

    int output_count() const;
    int run();  // all output frames, in order; 0 or the code of what went wrong

  protected:
    // Each fills the picture, or answers false. Frames are numbers of the input.
    virtual bool get_input_frame(int frame, K7Image* picture);
    virtual bool get_between_input_frame(int frame, K7Image* picture);
    // Of the pair (frame, frame + 1): one, or for interlaced material two of them.
    virtual bool get_input_flowfield(int frame, FlowFields* fields);
    virtual bool put_output_flowfield(int frame, const FlowFields* fields);
    virtual bool put_output_frame(int out_frame, const K7Image* picture);
    // The record of all commands, for the effect to put its parameters in.
    virtual bool set_ofc_params(Ofc& ofc);
    virtual bool abort_requested() { return false; }

  private:
    enum Override { InputFrame, InputFlow, OutputFlow, OVERRIDES };

    int prepare_buffers();
    int check() const;
    int make_frame(int out_frame);
    int take_sample(double time, int out_frame, int sample, K7Image* picture);
    int use_pair(int frame);
    int read_frame(int frame, bool between, ImagePtr& buffer);
    int find_flows(int frame);
    int reuse_flows(int frame);
    int analyze_pair(int frame);
    int command(int number, const OfcData& data, int failure);
    double field_step(int out_frame) const;
    double time_of(int out_frame) const;

    FlowMode m_mode = FlowMode::Direct;
    int m_width = 0, m_height = 0, m_channels = 0, m_sample_type = -1;
    int m_first = 0, m_last = -1, m_samples = 1;
    bool m_between_frames = false, m_mapped = false;
    std::vector<double> m_vsmap;
    double m_shutter = 0.0;

    Ofc m_ofc;
    struct InstanceDeleter {
        void operator()(FlowInstance* instance) const { library_instance_data_destroy(instance); }
    };
    std::unique_ptr<FlowInstance, InstanceDeleter> m_instance;
    ImagePtr m_accumulator, m_output, m_image1, m_image2, m_between1, m_between2;
    FlowFields m_flows[2];
    int m_pair = 0;  // the frame whose pair the instance has flow of
    bool m_has_pair = false;
    bool m_missing[OVERRIDES] = {};
};

// flowclientlib: optical flow by commands, and flow fields in files. flowdirectlib.h has the loop that makes frames.
//
// A command is one record, `Ofc`, laid out as a message to a flow service; the flow finder runs in this process. Errors
// are small numbers, 0 for none. Nothing throws.
#pragma once

#include <memory>
#include <string>

#include "flowfinderlib/flowfinderlib.h"

// ---- The command record -------------------------------------------------------------------------------------------

enum OfcCommand : int {
    OFC_OPEN = 1,
    OFC_NEW_PAIR = 2,
    OFC_FLOW_SETUP = 3,
    OFC_ANALYZE = 4,
    OFC_SET_FLOWS = 5,
    OFC_GET_FLOWS = 6,
    OFC_CLOSE = 8,
    OFC_QUIT = 9,
    OFC_IN_BETWEEN_AT_VAL = 10,
    OFC_MOTION_BLUR = 11,
};

enum OfcFields : int { OFC_FRAMES = 0, OFC_EVEN_FIELD_FIRST = 1, OFC_ODD_FIELD_FIRST = 2 };  // by rows of the record

// Numbers that the flow finder takes have its names, ranges and defaults (FlowSettings, BetweenSettings).
struct Ofc {
    int command = 0;
    int endian = 0;  // order of bytes of a message: 0 this machine's
    int fr_start = 0, fr_end = 0;
    int betweens = 1;    // samples of a motion blur, 1 to 1000
    int directions = 2;  // 1: forward flow only, 2: forward and backward
    int num_stages = 0, num_iterations = 10, oflow_res = 0, proc_chan = 0, pyr_filter = FLOW_BINOMIAL;
    int flow_interp = 1;  // 1: covered pixels take on the flow of what they belong to, 0: they keep what was found
    int warp_mode = 1;
    int fields_data = OFC_FRAMES;
    int dc_fix = 0;
    float lambda1, lambda2, sigma1_init, sigma1_end, sigma2_init, sigma2_end, smoothness, max_disp;
    float mob_weight = 0.0F;  // of a motion blur: 0 all samples count alike, 1 those at the shutter's ends nothing
    float pf_filtrad, cover_thresh, velocity_thresh, fill_r_blur, fill_r_error;
    float av_scale = 0.5F, av_mix = 0.5F;        // of an in-between (FlowBetween::at); of a motion blur: where it ends
    float av_scale_sf = 0.5F, av_mix_sf = 0.5F;  // the same for the second field of interlaced material

    Ofc();
    FlowSettings flow_settings() const;
    BetweenSettings between_settings() const;
};

// A field of the record by its name: true when there is one of that name and the text is a number for it.
bool ofc_set(Ofc& ofc, const std::string& name, const std::string& value);
std::string ofc_names();       // of all fields, in order, separated by commas
void ofc_log(const Ofc& ofc);  // at trace level DEBUG

// ---- Commands -----------------------------------------------------------------------------------------------------

enum OfcStatus : int {
    OFC_OK = 0,
    OFC_UNKNOWN_COMMAND = 1,
    OFC_OUT_OF_ORDER = 2,   // the log says what is missing
    OFC_BAD_ARGUMENTS = 3,  // images or fields missing or of other sizes, numbers out of range
    OFC_FAILED = 4,         // no memory, or an end was asked for
};

enum OfcState : unsigned { OFC_IS_OPEN = 1, OFC_HAS_PAIR = 2, OFC_IS_SET_UP = 4, OFC_HAS_FLOWS = 8 };

// What goes along with a record. Interlaced material has two flow fields of half the height each way: those of the
// first output field, then those of the second.
struct OfcData {
    const K7Image* image1 = nullptr;  // NEW_PAIR reads both and keeps neither
    const K7Image* image2 = nullptr;
    FlowFields* flows = nullptr;  // SET_FLOWS reads, GET_FLOWS fills: one, or two of them
    K7Image* output = nullptr;    // IN_BETWEEN_AT_VAL, MOTION_BLUR: of the pair's layout
    StopRequested stop = {};
};

struct FlowInstance;
FlowInstance* library_instance_data_create();                // null without memory
void library_instance_data_cleanup(FlowInstance* instance);  // frees all that it holds; it is closed then
void library_instance_data_destroy(FlowInstance* instance);
unsigned library_instance_state(const FlowInstance* instance);  // OfcState

int execute_ofc_command(FlowInstance* instance, const Ofc& ofc, const OfcData& data = {});

// ---- Flow fields on disk ------------------------------------------------------------------------------------------

enum FlowJobError : int {
    FLOW_JOB_OK = 0,
    FLOW_JOB_NOT_READY = 2,
    FLOW_JOB_BAD_ARGUMENTS = 8,
    FLOW_JOB_WRITE_FAILED = 13,
    FLOW_JOB_READ_FAILED = 14,
};

// Flow fields of a job in the work directory: the variable KESTREL_WORK_AREA, else FlowWork in the home directory. A
// frame's fields are one TIFF file of 32-bit floats: u, v forward, then u, v backward where there is a backward field.
class FlowJob {
  public:
    FlowJob();
    virtual ~FlowJob();

    // Makes the directories. False: all operations answer FLOW_JOB_NOT_READY.
    virtual bool prepare();
    bool ready() const { return m_ready; }
    // Without a separator and not empty, else it stays as it was.
    bool set_job_name(const std::string& name);
    const std::string& job_name() const { return m_job; }
    const std::string& work_directory() const { return m_work; }  // with a separator at its end
    std::string catalog_file() const;
    std::string flow_file(int frame) const;

    // Files appear whole or not at all.
    virtual int put_flow(int frame, const FlowFields& fields);
    virtual int get_flow(int frame, FlowFields& fields) const;
    // The frames that have been put, one a line.
    virtual int write_catalog(int first, int last) const;

  private:
    std::string m_work, m_job = "untitled";
    bool m_ready = false;
};

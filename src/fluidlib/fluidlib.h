// fluidlib: an incompressible fluid in two dimensions, with up to sixteen scalar fields that it carries along.
//
// Stable fluids: advection backwards along traced paths, diffusion, projection (J. Stam, "Stable Fluids", SIGGRAPH
// 1999), with vorticity confinement (R. Fedkiw, J. Stam, H. W. Jensen, "Visual Simulation of Smoke", SIGGRAPH 2001).
//
// Rules common to all of it:
// - Units. The domain is 1 x 1 whatever the grids: positions, regions, radii and velocities count widths of the domain
//   along x and heights along y; time counts in units of `dt` (effects: frames). y grows with the row.
// - Grids. The velocity has a grid of its own, all scalar fields share another (the "density grid").
// - Same bits. Results depend on the arguments and the state only, not on threads, processor or system libraries.
// - Refusals. Bad arguments, slots without a field, and short memory are answered with false, null or -1. Nothing
//   throws.
// - Not a number. Forces, velocities and fields are kept finite: what is not a number counts as 0, magnitudes are
//   limited (FLUID_MAX_VELOCITY, FLUID_MAX_VALUE). A setting that is not a number counts as its lowest value.
// - One thread at a time may use a solver; it spreads rows itself, through the executor that it is given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "imagelib/imagelib.h"
#include "k7pi_baselib/rows.h"
#include "noiselib/krvf.h"

struct FluidRows;
struct FluidTiles;

enum FluidKind : int {
    FLUID_PERIODIC = 1,  // width x height cells, the edges joined; the velocity grid is a square of a power of two
    FLUID_BOUNDED = 2,   // (width + 2) x (height + 2) cells, with a ring of ghost cells around the interior
};

// How the fluid passes obstacles.
enum FluidBoundaryLayer : int {
    FLUID_SLIPPERY = 1,  // cells beside a solid lose the velocity into it
    FLUID_ROUGH = 2,     // and half of that along it
    FLUID_STICKY = 3,    // and all of that along it
};

inline constexpr int FLUID_MAX_FIELDS = 16;
inline constexpr float FLUID_MAX_VELOCITY = 1e6F;
inline constexpr float FLUID_MAX_VALUE = 1e12F;

// ---- Fields -------------------------------------------------------------------------------------------------------

// The cells of one kind and size. Interior cells run from `first()` to `first() + width - 1`, likewise rows.
//
// In a bounded grid interior cell i (from 1) stands at (i - 1) / width and a place x is read at x * width + 1 of the
// stored array; in a periodic one cell i (from 0) stands at (i + 0.5) / width and x is read at x * width - 0.5.
struct FluidGrid {
    FluidGrid(int kind, int width, int height);  // sizes below 1 become 1; any other kind than periodic is bounded

    int kind;
    int width, height;

    int first() const { return kind == FLUID_BOUNDED ? 1 : 0; }
    std::size_t stride() const { return std::size_t(width) + 2 * std::size_t(first()); }
    std::size_t rows() const { return std::size_t(height) + 2 * std::size_t(first()); }
    std::size_t size() const { return stride() * rows(); }
    std::size_t index(int i, int j) const { return std::size_t(j) * stride() + std::size_t(i); }
    bool same_grid(const FluidGrid& other) const {
        return kind == other.kind && width == other.width && height == other.height;
    }
    // Of a cell in the domain.
    float place_x(int i) const;
    float place_y(int j) const;
};

// Cells of a grid, zeroed, from the memory of images. Null when there is none.
struct FreeFluidBlock {
    void operator()(float* block) const;
};
using FluidBlock = std::unique_ptr<float[], FreeFluidBlock>;
FluidBlock make_fluid_block(std::size_t cells);

class ScalarField : public FluidGrid {
  public:
    ScalarField(int kind, int width, int height);
    virtual ~ScalarField() = default;

    bool valid() const { return data != nullptr; }  // false: there was no memory for it
    void clear();
    void set_boundary();  // ghost cells copy their neighbour, corners take the mean of two
    // Mixed from the four cells around a place of the domain; at the edges the stored array goes on, or is joined.
    float sample(float x, float y) const;

    FluidBlock data;  // cell (i, j) at index(i, j)
    char name[128] = "";
    bool advected = false;     // was carried by the last step
    bool no_advect = false;    // stays where it is
    bool is_obstacle = false;  // neither carried nor diffused
    bool no_diffuse = false;
};

class VectorField : public FluidGrid {
  public:
    VectorField(int kind, int width, int height);
    virtual ~VectorField() = default;

    bool valid() const { return u && v; }
    void clear();

    FluidBlock u, v;  // along x and along y
    uint32_t noise_seed = 1234567;
    std::unique_ptr<KRVFT> noise;  // made when it is first needed
    float noise_k_min = 2;
};

// ---- The solver ---------------------------------------------------------------------------------------------------

class FluidFlowCore {
  public:
    // A density width of 0 or less: the grid of the velocity. Ask valid() afterwards, or use create_fluid_flow().
    FluidFlowCore(int width, int height, int kind, int density_width, int density_height);
    virtual ~FluidFlowCore();
    FluidFlowCore(const FluidFlowCore&) = delete;
    FluidFlowCore& operator=(const FluidFlowCore&) = delete;
    bool valid() const;

    // ---- Execution

    // `parallel_run` splits rows over threads (k7pi_baselib/rows.h); null runs them on the calling thread.
    void set_executor(void* context, RowDispatcher parallel_run);
    // Asked between bands of rows. An end that is asked for leaves the fields partly updated and `step` answers false:
    // restart the simulation, or restore a copy of its state.
    void set_abort_callback(StopRequested callback);

    // ---- State

    // Makes this solver equal to another of the same kind and sizes, except for its executor and abort callback: all
    // fields, sources, maps, obstacles, noise and settings. Stepping both then gives the same bits. A solver that only
    // keeps a copy needs no memory for stepping. False leaves it of no use (too little memory) or unchanged (sizes).
    bool copy_state(const FluidFlowCore& other);

    // ---- Settings. They take effect at the next step.

    void set_dt(float value);  // at least 1e-6, at most 1e6
    // 1e-10 to 1e6. In the bounded kind the flow is blurred over dt * viscosity of the domain a step, in the periodic
    // one a wave of k radians a domain is multiplied by exp(-k^2 * dt * viscosity). Diffusion of fields likewise.
    void set_viscosity(float value);
    void set_vorticity_confinement(float value);  // 0 to 1e6, of the bounded kind

    float viscosity = 0.001F;
    float dt = 1;
    float vorticity_confinement = 0;
    bool use_rk4 = true;     // paths by fourth-order steps; false: second-order ones
    bool use_cubic = false;  // paths read their grids by Catmull-Rom splines instead of bilinearly
    int trace_steps = 5;     // of a scalar field's path, 1 to 1000; the velocity's always has 5
    float trace_bias = 1;    // 1: a field takes what it finds at the path's end; 0: the mean along it
    // The bounded kind's walls, and whether places beyond an edge of the domain come in again on the other side.
    bool wall_left = true, wall_right = true, wall_bottom = true, wall_top = true;
    bool wrap_x = false, wrap_y = false;
    void set_walls_open(bool open);
    // Whether the pressure is solved for directly. The half sweeps that it replaces give the same within their stop.
    bool direct_pressure = true;
    int parallel_threshold = 256;       // pressure is solved for on several threads above this width
    bool set_boundary_layer(int mode);  // FluidBoundaryLayer
    // In the bounded kind the flow is blurred by a Gaussian that a field steers, instead of by `viscosity`: its radius
    // in cells at a place is low + (value - low) / (high - low) * scale, at least 1. A negative slot ends that.
    bool set_variable_viscosity(int slot, float scale, float low, float high);

    // ---- Fields, found by their slot (0 to 15)

    int add_field(const char* name);  // the slot, or -1. The name keeps 127 bytes.
    ScalarField* field(int slot);     // null where there is none
    const ScalarField* field(int slot) const;
    bool clear_field(int slot);
    bool copy_field(int from, int to);
    bool add_field_scaled(int from, int to, float factor);
    bool set_dissipation(int slot, float value);  // each step divides the field by 1 + dt * value
    bool set_diffusion(int slot, float value);    // as the viscosity blurs the flow
    // What each step adds to a field, times dt: made, zero, where it is not there yet, for the caller to fill. `on`
    // false removes it and answers null.
    ScalarField* set_field_source(int slot, bool on = true);
    // Cells whose value exceeds 0.01 are solid. A negative slot removes the obstacles.
    bool set_obstacle_field(int slot);

    // ---- Forces
    //
    // All add to `force`, which stays until clear_force(). Regions take the cells whose place lies within them, edges
    // included. Angles are in degrees.

    void clear_force();
    // What add_buoyancy reads: heat lifts by beta, density less `ambient` drags by alpha. A negative slot: 0.
    bool set_density_field(int slot, float ambient);
    bool set_temperature_field(int slot, float alpha, float beta);
    // (sin, cos) of `up`, which is 0 for +y and 90 for +x, times beta * T - alpha * d. T is the temperature less its
    // mean, or with `relative` off the temperature where it is above 0.
    bool add_buoyancy(float up = 0, bool relative = true);
    // (sin, cos) of `up` times amount times the field.
    bool add_scalar_force(int slot, float up, float amount);
    // Away from where the field is dense: -amount times half the difference of the neighbouring cells.
    bool add_pressure_force(int slot, float amount);
    // (cos, sin) of `angle`, which is 0 for +x and 90 for +y, times amount.
    void add_force_direction(float x0, float y0, float x1, float y1, float angle, float amount);
    // A vector of Gaussian length (deviation `amount`) and any angle at each cell; the same at every call.
    void add_noise_force(float x0, float y0, float x1, float y1, float amount);
    // A turbulent vector field that changes with time (KRVFT). Time goes forward by one keyframe whatever the jump.
    bool add_turbulent_force(float x0, float y0, float x1, float y1, float amount, double time);
    void set_noise_k_min(float value);  // wave number of its largest eddies, at least 2; before its first use
    // A cone of wind from start towards end, narrow for a large `tight`; `dropoff`: it fades out at the end's distance.
    void add_wind(float strength, float start_x, float start_y, float end_x, float end_y, float tight, bool dropoff);
    // Counterclockwise for a positive strength, strongest at the centre, 0 at the radius (widths). `aspect` stretches
    // distances along y.
    void add_vortex(float strength, float centre_x, float centre_y, float radius, float aspect);
    void remove_net_force();  // subtracts the mean
    // No force: the velocity of the cells of a region becomes (cos, sin) of `angle` times speed.
    void set_velocity_box(float x0, float y0, float x1, float y1, float angle, float speed);

    // ---- Steps

    // One time step of the velocity, the fields and the coordinate maps, which go back to the identity first when
    // `reset_coordinates` is set. False: a periodic grid that is no square of a power of two, too little memory, an end
    // asked for, or a GPU that failed.
    bool step(bool reset_coordinates);
    // Its parts. `source` may be null.
    bool velocity_step();
    bool scalar_step(ScalarField& field, const ScalarField* source, float diffusion, float dissipation);
    // Only the projection: takes the divergence out of the velocity.
    bool project();

    // Where the flow that passes (x, y) at the end of a step came from, in widths and heights. With a field, also its
    // value, weighted along the path by `bias` (trace_bias above).
    struct PathStart {
        float x, y;
        float value;
    };
    PathStart trace_path(float x, float y, int path_steps, float bias = 1, const ScalarField* sampled_field = nullptr);

    // ---- Coordinate maps: where each cell of the fluid came from

    // Only where the density grid is the velocity's. They begin as the identity: (i - 1) / (width - 1) in interior cell
    // i of a bounded grid, likewise y, 0 to 1.
    bool create_coordinate_maps();
    void reset_coordinate_maps();
    // Pins the outermost interior cells to the edges of the picture: x to 0 and 1, y to 0 and 1.
    void pin_coordinate_maps();

    // Blurs a field of this solver (or a map): a box of width radius / 2, but at most the grid's width. False without
    // memory.
    bool blur_field(ScalarField& field, float radius);

    // ---- State to look at (and, with care, to write)

    VectorField force, velocity;
    std::unique_ptr<ScalarField> fields[FLUID_MAX_FIELDS];
    std::unique_ptr<ScalarField> sources[FLUID_MAX_FIELDS];
    float diffusion[FLUID_MAX_FIELDS] = {};
    float dissipation[FLUID_MAX_FIELDS] = {};
    int field_count = 0;  // slots in use
    int boundary_layer = FLUID_SLIPPERY;
    const ScalarField* obstacle = nullptr;  // one of the fields
    std::unique_ptr<ScalarField> coordinate_x, coordinate_y;
    int density_width, density_height;

    // Of the last step, in seconds; density_seconds is the mean of its `density_count` scalar steps.
    double total_seconds = 0, velocity_seconds = 0, density_seconds = 0;
    int density_count = 0;
    int half_sweeps = 0;  // of the last solution for the pressure; 0 where it was direct

  protected:
    FluidRows executor() const;

  private:
    struct Work;
    struct Carried;
    struct CarriedSpan;
    struct Buoyancy {
        int density = -1, temperature = -1;  // slots
        float ambient = 0, alpha = 0, beta = 0;
    };
    struct VariableViscosity {
        int slot = -1;
        float scale = 0, low = 0, high = 1;
    };
    struct Cells {
        int left, right, bottom, top;  // both ends belong to it; none where they are out of order
    };

    bool prepare();
    bool find_solid_cells();
    void set_velocity_boundary(VectorField& field) const;
    void stop_at_obstacles(VectorField& field) const;
    void apply_walls(VectorField& field) const;
    void accelerate();
    void confine_vorticity();
    bool build_tiles(int steps, FluidTiles& tiles);
    bool advect_velocity(const VectorField& from, VectorField& to);
    bool carry(Carried* fields, int count);
    bool carries_on_device(int count, int steps) const;
    bool carry_on_device(const Carried* fields, int count, int steps) const;
    bool diffuse_velocity();
    bool diffuse_variably(const float* from, float* to);
    bool project_velocity();
    bool bounded_step();
    bool periodic_step();
    bool carry_all(Carried* items, int count);
    bool diffuse(ScalarField& field, FluidBlock& scratch, float amount);
    bool diffuse_periodic(ScalarField& field, float amount);
    bool blur_box(const FluidGrid& grid, const float* from, float* scratch, float* to, float radius);
    Cells cells_of(float x0, float y0, float x1, float y1) const;
    Cells all_cells() const;
    template <class Add>
    bool add_to_force(const Cells& cells, Add add);

    Buoyancy m_buoyancy;
    VariableViscosity m_variable_viscosity;
    RowRunner m_runner;
    StopRequested m_stop;
    std::unique_ptr<Work> m_work;  // scratch, made at the first step
};

// ---- The bridge to images -----------------------------------------------------------------------------------------

// How far a picture follows the coordinate maps.
struct FlowLook {
    float displacement = 1;  // of a pixel from its place at rest, as a part of what the maps say, 0 to 1
    float spread = 1;        // of a pixel's samples, 0 to 1
};

// Where each place of a picture comes from, of bounded grids of one size: 0 to 1 from the first pixel's centre to the
// last one's. Beyond an edge the edge goes on, or the picture begins again.
struct FlowMaps {
    const ScalarField* x;
    const ScalarField* y;
    bool wrap_x = false, wrap_y = false;
};

// A picture that any two maps have moved, read as FluidFlow::flow_image says. Ghost cells play no part.
bool image_through_maps(const FlowMaps& maps, const K7Image* source, K7Image* target, const FlowLook& look,
                        const RowRunner& runner, const StopRequested& stop);

class FluidFlow : public FluidFlowCore {
  public:
    using FluidFlowCore::FluidFlowCore;

    // Adds a picture (four channels, any sample type and size) to the field: the mean of its colours as a fraction of
    // the full value, times scale. `centre`: half the full value counts as 0, so that mid grey adds nothing.
    // clear_field() first where the picture is to replace the field.
    bool load_field(const K7Image* image, int slot, float scale, bool centre);
    // The inverse: the field divided by scale in all colour channels of a picture of any size, alpha full.
    bool read_field(int slot, K7Image* image, float scale = 1) const;
    // The source as the coordinate maps (of a bounded grid) have moved it. A target pixel x of W stands at (width - 1)
    // * x / (W - 1) of the maps' interior cells, which a cubic B-spline joins; what they give there times W
    // - 1 is its column in the source, likewise rows. It becomes the mean of four samples within 0.35 pixels around it,
    // each mixed from four pixels; where the maps squeeze the source more than twofold, of as many as cover it. Beyond
    // an edge the edge goes on, or with `wrap_x`, `wrap_y` the picture begins again. `edge_escape` pins the maps first,
    // for good. Both are float RGBA pictures of one size, two in memory: otherwise false, as without memory or at an
    // end asked for.
    bool flow_image(const K7Image* source, K7Image* target, bool edge_escape, const FlowLook& look = {});
};

// Null when there is no memory.
std::unique_ptr<FluidFlow> create_fluid_flow(int width, int height, int kind, int density_width = 0,
                                             int density_height = 0);

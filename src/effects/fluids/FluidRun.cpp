#include "effects/fluids/FluidRun.h"

#include <cmath>
#include <utility>

#include "Library2/Made.h"
#include "k7pi_baselib/k7pi_baselib.h"

void FluidRun::arrive(int frame, const K7Image& picture, std::vector<double> numbers) {
    if (m_asked.exchange(false) || frame < m_frame || picture.width != m_width || picture.height != m_height ||
        numbers != m_numbers)
        m_begins = true;
    m_frame = frame;
    m_width = picture.width;
    m_height = picture.height;
    m_numbers = std::move(numbers);
}

void FluidRun::begun() {
    m_begins = false;
    m_made = true;
    m_made_width = m_width;
    m_made_height = m_height;
}

FluidFlow& FluidRun::create(int width, int height, int densityWidth, int densityHeight) {
    m_begins = true;
    m_made = false;
    m_flow.reset();  // before the new one, so that there is never memory for two
    m_flow = made(create_fluid_flow(width, height, FLUID_BOUNDED, densityWidth, densityHeight));
    const auto rows = [](void*, RowWorker worker, int count, void* job) {
        image_dispatch_rows_float(worker, count, job);
    };
    m_flow->set_executor(this, rows);
    m_flow->set_walls_open(false);
    m_flow->wrap_x = m_flow->wrap_y = false;
    return *m_flow;
}

void FluidRun::traceTimes() const {
    if (m_flow && std::isfinite(m_flow->total_seconds))
        Trace(TRACE_TRACE, "*** ATS TIMES *** Total=%7.4f, Velocity=%7.4f, Scalar=%7.4f, Num Scalar=%d\n",
              m_flow->total_seconds, m_flow->velocity_seconds, m_flow->density_seconds, m_flow->density_count);
    else
        Trace(TRACE_TRACE, "*** ATS TIMES *** INVALID ***\n");
}

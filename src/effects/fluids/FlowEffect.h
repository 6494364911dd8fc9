// The road of a frame that ClipFlow, ImageFlow and TransFlow share. Info has `flow`, the controls that all have, and
// what FluidEffect asks for.
#pragma once

#include "effects/fluids/FlowSolver.h"
#include "effects/fluids/FluidEffect.h"
#include "k7pi_baselib/k7pi_baselib.h"

// What the result becomes in an output mode, in place. False when a picture could not be made.
struct FlowView {
    int mode;  // FlowOutput
    bool premultiplied;
    const K7Image* behind;
    const K7Image* barrier;  // null: shown as the result
    int cells;               // of the fluid's grid, a side
};
bool showFlow(const FlowView& view, K7Image& result);

template <class Info>
class FlowEffect : public FluidEffect<Info> {
  protected:
    void PrepareOverlay() override {
        this->flow.boxA.showHandles();
        this->flow.boxB.showHandles();
        this->flow.stirring.showHandles();
    }

    // Begins anew where need be, and takes a step.
    FluidFlow& advance(const FlowPictures& pictures) {
        FluidRun& run = this->m_run;
        if (run.begins()) m_solver.begin(run, this->flow, pictures.barrier != nullptr, this->currentFrame);
        run.restart();  // until the step is done
        m_solver.step(*run.flow(), this->flow, pictures, this->currentFrame);
        run.begun();
        run.traceTimes();
        return *run.flow();
    }

    // The run learns of the frame. `numbers`: Info's own whose change begins anew.
    void arrive(std::vector<double> numbers) {
        const FlowControls& with = this->flow;
        numbers.insert(numbers.end(), {this->RestartASecret.value, with.stirring.RestartBSecret.value,
                                       with.stirring.RestartCSecret.value, double(with.hiRes.value)});
        if (with.output.RestartP.value) {
            const std::vector<double> all = parameterValues(*this);
            numbers.insert(numbers.end(), all.begin(), all.end());
        }
        this->m_run.arrive(static_cast<int>(this->currentFrame), *this->output.image, std::move(numbers));
    }

    // Makes of the output's picture what the output mode asks for. `walls`: null while there are none.
    void show(const K7Image* behind, const K7Image* walls) {
        const FlowOutputControls& wanted = this->flow.output;
        const int cells = this->m_run.flow() ? this->m_run.flow()->density_width : 1;
        if (!showFlow({wanted.OutputMode.value, wanted.PreMultiplyForeground.value, behind, walls, cells},
                      *this->output.image))
            Trace(TRACE_ERROR, "Composite FAILED.\n");
    }

  private:
    FlowSolver m_solver;
};

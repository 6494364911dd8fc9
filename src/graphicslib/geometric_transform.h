// A stack of viewing transforms, a stack of modelling transforms and a projection.
//
// A point goes through the top of the model stack, then the top of the view stack, then the projection. push, pop and
// all that changes a matrix work on the stack that set_mode has selected.
#pragma once

#include <array>

#include "graphicslib/matrix4.h"

class GeometricTransform {
  public:
    enum Mode { VIEW = 1, MODEL = 2 };
    static constexpr int LEVELS = 100;

    GeometricTransform();
    virtual ~GeometricTransform() = default;

    bool set_mode(int mode);  // false for anything but VIEW and MODEL; initially MODEL
    int mode() const { return m_selected; }
    int stack_depth(int of_mode) const { return of_mode == VIEW ? m_view_depth : m_model_depth; }

    bool push();  // copies the top level; false when all levels are in use
    bool pop();   // false at the lowest level
    void load_identity();
    // These refuse a matrix that has no inverse and leave the stack alone. The newest factor is the first that a point
    // goes through, so that frames nest: translate, then rotate, turns things about the translated origin.
    bool load_matrix(const Matrix4& matrix);
    bool multiply(const Matrix4& matrix);
    bool translate(float x, float y, float z) { return multiply(Matrix4::translation(x, y, z)); }
    bool scale(float x, float y, float z) { return multiply(Matrix4::scaling(x, y, z)); }
    bool rotate(int axis, float radians) { return multiply(Matrix4::rotation(axis, radians)); }

    // Orthographic projection of the box onto -1 to 1 in each axis, nearer things at smaller z. Refuses an extent below
    // 1e-10.
    bool set_window(float left, float right, float bottom, float top, float near, float far);
    bool set_projection(const Matrix4& matrix);
    void clear_projection();
    bool has_projection() const { return m_projection_set; }
    const Matrix4& projection() const { return m_current_projection; }
    const Matrix4& projection_inverse() const { return m_current_inverse; }
    const Matrix4& projection_inverse_transpose() const { return m_current_inverse_transpose; }

    const Matrix4& view() const { return m_view_stack[std::size_t(m_view_depth)].forward; }
    const Matrix4& model() const { return m_model_stack[std::size_t(m_model_depth)].forward; }

    // Through model and view. `result` may be `point`.
    void transform_point(const float point[3], float result[3]) const;
    void inverse_transform_point(const float point[3], float result[3]) const;
    // Directions follow the inverse matrices the way surface normals do: what was at right angles to a surface stays
    // so, and translations leave them alone. They are not brought to unit length.
    void transform_direction(const float direction[3], float result[3]) const;
    // Through model, view and projection, into clip space.
    void project_point(const float point[3], float result[4]) const;

  protected:
    struct SavedLevels {
        int view_depth, model_depth;
        bool projection_set;
        Matrix4 projection, inverse, inverse_transpose;
    };
    SavedLevels save_levels() const;
    void restore_levels(const SavedLevels& saved);

  private:
    struct ViewLevel {
        Matrix4 forward, inverse, inverse_transpose;
    };
    struct ModelLevel {
        Matrix4 forward, inverse;
    };

    Matrix4 m_current_projection, m_current_inverse, m_current_inverse_transpose;
    int m_selected = MODEL;
    bool m_projection_set = false;
    int m_view_depth = 0, m_model_depth = 0;
    std::array<ViewLevel, LEVELS> m_view_stack;
    std::array<ModelLevel, LEVELS> m_model_stack;
};

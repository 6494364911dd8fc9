#include "graphicslib/geometric_transform.h"

#include <cmath>

GeometricTransform::GeometricTransform() {
    const Matrix4 identity = Matrix4::identity();
    m_view_stack[0] = {identity, identity, identity};
    m_model_stack[0] = {identity, identity};
    clear_projection();
}

bool GeometricTransform::set_mode(int mode) {
    if (mode != VIEW && mode != MODEL) return false;
    m_selected = mode;
    return true;
}

bool GeometricTransform::push() {
    int& depth = m_selected == VIEW ? m_view_depth : m_model_depth;
    if (depth >= LEVELS - 1) return false;
    const auto top = std::size_t(depth++);
    if (m_selected == VIEW)
        m_view_stack[top + 1] = m_view_stack[top];
    else
        m_model_stack[top + 1] = m_model_stack[top];
    return true;
}

bool GeometricTransform::pop() {
    int& depth = m_selected == VIEW ? m_view_depth : m_model_depth;
    if (depth <= 0) return false;
    --depth;
    return true;
}

void GeometricTransform::load_identity() { load_matrix(Matrix4::identity()); }

bool GeometricTransform::load_matrix(const Matrix4& matrix) {
    Matrix4 inverse;
    if (!invert(matrix, inverse)) return false;
    if (m_selected == VIEW)
        m_view_stack[std::size_t(m_view_depth)] = {matrix, inverse, inverse.transposed()};
    else
        m_model_stack[std::size_t(m_model_depth)] = {matrix, inverse};
    return true;
}

bool GeometricTransform::multiply(const Matrix4& matrix) {
    return load_matrix(matrix * (m_selected == VIEW ? view() : model()));
}

bool GeometricTransform::set_window(float left, float right, float bottom, float top, float near, float far) {
    const float width = right - left, height = top - bottom, length = far - near;
    for (float extent : {width, height, length})
        if (!(std::fabs(extent) >= 1e-10F)) return false;
    Matrix4 matrix = Matrix4::scaling(2 / width, 2 / height, -2 / length);
    matrix.m[3][0] = -(right + left) / width;
    matrix.m[3][1] = -(top + bottom) / height;
    matrix.m[3][2] = -(far + near) / length;
    return set_projection(matrix);
}

bool GeometricTransform::set_projection(const Matrix4& matrix) {
    Matrix4 inverse;
    if (!invert(matrix, inverse)) return false;
    m_current_projection = matrix;
    m_current_inverse = inverse;
    m_current_inverse_transpose = inverse.transposed();
    m_projection_set = true;
    return true;
}

void GeometricTransform::clear_projection() {
    m_current_projection = m_current_inverse = m_current_inverse_transpose = Matrix4::identity();
    m_projection_set = false;
}

namespace {

void apply(const Matrix4& matrix, const float point[3], float result[3]) {
    float homogeneous[4];
    transform_homogeneous(matrix, point, homogeneous);
    for (int i = 0; i < 3; ++i) result[i] = homogeneous[i];
}

}  // namespace

void GeometricTransform::transform_point(const float point[3], float result[3]) const {
    apply(model(), point, result);
    apply(view(), result, result);
}

void GeometricTransform::inverse_transform_point(const float point[3], float result[3]) const {
    apply(m_view_stack[std::size_t(m_view_depth)].inverse, point, result);
    apply(m_model_stack[std::size_t(m_model_depth)].inverse, result, result);
}

void GeometricTransform::transform_direction(const float direction[3], float result[3]) const {
    apply(m_model_stack[std::size_t(m_model_depth)].inverse.transposed(), direction, result);
    apply(m_view_stack[std::size_t(m_view_depth)].inverse_transpose, result, result);
}

void GeometricTransform::project_point(const float point[3], float result[4]) const {
    float placed[3];
    transform_point(point, placed);
    transform_homogeneous(m_current_projection, placed, result);
}

GeometricTransform::SavedLevels GeometricTransform::save_levels() const {
    return {m_view_depth,         m_model_depth,     m_projection_set,
            m_current_projection, m_current_inverse, m_current_inverse_transpose};
}

void GeometricTransform::restore_levels(const SavedLevels& saved) {
    if (saved.view_depth <= m_view_depth) m_view_depth = saved.view_depth;
    if (saved.model_depth <= m_model_depth) m_model_depth = saved.model_depth;
    m_projection_set = saved.projection_set;
    m_current_projection = saved.projection;
    m_current_inverse = saved.inverse;
    m_current_inverse_transpose = saved.inverse_transpose;
}

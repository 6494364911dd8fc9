// A perspective camera that looks along -z until it is turned.
#pragma once

#include "graphicslib/geometry.h"
#include "graphicslib/matrix4.h"

class Camera {
  public:
    float position[3] = {0, 0, 0};
    float rotation[3] = {0, 0, 0};         // radians about x, y and z, in turn
    float field_of_view = 1.57079632679F;  // radians, over the height of the image
    float near_depth = 0.01F, far_depth = 1000;
    float width = 100, height = 100;  // pixels
    float pixel_aspect = 1;
    bool auto_matrix = true;  // off: rotation_matrix and translation_matrix are set by hand
    bool debug = false;       // prints the corners of the frustum
    Matrix4 rotation_matrix = Matrix4::identity();
    Matrix4 translation_matrix = Matrix4::identity();

    Camera() { update_camera(); }

    // After any change of the above. False when values make no camera (no field, no depth, no image); what was derived
    // before then stays.
    bool update_camera();

    // Pixels, the centre of the image at (width / 2, height / 2), and the depth in front of the camera. False outside
    // near to far, or outside the image.
    bool world_to_screen(const float point[3], float screen[3]) const;
    // Any direction that ends at the pixel, in the space of the world.
    void pixel_to_ray(float x, float y, float ray[3]) const;

    // Near ones first; each four from the lower left, counter-clockwise.
    void frustum_corners(float corners[8][3]) const;
    void frustum_planes(Plane planes[6]) const;  // the inside is on the positive side
    void frustum_bounds(float low[3], float high[3]) const;

    const Matrix4& projection() const { return m_projection_matrix; }
    const Matrix4& world_to_camera() const { return m_view_matrix; }
    const Matrix4& world_to_pixel() const { return m_combined; }

  private:
    float m_half_width = 50, m_half_height = 50;
    float m_inverse_aspect = 1;  // of the image: 1 / (pixel aspect * width / height)
    float m_inverse_tangent = 1;
    Matrix4 m_view_matrix, m_view_inverse;
    Matrix4 m_projection_matrix, m_projection_inverse;
    Matrix4 m_pixel_mapping, m_pixel_inverse;
    Matrix4 m_combined;        // world to pixels
    Matrix4 m_ray_directions;  // pixels to directions in the world
};

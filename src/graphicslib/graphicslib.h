// graphicslib: lines, polygons, text, and a small 3D pipeline on top of them. Images, refusals and threads as in
// imagelib.h; pictures have row 0 at the bottom.
#pragma once

#include "graphicslib/bit_text.h"
#include "graphicslib/camera.h"
#include "graphicslib/flat_path.h"
#include "graphicslib/geometric_transform.h"
#include "graphicslib/geometry.h"
#include "graphicslib/glyph_field.h"
#include "graphicslib/graphics_path.h"
#include "graphicslib/hershey_font.h"
#include "graphicslib/line_clip.h"
#include "graphicslib/line_draw.h"
#include "graphicslib/line_rasterizer.h"
#include "graphicslib/mip_picture.h"
#include "graphicslib/polygon_clip.h"
#include "graphicslib/polygon_rasterizer.h"
#include "graphicslib/raster_graphics.h"
#include "graphicslib/sampling_pattern.h"
#include "graphicslib/shape_batch.h"
#include "graphicslib/stroke_text.h"

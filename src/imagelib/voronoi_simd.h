// Private to Voronoi cells: the row kernel. Plain data, see cmake/QuillonSimd.cmake.
#pragma once

#include <cstdint>

#include "simdlib/cpu.h"

struct VoronoiRow {
    float* best;  // squared distances where cells are round; room for VORONOI_SLACK more
    float* second;
    std::uint32_t* labels;
};

struct SiteOnRow {
    std::uint32_t label;
    float x, ux, uy;
    float dy;  // from the site to the row, in widths of a pixel
};

inline constexpr int VORONOI_SLACK = 16;

// Compares a site with the pixels [first, last), and perhaps some behind.
struct VoronoiKernels {
    void (*round)(const VoronoiRow& row, const SiteOnRow& site, int first, int last);
    void (*square)(const VoronoiRow& row, const SiteOnRow& site, int first, int last);
};

QUILLON_SIMD_TABLE(VoronoiKernels, voronoi_kernels);

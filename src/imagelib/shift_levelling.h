// Private to completion: steps of light between pieces are spread over the pieces.
//
// P. Perez, M. Gangnet and A. Blake, "Poisson image editing", 2003. Seams across which more differs than light does
// hold less, so that no colour runs out of one piece into another.
#pragma once

#include "imagelib/shift_map.h"

// What is added to the colour that the shift of a cell brings, for each cell of a level.
using Levelling = std::vector<simd::Pixel>;

// `coarse` is that of the level of half the size, with the labels there; null at the coarsest one. False when an end
// was asked for.
bool level_pieces(const ShiftLevel& level, const ShiftMap& map, const ShiftLevel* coarse_level,
                  const std::vector<ShiftMap::Label>& coarse_labels, Levelling& added, const StopRequested& stop);

// The vector kernels of libzq_cv: resizers, colour kernels and depth kernels on raw planes, in the
// namespace Simd. They know nothing of frames or exceptions.
#pragma once

#include "simd_color.h"
#include "simd_depth.h"
#include "simd_resizer.h"

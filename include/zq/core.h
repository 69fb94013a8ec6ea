// The core library: geometry, status numbers, exceptions, frames, buffers,
// device contexts, tensors and constant arithmetic; the version macros.
#pragma once

#include "zq/exception.h"
#include "zq/frame.h"
#include "zq/geometry.h"
#include "zq/status.h"
#include "zq/tensor.h"
#include "zq/version.h"

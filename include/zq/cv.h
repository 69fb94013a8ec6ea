// The whole exported interface of the image library, and the core.
#pragma once

#include "zq/core.h"
#include "zq/cv_backend.h"
#include "zq/cv_helpers.h"
#include "zq/format_converter.h"
#include "zq/row_pipeline.h"
#include "zq/row_window.h"
#include "zq/scaler.h"
#include "zq/scaler_area.h"
#include "zq/scaler_bilinear.h"
#include "zq/scaler_convolutional.h"
#include "zq/scaler_nn.h"

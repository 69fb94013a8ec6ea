// The engine behind FormatConverter: picks the row conversion function for a
// pair of formats and the number of source rows it must see, and runs it.
#pragma once

#include <cstdint>

#include "zq/row_pipeline.h"

namespace zq {

/// Where the samples of one luma/chroma format (ZQ_FRAME_I420 to
/// ZQ_FRAME_YUV444_PLANAR) lie in a row. Offsets and steps are in bytes.
struct FormatInfo {
    int32_t x_factor;  ///< luma columns per chroma sample
    int32_t y_factor;  ///< luma rows per chroma row
    int32_t y_plane;   ///< plane that holds Y
    int32_t v_plane;   ///< plane that holds V (Cr)
    int32_t u_plane;   ///< plane that holds U (Cb)
    int32_t y_offset;  ///< byte of the first Y in its row
    int32_t v_offset;  ///< byte of the first V in its row
    int32_t u_offset;  ///< byte of the first U in its row
    int32_t y_step;    ///< bytes from one Y to the next
    int32_t v_step;    ///< bytes from one V to the next
    int32_t u_step;    ///< bytes from one U to the next
};

class ImplFormatConverter;

/// A row conversion function: `rows` holds one or two source rows (the second
/// null when the source has no further row), `dst` the destination row, whose
/// half-height planes are null on rows without chroma.
using ConvertRowFunction = void (*)(const RowData* const* rows, RowData& dst, int width,
                                    const ImplFormatConverter& impl);

class ImplFormatConverter {
public:
    /// Everything zero: no function chosen, not initialized.
    ImplFormatConverter();

    /// Chooses the row function for the pair, keeps `width`, and reports the
    /// number of source rows the function needs through `window_size`.
    /// Throws ZQ_STATUS_INVALID_FORMAT for a null `window_size`, and what
    /// get_context throws. The function is cleared first; the initialized
    /// flag is only ever set.
    void reuse(FrameFormat src_format, FrameFormat dst_format, int width, int* window_size);
    /// Describes both formats and picks the function and window size.
    /// Throws ZQ_STATUS_INVALID_FORMAT for a format number that has no place
    /// here or a BGR32F_PLANAR source, ZQ_STATUS_UNSUPPORTED_FORMAT for a pair
    /// without a function.
    void get_context(FrameFormat src_format, FrameFormat dst_format, int* window_size);
    /// Refuses a destination whose rows cannot hold what the chosen function
    /// writes into them, before any row is written. Only the generic
    /// luma/chroma function into a format without a description can miss: it
    /// writes by the layout that the last luma/chroma destination left in the
    /// record, which may reach past the destination's rows. Throws
    /// ZQ_STATUS_UNSUPPORTED_FORMAT then.
    void checkDestination(FrameFormat src_format, const FrameLayout& dst_layout) const;
    /// Drops the chosen function (the flag stays): produce() then writes
    /// nothing. For a converter whose set-up failed after the choice.
    void disarm() { _convert_row = nullptr; }
    /// Converts one row; does nothing while no function is chosen.
    void produce(const RowData* const* rows, RowData& dst);

    bool initialized() const { return _initialized != 0; }
    const FormatInfo& srcInfo() const { return _src_info; }
    const FormatInfo& dstInfo() const { return _dst_info; }

private:
    FormatInfo _src_info;
    FormatInfo _dst_info;
    int32_t _width;
    int32_t _initialized;
    ConvertRowFunction _convert_row;
};

}  // namespace zq

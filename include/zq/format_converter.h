// Pixel format conversion stage of the row pipeline.
#pragma once

#include "zq/row_window.h"

namespace zq {

class ImplFormatConverter;

/// Turns a stream of rows of one format into rows of another at the same
/// size. BGR24 is the hub: most pairs go to or from it, and any two luma/chroma
/// formats are joined by a generic row function. Equal formats pass rows
/// through unchanged. The source is not owned and must outlive the rows.
class ZQ_CV_API FormatConverter : public IRowProducer {
public:
    FormatConverter();
    ~FormatConverter() override;
    FormatConverter(const FormatConverter&) = delete;
    FormatConverter& operator=(const FormatConverter&) = delete;

    /// Throws ZQ_STATUS_INVALID_PARAMETER for an uninitialized frame,
    /// ZQ_STATUS_INVALID_FORMAT for `dst_format` 0 or a format without a
    /// description, ZQ_STATUS_UNSUPPORTED_FORMAT for a pair outside the table,
    /// ZQ_STATUS_OUT_OF_RANGE when the source has fewer rows than the
    /// conversion looks at (one row into a 4:2:0 format). After a failure a
    /// converter that worked before still reports initialized(), and produce()
    /// writes nothing until the next successful reuse().
    ///
    /// A luma/chroma source into RGB24, RGB24_PLANAR, BGR24_PLANAR, BGR32F or
    /// BGR32F_PLANAR has no conversion of its own; do not rely on what it does.
    /// A new converter refuses it (ZQ_STATUS_OUT_OF_RANGE). One that converted
    /// into a luma/chroma format before writes the generic luma/chroma rows laid
    /// out as that format into the destination's planes, and throws
    /// ZQ_STATUS_UNSUPPORTED_FORMAT, before any row is written, where that
    /// layout would reach past the destination's rows (for instance YUV24,
    /// YUYV or UYVY into a planar format).
    void reuse(const Frame& frame, FrameFormat dst_format);
    /// As above, fed by a producer.
    void reuse(IRowProducer& producer, FrameFormat dst_format);
    bool initialized() const;

    FrameLayout& layout() override;
    void produce(RowData& row_data) override;
    bool next() override;

private:
    void abandon(bool chosen);

    int32_t _initialized;
    const FrameLayout* _src_layout;
    FrameLayout _dst_layout;
    int32_t _row;
    RowWindow _window;
    const RowData* _window_rows[2];
    RowCopier _copier;
    ImplFormatConverter* _impl;
};

}  // namespace zq

// The source formats and their routines; first match counts.
#pragma once

#include "converter/img_converter.h"

struct ConvertMapRow {
    tagIMGCNV_EPixelFormat srcFormat;
    CImgConverterC::Routine routine;
};

inline constexpr int kConvertMapRows = 30;
extern const ConvertMapRow RGB_CONVERT_MAP[kConvertMapRows];

#pragma once

#include "imgcnv_frames.h"

#include <cstdint>
#include <string>

namespace live {

/// The GenICam description of a camera with the registers of Aravis' fake camera and every format
/// of the engine that has a PFNC code.
std::string camera_xml(const imgcnv_frame& frame);

/// PFNC gives out codes without bit 31; the others are this library's.
bool has_pfnc_code(std::uint32_t format);

}  // namespace live

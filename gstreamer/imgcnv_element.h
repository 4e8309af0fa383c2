#pragma once

#include <gst/base/gstbasetransform.h>

G_BEGIN_DECLS

#define IMGCNV_TYPE_ELEMENT (imgcnv_element_get_type())
G_DECLARE_FINAL_TYPE(ImgcnvElement, imgcnv_element, IMGCNV, ELEMENT, GstBaseTransform)

G_END_DECLS

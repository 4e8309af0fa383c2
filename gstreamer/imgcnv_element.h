#pragma once

#include <gst/base/gstbasetransform.h>

G_BEGIN_DECLS

#define GST_TYPE_IMGCNV (gst_imgcnv_get_type())
G_DECLARE_FINAL_TYPE(GstImgcnv, gst_imgcnv, GST, IMGCNV, GstBaseTransform)

G_END_DECLS

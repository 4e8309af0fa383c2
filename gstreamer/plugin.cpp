#include "imgcnv_element.h"

#include <gst/gst.h>

#define PACKAGE "imgcnv"

static gboolean register_element(GstPlugin* plugin) {
    // RANK_NONE: nothing plugs the element by itself; bayer2rgb keeps its place.
    return gst_element_register(plugin, "imgcnv", GST_RANK_NONE, GST_TYPE_IMGCNV);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, imgcnv, "Raw camera frames to pictures",
                  register_element, IMGCNV_VERSION, "MIT/X11", "imgcnv", "https://example.org")

#include "pipeline/pipeline.h"
#include "support/boundary.h"

#include <memory>

struct imgcnv_pipeline {
    frames::Pipeline pipeline;
};

namespace {

using namespace frames;

int open(const imgcnv_frame* given_frame, const imgcnv_target* given_target,
         imgcnv_pipeline** pipeline, Text& text) {
    if (pipeline == nullptr) {
        text << "pipeline is null";
        return IMGCNV_BAD_ARGUMENT;
    }
    *pipeline = nullptr;
    imgcnv_frame frame;
    imgcnv_target target;
    if (!take(given_frame, frame) || !take(given_target, target)) {
        text << "frame or target is null, or its struct_size is not set";
        return IMGCNV_BAD_ARGUMENT;
    }
    Geometry geometry;
    Wish wish;
    if (const auto status = measure(frame, geometry, text); status != IMGCNV_OK) return status;
    if (const auto status = make_wish(geometry, target, wish, text); status != IMGCNV_OK)
        return status;
    std::unique_ptr<imgcnv_pipeline> opened(
        new imgcnv_pipeline{Pipeline(geometry, std::move(wish))});
    if (const auto status = opened->pipeline.open(text); status != IMGCNV_OK) return status;
    *pipeline = opened.release();
    return IMGCNV_OK;
}

}  // namespace

int imgcnv_pipeline_open(const imgcnv_frame* frame, const imgcnv_target* target,
                         imgcnv_pipeline** pipeline, char* text, size_t text_bytes) {
    Text why(text, text_bytes);
    return guarded(why, [&] { return open(frame, target, pipeline, why); });
}

int imgcnv_pipeline_describe(const imgcnv_pipeline* pipeline, imgcnv_picture_info* info) {
    if (pipeline == nullptr) return IMGCNV_BAD_ARGUMENT;
    imgcnv_picture_info result{};
    pipeline->pipeline.describe(result);
    return give(result, info) ? IMGCNV_OK : IMGCNV_BAD_ARGUMENT;
}

int imgcnv_pipeline_run(imgcnv_pipeline* pipeline, const void* source, size_t source_bytes,
                        void* target, size_t target_bytes, char* text, size_t text_bytes) {
    Text why(text, text_bytes);
    if (pipeline == nullptr) {
        why << "pipeline is null";
        return IMGCNV_BAD_ARGUMENT;
    }
    return pipeline->pipeline.run(source, source_bytes, target, target_bytes, why);
}

void imgcnv_pipeline_close(imgcnv_pipeline* pipeline) { delete pipeline; }

int imgcnv_convert_frame(const imgcnv_frame* frame, const imgcnv_target* target, const void* source,
                         size_t source_bytes, void* picture, size_t picture_bytes, char* text,
                         size_t text_bytes) {
    imgcnv_pipeline* pipeline = nullptr;
    if (const int status = imgcnv_pipeline_open(frame, target, &pipeline, text, text_bytes);
        status != IMGCNV_OK)
        return status;
    const int status = imgcnv_pipeline_run(pipeline, source, source_bytes, picture, picture_bytes,
                                           text, text_bytes);
    imgcnv_pipeline_close(pipeline);
    return status;
}

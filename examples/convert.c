/* A raw frame of any format becomes a PPM picture: convert FRAME.raw FORMAT WIDTH HEIGHT OUT.ppm */
#include <imgcnv_frames.h>
#include <stdio.h>
#include <stdlib.h>

static int fail(const char* which, const char* what) {
    fprintf(stderr, "%s: %s\n", which, what);
    return 1;
}

/* The bytes of a file, or null. */
static unsigned char* read_file(const char* path, size_t* bytes) {
    FILE* file = fopen(path, "rb");
    if (file == NULL || fseek(file, 0, SEEK_END) != 0) return NULL;
    const long length = ftell(file);
    unsigned char* content = length < 0 ? NULL : malloc((size_t)length + 1);
    rewind(file);
    *bytes = content == NULL ? 0 : fread(content, 1, (size_t)length, file);
    fclose(file);
    return content;
}

int main(int argc, char** argv) {
    if (argc != 6) return fail("arguments", "expected FRAME.raw FORMAT WIDTH HEIGHT OUT.ppm");
    char why[IMGCNV_TEXT_BYTES];

    /* Describe the frame. Its format may go by any of its names. */
    imgcnv_frame frame = {
        .struct_size = sizeof frame, .width = atoi(argv[3]), .height = atoi(argv[4])};
    if (imgcnv_find_format(argv[2], &frame.format, &frame.flags, why, sizeof why) != IMGCNV_OK)
        return fail(argv[2], why);

    /* Say what is wanted. A pipeline converts any number of such frames. */
    imgcnv_target target = {
        .struct_size = sizeof target, .kind = IMGCNV_TARGET_RGB24, .demosaic = IMGCNV_BILINEAR};
    imgcnv_pipeline* pipeline;
    imgcnv_picture_info info = {.struct_size = sizeof info};
    if (imgcnv_pipeline_open(&frame, &target, &pipeline, why, sizeof why) != IMGCNV_OK)
        return fail(argv[1], why);
    imgcnv_pipeline_describe(pipeline, &info);

    size_t raw_bytes = 0;
    const size_t picture_bytes = (size_t)info.picture_bytes;
    unsigned char* raw = read_file(argv[1], &raw_bytes);
    unsigned char* picture = malloc(picture_bytes);
    if (raw == NULL) return fail(argv[1], "cannot be read");
    if (picture == NULL) return fail(argv[1], "no memory for such a picture");
    if (imgcnv_pipeline_run(pipeline, raw, raw_bytes, picture, picture_bytes, why, sizeof why) !=
        IMGCNV_OK)
        return fail(argv[1], why);
    imgcnv_pipeline_close(pipeline);
    free(raw);

    FILE* out = fopen(argv[5], "wb");
    if (out == NULL) return fail(argv[5], "cannot be written");
    fprintf(out, "P6\n%d %d\n255\n", (int)info.width, (int)info.height);
    const size_t written = fwrite(picture, 1, picture_bytes, out);
    free(picture);
    if (fclose(out) != 0 || written != picture_bytes) return fail(argv[5], "cannot be written");
    return 0;
}

/* A picture of a camera at /dev/videoN (UVC and others): v4l2_capture /dev/video0 OUT.ppm
   Frames stay where the driver put them; its fourcc, width, height and stride are all that the
   engine must know. */
#include <errno.h>
#include <fcntl.h>
#include <imgcnv_frames.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

static int fail(const char* what, const char* why) {
    fprintf(stderr, "%s: %s\n", what, why);
    return 1;
}

/* What the driver says of its frames, in the engine's terms. */
static int describe(const struct v4l2_pix_format* pixels, imgcnv_frame* frame, char* why) {
    char fourcc[5] = {0};
    for (int i = 0; i < 4; ++i) fourcc[i] = (char)(pixels->pixelformat >> (8 * i) & 0x7f);
    frame->width = pixels->width;
    frame->height = pixels->height;
    frame->stride = pixels->bytesperline;
    if (imgcnv_find_format(fourcc, &frame->format, &frame->flags, why, IMGCNV_TEXT_BYTES)) return 1;
    if (pixels->pixelformat >> 31) frame->flags |= IMGCNV_FRAME_BIG_ENDIAN; /* v4l2_fourcc_be */
    imgcnv_format_info info = {.struct_size = sizeof info};
    imgcnv_format_of_code(frame->format, &info);
    if (info.layout >= IMGCNV_LAYOUT_UYYVYY && info.layout <= IMGCNV_LAYOUT_UYV &&
        pixels->quantization != V4L2_QUANTIZATION_FULL_RANGE)
        frame->flags |= IMGCNV_FRAME_VIDEO_RANGE; /* what V4L2 means by default for YUV */
    return 0;
}

static int write_ppm(const char* path, const imgcnv_frame* frame, const void* raw, size_t bytes) {
    imgcnv_target target = IMGCNV_TARGET_INIT; /* RGB24, bilinear */
    char why[IMGCNV_TEXT_BYTES];
    const size_t picture_bytes = (size_t)frame->width * (size_t)frame->height * 3;
    void* picture = malloc(picture_bytes);
    if (imgcnv_convert_frame(frame, &target, raw, bytes, picture, picture_bytes, why, sizeof why))
        return fail("frame", why);
    FILE* out = fopen(path, "wb");
    if (!out) return fail(path, strerror(errno));
    fprintf(out, "P6\n%d %d\n255\n", (int)frame->width, (int)frame->height);
    fwrite(picture, 1, picture_bytes, out);
    free(picture);
    return fclose(out) == 0 ? 0 : fail(path, "cannot be written");
}

int main(int argc, char** argv) {
    if (argc != 3) return fail("arguments", "expected /dev/videoN OUT.ppm");
    const int camera = open(argv[1], O_RDWR);
    if (camera < 0) return fail(argv[1], strerror(errno));

    struct v4l2_format format = {.type = V4L2_BUF_TYPE_VIDEO_CAPTURE};
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    char why[IMGCNV_TEXT_BYTES];
    if (ioctl(camera, VIDIOC_G_FMT, &format)) return fail(argv[1], "no camera for capturing");
    if (describe(&format.fmt.pix, &frame, why)) return fail(argv[1], why);

    struct v4l2_requestbuffers wanted = {
        .count = 4, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
    if (ioctl(camera, VIDIOC_REQBUFS, &wanted)) return fail(argv[1], "no buffers to be mapped");
    void* buffers[32] = {0};
    for (unsigned i = 0; i < wanted.count && i < 32; ++i) {
        struct v4l2_buffer buffer = {
            .index = i, .type = V4L2_BUF_TYPE_VIDEO_CAPTURE, .memory = V4L2_MEMORY_MMAP};
        if (ioctl(camera, VIDIOC_QUERYBUF, &buffer)) return fail(argv[1], strerror(errno));
        buffers[i] = mmap(NULL, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, camera,
                          (off_t)buffer.m.offset);
        if (buffers[i] == MAP_FAILED) return fail(argv[1], strerror(errno));
        if (ioctl(camera, VIDIOC_QBUF, &buffer)) return fail(argv[1], strerror(errno));
    }

    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (ioctl(camera, VIDIOC_STREAMON, &type)) return fail(argv[1], strerror(errno));
    struct pollfd ready = {.fd = camera, .events = POLLIN};
    if (poll(&ready, 1, 5000) != 1) return fail(argv[1], "no frame within 5 seconds");
    struct v4l2_buffer filled = {.type = type, .memory = V4L2_MEMORY_MMAP};
    if (ioctl(camera, VIDIOC_DQBUF, &filled)) return fail(argv[1], strerror(errno));
    const int result = write_ppm(argv[2], &frame, buffers[filled.index], filled.bytesused);
    ioctl(camera, VIDIOC_STREAMOFF, &type);
    close(camera);
    return result;
}

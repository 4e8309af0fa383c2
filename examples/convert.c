/* A raw BayerRG12Packed frame becomes a PPM picture: convert FRAME.raw WIDTH HEIGHT OUT.ppm */
#include <imgcnv.h>
#include <stdio.h>
#include <stdlib.h>

static int fail(const char* what, const char* which) {
    fprintf(stderr, "%s: %s\n", which, what);
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 5) return fail("FRAME.raw WIDTH HEIGHT OUT.ppm", "arguments");
    const int width = atoi(argv[2]), height = atoi(argv[3]);
    const int frame_bytes = width / 2 * 3 * height; /* two pixels in three bytes */
    IMGCNV_SOpenParam frame = {width, height, 0, 0, frame_bytes, IMGCNV_PIXEL_BAYER_RG12_PACKED};
    int picture_bytes = width * 3 * (height + height % 2); /* an odd height has an extra row */

    unsigned char* raw = malloc((size_t)frame_bytes);
    unsigned char* picture = malloc((size_t)picture_bytes);
    if (raw == NULL || picture == NULL) return fail("no memory for such frames", argv[1]);
    FILE* in = fopen(argv[1], "rb");
    if (in == NULL || fread(raw, (size_t)frame_bytes, 1, in) != 1) {
        return fail("cannot be read, or is too short", argv[1]);
    }
    fclose(in);

    if (IMGCNV_ConvertToRGB24(raw, &frame, picture, &picture_bytes) != IMGCNV_SUCCESS) {
        return fail("cannot be converted", argv[1]);
    }

    FILE* out = fopen(argv[4], "wb");
    if (out == NULL) return fail("cannot be written", argv[4]);
    fprintf(out, "P6\n%d %d\n255\n", width, height);
    fwrite(picture, 3, (size_t)width * (size_t)height, out);
    if (fclose(out) != 0) return fail("cannot be written", argv[4]);
    free(picture);
    free(raw);
    return 0;
}

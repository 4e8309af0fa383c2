/* What a C program of somebody else does with the frame engine. */
#include <imgcnv.h>
#include <imgcnv_frames.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    imgcnv_frame frame = IMGCNV_FRAME_INIT;
    imgcnv_frame_sizes sizes = {sizeof sizes, 0, 0, 0, 0};
    char why[IMGCNV_TEXT_BYTES], version[32];
    int status;

    frame.format = IMGCNV_PIXEL_MONO12_PACKED;
    frame.width = 3;
    frame.height = 2;
    status = imgcnv_frame_measure(&frame, &sizes, why, sizeof why);
    sprintf(version, "%d.%d.%d", IMGCNV_VERSION_MAJOR, IMGCNV_VERSION_MINOR, IMGCNV_VERSION_PATCH);
    if (status != IMGCNV_OK || sizes.row_bytes != 5 || strcmp(imgcnv_frames_version(), version)) {
        fprintf(stderr, "status %d (%s), %ld bytes in a row, version %s\n", status, why,
                (long)sizes.row_bytes, imgcnv_frames_version());
        return 1;
    }
    return 0;
}

/* Ten pictures of a GigE Vision or USB3 Vision camera, of any pixel format: live_camera [ID|ADDRESS]
   Each is converted before its buffer goes back to the camera's stream. */
#include <arv.h>
#include <imgcnv_frames.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
    GError* error = NULL;
    ArvCamera* camera = arv_camera_new(argc > 1 ? argv[1] : NULL, &error);
    ArvStream* stream = camera ? arv_camera_create_stream(camera, NULL, NULL, &error) : NULL;
    if (!stream) return fprintf(stderr, "no camera: %s\n", error->message), 1;
    for (int i = 0; i < 5; ++i)
        arv_stream_push_buffer(stream,
                               arv_buffer_new_allocate(arv_camera_get_payload(camera, NULL)));
    arv_camera_start_acquisition(camera, NULL);

    int pictures = 0;
    for (int tries = 0; pictures < 10 && tries < 100; ++tries) {
        ArvBuffer* buffer = arv_stream_timeout_pop_buffer(stream, 1000000);
        if (!buffer) continue;
        if (arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS) {
            imgcnv_frame frame = IMGCNV_FRAME_INIT;
            imgcnv_target target = IMGCNV_TARGET_INIT; /* RGB24, bilinear */
            char why[IMGCNV_TEXT_BYTES];
            size_t bytes = 0;
            const void* raw = arv_buffer_get_image_data(buffer, &bytes);
            frame.format = arv_buffer_get_image_pixel_format(buffer); /* a PFNC code */
            frame.width = arv_buffer_get_image_width(buffer);
            frame.height = arv_buffer_get_image_height(buffer);
            const size_t picture_bytes = (size_t)frame.width * (size_t)frame.height * 3;
            unsigned char* picture = malloc(picture_bytes);
            if (imgcnv_convert_frame(&frame, &target, raw, bytes, picture, picture_bytes, why,
                                     sizeof why) != IMGCNV_OK)
                return fprintf(stderr, "%s\n", why), 1;
            const unsigned char* middle = picture + picture_bytes / 2 / 3 * 3;
            printf("%dx%d, pixel in the middle %d %d %d\n", (int)frame.width, (int)frame.height,
                   middle[0], middle[1], middle[2]);
            free(picture);
            ++pictures;
        }
        arv_stream_push_buffer(stream, buffer);
    }
    arv_camera_stop_acquisition(camera, NULL);
    g_object_unref(stream);
    g_object_unref(camera);
    return pictures == 10 ? 0 : 1;
}

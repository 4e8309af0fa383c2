/* Calls each exported function once, by pointers that the including program got
   in its own way: linked as C, linked as C++, or from dlsym. */
#ifndef EVERY_FUNCTION_H
#define EVERY_FUNCTION_H

#include <imgcnv.h>

#include <stdio.h>
#include <string.h>

typedef int (*convert_function)(unsigned char*, struct tagIMGCNV_SOpenParam*, unsigned char*, int*);
typedef int (*convert_ex_function)(unsigned char*, struct tagIMGCNV_SOpenParam*, unsigned char*,
                                   int*, enum tagIMGCNV_EBayerDemosaic);

struct every_function {
    int (*open)(struct tagIMGCNV_SOpenParam*, enum tagIMGCNV_EPixelFormat, IMGCNV_HANDLE*, int*,
                enum tagIMGCNV_EBayerDemosaic);
    int (*convert)(IMGCNV_HANDLE, unsigned char*, unsigned char*);
    int (*close)(IMGCNV_HANDLE);
    convert_function to[3];       /* Mono8, RGB24, BGR24 */
    convert_ex_function to_ex[5]; /* the same, RGBA32, BGRA32 */
    convert_function turns[5];    /* horizontal, vertical, 90, 180, 270 */
};

#define CHECK(condition)                                            \
    do {                                                            \
        if (!(condition)) {                                         \
            fprintf(stderr, "line %d: %s\n", __LINE__, #condition); \
            return 1;                                               \
        }                                                           \
    } while (0)

static int call_every_function(const struct every_function* f) {
    /* A red, a green, a blue and a white pixel, as two rows of RGB8. */
    unsigned char rgb[12] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};
    static const unsigned char pictures[5][16] = {
        {76, 149, 29, 255},
        {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255},
        {0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255},
        {255, 0, 0, 0, 0, 255, 0, 0, 0, 0, 255, 0, 255, 255, 255, 0},
        {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0}};
    static const int sizes[5] = {4, 12, 12, 16, 16};
    static const unsigned char turned[5][4] = {
        {2, 1, 4, 3}, {3, 4, 1, 2}, {3, 1, 4, 2}, {4, 3, 2, 1}, {2, 4, 1, 3}};
    struct tagIMGCNV_SOpenParam record = {2, 2, 0, 0, 12, IMGCNV_PIXEL_RGB8_PACKED};
    struct tagIMGCNV_SOpenParam grey = {2, 2, 0, 0, 4, IMGCNV_PIXEL_MONO8};
    unsigned char pixels[4] = {1, 2, 3, 4};
    unsigned char out[16];
    IMGCNV_HANDLE handle = NULL;
    int size = 0, i;

    CHECK(f->open(&record, IMGCNV_PIXEL_BGR8_PACKED, &handle, &size, IMGCNV_DEMOSAIC_NEAREST) ==
          IMGCNV_SUCCESS);
    CHECK(size == 12);
    CHECK(f->convert(handle, rgb, out) == IMGCNV_SUCCESS);
    CHECK(memcmp(out, pictures[2], 12) == 0);
    CHECK(f->close(handle) == IMGCNV_SUCCESS);
    for (i = 0; i < 8; ++i) {
        const int to = i < 3 ? i : i - 3;
        memset(out, 9, sizeof out);
        CHECK((i < 3 ? f->to[to](rgb, &record, out, &size)
                     : f->to_ex[to](rgb, &record, out, &size, IMGCNV_DEMOSAIC_ADAPTIVE)) ==
              IMGCNV_SUCCESS);
        CHECK(size == sizes[to]);
        CHECK(memcmp(out, pictures[to], (size_t)size) == 0);
    }
    for (i = 0; i < 5; ++i) {
        CHECK(f->turns[i](pixels, &grey, out, &size) == IMGCNV_SUCCESS);
        CHECK(size == 4 && memcmp(out, turned[i], 4) == 0);
    }
    return 0;
}

#endif

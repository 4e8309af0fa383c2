/* What a C program of somebody else does: include, link, convert. Also what is easily broken for
   it: the one function with a C++ symbol. */
#include <imgcnv.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    unsigned char source[] = {0xAB, 0xC4, 0xDE};
    const unsigned char expected[] = {0xAB, 0xAB, 0xAB, 0, 0xDE, 0xDE, 0xDE, 0};
    unsigned char picture[sizeof expected] = {0};
    IMGCNV_SOpenParam record = {2, 1, 0, 0, sizeof source, IMGCNV_PIXEL_MONO12_PACKED};
    int size = 0;
    int status =
        IMGCNV_ConvertToRGBA32_Ex(source, &record, picture, &size, IMGCNV_DEMOSAIC_BILINEAR);

    if (status != IMGCNV_SUCCESS || size != (int)sizeof expected ||
        memcmp(picture, expected, sizeof expected) != 0) {
        fprintf(stderr, "status %d, %d bytes, first %02X %02X\n", status, size, picture[0],
                picture[4]);
        return 1;
    }
    printf("imgcnv %d.%d.%d converts\n", IMGCNV_VERSION_MAJOR, IMGCNV_VERSION_MINOR,
           IMGCNV_VERSION_PATCH);
    return 0;
}

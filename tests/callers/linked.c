/* Built as C99 and, by linked.cpp, as C++: the header serves both. */
#include "every_function.h"

int main(void) {
    const struct every_function functions = {
        IMGCNV_open,
        IMGCNV_convert,
        IMGCNV_close,
        {IMGCNV_ConvertToMono8, IMGCNV_ConvertToRGB24, IMGCNV_ConvertToBGR24},
        {IMGCNV_ConvertToMono8_Ex, IMGCNV_ConvertToRGB24_Ex, IMGCNV_ConvertToBGR24_Ex,
         IMGCNV_ConvertToRGBA32_Ex, IMGCNV_ConvertToBGRA32_Ex},
        {IMGCNV_FlipToHorizontal, IMGCNV_FlipToVertical, IMGCNV_RotationToAngle90,
         IMGCNV_RotationToAngle180, IMGCNV_RotationToAngle270}};
    return call_every_function(&functions);
}

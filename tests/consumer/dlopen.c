/* A program that knows the library by its file name and its symbols only.
   Usage: dlopen LIBRARY */
#include <dlfcn.h>
#include <imgcnv.h>
#include <stdio.h>

typedef int (*convert_ex)(unsigned char*, IMGCNV_SOpenParam*, unsigned char*, int*,
                          IMGCNV_EBayerDemosaic);

static int grey_of(void* library, const char* symbol) {
    unsigned char source[] = {0xAB, 0x12};
    unsigned char picture[4] = {0};
    IMGCNV_SOpenParam record = {1, 1, 0, 0, sizeof source, IMGCNV_PIXEL_MONO16};
    int size = 1;
    convert_ex convert;

    *(void**)&convert = dlsym(library, symbol);
    if (convert == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return -1;
    }
    if (convert(source, &record, picture, &size, IMGCNV_DEMOSAIC_BILINEAR) != IMGCNV_SUCCESS) {
        return -1;
    }
    return picture[0];
}

int main(int argc, char** argv) {
    void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (library == NULL) {
        fprintf(stderr, "%s\n", argc == 2 ? dlerror() : "usage: dlopen LIBRARY");
        return 1;
    }
    if (grey_of(library, "IMGCNV_ConvertToMono8_Ex") != 0x12 ||
        grey_of(library, "_Z25IMGCNV_ConvertToRGBA32_ExPhP20tagIMGCNV_SOpenParamS_"
                         "Pi24tagIMGCNV_EBayerDemosaic") != 0x12) {
        return 1;
    }
    return dlclose(library);
}

/* Finds every function by its symbol. Usage: looked_up LIBRARY */
#include <dlfcn.h>
#include <stdlib.h>

#include "every_function.h"

static void* library;

static void look_up(void* function, const char* symbol) {
    void* const address = dlsym(library, symbol);
    if (address == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        exit(1);
    }
    memcpy(function, &address, sizeof address);
}

int main(int argc, char** argv) {
    struct every_function f;
    library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (library == NULL) {
        fprintf(stderr, "%s\n", argc == 2 ? dlerror() : "usage: looked_up LIBRARY");
        return 1;
    }
    look_up(&f.open, "IMGCNV_open");
    look_up(&f.convert, "IMGCNV_convert");
    look_up(&f.close, "IMGCNV_close");
    look_up(&f.to[0], "IMGCNV_ConvertToMono8");
    look_up(&f.to[1], "IMGCNV_ConvertToRGB24");
    look_up(&f.to[2], "IMGCNV_ConvertToBGR24");
    look_up(&f.to_ex[0], "IMGCNV_ConvertToMono8_Ex");
    look_up(&f.to_ex[1], "IMGCNV_ConvertToRGB24_Ex");
    look_up(&f.to_ex[2], "IMGCNV_ConvertToBGR24_Ex");
    look_up(&f.to_ex[3],
            "_Z25IMGCNV_ConvertToRGBA32_ExPhP20tagIMGCNV_SOpenParamS_Pi24tagIMGCNV_EBayerDemosaic");
    look_up(&f.to_ex[4], "IMGCNV_ConvertToBGRA32_Ex");
    look_up(&f.turns[0], "IMGCNV_FlipToHorizontal");
    look_up(&f.turns[1], "IMGCNV_FlipToVertical");
    look_up(&f.turns[2], "IMGCNV_RotationToAngle90");
    look_up(&f.turns[3], "IMGCNV_RotationToAngle180");
    look_up(&f.turns[4], "IMGCNV_RotationToAngle270");
    return call_every_function(&f) || dlclose(library);
}

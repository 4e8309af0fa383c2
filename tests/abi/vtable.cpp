// C++ programs that hold a converter destroy it through its table of virtual functions: slot 0 is
// the destructor, slot 1 the deleting one, and there is no other. The handle of the C functions is
// such an object.
#include <dlfcn.h>
#include <link.h>

#include <cstdio>

#include "converter/img_converter.h"

namespace {

int failures = 0;

void expect(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "not so: %s\n", what);
    ++failures;
}

}  // namespace

int main() {
    tagIMGCNV_SOpenParam record{1, 1, 0, 0, 1, IMGCNV_PIXEL_MONO8};
    IMGCNV_HANDLE handle = nullptr;
    int size = 0;
    expect(IMGCNV_open(&record, IMGCNV_PIXEL_MONO8, &handle, &size, IMGCNV_DEMOSAIC_NEAREST) == 0,
           "IMGCNV_open succeeds");
    if (handle == nullptr) return 1;

    void* const* const slots = *static_cast<void***>(handle);
    const auto symbol = [](const char* name) { return dlsym(RTLD_DEFAULT, name); };
    expect(slots[0] == symbol("_ZN14CImgConverterCD1Ev"), "slot 0 is the destructor");
    expect(slots[1] == symbol("_ZN14CImgConverterCD0Ev"), "slot 1 is the deleting destructor");
    // Before the slots stand two words: the offset to the top and the type.
    const auto* const table = static_cast<void* const*>(symbol("_ZTV14CImgConverterC"));
    expect(table != nullptr && slots == table + 2, "the object uses the exported table");
    Dl_info found;
    const Elf64_Sym* entry = nullptr;
    expect(dladdr1(table, &found, (void**)&entry, RTLD_DL_SYMENT) != 0 && entry != nullptr &&
               entry->st_size == 4 * sizeof(void*),
           "the table has two slots");

    delete static_cast<CImgConverterC*>(handle);
    return failures == 0 ? 0 : 1;
}

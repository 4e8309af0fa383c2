// Runs a fuzzer over stored inputs: each argument is a file or a folder of files. For compilers
// without a fuzzing engine, for debuggers and for emulated CPUs.

// The C library's files and folders only: the memory sanitizer does not know what the C++ library's
// compiled parts do.
#include <dirent.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

void add_inputs(const std::string& path, std::vector<std::string>& inputs) {
    DIR* const folder = opendir(path.c_str());
    if (folder == nullptr) {
        inputs.push_back(path);
        return;
    }
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] != '.') inputs.push_back(path + "/" + entry->d_name);
    }
    closedir(folder);
}

bool read_file(const std::string& path, std::vector<uint8_t>& bytes) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    bytes.assign(1 << 20, 0);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
    const bool fine = std::ferror(file) == 0;
    std::fclose(file);
    return fine;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> inputs;
    for (int i = 1; i < argc; ++i) add_inputs(argv[i], inputs);
    std::sort(inputs.begin(), inputs.end());
    for (const std::string& path : inputs) {
        std::vector<uint8_t> bytes;
        if (!read_file(path, bytes)) {
            std::fprintf(stderr, "cannot read %s\n", path.c_str());
            return 2;
        }
        std::fprintf(stderr, "%s\n", path.c_str());  // the last one named is the one that failed
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu inputs replayed\n", inputs.size());
    return inputs.empty() ? 2 : 0;
}

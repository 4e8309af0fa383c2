#pragma once

#include <string>
#include <vector>

namespace tool {

struct Input {
    std::string path;           ///< "-" is standard input
    std::string relative_path;  ///< from the folder that was given; its name if given alone
    bool from_folder = false;
};

/// The files that were given and, in the order of their names, those of the folders that were, with
/// their folders below. Hidden files and those whose ending is that of a picture, a text or an
/// archive are left out of folders. Throws Failure for folders that cannot be read.
std::vector<Input> list_inputs(const std::vector<std::string>& given);

}  // namespace tool

#include "engine/guess.h"

#include "errors.h"

namespace tool {
namespace {

/// No exception may pass through the engine.
std::int64_t read_file(void* context, std::int64_t offset, void* buffer, std::int64_t bytes) {
    try {
        return static_cast<std::int64_t>(static_cast<const InputFile*>(context)->read_at(
            offset, {static_cast<std::uint8_t*>(buffer), static_cast<std::size_t>(bytes)}));
    } catch (...) {
        return -1;
    }
}

}  // namespace

Guess guess_file(const InputFile& file, const imgcnv_frame& known, const std::string& name,
                 std::size_t most) {
    if (*file.size() == 0) throw Failure(file.name() + ": the file is empty");
    if (known.skip >= *file.size())
        throw Failure(file.name() + ": nothing is left after the first " +
                      std::to_string(known.skip) + " of its " + std::to_string(*file.size()) +
                      " bytes");
    imgcnv_guess_question question{};
    question.struct_size = sizeof question;
    question.bytes = *file.size();
    question.read = read_file;
    question.context = const_cast<InputFile*>(&file);
    question.known = known;
    question.name = name.c_str();
    Guess guess;
    guess.readings.resize(most);
    for (auto& reading : guess.readings) reading.struct_size = sizeof reading;
    char text[IMGCNV_TEXT_BYTES];
    int count = 0;
    const int status = imgcnv_guess(&question, guess.readings.data(), static_cast<int>(most),
                                    &count, text, sizeof text);
    if (status != IMGCNV_OK && status != IMGCNV_OUT_OF_MEMORY)
        throw Failure(file.name() + ": " + text);
    check(status, text);
    guess.readings.resize(static_cast<std::size_t>(count));
    guess.text = text;
    if (guess.readings.empty())
        throw Failure(file.name() + ": nothing explains its bytes\n  " + guess.text);
    return guess;
}

}  // namespace tool

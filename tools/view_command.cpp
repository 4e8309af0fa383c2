#include "cli/common_options.h"
#include "cli/messages.h"
#include "commands.h"
#include "engine/guess.h"
#include "errors.h"
#include "io/output_file.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

extern char** environ;

namespace tool {
namespace {

namespace fs = std::filesystem;

struct ViewOptions {
    std::string file, page;
};

/// Text as it may stand in an address.
std::string escaped(const std::string& text) {
    constexpr auto kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    constexpr auto kDigits = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::string_view(kPlain).find(c) != std::string_view::npos)
            result += c;
        else
            result.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
    return result;
}

/// The page beside the command, wherever the installed tree was moved.
fs::path installed_page() {
    return fs::read_symlink("/proc/self/exe").parent_path().parent_path() /
           "share/imgcnv/viewer.html";
}

/// The settings that the page takes from its address. A file that is not raw has none.
std::string settings_of(const std::string& name) {
    const auto file = seekable(name);
    imgcnv_frame known = IMGCNV_FRAME_INIT;
    known.skip = known.gap = -1;
    auto text = "file=" + escaped(fs::path(name).filename().string());
    try {
        const auto frame = measured(guess_file(*file, known, name, 1).readings.at(0).frame);
        const auto& given = frame.given;
        const auto add = [&text](const char* setting, std::int64_t value) {
            if (value > 0) text += std::string("&") + setting + "=" + std::to_string(value);
        };
        text += std::string("&format=") + frame.format.name;
        add("width", given.width);
        add("height", given.height);
        add("stride", given.stride);
        add("skip", given.skip);
        add("gap", given.gap);
        add("bigEndian", (given.flags & IMGCNV_FRAME_BIG_ENDIAN) != 0);
        add("videoRange", (given.flags & IMGCNV_FRAME_VIDEO_RANGE) != 0);
    } catch (const Failure& failure) {
        say_note(failure.what());
    }
    return text;
}

/// A page that leads to the address: what opens files for people drops the settings behind a name.
fs::path write_redirection(const std::string& address) {
    const auto variable = [](const char* name) {
        const char* value = std::getenv(name);
        return fs::path(value != nullptr ? value : "");
    };
    const auto cache = variable("XDG_CACHE_HOME"), home = variable("HOME");
    if (cache.empty() && home.empty()) throw Failure("neither XDG_CACHE_HOME nor HOME is set");
    const auto folder = (!cache.empty() ? cache : home / ".cache") / "imgcnv";
    fs::create_directories(folder);
    std::string link;
    for (const char c : address) link += c == '&' ? "&amp;" : std::string(1, c);
    const auto html =
        "<!doctype html><meta charset=\"utf-8\"><title>imgcnv</title>"
        "<meta http-equiv=\"refresh\" content=\"0;url=" +
        link + "\"><a href=\"" + link + "\">To the viewer</a>\n";
    OutputFile file((folder / "view.html").string());
    file.write({reinterpret_cast<const std::uint8_t*>(html.data()), html.size()});
    file.commit();
    return folder / "view.html";
}

bool open_for_people(const std::string& path) {
    std::string opener = "xdg-open", argument = path;
    char* const words[] = {opener.data(), argument.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    return posix_spawnp(&child, words[0], nullptr, nullptr, words, environ) == 0 &&
           waitpid(child, &status, 0) == child && status == 0;
}

void view(const ViewOptions& options) {
    if (options.file == "-")
        throw Failure(
            "view expects a file, given standard input: the page asks for the file\n"
            "  what to do: write it to a file first");
    const auto page = options.page.empty() ? installed_page() : fs::absolute(options.page);
    if (!fs::exists(page))
        throw Failure(shown(page.string()) +
                      " is not there\n  what to do: install imgcnv-web, or "
                      "say with --page where viewer.html is");
    const auto address = "file://" + escaped(page.string()) + "#" + settings_of(options.file);
    if (!open_for_people(write_redirection(address).string()))
        throw Failure("no browser could be opened by xdg-open\n  what to do: open this address\n" +
                      address);
    say_note("choose or drop " + shown(options.file) +
             " there: pages may not read files by themselves");
}

}  // namespace

void add_view(CLI::App& app) {
    auto* command =
        app.add_subcommand("view", "Open the viewer in a browser, with the file's guess");
    auto options = std::make_shared<ViewOptions>();
    command->add_option("FILE", options->file, "File of raw frames")->required();
    not_an_option(
        command
            ->add_option("--page", options->page, "The viewer. Default: the installed viewer.html")
            ->type_name("HTML"));
    add_quiet(*command);
    command->callback([options] { view(*options); });
}

}  // namespace tool

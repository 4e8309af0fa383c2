#include "cli/messages.h"
#include "commands.h"
#include "errors.h"
#include "imgcnv.h"
#include "io/output_file.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>
#include <string>

namespace {

std::string version() {
    return "imgcnv " + std::to_string(IMGCNV_VERSION_MAJOR) + "." +
           std::to_string(IMGCNV_VERSION_MINOR) + "." + std::to_string(IMGCNV_VERSION_PATCH);
}

/// What the parser says about an option that is given more than once, as the other messages say it.
std::string in_our_words(std::string text) {
    constexpr std::string_view kTooMany = ": At Most 1 required but received ";
    const auto at = text.find(kTooMany);
    if (at == std::string::npos) return text;
    return text.replace(at, kTooMany.size(), ": expected once, given ") + " times";
}

int run(int argc, char** argv) {
    CLI::App app("Raw machine-vision frames to pictures.", "imgcnv");
    app.set_version_flag("--version", version());
    app.require_subcommand(0, 1);  // an unknown word is named; none at all gets the help
    app.get_formatter()->column_width(34);
    tool::add_convert(app);
    tool::add_pack(app);
    tool::add_formats(app);
    tool::add_info(app);
    tool::add_guess(app);
    tool::add_sheet(app);
    tool::add_preview(app);
    tool::add_bench(app);
    tool::add_view(app);
    tool::add_completions(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        tool::say_error(in_our_words(error.what()));
        tool::say_note("--help lists what there is");
        return tool::kExitUsage;
    }
    if (app.get_subcommands().empty()) {
        std::fputs(app.help().c_str(), stderr);
        return tool::kExitUsage;
    }
    return tool::kExitFine;
}

}  // namespace

int main(int argc, char** argv) {
    int code = tool::kExitFine;
    try {
        tool::remove_hidden_files_on_signals();
        code = run(argc, argv);
    } catch (const tool::ExitRequest& request) {
        code = request.code;
    } catch (const tool::UsageError& error) {
        tool::say_error(error.what());
        return tool::kExitUsage;
    } catch (const std::bad_alloc&) {
        tool::say_error("not enough memory");
        return tool::kExitFailed;
    } catch (const std::exception& error) {
        tool::say_error(error.what());
        return tool::kExitFailed;
    }
    // Text that a full disk or a closed pipe has swallowed is a failure, too.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        tool::say_error("cannot write standard output");
        return tool::kExitFailed;
    }
    return code;
}

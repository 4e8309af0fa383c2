#include "cli/common_options.h"
#include "commands.h"
#include "engine/frame.h"

#include <algorithm>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// The shells' completions are written from the very options the command parses, so that they cannot
// fall behind.
namespace tool {
namespace {

using Options = std::vector<const CLI::Option*>;
using Commands = std::vector<const CLI::App*>;

Commands commands_of(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

Options options_of(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

bool takes_value(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

/// The words that may follow the option, as its help shows them: `a|b|c`. Empty: a file or a
/// number.
std::vector<std::string> values_of(const CLI::Option& option) {
    std::string type = option.get_type_name();
    std::vector<std::string> values;
    if (type == "FORMAT")
        for (const auto& format : all_formats()) values.emplace_back(format.name);
    const bool is_list =
        type.find('|') != std::string::npos &&
        std::none_of(type.begin(), type.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    if (!is_list) return values;
    std::replace(type.begin(), type.end(), '|', ' ');
    return words(type);
}

bool takes_file(const CLI::Option& option) {
    const auto type = option.get_type_name();
    return takes_value(option) && (type == "OUT" || type == "FILE");
}

std::string joined(const std::vector<std::string>& list, const std::string& before = "") {
    std::string text;
    for (const auto& word : list) text += (text.empty() ? "" : " ") + before + word;
    return text;
}

std::vector<std::string> spellings(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const auto& name : option.get_snames()) names.push_back("-" + name);
    for (const auto& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

/// Up to the first full stop, without what shells would read as their own.
std::string summary(const std::string& description) {
    std::string text = description.substr(0, description.find(". "));
    std::erase_if(text, [](char c) { return c == '`' || c == '\'' || c == '[' || c == ']'; });
    std::replace(text.begin(), text.end(), ':', ',');
    return text;
}

void print_bash(const CLI::App& app) {
    std::printf(
        "# bash completion for imgcnv\n_imgcnv() {\n"
        "    local cur prev words cword split\n"
        "    _init_completion -s || return\n"
        "    _imgcnv_words() {  # any case, as the command takes them\n"
        "        local IFS=$'\\n' restore=$(shopt -p nocasematch)\n"
        "        local list=(${1// /$'\\n'}) word\n"
        "        shopt -s nocasematch\n"
        "        for word in \"${list[@]}\"; do\n"
        "            [[ $word == \"$cur\"* ]] && COMPREPLY+=(\"$word\")\n"
        "        done\n"
        "        eval \"$restore\"\n"
        "    }\n"
        "    local command=${words[1]} options=\"\"\n"
        "    if [ \"$cword\" = 1 ]; then\n"
        "        COMPREPLY=($(compgen -W \"");
    for (const auto* command : commands_of(app)) std::printf("%s ", command->get_name().c_str());
    for (const auto* option : options_of(app))
        std::printf("%s ", joined(spellings(*option)).c_str());
    std::printf("\" -- \"$cur\"))\n        return\n    fi\n    case $command in\n");
    for (const auto* command : commands_of(app)) {
        std::printf("    %s)\n        case $prev in\n", command->get_name().c_str());
        std::string all;
        for (const auto* option : options_of(*command)) {
            const auto names = spellings(*option);
            all += (all.empty() ? "" : " ") + joined(names);
            if (!takes_value(*option)) continue;
            std::string pattern = names[0];
            for (std::size_t i = 1; i < names.size(); ++i) pattern += "|" + names[i];
            const auto values = values_of(*option);
            if (!values.empty())
                std::printf("        %s) _imgcnv_words \"%s\"; return ;;\n", pattern.c_str(),
                            joined(values).c_str());
            else
                std::printf("        %s) %sreturn ;;\n", pattern.c_str(),
                            takes_file(*option) ? "_filedir; " : "");
        }
        std::printf("        esac\n        options=\"%s\"\n        ;;\n", all.c_str());
    }
    std::printf(
        "    esac\n    if [[ $cur == -* ]]; then\n"
        "        COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n    else\n"
        "        _filedir\n    fi\n}\ncomplete -F _imgcnv imgcnv\n");
}

void print_zsh(const CLI::App& app) {
    std::printf(
        "#compdef imgcnv\n"
        "_imgcnv_words() {  # any case, as the command takes them\n"
        "    compadd -M 'm:{a-zA-Z}={A-Za-z}' -- \"$@\"\n}\n"
        "_imgcnv() {\n    local state\n    local -a commands\n"
        "    _arguments -C '1: :->command' '*:: :->arguments'\n    case $state in\n"
        "    command)\n        commands=(\n");
    for (const auto* command : commands_of(app))
        std::printf("            '%s:%s'\n", command->get_name().c_str(),
                    summary(command->get_description()).c_str());
    std::printf("        )\n        _describe command commands\n");
    for (const auto* option : options_of(app))
        std::printf("        compadd -- %s\n", joined(spellings(*option)).c_str());
    std::printf("        ;;\n    arguments)\n        case $words[1] in\n");
    for (const auto* command : commands_of(app)) {
        std::printf("        %s)\n            _arguments", command->get_name().c_str());
        for (const auto* option : options_of(*command)) {
            const auto names = spellings(*option);
            std::string action;
            if (takes_value(*option)) {
                const auto values = values_of(*option);
                action = ":value:" + (!values.empty()       ? " _imgcnv_words " + joined(values)
                                      : takes_file(*option) ? std::string("_files")
                                                            : std::string());
            }
            // --option VALUE and --option=VALUE, -o VALUE and -oVALUE.
            for (const auto& name : names) {
                const char* joint = action.empty() ? "" : name[1] == '-' ? "=" : "+";
                std::printf(" \\\n                '(%s)%s%s[%s]%s'", joined(names).c_str(),
                            name.c_str(), joint, summary(option->get_description()).c_str(),
                            action.c_str());
            }
        }
        std::printf(" \\\n                '*:file:_files'\n            ;;\n");
    }
    std::printf("        esac\n        ;;\n    esac\n}\n_imgcnv \"$@\"\n");
}

void print_fish(const CLI::App& app) {
    std::printf("# fish completion for imgcnv\n");
    const auto print_option = [](const CLI::Option& option, const std::string& condition) {
        std::printf("complete -c imgcnv -n '%s'", condition.c_str());
        for (const auto& name : option.get_snames()) std::printf(" -s %s", name.c_str());
        for (const auto& name : option.get_lnames()) std::printf(" -l %s", name.c_str());
        if (takes_file(option))
            std::printf(" -r -F");
        else if (takes_value(option))
            std::printf(" -x");
        const auto values = values_of(option);
        if (!values.empty()) std::printf(" -a '%s'", joined(values).c_str());
        std::printf(" -d '%s'\n", summary(option.get_description()).c_str());
    };
    for (const auto* option : options_of(app)) print_option(*option, "__fish_use_subcommand");
    for (const auto* command : commands_of(app)) {
        std::printf("complete -c imgcnv -f -n __fish_use_subcommand -a %s -d '%s'\n",
                    command->get_name().c_str(), summary(command->get_description()).c_str());
        for (const auto* option : options_of(*command))
            print_option(*option, "__fish_seen_subcommand_from " + command->get_name());
    }
}

}  // namespace

void add_completions(CLI::App& app) {
    auto* command = app.add_subcommand("completions", "Write the completions of a shell");
    auto shell = std::make_shared<std::string>();
    one_of(command->add_option("SHELL", *shell, "bash, zsh or fish")->required(),
           {"bash", "zsh", "fish"});
    command->callback([shell, &app] {
        (*shell == "bash" ? print_bash : *shell == "zsh" ? print_zsh : print_fish)(app);
    });
}

}  // namespace tool

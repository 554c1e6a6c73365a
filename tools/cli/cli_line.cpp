#include "cli_line.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

namespace cli_line {

namespace {

std::string wrapped(const std::string& text)
{
    constexpr std::size_t line_length = 72;
    std::string out;
    std::size_t length = 0, at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        if (length != 0 && length + 1 + end - at > line_length) {
            out += "\n";
            length = 0;
        }
        out += (length == 0 ? "" : " ") + text.substr(at, end - at);
        length += (length == 0 ? 0 : 1) + end - at;
        at = end + 1;
    }
    return out;
}

// "acctl ap list": the command as far as the line has named it.
std::string words_of(const CLI::App* app)
{
    std::string words = app->get_name();
    for (const CLI::App* sub : app->get_subcommands())
        words += " " + words_of(sub);
    return words;
}

// What stands in the place of a command, or the commands that there are.
std::string no_command(const CLI::App* program)
{
    const CLI::App* at = program;
    for (auto subs = at->get_subcommands(); !subs.empty(); subs = at->get_subcommands())
        at = subs.back();
    std::string names;
    for (const CLI::App* sub : at->get_subcommands([](const CLI::App*) { return true; }))
        names += (names.empty() ? "" : ", ") + sub->get_name();
    for (const std::string& word : program->remaining(true)) {
        if (word.rfind('-', 0) == 0) return fmt::format("there is no option {}", word);
        return fmt::format("there is no command \"{}\"; there are {}", word, names);
    }
    return "say a command: " + names;
}

} // namespace

std::string Help::make_option_name(const CLI::Option* option, bool positional) const
{
    std::string name = CLI::Formatter::make_option_name(option, positional);
    const std::size_t at = name.find("{false}"); // of a flag's opposite
    if (at != std::string::npos) name.erase(at);
    return name;
}

std::string Help::make_option_opts(const CLI::Option* option) const
{
    const std::string type = option->get_type_name();
    std::string text = type.empty() ? "" : " " + type.substr(0, type.find(':')); // behind it stands the check
    if (!option->get_default_str().empty()) text += " (" + option->get_default_str() + ")";
    return text;
}

std::string Help::make_option_desc(const CLI::Option* option) const
{
    return wrapped(CLI::Formatter::make_option_desc(option));
}

// One empty line between two groups of options, not two.
std::string Help::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const
{
    std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
    for (std::size_t at = text.find("\n\n\n"); at != std::string::npos; at = text.find("\n\n\n", at))
        text.erase(at, 1);
    return text;
}

std::string Help::make_subcommand(const CLI::App* command) const
{
    std::stringstream out;
    CLI::detail::format_help(out, command->get_display_name(true), wrapped(command->get_description()), column_width_);
    return out.str();
}

std::string complaint(const CLI::App* program, const CLI::Error& error)
{
    const bool commandless = std::string_view(error.what()) == "A subcommand is required";
    return fmt::format("{}: {}\n`{} --help` tells more.\n", program->get_name(),
                       commandless ? no_command(program) : error.what(), words_of(program));
}

} // namespace cli_line

// cli_line - what the command lines of the tools have in common: a help that people can read, numbers within bounds,
// and complaints that say what to do next.
//
// No state of its own; any thread.
#pragma once

#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace cli_line {

// A word for an option's value and its default in brackets, the texts broken into lines that a screen can hold. To be
// given to the program before its commands are made: they take it over.
class Help : public CLI::Formatter {
public:
    Help() { column_width(26); }
    std::string make_option_name(const CLI::Option* option, bool positional) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_subcommand(const CLI::App* command) const override;
};

// For CLI::Option::check(): a number of that type from `least` to `most`; what is no number at all, "nan" included, is
// none.
template <typename T> CLI::Validator number_between(T least, T most)
{
    const auto check = [least, most](std::string& text) {
        T value{};
        if (CLI::detail::lexical_cast(text, value) && value >= least && value <= most) return std::string();
        return fmt::format("\"{}\" is no number from {} to {}", text, least, most);
    };
    return {check, ""};
}

// For CLI::App::failure_message(): what is wrong with the line, with the name of the program before it, and behind it
// which help tells more.
std::string complaint(const CLI::App* program, const CLI::Error& error);

} // namespace cli_line

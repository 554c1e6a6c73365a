#include "platform/host/host_command.h"

#include <glob.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "platform/ac_platform.h"
#include "platform/host/host_env.h"

namespace {

constexpr int WIDTH_MAX = 64; // of a conversion

constexpr auto HOST_PROGRAMS = std::to_array<std::string_view>({"et", "arp", "killall", "iptables"});

bool is_host_program(std::string_view program)
{
    const std::size_t slash = program.rfind('/');
    if (slash != std::string_view::npos) program.remove_prefix(slash + 1);
    return std::find(HOST_PROGRAMS.begin(), HOST_PROGRAMS.end(), program) != HOST_PROGRAMS.end();
}

bool is_one_of(char c, std::string_view characters)
{
    return characters.find(c) != std::string_view::npos;
}

bool has_dot_dot(std::string_view folder)
{
    return folder.ends_with("/..") || folder.find("/../") != std::string_view::npos;
}

// The path as glob takes it: only the "*" of the last component stays special. False where it doesn't fit.
bool escape_pattern(std::string_view path, host_text<2 * PATH_MAX>& pattern)
{
    const std::size_t name_at = path.rfind('/') + 1;
    for (std::size_t at = 0; at < path.size(); at++) {
        if (is_one_of(path[at], "?[]\\") || (path[at] == '*' && at < name_at)) pattern.put('\\');
        pattern.put(path[at]);
    }
    return !pattern.cut();
}

struct conversion {
    bool zero = false;
    int width = 0;
    char kind = '\0';
};

// Reads what follows a "%" and moves `at` behind it.
conversion take_conversion(const char*& at)
{
    conversion taken;
    taken.zero = *at == '0';
    for (; *at >= '0' && *at <= '9'; at++)
        taken.width = std::min(taken.width * 10 + (*at - '0'), WIDTH_MAX);
    taken.kind = *at;
    if (*at != '\0') at++;
    return taken;
}

using number_text = char[WIDTH_MAX + 16];

void form_signed(int value, const conversion& how, number_text& text)
{
    if (how.zero)
        snprintf(text, sizeof text, "%0*d", how.width, value);
    else
        snprintf(text, sizeof text, "%*d", how.width, value);
}

void form_unsigned(unsigned int value, const conversion& how, number_text& text)
{
    if (how.kind == 'x' && how.zero)
        snprintf(text, sizeof text, "%0*x", how.width, value);
    else if (how.kind == 'x')
        snprintf(text, sizeof text, "%*x", how.width, value);
    else if (how.zero)
        snprintf(text, sizeof text, "%0*u", how.width, value);
    else
        snprintf(text, sizeof text, "%*u", how.width, value);
}

} // namespace

void host_command::form(const char* format, va_list arguments)
{
    va_list left; // a copy has the type whose address can be handed on
    va_copy(left, arguments);
    for (const char* at = format; *at != '\0' && refused_ == nullptr;) {
        if (*at == '%')
            at = convert(at + 1, &left);
        else
            add_format_char(*at++);
    }
    va_end(left);
    end_word();
    if (journal_.cut() || line_.cut() || word_.cut()) refuse("it is too long");
    journal_.end_with('\n');
}

// NOLINTBEGIN(clang-analyzer-valist.Uninitialized): the analyser can't follow a list that is handed on by address.

// `at` stands behind the "%"; returns where the format goes on.
const char* host_command::convert(const char* at, va_list* arguments)
{
    const conversion how = take_conversion(at);
    number_text number = "";
    switch (how.kind) {
    case '%':
        add_format_char('%');
        return at;
    case 's': {
        const char* text = va_arg(*arguments, const char*);
        add_argument(text != nullptr ? text : "", how.width);
        return at;
    }
    case 'c':
        number[0] = static_cast<char>(va_arg(*arguments, int));
        break;
    case 'd':
        form_signed(va_arg(*arguments, int), how, number);
        break;
    case 'u':
    case 'x':
        form_unsigned(va_arg(*arguments, unsigned int), how, number);
        break;
    default:
        refuse("its format holds an unknown conversion");
        return at;
    }
    add_argument(number, how.width);
    return at;
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)

void host_command::add_format_char(char c)
{
    add_journal_char(c);
    if (is_one_of(c, "'\"`\\")) refuse("its format quotes by itself");
    if (!is_one_of(c, " \t\n;|&<>()")) {
        word_.put(c);
        return;
    }
    end_word();
    line_.put(c);
    if (is_one_of(c, "<>")) at_target_ = true;
    if (is_one_of(c, "\n;|&(")) at_program_ = true;
}

void host_command::add_argument(std::string_view text, int width)
{
    word_holds_argument_ = true;
    for (std::size_t blanks = static_cast<std::size_t>(width); blanks > text.size(); blanks--) {
        word_.put(' ');
        add_journal_char(' ');
    }
    for (const char c : text) {
        word_.put(c);
        add_journal_char(c);
    }
}

void host_command::add_journal_char(char c)
{
    if (c == '\n')
        journal_.put("\\n");
    else if (c == '\r')
        journal_.put("\\r");
    else
        journal_.put(c);
}

void host_command::end_word()
{
    const std::string_view word = word_.view();
    if (word.empty() && !word_holds_argument_) return;
    const bool program = at_program_ && !at_target_;
    if (at_target_)
        at_target_ = false;
    else
        at_program_ = false;

    const bool of_kernel = word.starts_with("/proc/");
    if (of_kernel || (program && is_host_program(word))) touches_host_ = true;
    const bool moves = word.starts_with('/') && !program && !of_kernel && word != "/dev/null";
    if (moves)
        emit_path(word_.c_str());
    else if (word_holds_argument_)
        emit_quoted(word);
    else
        line_.put(word);
    word_.clear();
    word_holds_argument_ = false;
}

void host_command::emit_quoted(std::string_view text)
{
    line_.put('\'');
    for (const char c : text) {
        if (c == '\'')
            line_.put("'\\''");
        else
            line_.put(c);
    }
    line_.put('\'');
}

void host_command::emit_path(const char* path)
{
    const std::string_view whole(path);
    const std::size_t name_at = whole.rfind('/') + 1;
    const bool pattern = whole.find('*', name_at) != std::string_view::npos;
    if (pattern && has_dot_dot(whole.substr(0, name_at))) return refuse("its pattern leads out of its folder");
    const ac_path moved(path);
    if (moved.text[0] == '\0') return refuse("its path is too long or leads above the root");
    if (pattern)
        emit_pattern(moved.c_str());
    else
        emit_quoted(moved.c_str());
}

void host_command::emit_pattern(const char* path)
{
    host_text<2 * PATH_MAX> escaped;
    if (!escape_pattern(path, escaped)) return refuse("its pattern is too long");
    glob_t found = {};
    const int result = glob(escaped.c_str(), 0, nullptr, &found);
    if (result == GLOB_NOSPACE) refuse("there is no memory for its pattern");
    if (result == GLOB_NOMATCH) emit_quoted(path);
    for (std::size_t i = 0; result == 0 && i < found.gl_pathc; i++) {
        if (i != 0) line_.put(' ');
        emit_quoted(found.gl_pathv[i]);
    }
    globfree(&found);
}

void host_command::refuse(const char* why)
{
    if (refused_ == nullptr) refused_ = why;
}
